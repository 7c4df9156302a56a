#include "host/memory_objects.h"

#include <algorithm>
#include <utility>  // exchange

#include "diagnostics/boundary.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

// Folders and stores hold few properties, and a conversion of theirs that fails leaves the others; it is to tell.
template <typename Interface>
constexpr PropertyBag::Listing kListing =
    std::is_same_v<Interface, IConvertFolder> || std::is_same_v<Interface, IConvertStore>
        ? PropertyBag::Listing::All
        : PropertyBag::Listing::WithTextForm;

template <typename Interface, typename T>
HRESULT giveArray(const std::vector<ComPtr<T>>& list, InterfaceArray** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  auto* array = static_cast<InterfaceArray*>(taskAlloc(sizeof(InterfaceArray)));
  auto** elements = static_cast<IUnknown**>(taskAlloc(list.size() * sizeof(IUnknown*)));
  if (array == nullptr || elements == nullptr) {
    taskFree(array);
    taskFree(elements);
    return E_OUTOFMEMORY;
  }
  std::transform(list.begin(), list.end(), elements,
                 [](const ComPtr<T>& element) { return static_cast<Interface*>(ComPtr<T>(element).detach()); });
  *array = {static_cast<std::uint32_t>(list.size()), elements};
  *out = array;
  return S_OK;
}

}  // namespace

template <typename Interface>
HRESULT MemoryObject<Interface>::getPropList(ULONG* count, ULONG** tags) noexcept {
  const HRESULT hr = called("getPropList");
  return failed(hr) ? hr : bag_->list(kListing<Interface>, count, tags);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::getChangedPropList(ULONG* count, ULONG** tags) noexcept {
  const HRESULT hr = called("getChangedPropList");
  return failed(hr) ? hr : bag_->listChanged(kListing<Interface>, count, tags);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::getProp(ULONG tag, SPropValue** value) noexcept {
  const HRESULT hr = called("getProp");
  return failed(hr) ? hr : bag_->getProp(tag, value);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::openProp(ULONG tag, ULONG create, const IID& iid, IUnknown** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  if (const HRESULT hr = called("openProp"); failed(hr)) {
    return hr;
  }
  if (iid == IStream::kIid) {
    return bag_->openStream(tag, create != 0, bag_, out);
  }
  return atBoundary([&] { return openObject(tag, create != 0, iid, out); });
}

template <typename Interface>
HRESULT MemoryObject<Interface>::setProp(const SPropValue* value) noexcept {
  const HRESULT hr = called("setProp");
  return failed(hr) ? hr : bag_->setProp(value);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::deleteProp(ULONG tag) noexcept {
  const HRESULT hr = called("deleteProp");
  return failed(hr) ? hr : bag_->deleteProp(tag);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::propExists(ULONG tag) noexcept {
  const HRESULT hr = called("propExists");
  return failed(hr) ? hr : bag_->propExists(tag);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::getNamesFromIds(ULONG tag, MAPINAMEID** name) noexcept {
  const HRESULT hr = called("getNamesFromIds");
  return failed(hr) ? hr : bag_->getNamesFromIds(tag, name);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::getIdsFromNames(const MAPINAMEID* name, BOOL create, ULONG* tag) noexcept {
  const HRESULT hr = called("getIdsFromNames");
  return failed(hr) ? hr : bag_->getIdsFromNames(name, create, tag);
}

template <typename Interface>
HRESULT MemoryObject<Interface>::getAllocator(IMapiAllocator** out) noexcept {
  const HRESULT hr = called("getAllocator");
  return failed(hr) ? hr : atBoundary([&] { *out = makeCom<HostAllocator>(this->context()).detach(); });
}

template <typename Interface>
HRESULT MemoryObject<Interface>::saveChanges() noexcept {
  const HRESULT hr = called("saveChanges");
  return failed(hr) ? hr : atBoundary([&] { onSave(); });
}

template class MemoryObject<IConvertMessage>;
template class MemoryObject<IConvertAttachment>;
template class MemoryObject<IConvertRecipient>;
template class MemoryObject<IConvertFolder>;
template class MemoryObject<IConvertStore>;

void MemoryRecipient::onSave() {
  const std::shared_ptr<MessageParts> parts = parts_.lock();
  if (parts && !std::exchange(saved_, true)) {
    parts->recipients.push_back(ComPtr<MemoryRecipient>::retain(this));
  }
}

void MemoryAttachment::onSave() {
  const std::shared_ptr<MessageParts> parts = parts_.lock();
  if (parts && !std::exchange(saved_, true)) {
    parts->attachments.push_back(ComPtr<MemoryAttachment>::retain(this));
  }
}

HRESULT MemoryAttachment::deleteProp(ULONG tag) noexcept {
  const HRESULT hr = MemoryObject::deleteProp(tag);
  if (succeeded(hr) && tag == PR_ATTACH_DATA_OBJ) {
    embedded_.reset();
  }
  return hr;
}

HRESULT MemoryAttachment::setAddressBook(IAddressBook*) noexcept { return called("IConvertAttachment::setAddressBook"); }

HRESULT MemoryAttachment::getContentIdSource(IContentIdSource** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  return called("IConvertAttachment::getContentIdSource");
}

HRESULT MemoryAttachment::openObject(ULONG tag, bool create, const IID& iid, IUnknown** out) {
  if (tag != PR_ATTACH_DATA_OBJ || iid != IConvertMessage::kIid) {
    return E_NOINTERFACE;
  }
  if (create) {
    embedded_ = makeCom<MemoryMessage>(context(), bag().nameMap());
    bag().set(tag, PropertyRecord{PT_OBJECT, std::monostate()});
  }
  if (!embedded_) {
    return MAPI_E_NOT_FOUND;
  }
  *out = static_cast<IConvertMessage*>(ComPtr<MemoryMessage>(embedded_).detach());
  return S_OK;
}

void MemoryMessage::onSave() {
  struct FormatRow {
    std::int32_t format;
    ULONG body;
  };
  constexpr FormatRow kFormats[] = {{2, PR_HTML}, {1, PR_BODY}, {3, PR_RTF_COMPRESSED}};
  const std::optional<std::int32_t> format = bag().number(PR_MSG_EDITOR_FORMAT);
  const auto isThere = [this](const FormatRow& row) {
    return bag().find(row.body) != nullptr || (row.body == PR_HTML && bag().find(PR_BODY_HTML) != nullptr);
  };
  const auto named = std::find_if(std::begin(kFormats), std::end(kFormats),
                                  [format](const FormatRow& row) { return row.format == format; });
  const auto there = std::find_if(std::begin(kFormats), std::end(kFormats), isThere);
  if (named != std::end(kFormats) && !isThere(*named) && there != std::end(kFormats)) {
    bag().set(PR_MSG_EDITOR_FORMAT, {PT_LONG, there->format});
  }
}

MemoryRecipient& MemoryMessage::addRecipient() {
  const auto made = makeCom<MemoryRecipient>(context(), bag().nameMap(), parts_);
  made->onSave();
  return *made;
}

MemoryAttachment& MemoryMessage::addAttachment() {
  const auto made = makeCom<MemoryAttachment>(context(), bag().nameMap(), parts_);
  made->onSave();
  return *made;
}

HRESULT MemoryMessage::getRecipients(InterfaceArray** out) noexcept {
  const HRESULT hr = called("IConvertMessage::getRecipients");
  return failed(hr) ? hr : giveArray<IConvertRecipient>(parts_->recipients, out);
}

HRESULT MemoryMessage::createRecipient(IConvertRecipient** out) noexcept {
  const HRESULT hr = called("IConvertMessage::createRecipient");
  return failed(hr) ? hr : atBoundary([&] { *out = makeCom<MemoryRecipient>(context(), bag().nameMap(), parts_).detach(); });
}

HRESULT MemoryMessage::getAttachments(InterfaceArray** out, ULONG) noexcept {
  const HRESULT hr = called("IConvertMessage::getAttachments");
  return failed(hr) ? hr : giveArray<IConvertAttachment>(parts_->attachments, out);
}

HRESULT MemoryMessage::createAttachment(IConvertAttachment** out) noexcept {
  const HRESULT hr = called("IConvertMessage::createAttachment");
  return failed(hr) ? hr
                    : atBoundary([&] { *out = makeCom<MemoryAttachment>(context(), bag().nameMap(), parts_).detach(); });
}

HRESULT MemoryMessage::getAddressBook(IAddressBook** out) noexcept {
  if (out == nullptr) {
    return E_INVALIDARG;
  }
  *out = nullptr;
  const HRESULT hr = called("IConvertMessage::getAddressBook");
  if (succeeded(hr)) {
    *out = ComPtr<IAddressBook>(addressBook_).detach();
  }
  return hr;
}

ComPtr<MemoryMessage> makeMessage(const HostContextPtr& context) {
  return makeCom<MemoryMessage>(context, std::make_shared<NameMap>());
}

std::string messageClassOf(const MemoryMessage& message) {
  const PropertyRecord* record = message.bag().find(PR_MESSAGE_CLASS);
  return record == nullptr ? std::string() : wideToUtf8(textOf(*record));
}

}  // namespace nalvo::host

#include "convert/groupware/dist_list_convert.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"
#include "properties/entry_id.h"
#include "properties/entry_lists.h"
#include "properties/guid.h"
#include "streams/coder.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\DistListConvert"};

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::DistListConvert, toMapi::DistListConvert>::create, u"IPM.DistList");

constexpr std::uint32_t kSideEffects = 0x10;

constexpr std::u16string_view kSmtp = u"SMTP";
constexpr std::u16string_view kPersonalList = u"MAPIPDL";

using namespace std::string_view_literals;

// Behind the four bytes of flags of an entry id.
constexpr std::size_t kUidOffset = 4;
constexpr std::string_view kOneOffUid = "\x81\x2B\x1F\xA4\xBE\xA3\x10\x19\x9D\x6E\x00\xDD\x01\x0F\x54\x02"sv;
// A wrapped entry id: its head, what it points to, the entry id of that.
constexpr std::string_view kWrappedHead =
    "\x00\x00\x00\x00\xC0\x91\xAD\xD3\x51\x9D\xCF\x11\xA4\xA9\x00\xAA\x00\x47\xFA\xA4"sv;
constexpr std::size_t kWrappedSize = kWrappedHead.size() + 1;
constexpr char kWrapsPerson = '\xC3';
constexpr char kWrapsList = '\xB4';
// The entry id of an object: flags, the GUID of the store, the type of a message, the GUID of the object.
constexpr std::string_view kNoFlags = "\x00\x00\x00\x00"sv;
constexpr std::string_view kTypeOfMessage = "\x02\x00\x00\x00"sv;

constexpr ULONG kTagStoreRecordKey = 0x0FFA0102;  // PR_STORE_RECORD_KEY
// Where the caller's store keeps an object: a text with a hexadecimal number behind a "/".
constexpr ULONG kTagPlace = 0xAF000102;

const BYTE* bytesOf(std::string_view text) { return reinterpret_cast<const BYTE*>(text.data()); }

std::string_view textOf(const SBinary& binary) { return {reinterpret_cast<const char*>(binary.lpb), binary.cb}; }

std::string_view textOf(const GUID& guid) { return {reinterpret_cast<const char*>(&guid), sizeof guid}; }

// In lower case without braces.
std::string plainText(const GUID& guid) {
  const std::string text = Guid(guid).toString();
  return text.empty() ? text : toLowerAscii(text.substr(1, text.size() - 2));
}

std::uint32_t numberBehindSlash(std::string_view text) {
  const std::size_t slash = text.find('/');
  std::uint32_t number = 0;
  if (slash != std::string_view::npos) {
    (void)std::from_chars(text.data() + slash + 1, text.data() + text.size(), number, 16);
  }
  return number;
}

}  // namespace

namespace toMime {

std::span<const PropertyRow<DistListConvert>> DistListConvert::rows() {
  using Convert = DistListConvert;
  static constexpr auto kRows = withRichText<Convert>({
      {named::kKeywords, ChangeOf::Body, &Convert::onKeywords},
      {named::kDistributionListOneOffMembers, ChangeOf::Body, &Convert::onOneOffMembers},
      {named::kDistributionListMembers, ChangeOf::Body, &Convert::onMembers},
      {named::kPrivate, ChangeOf::Body, &Convert::onPrivate},
      {named::kFileUnder, ChangeOf::Body, &Convert::onFileUnder},
      {named::kDistributionListName, ChangeOf::Annotations},
      {PR_SUBJECT, ChangeOf::Body, &Convert::onSubject},
      {PR_BODY, ChangeOf::Body},
  });
  return kRows;
}

void DistListConvert::onOneOffMembers(ULONG /*tag*/) { storeMembers(); }

// A card without items leaves the members as the annotations have them.
void DistListConvert::onMembers(ULONG tag) { MessageConvert::onProp(tag); }

void DistListConvert::onFileUnder(ULONG tag) { object().setFileAs(getUtf8(tag)); }

void DistListConvert::onSubject(ULONG tag) {
  object().setFn(getUtf8(tag));
  setHeader(tag, mime::HeaderId::Subject);
}

std::vector<std::string> DistListConvert::getMultiBinary(ULONG tag) const {
  const MapiBuffer<SPropValue> value = MapiPropUtils::getProp(data().getMapiMessage(), tag, data().getAllocator());
  if (propType(value->ulPropTag) != PT_MV_BINARY) {
    throwHResult(MAPI_E_UNEXPECTED_TYPE, kSource.at("toMime::DistListConvert::storeMembers"));
  }
  std::vector<std::string> result;
  for (ULONG i = 0; i < value->Value.MVbin.cValues; ++i) {
    result.emplace_back(textOf(value->Value.MVbin.lpbin[i]));
  }
  return result;
}

void DistListConvert::storeMembers() {
  const std::vector<std::string> oneOffs = getMultiBinary(tagOf(named::kDistributionListOneOffMembers));
  const ULONG membersTag = tagOf(named::kDistributionListMembers);
  const std::vector<std::string> members = exists(membersTag) ? getMultiBinary(membersTag) : std::vector<std::string>();
  object().removeDistItems();
  for (std::size_t i = 0; i < std::max(oneOffs.size(), members.size()); ++i) {
    const std::string_view oneOff = i < oneOffs.size() ? std::string_view(oneOffs[i]) : std::string_view();
    addDistListItem(oneOff, i < members.size() ? std::string_view(members[i]) : oneOff);
  }
}

void DistListConvert::addDistListItem(std::string_view oneOff, std::string_view member) {
  mail::DistItem item;
  if (oneOff.empty()) {
    setOpaque(item, member);
    object().addDistItem(item);
    return;
  }
  const std::optional<OneOffEntry> entry = parseOneOffEntry(oneOff);
  if (!entry) {
    return;
  }
  item.name = wideToUtf8(entry->name);
  const bool isList = equalsIgnoreCase(entry->type, kPersonalList);
  if (!isList) {
    item.email = wideToUtf8(entry->address);
  }
  if (!isList && !equalsIgnoreCase(entry->type, kSmtp)) {
    setOpaque(item, oneOff);
  } else if (!(member.size() >= kUidOffset + kOneOffUid.size() &&
               member.substr(kUidOffset, kOneOffUid.size()) == kOneOffUid) &&
             !setReference(item, member)) {
    setOpaque(item, member);
  }
  object().addDistItem(item);
}

bool DistListConvert::setReference(mail::DistItem& item, std::string_view member) {
  if (member.size() <= kWrappedSize) {
    return false;
  }
  const std::string_view inner = member.substr(kWrappedSize);
  const auto size = static_cast<ULONG>(inner.size());
  // One of 24 bytes names no object.
  if (!EntryId::isValidEntryId(bytesOf(inner), inner.size()) || EntryId::getType(bytesOf(inner), inner.size()) == 0) {
    return false;
  }
  if (!addressBook_) {
    checkHResult(data().getMapiMessage()->getAddressBook(addressBook_.put()),
                 kSource.at("toMime::DistListConvert::addDistListItem"));
  }
  GUID folder{};
  if (!addressBook_ || failed(addressBook_->getFolderGuid(size, bytesOf(inner), &folder))) {
    return false;
  }
  item.kind = mail::DistItem::Kind::Reference;
  item.messageGuid = plainText(EntryId::getObjectGuid(bytesOf(inner), inner.size()));
  item.data = plainText(folder);
  item.isList = item.email.empty();
  MapiBuffer<SPropValue> place(MapiAlloc::getAlloc(data().getAllocator()).freeBuffer);
  if (succeeded(addressBook_->getEntryProp(size, bytesOf(inner), kTagPlace, place.put())) && place &&
      propType(place->ulPropTag) == PT_BINARY) {
    item.number = numberBehindSlash(textOf(place->Value.bin));
  }
  return true;
}

void setOpaque(mail::DistItem& item, std::string_view bytes) {
  item.kind = mail::DistItem::Kind::Opaque;
  // Base64 of nothing is nothing, from no address as well.
  checkHResult(Coder::encodeBase64(bytes.empty() ? "" : bytes.data(), bytes.size(), item.data),
               kSource.at("toMime::setOpaque"));
}

}  // namespace toMime

namespace toMapi {

void DistListConvert::convertMimeToMapi() {
  GroupwareBaseConvert::convertMimeToMapi();
  if (hasFlag(ToMapiFlags::JustFlags)) {
    return;
  }
  setULongIfMissing(tagOf(named::kSideEffects), kSideEffects);
  if (!hasFlag(ToMapiFlags::WithoutBody)) {
    setUtf8(PR_SUBJECT, object().getFn());
    setCategories(object());
    loadMembers();
    setBodyText(object().getNote());
    const std::string fileAs = object().getFileAs();
    setUtf8(tagOf(named::kFileUnder), fileAs.empty() ? object().getFn() : fileAs);
    setPrivate(object());
  }
  propCopyIfExists(PR_SUBJECT, PR_DISPLAY_NAME);
  propCopyIfExists(PR_SUBJECT, tagOf(named::kDistributionListName));
  setSensitivity();
}

void DistListConvert::loadMembers() {
  const std::vector<mail::DistItem> items = object().getDistItems();
  std::vector<std::string> oneOffs, members;
  oneOffs.reserve(items.size());
  members.reserve(items.size());
  for (const mail::DistItem& item : items) {
    loadMember(item, oneOffs, members);
  }
  // Members without a name at the end of a list had no one-off entry.
  while (!oneOffs.empty() && oneOffs.back().empty()) {
    oneOffs.pop_back();
  }
  IConvertMessage* message = data().getMapiMessage();
  if (!members.empty()) {
    MapiPropUtils::setMultiBin(message, tagOf(named::kDistributionListMembers), members);
  }
  if (!oneOffs.empty()) {
    MapiPropUtils::setMultiBin(message, tagOf(named::kDistributionListOneOffMembers), oneOffs);
  }
}

void DistListConvert::loadMember(const mail::DistItem& item, std::vector<std::string>& oneOffs,
                                 std::vector<std::string>& members) {
  std::string oneOff, name = item.name, email = item.email;
  for (std::string* text : {&name, &email}) {
    std::erase(*text, '\0');  // it would end a text of the entry
  }
  if (!name.empty() || !email.empty()) {
    oneOff = textOf(*AddressMaker::createOneOffAddress(email, utf8ToWide(name.empty() ? email : name),
                                                       email.empty() ? kPersonalList : kSmtp, data().getAllocator())
                         .get());
  }
  std::string member;
  if (item.kind == mail::DistItem::Kind::Unknown) {
    member = oneOff;
  } else if (item.kind == mail::DistItem::Kind::Reference && !item.messageGuid.empty()) {
    member = makeReference(item);
  } else {
    constexpr const char* kWhere = "toMapi::DistListConvert::loadMember";
    checkHResult(Coder::decodeBase64(item.data.data(), item.data.size(), member), kSource.at(kWhere));
    if (member.empty() && !item.data.empty()) {
      throwHResult(MAPI_E_CORRUPT_DATA, kSource.at(kWhere));
    }
  }
  members.push_back(std::move(member));
  oneOffs.push_back(std::move(oneOff));
}

std::string DistListConvert::makeReference(const mail::DistItem& item) {
  if (!store_) {
    store_.emplace();
    const std::string key = exists(kTagStoreRecordKey) ? MapiPropUtils::propBinary(data().getMapiMessage(),
                                                                                   kTagStoreRecordKey, data().getAllocator())
                                                       : std::string();
    if (key.size() == sizeof *store_) {
      std::memcpy(&*store_, key.data(), key.size());
    }
  }
  Guid object;
  object = "{" + item.messageGuid + "}";
  std::string entryId(kWrappedHead);
  entryId += item.isList ? kWrapsList : kWrapsPerson;
  for (const std::string_view part : {kNoFlags, textOf(*store_), kTypeOfMessage, textOf(object.get())}) {
    entryId += part;
  }
  return entryId;
}

}  // namespace toMapi
}  // namespace nalvo

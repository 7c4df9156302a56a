// Reads a mail into messages of a store of one's own and writes it again: own_store MAIL > OTHER-MAIL
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

#include "nalvo/caller_objects.h"

namespace {

using namespace nalvo;
using caller::Ref;

// One object of the store: here a table in memory, elsewhere rows of a database.
template <typename Interface>
class Stored : public caller::PropertyObject<Interface> {
 public:
  using caller::PropertyObject<Interface>::PropertyObject;

 protected:
  std::vector<ULONG> allTags() const override {
    std::vector<ULONG> tags;
    std::transform(values_.begin(), values_.end(), std::back_inserter(tags), [](auto& v) { return v.second->ulPropTag; });
    return tags;
  }
  std::optional<caller::Value> find(ULONG id) const override {
    const auto found = values_.find(id);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  void put(const caller::Value& value) override { values_.insert_or_assign(propId(value->ulPropTag), value); }
  bool erase(ULONG id) override { return values_.erase(id) != 0; }

 private:
  std::map<ULONG, caller::Value> values_;
};

using Recipient = Stored<IConvertRecipient>;

class Attachment : public Stored<IConvertAttachment> {
 public:
  using Stored::Stored;
  HRESULT setAddressBook(IAddressBook*) noexcept override { return S_OK; }
  HRESULT getContentIdSource(IContentIdSource**) noexcept override { return MAPI_E_NO_SUPPORT; }

 protected:
  HRESULT openMessage(ULONG tag, bool create, IUnknown** out) override;

 private:
  Ref<IConvertMessage> message_;
};

class Message : public Stored<IConvertMessage> {
 public:
  using Stored::Stored;
  HRESULT getRecipients(InterfaceArray** out) noexcept override { return caller::arrayOf(recipients_, out); }
  HRESULT createRecipient(IConvertRecipient** out) noexcept override { return add(recipients_, out); }
  HRESULT getAttachments(InterfaceArray** out, ULONG) noexcept override { return caller::arrayOf(attachments_, out); }
  HRESULT createAttachment(IConvertAttachment** out) noexcept override { return add(attachments_, out); }
  void reserved19() noexcept override {}
  HRESULT getAddressBook(IAddressBook** out) noexcept override { return *out = new caller::NoAddressBook, S_OK; }

 private:
  template <typename T, typename Interface>
  HRESULT add(std::vector<Ref<T>>& list, Interface** out) noexcept {
    return caller::guarded([&] { return *out = list.emplace_back(new T(names())).share(), S_OK; });
  }
  std::vector<Ref<Recipient>> recipients_;
  std::vector<Ref<Attachment>> attachments_;
};

HRESULT Attachment::openMessage(ULONG, bool create, IUnknown** out) {
  message_ = create ? Ref<IConvertMessage>(new Message(names())) : message_;
  return message_ ? (*out = message_.share(), S_OK) : MAPI_E_NOT_FOUND;
}

void check(HRESULT hr) {
  if (failed(hr)) {
    std::cerr << "failed with 0x" << std::hex << static_cast<std::uint32_t>(hr) << "\n";
    std::exit(1);
  }
}

}  // namespace

int main(int, char** arguments) {
  std::ifstream file(arguments[1], std::ios::binary);
  caller::Names names;
  const Ref message(new Message(names));
  const Ref allocator(new caller::Allocator);
  Ref<IStream> mail;
  std::string written;
  check(caller::openStream(std::string(std::istreambuf_iterator<char>(file), {}), mail.put()));
  check(mimeToMapi(Ref(new caller::NoAnnotations).get(), mail.get(), Ref(new caller::Flags).get(), message.get(),
                   allocator.get(), CONVERT_FROM_ATTACHMENT, nullptr));
  check(createStream(mail.put()));
  check(mapiToMime(message.get(), nullptr, mail.get(), nullptr, allocator.get(), CONVERT_TO_ATTACHMENT, nullptr, nullptr));
  check(caller::readAll(mail.get(), &written));
  std::cout << written;
}

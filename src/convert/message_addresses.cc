// People: originators, recipients and reply-to lists, between properties and address headers.
#include <algorithm>
#include <optional>
#include <vector>

#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"
#include "properties/address_maker.h"
#include "properties/entry_lists.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MessageAddresses"};

constexpr std::uint32_t kRecipientTo = 1;
constexpr std::uint32_t kRecipientCc = 2;
constexpr std::uint32_t kRecipientBcc = 3;
// Marks of a transport beside the type: submitted already, and tried on an earlier hop.
constexpr std::uint32_t kRecipientMarks = 0x80000000 | 0x10000000;

struct OriginatorRow {
  ULONG condition;  // a property that must be true; 0: none
  mime::AddressKind kind;
  bool represented;  // the person in whose name a mail goes out, else its sender
};

constexpr OriginatorRow kOriginators[] = {
    {0, mime::IAT_FROM, true},
    {0, mime::IAT_SENDER, false},
    {PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED, mime::IAT_RETURNRECEIPT, false},
    {PR_READ_RECEIPT_REQUESTED, mime::IAT_DISPOSITION_NOTIFICATION, false},
};

constexpr OriginatorTags kRepresentingTags = {PR_SENT_REPRESENTING_EMAIL_ADDRESS, PR_SENT_REPRESENTING_ADDRTYPE,
                                              PR_SENT_REPRESENTING_NAME, PR_SENT_REPRESENTING_ENTRYID};
constexpr OriginatorTags kSenderTags = {PR_SENDER_EMAIL_ADDRESS, PR_SENDER_ADDRTYPE, PR_SENDER_NAME, PR_SENDER_ENTRYID};

struct SenderRow {
  mime::AddressKind kind;
  ULONG type;
  ULONG address;
  ULONG entryId;
  ULONG name;
  ULONG searchKey;
};

constexpr SenderRow kFromRow = {mime::IAT_FROM,
                                PR_SENT_REPRESENTING_ADDRTYPE,
                                PR_SENT_REPRESENTING_EMAIL_ADDRESS,
                                PR_SENT_REPRESENTING_ENTRYID,
                                PR_SENT_REPRESENTING_NAME,
                                PR_SENT_REPRESENTING_SEARCH_KEY};
constexpr SenderRow kSenderRow = {mime::IAT_SENDER,  PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS,
                                  PR_SENDER_ENTRYID, PR_SENDER_NAME,     PR_SENDER_SEARCH_KEY};

struct ReceiptRow {
  mime::AddressKind kind;
  ULONG flag;
  ULONG entryId;  // 0: none, as the search key
  ULONG searchKey;
};

constexpr ReceiptRow kReceipts[] = {
    {mime::IAT_RETURNRECEIPT, PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED, 0, 0},
    {mime::IAT_DISPOSITION_NOTIFICATION, PR_READ_RECEIPT_REQUESTED, PR_READ_RECEIPT_ENTRYID, PR_READ_RECEIPT_SEARCH_KEY},
};

struct RecipientRow {
  mime::AddressKind kind;
  std::uint32_t type;
};

constexpr RecipientRow kRecipients[] = {
    {mime::IAT_TO, kRecipientTo}, {mime::IAT_CC, kRecipientCc}, {mime::IAT_BCC, kRecipientBcc}};

bool isSmtp(std::u16string_view type) { return equalsIgnoreCase(type, u"SMTP"); }

std::string_view emailOf(const mime::AddressProperties& address) {
  return address.email == nullptr ? std::string_view() : std::string_view(address.email);
}

std::u16string_view nameOf(const mime::AddressProperties& address) {
  return address.name == nullptr ? std::u16string_view() : std::u16string_view(address.name);
}

std::string_view bytesOf(const SBinary& binary) { return {reinterpret_cast<const char*>(binary.lpb), binary.cb}; }

// An address without name and address says nothing and is passed over.
bool saysNothing(const mime::AddressProperties& address) { return emailOf(address).empty() && nameOf(address).empty(); }

std::optional<std::u16string> textIfExists(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  if (!MapiPropUtils::propertyExists(object, tag)) {
    return std::nullopt;
  }
  return MapiPropUtils::propUnicodeT(object, tag, allocator);
}

std::optional<std::string> ansiIfExists(IConvertObject* object, ULONG tag, IMapiAllocator* allocator) {
  const ULONG narrow = changePropType(tag, PT_STRING8);
  if (!MapiPropUtils::propertyExists(object, narrow)) {
    return std::nullopt;
  }
  return MapiPropUtils::propAnsi(object, narrow, allocator);
}

// The names of `count` people in a list that ";" parts. A surplus ";" at its end parts nothing.
std::vector<std::u16string_view> splitNames(std::u16string_view joined, std::size_t count) {
  std::vector<std::u16string_view> names;
  while (true) {
    const std::size_t end = std::min(joined.find(u';'), joined.size());
    names.push_back(trim(joined.substr(0, end)));
    if (end == joined.size()) {
      break;
    }
    joined.remove_prefix(end + 1);
  }
  if (names.size() > count && names.back().empty()) {
    names.pop_back();
  }
  return names;
}

}  // namespace

ScopedAddressList::~ScopedAddressList() {
  ComPtr<mime::IMimeAllocator> allocator;
  if (list_.addresses != nullptr && succeeded(mime::createMimeAllocator(allocator.put()))) {
    allocator->FreeAddressList(&list_);
  }
}

void ScopedAddressList::load(mime::IMimeMessage* message, DWORD kinds) {
  checkHResult(message->GetAddressTypes(kinds, mime::IAP_NAME_AND_EMAIL, &list_), kSource.at("ScopedAddressList::load"));
}

namespace toMime {

void MessageConvert::makeAddresses(IConvertMessage* message) {
  constexpr const char* kWhere = "toMime::MessageConvert::makeAddresses";
  if (message == nullptr) {
    message = data().getMapiMessage();
  }
  ComPtr<mime::IMimeAddressTable> table;
  checkHResult(data().getMimeMessage()->GetAddressTable(table.put()), kSource.at(kWhere));
  checkHResult(table->DeleteTypes(mime::IAT_ALL), kSource.at(kWhere));
  for (const OriginatorRow& row : kOriginators) {
    const bool wanted = row.condition == 0 || (MapiPropUtils::propertyExists(message, row.condition) &&
                                               MapiPropUtils::propBool(message, row.condition, data().getAllocator()));
    if (wanted) {
      makeOneAddress(row.represented ? kRepresentingTags : kSenderTags, message, row.kind);
    }
  }
  addRecipients(message);
  addReplyTo(message);
}

void MessageConvert::makeOneAddress(const OriginatorTags& tags, IConvertMessage* message, mime::AddressKind kind) {
  IMapiAllocator* allocator = data().getAllocator();
  std::string address = ansiIfExists(message, tags.address, allocator).value_or(std::string());
  std::u16string type = textIfExists(message, tags.type, allocator).value_or(std::u16string());
  // An address of another system, or one that is plainly a path there, says nothing to a mail reader.
  if (type.empty() ? address.starts_with('/') && address.find('@') == std::string::npos : !isSmtp(type)) {
    address.clear();
  }
  if (!address.empty()) {
    type = u"SMTP";
  }
  std::u16string name = textIfExists(message, tags.name, allocator).value_or(std::u16string());
  if (name.empty()) {
    name = widenAddress(address);
  }
  if ((name.empty() || address.empty()) && MapiPropUtils::propertyExists(message, tags.entryId)) {
    const std::string entryId = MapiPropUtils::propBinary(message, tags.entryId, allocator);
    for (const ULONG tag : {PR_TRANSMITABLE_DISPLAY_NAME, PR_DISPLAY_NAME, PR_NORMALIZED_SUBJECT}) {
      if (name.empty()) {
        name = getFromAddressBook(entryId, tag);
      }
    }
    if (address.empty()) {
      address = narrowAddress(getFromAddressBook(entryId, PR_EMAIL_ADDRESS));
      type = getFromAddressBook(entryId, PR_ADDRTYPE);
    }
  }
  if (name.empty() && address.empty()) {
    return;
  }
  // An address of another system has no place in a header.
  addAddress(!address.empty() && isSmtp(type) ? &address : nullptr, kind, name);
}

void MessageConvert::addAddress(const std::string* email, mime::AddressKind kind, std::u16string_view name) {
  constexpr const char* kWhere = "toMime::MessageConvert::addAddress";
  ComPtr<mime::IMimeAddressTable> table;
  checkHResult(data().getMimeMessage()->GetAddressTable(table.put()), kSource.at(kWhere));
  std::u16string terminatedName(name);
  mime::AddressProperties address{};
  address.properties = mime::IAP_ADRTYPE | mime::IAP_ENCODING | mime::IAP_FRIENDLYW;
  address.kind = kind;
  address.nameEncoding = mime::IET_UNICODE;
  address.name = terminatedName.data();
  if (email != nullptr) {
    address.properties |= mime::IAP_EMAIL;
    address.email = const_cast<char*>(email->c_str());  // only read
  }
  checkHResult(table->Insert(&address, nullptr), kSource.at(kWhere));
}

std::u16string MessageConvert::getFromAddressBook(std::string_view entryId, ULONG tag) const {
  constexpr const char* kWhere = "toMime::MessageConvert::getFromAddressBook";
  if (propType(tag) != PT_UNICODE && propType(tag) != PT_STRING8) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  ComPtr<IAddressBook> book;
  checkHResult(data().getMapiMessage()->getAddressBook(book.put()), kSource.at(kWhere));
  if (!book) {
    return {};
  }
  MapiBuffer<SPropValue> value(MapiAlloc::getAlloc(data().getAllocator()).freeBuffer);
  const HRESULT hr = book->getEntryProp(static_cast<ULONG>(entryId.size()), reinterpret_cast<const BYTE*>(entryId.data()),
                                        changePropType(tag, PT_UNICODE), value.put());
  if (failed(hr) || !value || propType(value->ulPropTag) != PT_UNICODE || value->Value.lpszW == nullptr) {
    return {};
  }
  return value->Value.lpszW;
}

void MessageConvert::addRecipients(IConvertMessage* message) {
  constexpr const char* kWhere = "toMime::MessageConvert::makeAddresses";
  ScopedInterfaceArray recipients;
  checkHResult(message->getRecipients(recipients.put()), kSource.at(kWhere));
  for (IUnknown* element : recipients) {
    ComPtr<IConvertRecipient> recipient;
    checkHResult(element == nullptr ? E_INVALIDARG : element->QueryInterface(IConvertRecipient::kIid, recipient.putVoid()),
                 kSource.at(kWhere));
    addRecipient(recipient.get());
  }
}

void MessageConvert::addRecipient(IConvertRecipient* recipient) {
  IMapiAllocator* allocator = data().getAllocator();
  const std::u16string name = textIfExists(recipient, PR_DISPLAY_NAME, allocator).value_or(std::u16string());
  const std::u16string addressType = textIfExists(recipient, PR_ADDRTYPE, allocator).value_or(std::u16string());
  const std::optional<std::string> address = ansiIfExists(recipient, PR_EMAIL_ADDRESS, allocator);
  const std::uint32_t type = MapiPropUtils::propertyExists(recipient, PR_RECIPIENT_TYPE)
                                 ? MapiPropUtils::propULong(recipient, PR_RECIPIENT_TYPE, allocator) & ~kRecipientMarks
                                 : kRecipientTo;
  if (type == kRecipientBcc && hasFlag(ToMimeFlags::ForSend)) {
    return;
  }
  const mime::AddressKind kind = type == kRecipientCc ? mime::IAT_CC : type == kRecipientBcc ? mime::IAT_BCC : mime::IAT_TO;
  addAddress(address && isSmtp(addressType) ? &*address : nullptr, kind, name);
}

void MessageConvert::addReplyTo(IConvertMessage* message) {
  IMapiAllocator* allocator = data().getAllocator();
  if (!MapiPropUtils::propertyExists(message, PR_REPLY_RECIPIENT_ENTRIES) ||
      !MapiPropUtils::propertyExists(message, PR_REPLY_RECIPIENT_NAMES)) {
    return;
  }
  const std::vector<std::string> entries =
      parseFlatEntryList(MapiPropUtils::propBinary(message, PR_REPLY_RECIPIENT_ENTRIES, allocator));
  const std::u16string joined = MapiPropUtils::propUnicodeT(message, PR_REPLY_RECIPIENT_NAMES, allocator);
  const std::vector<std::u16string_view> names = splitNames(joined, entries.size());
  if (entries.size() != names.size()) {
    return;
  }
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::string address;
    if (const std::optional<OneOffEntry> oneOff = parseOneOffEntry(entries[i])) {
      if (isSmtp(oneOff->type)) {
        address = narrowAddress(oneOff->address);
      }
    } else {
      address = narrowAddress(getFromAddressBook(entries[i], PR_EMAIL_ADDRESS));
    }
    addAddress(address.empty() ? nullptr : &address, mime::IAT_REPLYTO, names[i]);
  }
}

}  // namespace toMime

namespace toMapi {

void MessageConvert::setAddresses(bool withRecipients, bool withSender) {
  if (withSender) {
    setSenderAddresses();
  }
  setReceiptsFlags();
  setReplyToAddresses();
  if (withRecipients) {
    setRecipientAddresses();
  }
}

void MessageConvert::setSenderAddresses() {
  IConvertMessage* message = data().getMapiMessage();
  for (const SenderRow& row : {kFromRow, kSenderRow}) {
    ScopedAddressList list;
    list.load(data().getMimeMessage(), row.kind);
    // With several addresses the last one stays.
    for (const mime::AddressProperties& address : list) {
      if (saysNothing(address)) {
        continue;
      }
      AddressMaker maker(data().getAllocator(), emailOf(address), nameOf(address));
      setUnicode(row.type, maker.getAddressType());
      if (!maker.getAddress().empty()) {
        MapiPropUtils::setAnsiString(message, row.address, maker.getAddress());
      }
      MapiPropUtils::setBinary(message, row.entryId, bytesOf(maker.getEntryId()));
      if (!maker.getName().empty()) {
        setUnicode(row.name, maker.getName());
      }
      MapiPropUtils::setBinary(message, row.searchKey, bytesOf(maker.getSearchKey()));
    }
  }
  if (!exists(kSenderRow.entryId) && exists(kFromRow.entryId)) {
    propCopy(kFromRow.entryId, kSenderRow.entryId);
    propCopy(kFromRow.searchKey, kSenderRow.searchKey);
    if (exists(kFromRow.address)) {
      propCopy(kFromRow.address, kSenderRow.address);
      propCopy(kFromRow.type, kSenderRow.type);
    }
    propCopyIfExists(kFromRow.name, kSenderRow.name);
  }
}

void MessageConvert::setReceiptsFlags() {
  for (const ReceiptRow& row : kReceipts) {
    ScopedAddressList list;
    list.load(data().getMimeMessage(), row.kind);
    if (list.empty()) {
      continue;
    }
    setBool(row.flag, true);
    if (row.entryId != 0 && !saysNothing(*list.begin())) {
      AddressMaker maker(data().getAllocator(), emailOf(*list.begin()), nameOf(*list.begin()));
      MapiPropUtils::setBinary(data().getMapiMessage(), row.entryId, bytesOf(maker.getEntryId()));
      MapiPropUtils::setBinary(data().getMapiMessage(), row.searchKey, bytesOf(maker.getSearchKey()));
    }
  }
}

void MessageConvert::setReplyToAddresses() {
  ScopedAddressList list;
  list.load(data().getMimeMessage(), mime::IAT_REPLYTO);
  std::u16string names;
  std::vector<std::string> entries;
  for (const mime::AddressProperties& address : list) {
    if (saysNothing(address)) {
      continue;
    }
    AddressMaker maker(data().getAllocator(), emailOf(address), nameOf(address), AddressMaker::Make::OnRequest);
    if (!entries.empty()) {
      names += u';';
    }
    std::u16string name = maker.getName().empty() ? widenAddress(maker.getAddress()) : maker.getName();
    std::replace(name.begin(), name.end(), u';', u',');  // which parts the names
    names += name;
    entries.emplace_back(bytesOf(maker.getEntryId()));
  }
  if (!entries.empty()) {
    MapiPropUtils::setBinary(data().getMapiMessage(), PR_REPLY_RECIPIENT_ENTRIES, buildFlatEntryList(entries));
    setUnicode(PR_REPLY_RECIPIENT_NAMES, names);
  }
}

void MessageConvert::setRecipientAddresses() {
  for (const RecipientRow& row : kRecipients) {
    ScopedAddressList list;
    list.load(data().getMimeMessage(), row.kind);
    for (const mime::AddressProperties& address : list) {
      if (!saysNothing(address)) {
        createRecipient(address, row.type, nullptr);
      }
    }
  }
}

void MessageConvert::createRecipient(const mime::AddressProperties& address, std::uint32_t type,
                                     IConvertRecipient** result) {
  constexpr const char* kWhere = "toMapi::MessageConvert::createRecipient";
  AddressMaker maker(data().getAllocator(), emailOf(address), nameOf(address));
  ComPtr<IConvertRecipient> recipient;
  checkHResult(data().getMapiMessage()->createRecipient(recipient.put()), kSource.at(kWhere));
  MapiPropUtils::setUnicode(recipient.get(), PR_DISPLAY_NAME, maker.getName());
  MapiPropUtils::setUnicode(recipient.get(), PR_ADDRTYPE, maker.getAddressType());
  if (!maker.getAddress().empty()) {
    MapiPropUtils::setAnsiString(recipient.get(), PR_EMAIL_ADDRESS, maker.getAddress());
  }
  MapiPropUtils::setULong(recipient.get(), PR_RECIPIENT_TYPE, type);
  MapiPropUtils::setBinary(recipient.get(), PR_ENTRYID, bytesOf(maker.getEntryId()));
  MapiPropUtils::setBinary(recipient.get(), PR_SEARCH_KEY, bytesOf(maker.getSearchKey()));
  if (result != nullptr) {
    *result = recipient.detach();
  } else {
    checkHResult(recipient->saveChanges(), kSource.at(kWhere));
  }
}

void MessageConvert::createRecipient(std::u16string_view name, std::string_view email, std::uint32_t type,
                                     IConvertRecipient** result) {
  if (name.empty() && email.empty()) {
    throwHResult(E_INVALIDARG, kSource.at("toMapi::MessageConvert::createRecipient"));
  }
  std::u16string terminatedName(name);
  std::string terminatedEmail(email);
  if (email.empty()) {
    ScopedAddressList parsed;
    if (succeeded(mime::MimeOleParseRfc822AddressW(mime::IAT_CC, terminatedName.c_str(), parsed.put())) && !parsed.empty() &&
        !saysNothing(*parsed.begin())) {
      createRecipient(*parsed.begin(), type, result);
      return;
    }
  }
  mime::AddressProperties address{};
  address.name = terminatedName.data();
  address.email = terminatedEmail.data();
  createRecipient(address, type, result);
}

}  // namespace toMapi
}  // namespace nalvo

// What a mail is known to drop or to alter, told from the message alone.
#include <algorithm>
#include <iterator>

#include "host/carried.h"
#include "host/carried_tasks.h"
#include "host/carried_value.h"
#include "host/hidden_values.h"
#include "host/msg_layout.h"
#include "host/series.h"
#include "host/worked_out_body.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "platform/time/file_time.h"

namespace nalvo::host {
namespace {

// Values of parts that are longer are told by the mail, or are no small matter.
constexpr std::uint64_t kLargestPartValue = 1U << 20;

constexpr ULONG kAttachDataId = propId(PR_ATTACH_DATA_BIN);

// --- Values that no mail holds

constexpr ULONG kDropped[] = {
    propTag(PT_BOOLEAN, 0x0002),  // alternate recipient allowed
    propTag(PT_BOOLEAN, 0x002B),  // reassignment prohibited
    PR_SENSITIVITY,
    PR_READ_RECEIPT_REQUESTED,
    PR_ORIGINATOR_DELIVERY_REPORT_REQUESTED,
    PR_REPORT_TAG,
    PR_REPLY_RECIPIENT_NAMES,
    PR_SUBMIT_FLAGS,
    PR_ACCESS,
    propTag(PT_LONG, 0x0FF7),    // access level
    propTag(PT_BINARY, 0x0FF8),  // mapping signature
    propTag(PT_BINARY, 0x0FF9),  // record key
    propTag(PT_BINARY, 0x0FFA),  // store record key
    propTag(PT_BINARY, 0x0FFB),  // store entry id
    propTag(PT_LONG, 0x0FFE),    // object type
    PR_ENTRYID,
    propTag(PT_BINARY, 0x0E09),  // parent entry id
    propTag(PT_BINARY, 0x6670),  // long-term entry id
    msg::PR_STORE_SUPPORT_MASK,
    propTag(PT_BINARY, 0x3414),  // store provider
};

// --- Values that a mail states its own way

// Bits of PR_MESSAGE_FLAGS that a server tells: read, unsent, hidden, receipts due. A mail in a file counts as read.
constexpr std::int32_t kServerFlags = 0x359;
constexpr std::int32_t kReadFlag = 1;

PropertyRecord asRead(const PropertyRecord& record) {
  return {PT_LONG, (std::get<std::int32_t>(record.content) & ~kServerFlags) | kReadFlag};
}
PropertyRecord zero(const PropertyRecord&) { return {PT_LONG, std::int32_t{0}}; }
PropertyRecord wholeSecond(const PropertyRecord& record) {
  const std::uint64_t ticks = ticksOf(std::get<FILETIME>(record.content));
  return {PT_SYSTIME, fileTimeOf(ticks - ticks % std::uint64_t{kTicksPerSecond})};
}

struct StatedRow {
  ULONG tag;
  PropertyRecord (*stated)(const PropertyRecord&);
};
constexpr StatedRow kStated[] = {
    {PR_MESSAGE_FLAGS, asRead},
    {PR_CONTENT_UNREAD, zero},
    {PR_MSG_STATUS, zero},
    {PR_CLIENT_SUBMIT_TIME, wholeSecond},
};

// --- People

struct PersonRow {
  ULONG name;
  ULONG type;
  ULONG address;
  ULONG entryId;
  ULONG searchKey;
};
constexpr PersonRow kPeople[] = {
    {PR_SENDER_NAME, PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS, PR_SENDER_ENTRYID, PR_SENDER_SEARCH_KEY},
    {PR_SENT_REPRESENTING_NAME, PR_SENT_REPRESENTING_ADDRTYPE, PR_SENT_REPRESENTING_EMAIL_ADDRESS,
     PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_SEARCH_KEY},
};

constexpr ULONG kTexts[] = {PR_BODY, PR_HTML, PR_BODY_HTML};

// --- RTF, whose look no mail tells, and the texts beside it, as a mail takes its own from the RTF

constexpr ULONG kMadeFromRtf[] = {PR_BODY, PR_HTML, PR_BODY_HTML, PR_MSG_EDITOR_FORMAT, PR_INTERNET_CPID};

bool isAmong(const auto& list, ULONG tag) { return std::find(std::begin(list), std::end(list), tag) != std::end(list); }

bool isNarrow(const PropertyRecord& record) {
  return record.codePage != 0 && (record.type == PT_STRING8 || record.type == PT_MV_STRING8);
}

// --- What a mail says though the message does not

PropertyRecord number(std::int32_t value) { return {PT_LONG, value}; }

// Added with this value, which stands for nothing.
struct AddedRow {
  ULONG tag;
  std::int32_t value;
};
constexpr AddedRow kAddedToMessages[] = {
    {PR_CONTENT_UNREAD, 0}, {PR_MSG_STATUS, 0}, {PR_MESSAGE_FLAGS, kReadFlag}, {PR_PRIORITY, 0}, {PR_IMPORTANCE, 1},
};
constexpr AddedRow kAddedToAttachments[] = {{PR_ATTACH_MIME_SEQUENCE, 0}, {PR_RENDERING_POSITION, -1}};
constexpr ULONG kAddedToRecipients[] = {PR_ADDRTYPE, PR_ENTRYID, PR_SEARCH_KEY};
constexpr ULONG kWorkedOutOfSubject[] = {PR_SUBJECT_PREFIX, PR_NORMALIZED_SUBJECT, PR_CONVERSATION_TOPIC};

// Named properties that a mail brings.
struct AddedNameRow {
  GUID set;
  std::int32_t id;
  const char16_t* name;
  ULONG type;
  PropertyContent (*value)();  // null: whatever it is
};
constexpr GUID kCommonSet{0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID kHeaderSet{0x00020386, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID kCharsetSet{0x4E3A7680, 0xB77A, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};
constexpr AddedNameRow kAddedNames[] = {
    {kCommonSet, 0x8514, nullptr, PT_BOOLEAN, [] { return PropertyContent(false); }},
    {kCommonSet, 0x8570, nullptr, PT_LONG, [] { return PropertyContent(std::int32_t{0}); }},
    {kHeaderSet, 0, u"Content-Class", PT_UNICODE, nullptr},
    {kCharsetSet, 0, u"Internet Charset Body", PT_BINARY, nullptr},
};

// --- Calendar items

// Named properties that their text has no place for. A series that was edited meanwhile has other words.
constexpr GUID kAppointmentSet{0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID kMeetingSet{0x6ED8DA90, 0x450B, 0x101B, {0x98, 0xDA, 0x00, 0xAA, 0x00, 0x3F, 0x13, 0x05}};
constexpr std::int32_t kRecurrenceType = 0x8231;
constexpr std::int32_t kRecurrencePattern = 0x8232;

constexpr AddedNameRow kAddedToEvents[] = {
    {kCommonSet, 0x851E, nullptr, PT_BOOLEAN, [] { return PropertyContent(false); }},              // has a sound
    {kAppointmentSet, 0x8214, nullptr, PT_LONG, [] { return PropertyContent(std::int32_t{0}); }},  // colour
    {kMeetingSet, 0x0001, nullptr, PT_SYSTIME, nullptr},                                           // critical change
};

bool isEvent(const PropertyBag& bag) {
  constexpr std::u16string_view kClasses[] = {u"IPM.Appointment", u"IPM.Schedule.Meeting."};
  const std::u16string messageClass = bag.text(PR_MESSAGE_CLASS);
  return std::any_of(std::begin(kClasses), std::end(kClasses), [&](std::u16string_view start) {
    return equalsIgnoreCase(std::u16string_view(messageClass).substr(0, start.size()), start);
  });
}

class Planner {
 public:
  explicit Planner(const MemoryMessage& message)
      : message_(message), bag_(message.bag()), workedOut_(workedOutBody(message)) {}

  CarriedLayer plan(const MemoryMessage* holder) {
    for (const ULONG tag : bag_.tags()) {
      const PropertyRecord& record = *bag_.findListed(tag);
      if (const std::optional<Guard> guard = guardOf(tag, record)) {
        add(layer_.values, bag_, tag, *guard);
      } else if (isNarrow(record) && contentSize(record) <= kLargestBody) {
        if (std::optional<PropertyKey> key = keyOf(bag_, tag)) {
          layer_.values.push_back({std::move(*key), {}, CarriedValue::Action::Narrow, {record.type, {}, record.codePage}});
        }
      }
    }
    planRemovals();
    for (const auto& recipient : message_.parts().recipients) {
      CarriedPart& part = layer_.recipients.emplace_back();
      part.marks = marksOf(*recipient);
      for (const ULONG tag : recipient->bag().tags()) {
        add(part.values, recipient->bag(), tag, {});
      }
      for (const ULONG tag : kAddedToRecipients) {
        remove(part.values, recipient->bag(), tag, {});
      }
    }
    for (const auto& attachment : message_.parts().attachments) {
      addAttachment(*attachment);
    }
    planTask(message_, holder, layer_);
    planSeries(bag_, layer_);
    return std::move(layer_);
  }

 private:
  static void add(std::vector<CarriedValue>& values, const PropertyBag& bag, ULONG tag, Guard guard) {
    std::optional<PropertyKey> key = keyOf(bag, tag);
    if (key && propType(tag) != PT_OBJECT) {
      values.push_back({std::move(*key), std::move(guard), CarriedValue::Action::Set, *bag.findListed(tag)});
    }
  }
  // What is not there is to be away again.
  static void remove(std::vector<CarriedValue>& values, const PropertyBag& bag, ULONG tag, Guard guard) {
    if (bag.findListed(tag) == nullptr) {
      values.push_back({{tag, {}}, std::move(guard), CarriedValue::Action::Remove, {}});
    }
  }

  void planRemovals() {
    for (const AddedRow& row : kAddedToMessages) {
      remove(layer_.values, bag_, row.tag, Guard::value(number(row.value)));
    }
    for (const ULONG tag : kWorkedOutOfSubject) {
      remove(layer_.values, bag_, tag, Guard::words(PR_SUBJECT, bag_.text(PR_SUBJECT)));
    }
    for (const PersonRow& row : kPeople) {
      for (const ULONG tag : {row.type, row.address, row.entryId, row.searchKey}) {
        remove(layer_.values, bag_, tag, guardOfPerson(row));
      }
    }
    const std::optional<Guard> guard = isSigned()                                ? Guard{}
                                       : bag_.find(PR_RTF_COMPRESSED) != nullptr ? guardOfRtf()
                                                                                 : std::nullopt;
    if (guard) {
      for (const ULONG tag : kTexts) {
        remove(layer_.values, bag_, tag, *guard);
      }
    } else if (workedOut_) {
      remove(layer_.values, bag_, PR_BODY, Guard::words(PR_BODY, *workedOut_));
    }
    planNameRemovals(kAddedNames);
    if (isEvent(bag_)) {
      planNameRemovals(kAddedToEvents);
    }
  }

  template <std::size_t N>
  void planNameRemovals(const AddedNameRow (&rows)[N]) {
    for (const AddedNameRow& row : rows) {
      const PropertyName name{row.set, row.name == nullptr ? MNID_ID : MNID_STRING, row.id,
                              row.name == nullptr ? std::u16string() : row.name};
      const std::uint16_t id = bag_.names().idOf(name, false);
      if (id == 0 || bag_.findListed(propTag(row.type, id)) == nullptr) {
        layer_.values.push_back({{propTag(row.type, 0), name},
                                 row.value == nullptr ? Guard{} : Guard::value({row.type, row.value()}),
                                 CarriedValue::Action::Remove,
                                 {}});
      }
    }
  }

  std::optional<Guard> guardOf(ULONG tag, const PropertyRecord& record) {
    if ((!hasTextForm(record.type) && record.type != PT_OBJECT) || hasOddTime(record) || isAmong(kDropped, tag) ||
        isDroppedByEvents(tag)) {
      return Guard{Guard::Kind::Absent, 0, {}};
    }
    for (const StatedRow& row : kStated) {
      if (row.tag == tag) {
        return Guard::value(row.stated(record));
      }
    }
    for (const PersonRow& row : kPeople) {
      if (isAmong(std::initializer_list<ULONG>{row.name, row.type, row.address, row.entryId, row.searchKey}, tag)) {
        return guardOfPerson(row);
      }
    }
    if (tag == PR_READ_RECEIPT_ENTRYID || tag == PR_READ_RECEIPT_SEARCH_KEY) {
      return guardOfPerson(kPeople[0]);  // receipts go to the sender
    }
    if (tag == PR_INTERNET_CPID && findCodePage(static_cast<CodePage>(std::get<std::int32_t>(record.content))) == nullptr) {
      return Guard{};
    }
    if (isSigned() && isAmong(kTexts, tag) && contentSize(record) <= kLargestPartValue) {
      return Guard{};
    }
    if (tag == PR_REPLY_RECIPIENT_ENTRIES) {
      return Guard::words(PR_REPLY_RECIPIENT_NAMES, bag_.text(PR_REPLY_RECIPIENT_NAMES));
    }
    const bool isOfRtf = isAmong(kRtfTags, tag);
    if (bag_.find(PR_RTF_COMPRESSED) != nullptr) {
      return isOfRtf || isAmong(kMadeFromRtf, tag) || isCharsetBody(tag) ? guardOfRtf() : std::nullopt;
    }
    if (isOfRtf) {
      return Guard{Guard::Kind::Absent, 0, {}};
    }
    return std::nullopt;
  }

  // What an event has of no use to other readers.
  bool isDroppedByEvents(ULONG tag) const {
    const PropertyName* name = bag_.names().nameOf(static_cast<std::uint16_t>(propId(tag)));
    const bool isDropped =
        tag == PR_LAST_MODIFICATION_TIME ||
        (name != nullptr && name->set == kAppointmentSet && (name->id == kRecurrencePattern || name->id == kRecurrenceType));
    return isDropped && isEvent(bag_);
  }

  bool isCharsetBody(ULONG tag) const {
    const PropertyName* name = bag_.names().nameOf(static_cast<std::uint16_t>(propId(tag)));
    return name != nullptr && name->set == kCharsetSet;
  }

  // A mail tells the SMTP address of a person, or else the name.
  Guard guardOfPerson(const PersonRow& row) const {
    const std::u16string type = bag_.text(row.type);
    const std::u16string address = bag_.text(row.address);
    const bool isTold = !address.empty() && (type.empty() || equalsIgnoreCase(type, u"SMTP"));
    return Guard::person(row.address, isTold ? address : bag_.text(row.name));
  }

  // RTF belongs to a text that still has the same words.
  std::optional<Guard> guardOfRtf() {
    const PropertyRecord* rtf = bag_.find(PR_RTF_COMPRESSED);
    const PropertyRecord* body = bag_.find(PR_BODY);
    if (contentSize(*rtf) > kLargestCarriedValue || (body != nullptr && contentSize(*body) > kLargestBody)) {
      return std::nullopt;
    }
    if (!rtfGuard_) {
      const std::u16string text = textOfRtf(*rtf);
      rtfGuard_ = Guard::words(PR_BODY, body == nullptr ? workedOut_.value_or(text) : bag_.text(PR_BODY), text);
    }
    return rtfGuard_;
  }

  void addAttachment(const MemoryAttachment& attachment) {
    const PropertyBag& bag = attachment.bag();
    CarriedPart& part = layer_.attachments.emplace_back();
    part.marks = marksOf(attachment);
    if (!isSigned()) {
      part.marks.pop_back();  // its kind alone does not tell it from another
    }
    const Guard method = Guard::value(number(methodInMail(attachment)));
    for (const ULONG tag : bag.tags()) {
      const bool isTold = propId(tag) == kAttachDataId || isAmong(kToldOfAttachments, tag);
      if (!isTold && contentSize(*bag.findListed(tag)) <= kLargestPartValue) {
        add(part.values, bag, tag, tag == PR_ATTACH_METHOD ? method : Guard{});
      }
    }
    for (const AddedRow& row : kAddedToAttachments) {
      remove(part.values, bag, row.tag, Guard::value(number(row.value)));
    }
    remove(part.values, bag, PR_ATTACH_TAG, {});
    remove(part.values, bag, PR_ATTACH_METHOD, method);
    if (!attachment.embedded()) {
      remove(part.values, bag, PR_ATTACH_DATA_BIN, Guard::value({PT_BINARY, std::string()}));
    }
  }

  // The text of a signed or encrypted mail lies in its one attachment.
  bool isSigned() const {
    const std::u16string name = bag_.text(PR_MESSAGE_CLASS);
    return equalsIgnoreCase(name, u"IPM.Note.SMIME") || equalsIgnoreCase(name, u"IPM.Note.SMIME.MultipartSigned");
  }

  // What ties an attachment to the text, which an editor of the mail may have changed.
  static constexpr ULONG kToldOfAttachments[] = {PR_ATTACH_CONTENT_ID, PR_ATTACH_CONTENT_LOCATION};

  const MemoryMessage& message_;
  const PropertyBag& bag_;
  CarriedLayer layer_;
  const std::optional<std::u16string> workedOut_;
  std::optional<Guard> rtfGuard_;
};

}  // namespace

CarriedLayer planCarried(const MemoryMessage& message, const MemoryMessage* holder) { return Planner(message).plan(holder); }

}  // namespace nalvo::host

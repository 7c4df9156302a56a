// Meeting messages as a mail program keeps them in files: what each says in words, after a mail that holds all of it, and
// for whoever gets a mail of it.
#include <gtest/gtest.h>

#include "convert/groupware/calendar_values.h"
#include "host/comparison.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "host/structure_words.h"
#include "tests/convert/calendar_items.h"

namespace nalvo::test {
namespace {

constexpr ULONG kTagRecipientFlags = propTag(PT_LONG, 0x5FFD);
constexpr ULONG kTagTrackStatus = propTag(PT_LONG, 0x5FFF);
constexpr ULONG kTagReplyRequested = propTag(PT_BOOLEAN, 0x0C17);

struct Person {
  const char16_t* name;
  const char* address;
};
constexpr Person kAnn{u"Ann Archer", "ann@example.com"};
constexpr Person kBob{u"Bob Brown", "bob@example.com"};
constexpr Person kCleo{u"Cleo Cole", "cleo@example.com"};

struct Kind {
  const char16_t* messageClass;
  const char16_t* prefix;  // of the subject
  Person from;
  std::int32_t stateFlags;
  std::int32_t response;
  bool isSeries;
  const char* instance;  // the moved one that it is about; null for all
  const char* words;
};
constexpr Kind kKinds[] = {
    {u"IPM.Schedule.Meeting.Request", u"", kAnn, 3, 5, false, nullptr,
     "IPM.Schedule.Meeting.Request \"Plans\" of Ann Archer to Ann Archer (organizer), Bob Brown, Cleo Cole (optional), in "
     "\"Room 5\", 2024-05-06 07:00 to 2024-05-06 08:30, once, version 2, reminder 15 minutes ahead, wants an answer"},
    {u"IPM.Schedule.Meeting.Request", u"", kAnn, 3, 5, true, nullptr,
     "IPM.Schedule.Meeting.Request \"Plans\" of Ann Archer to Ann Archer (organizer), Bob Brown, Cleo Cole (optional), in "
     "\"Room 5\", 2024-05-06 07:00 to 2024-05-06 08:30, every week on Monday, 4 times, 1 deleted, version 2, reminder 15 "
     "minutes ahead, wants an answer"},
    {u"IPM.Schedule.Meeting.Request", u"", kAnn, 3, 5, false, "2024-05-05 07:00",
     "IPM.Schedule.Meeting.Request \"Plans\" of Ann Archer to Ann Archer (organizer), Bob Brown, Cleo Cole (optional), in "
     "\"Room 5\", 2024-05-06 07:00 to 2024-05-06 08:30, in the place of 2024-05-05 07:00, version 2, reminder 15 minutes "
     "ahead, wants an answer"},
    {u"IPM.Schedule.Meeting.Resp.Pos", u"Accepted: ", kBob, 0, 3, false, nullptr,
     "IPM.Schedule.Meeting.Resp.Pos \"Accepted: Plans\" of Bob Brown to Ann Archer (organizer), in \"Room 5\", 2024-05-06 "
     "07:00 "
     "to 2024-05-06 08:30, once, version 2"},
    {u"IPM.Schedule.Meeting.Resp.Neg", u"Declined: ", kBob, 0, 4, true, nullptr,
     "IPM.Schedule.Meeting.Resp.Neg \"Declined: Plans\" of Bob Brown to Ann Archer (organizer), in \"Room 5\", 2024-05-06 "
     "07:00 "
     "to 2024-05-06 08:30, every week on Monday, 4 times, 1 deleted, version 2"},
    {u"IPM.Schedule.Meeting.Resp.Tent", u"Tentative: ", kBob, 0, 2, false, nullptr,
     "IPM.Schedule.Meeting.Resp.Tent \"Tentative: Plans\" of Bob Brown to Ann Archer (organizer), in \"Room 5\", 2024-05-06 "
     "07:00 to 2024-05-06 08:30, once, version 2"},
    {u"IPM.Schedule.Meeting.Canceled", u"Canceled: ", kAnn, 7, 5, false, nullptr,
     "IPM.Schedule.Meeting.Canceled \"Canceled: Plans\" of Ann Archer to Ann Archer (organizer), Bob Brown, Cleo Cole "
     "(optional), in \"Room 5\", 2024-05-06 07:00 to 2024-05-06 08:30, once, version 2"},
};

bool isRequest(const Kind& kind) { return std::u16string_view(kind.messageClass).ends_with(u"Request"); }
bool isReply(const Kind& kind) { return std::u16string_view(kind.messageClass).find(u"Resp") != std::u16string_view::npos; }

std::uint32_t minutesOf(const char* time) { return static_cast<std::uint32_t>(ticksOf(at(time)) / (60 * kTicksPerSecond)); }

template <typename Number>
void append(std::string& bytes, std::initializer_list<Number> numbers) {
  for (const Number number : numbers) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
      bytes.push_back(static_cast<char>(number >> (8 * i) & 0xFF));
    }
  }
}

// Each Monday, four times, without the third, from 09:00 to 10:30.
std::string seriesBytes() {
  std::string bytes;
  append<std::uint16_t>(bytes, {0x3004, 0x3004, 0x200B, 1, 0});
  append<std::uint32_t>(bytes, {0, 1, 0, 2, 0x2022, 4, 1, 1, minutesOf("2024-05-20 00:00"), 0, minutesOf("2024-05-06 00:00"),
                                minutesOf("2024-05-27 00:00"), 0x3006, 0x3008, 540, 630});
  append<std::uint16_t>(bytes, {0});
  append<std::uint32_t>(bytes, {0, 0});
  return bytes;
}

// An hour ahead of Greenwich, two from the last Sunday of March to that of October.
std::string zoneBytes() {
  std::string bytes;
  append<std::int32_t>(bytes, {-60, 0, -60});
  append<std::uint16_t>(bytes, {0, 0, 10, 0, 5, 3, 0, 0, 0, 0, 0, 3, 0, 5, 2, 0, 0, 0});
  return bytes;
}

class FiledMeeting : public Caller {
 public:
  explicit FiledMeeting(const Kind& kind) {
    Item item{kind.messageClass};
    fill(item, kind);
    const ComPtr<IStream> file = stream();
    host::StreamSink sink(file.get());
    host::writeMsg(item.message.get(), sink);
    streamUtils::rewind(file.get());
    std::vector<std::string> warnings;
    message = host::readMsg(file.get(), context, &warnings);
    EXPECT_EQ(warnings, std::vector<std::string>());
  }
  explicit FiledMeeting(ComPtr<host::MemoryMessage> read) { message = std::move(read); }

 private:
  static void addPerson(Item& item, std::int32_t type, const Person& person, std::int32_t flags) {
    item.addRecipient(type, person.name, u"SMTP", person.address);
    host::PropertyBag& bag = item.message->parts().recipients.back()->bag();
    bag.set(kTagRecipientFlags, {PT_LONG, flags});
    bag.set(kTagTrackStatus, {PT_LONG, std::int32_t{0}});
  }

  static void fill(Item& item, const Kind& kind) {
    item.set(PR_SUBJECT, std::u16string(kind.prefix) + u"Plans");
    item.set(PR_BODY, std::u16string(u"What is next\r\n"));
    item.set(PR_MESSAGE_FLAGS, std::int32_t{1});
    item.set(PR_CLIENT_SUBMIT_TIME, at("2024-04-01 12:00"));
    item.set(PR_MESSAGE_DELIVERY_TIME, at("2024-04-01 12:01"));
    item.set(PR_LAST_MODIFICATION_TIME, at("2024-04-02 12:00"));
    item.set(PR_IMPORTANCE, std::int32_t{1});
    for (const ULONG tag : {PR_SENDER_NAME, PR_SENT_REPRESENTING_NAME}) {
      item.set(tag, std::u16string(kind.from.name));
    }
    for (const ULONG tag : {PR_SENDER_ADDRTYPE, PR_SENT_REPRESENTING_ADDRTYPE}) {
      item.set(tag, std::u16string(u"SMTP"));
    }
    for (const ULONG tag : {PR_SENDER_EMAIL_ADDRESS, PR_SENT_REPRESENTING_EMAIL_ADDRESS}) {
      item.set(tag, utf8ToWide(kind.from.address));
    }
    addPerson(item, 1, kAnn, 3);
    if (!isReply(kind)) {
      addPerson(item, 1, kBob, 1);
      addPerson(item, 2, kCleo, 1);
    }
    item.set(named::kAppointmentStartWhole, at("2024-05-06 07:00"));
    item.set(named::kAppointmentEndWhole, at("2024-05-06 08:30"));
    item.set(named::kAppointmentDuration, std::int32_t{90});
    item.set(named::kAppointmentSubType, false);
    item.set(named::kLocation, std::u16string(u"Room 5"));
    item.set(named::kGlobalObjectId, makeGlobalObjectId("key"));
    item.set(named::kCleanGlobalObjectId, item.bytes(item.tagOf(named::kGlobalObjectId)));
    item.set(named::kAppointmentSequence, std::int32_t{2});
    item.set(named::kAttendeeCriticalChange, at("2024-04-01 11:59"));
    item.set(named::kBusyStatus, std::int32_t{1});
    item.set(named::kAppointmentStateFlags, kind.stateFlags);
    item.set(named::kResponseStatus, kind.response);
    item.set(named::kPrivate, false);
    item.set(named::kTimeZoneStruct, zoneBytes());
    item.set(named::kRecurring, kind.isSeries);
    if (kind.isSeries) {
      item.set(named::kAppointmentRecur, seriesBytes());
      item.set(named::kRecurrenceType, std::int32_t{2});
      item.set(named::kRecurrencePattern, std::u16string(u"every Monday"));
    }
    if (kind.instance != nullptr) {
      item.set(kExceptionReplaceTime, at(kind.instance));
    }
    if (isRequest(kind)) {
      item.set(named::kReminderSet, true);
      item.set(named::kReminderDelta, std::int32_t{15});
      item.set(named::kReminderSignalTime, at("2024-05-06 06:45"));
      item.set(named::kReminderTime, at("2024-05-06 07:00"));
      item.set(kTagReplyRequested, true);
    }
  }
};

std::string wordsOf(const FiledMeeting& meeting) {
  const auto text = [&](ULONG tag) { return meeting.has(tag) ? wideToUtf8(meeting.text(tag)) : "<none>"; };
  const auto flag = [&](ULONG tag) { return meeting.has(tag) && meeting.get<bool>(tag); };
  std::string words =
      text(PR_MESSAGE_CLASS) + " \"" + text(PR_SUBJECT) + "\" of " + text(PR_SENT_REPRESENTING_NAME) + " to ";
  for (const auto& recipient : meeting.message->parts().recipients) {
    const host::PropertyBag& bag = recipient->bag();
    words += (words.ends_with(" to ") ? "" : ", ") + wideToUtf8(host::textOf(*bag.find(PR_DISPLAY_NAME)));
    const bool isOrganizer = std::get<std::int32_t>(bag.find(kTagRecipientFlags)->content) == 3;
    const bool isOptional = std::get<std::int32_t>(bag.find(PR_RECIPIENT_TYPE)->content) == 2;
    words += isOrganizer ? " (organizer)" : isOptional ? " (optional)" : "";
  }
  words += ", in \"" + text(meeting.tagOf(named::kLocation)) + "\", " + timeOf(meeting, named::kAppointmentStartWhole) +
           " to " + timeOf(meeting, named::kAppointmentEndWhole) + ", ";
  if (meeting.has(meeting.tagOf(kExceptionReplaceTime))) {
    words += "in the place of " + timeOf(meeting, kExceptionReplaceTime);
  } else if (flag(meeting.tagOf(named::kRecurring))) {
    words += host::recurrenceWords(meeting.bytes(meeting.tagOf(named::kAppointmentRecur)));
  } else {
    words += "once";
  }
  words += ", version " + std::to_string(numberOf(meeting, named::kAppointmentSequence));
  if (flag(meeting.tagOf(named::kReminderSet))) {
    words += ", reminder " + std::to_string(numberOf(meeting, named::kReminderDelta)) + " minutes ahead";
  }
  return words + (flag(kTagReplyRequested) ? ", wants an answer" : "");
}

TEST(MeetingFile, ComesBackWholeFromAMail) {
  const mail::testing::ScopedZone scope("Europe/Prague");
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.words);
    const FiledMeeting before(kind);
    EXPECT_EQ(wordsOf(before), kind.words);
    const host::MailFile mail = host::writeMail(before.message.get(), host::MailForm::Lossless, nullptr);
    EXPECT_EQ(mail.warnings, std::vector<std::string>());
    const FiledMeeting after(host::readMail(mail.mail.get(), before.context, at("2024-06-01 00:00"), nullptr));
    EXPECT_EQ(wordsOf(after), kind.words);
    const host::Comparison comparison = host::compareMessages(*before.message, *after.message);
    EXPECT_TRUE(comparison.whole()) << host::toJson(comparison).dump(1);
    EXPECT_NO_THROW(host::writeMail(before.message.get(), host::MailForm::Exact, nullptr));
  }
}

TEST(MeetingFile, IsUnderstoodByWhoeverGetsIt) {
  const mail::testing::ScopedZone scope("Europe/Prague");
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.words);
    const FiledMeeting before(kind);
    const host::MailFile mail = host::writeMail(before.message.get(), host::MailForm::Wire, nullptr);
    const FiledMeeting after(host::readMail(mail.mail.get(), before.context, at("2024-06-01 00:00"), nullptr));
    EXPECT_EQ(wordsOf(after), kind.words);
    const std::string id = before.bytes(before.tagOf(named::kGlobalObjectId));
    EXPECT_EQ(after.bytes(after.tagOf(named::kGlobalObjectId)), id);
    EXPECT_EQ(after.bytes(after.tagOf(named::kCleanGlobalObjectId)), id);
  }
}

}  // namespace
}  // namespace nalvo::test

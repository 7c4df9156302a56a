#include "host/comparison.h"

#include <gtest/gtest.h>

#include <set>

#include "host/host_context.h"
#include "streams/stream_utils.h"

namespace nalvo::test {
namespace {

TEST(Rules, AreAsNarrowAsTheirConditions) {
  using host::Place;
  struct Case {
    const char* why;
    Place place;
    const char* what;
    const char* before;
    const char* after;
    host::Facts old;
    host::Facts now;
    bool explained;
  };
  constexpr const char* kNoon = "\"2024-05-06T12:00:00.0000000Z\"";
  constexpr const char* kTwo = "\"2024-05-06T14:00:00.0000000Z\"";
  const host::Facts event = {
      {"PR_MESSAGE_CLASS", "\"IPM.Appointment\""}, {"PidLidReminderSet", "true"}, {"PidLidAppointmentStartWhole", kNoon}};
  const host::Facts request = {{"PR_MESSAGE_CLASS", "\"IPM.Schedule.Meeting.Request\""}};
  host::Facts wholeDay = event;
  wholeDay["PidLidAppointmentSubType"] = "true";
  host::Facts series = event;
  series["PidLidRecurring"] = "true";
  constexpr const char* kUtc = "{\"base64\":\"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\"}";
  constexpr const char* kTokyo = "{\"base64\":\"5P3//wAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\"}";
  // Each week until a day. The second is as we write it; the third is of Mondays.
  constexpr const char* kFridays =
      "{\"base64\":"
      "\"BDAEMAsgAQAAAMAhAAABAAAAAAAAACAAAAAhIAAANAAAAAAAAAAAAAAAAAAAAKDMOg0AsEINBjAAAAkwAADQAgAADAMAAAAAAAAAAAAA"
      "AAA=\"}";
  constexpr const char* kFridaysAnew =
      "{\"base64\":"
      "\"BDAEMAsgAQAAAAAAAAABAAAAAAAAACAAAAAhIAAACgAAAAEAAAAAAAAAAAAAAKDMOg0AsEINBjAAAAgwAADQAgAADAMAAAAAAAAAAAAA"
      "AAA=\"}";
  constexpr const char* kMondays =
      "{\"base64\":"
      "\"BDAEMAsgAQAAAAAAAAABAAAAAAAAAAIAAAAhIAAACgAAAAEAAAAAAAAAAAAAAKDMOg0AsEINBjAAAAgwAADQAgAADAMAAAAAAAAAAAAA"
      "AAA=\"}";
  const Case kCases[] = {
      {"what a mail drops comes back, so it must", Place::Message, "PR_SENSITIVITY", "2", "", {}, {}, false},
      {"so do the fields of a recipient", Place::Recipient, "PR_BUSINESS_TELEPHONE_NUMBER", "\"1\"", "", {}, {}, false},
      {"a receipt that was asked for", Place::Message, "PR_READ_RECEIPT_REQUESTED", "true", "", {}, {}, false},
      {"a subject", Place::Message, "PR_SUBJECT", "\"a\"", "\"b\"", {}, {}, false},
      {"a stored header that went",
       Place::Message,
       "PR_TRANSPORT_MESSAGE_HEADERS",
       "\"X-A: 1\\r\\nX-B: 2\\r\\n\"",
       "\"X-A: 1\\r\\n\"",
       {},
       {},
       false},
      {"a stored header that was folded",
       Place::Message,
       "PR_TRANSPORT_MESSAGE_HEADERS",
       "\"X-A: 1\\r\\n 2\\r\\n\"",
       "\"X-A: 1 2\\r\\nSubject: s\\r\\n\"",
       {},
       {},
       true},
      {"HTML in its code page",
       Place::Message,
       "PR_HTML",
       "",
       "{\"base64\":\"6Q==\"}",
       {{"PR_BODY_HTML", "\"\u00E9\""}},
       {{"PR_HTML", "{\"base64\":\"6Q==\"}"}, {"PR_INTERNET_CPID", "1252"}},
       true},
      {"HTML in another one",
       Place::Message,
       "PR_HTML",
       "",
       "{\"base64\":\"6Q==\"}",
       {{"PR_BODY_HTML", "\"\u20AC\""}},
       {{"PR_HTML", "{\"base64\":\"6Q==\"}"}, {"PR_INTERNET_CPID", "65001"}},
       false},
      {"a degree that stays",
       Place::Mail,
       "header X-Priority",
       "2 (High)",
       "1",
       {{"header x-priority", "2 (High)"}},
       {{"header x-priority", "1"}},
       true},
      {"a degree for a header that was not there",
       Place::Mail,
       "header X-Priority",
       "",
       "1",
       {{"header importance", "high"}},
       {{"header x-priority", "1"}},
       true},
      {"a degree that turns into another",
       Place::Mail,
       "header X-Priority",
       "1",
       "3",
       {{"header x-priority", "1"}},
       {{"header x-priority", "3"}},
       false},
      {"a degree that changes",
       Place::Mail,
       "header Importance",
       "",
       "High",
       {{"header x-priority", "5"}},
       {{"header importance", "High"}},
       false},
      {"what was signed is the same",
       Place::Attachment,
       "PR_ATTACH_DATA_BIN",
       "1",
       "2",
       {{"signed text", "a"}},
       {{"signed text", "a"}, {"PR_ATTACH_MIME_TAG", "\"multipart/signed\""}},
       true},
      {"what was signed is another",
       Place::Attachment,
       "PR_ATTACH_DATA_BIN",
       "1",
       "2",
       {{"signed text", "a"}},
       {{"signed text", "b"}, {"PR_ATTACH_MIME_TAG", "\"multipart/signed\""}},
       false},
      {"a whole recipient", Place::Recipient, "recipient", "\"a\"", "", {}, {}, false},
      {"a recipient's name", Place::Recipient, "PR_DISPLAY_NAME", "\"a\"", "", {}, {}, false},
      {"data of an attachment", Place::Attachment, "PR_ATTACH_DATA_BIN", "{}", "", {{"PR_ATTACH_METHOD", "1"}}, {}, false},
      {"a container",
       Place::Mail,
       "header Content-Type",
       "multipart/mixed; boundary=a",
       "text/plain",
       {{"header content-type", "multipart/mixed; boundary=a"}},
       {{"header content-type", "text/plain"}},
       true},
      {"one text in a list of an unknown kind",
       Place::Mail,
       "header Content-Type",
       "multipart/x; boundary=a",
       "text/plain",
       {{"header content-type", "multipart/x; boundary=a"}, {"parts", "1"}},
       {{"header content-type", "text/plain"}},
       true},
      {"a signature",
       Place::Mail,
       "header Content-Type",
       "multipart/signed; boundary=a",
       "text/plain",
       {{"header content-type", "multipart/signed; boundary=a"}},
       {{"header content-type", "text/plain"}},
       false},
      {"a start that moved by two hours", Place::Message, "PidLidAppointmentStartWhole", kNoon, kTwo, {}, event, false},
      {"a whole day that was made two hours off",
       Place::Message,
       "PidLidAppointmentStartWhole",
       kNoon,
       kTwo,
       {},
       wholeDay,
       true},
      {"a date beside the start", Place::Message, "PR_START_DATE", "", kNoon, {}, event, true},
      {"a date beside no start", Place::Message, "PR_START_DATE", "", kTwo, {}, event, false},
      {"a reminder that is on", Place::Message, "PidLidReminderSignalTime", kNoon, kTwo, {}, event, false},
      {"a number of a version", Place::Message, "PidLidAppointmentSequence", "", "2", {}, event, false},
      {"a zone of a series", Place::Message, "PidLidTimeZoneStruct", kTokyo, kUtc, {}, series, false},
      {"a zone of one time", Place::Message, "PidLidTimeZoneStruct", kTokyo, kUtc, {}, event, true},
      {"a series of others", Place::Message, "PidLidAppointmentRecur", kFridays, kFridaysAnew, {}, series, true},
      {"a series of another day", Place::Message, "PidLidAppointmentRecur", kFridays, kMondays, {}, series, false},
      {"a cut series", Place::Message, "PidLidAppointmentRecur", kFridays, "{\"base64\":\"BDAEMA==\"}", {}, series, false},
      {"a request that asks", Place::Message, "PR_REPLY_REQUESTED", "", "true", {}, request, true},
      {"a request that is private", Place::Message, "PidLidPrivate", "true", "false", {}, request, false},
      {"a calendar of an item", Place::Mail, "body text/calendar", "x", "", {{"item", "yes"}}, {{"item", "yes"}}, true},
      {"a calendar that is no item any more", Place::Mail, "body text/calendar", "x", "", {{"item", "yes"}}, {}, false},
      {"a date of an item", Place::Mail, "header Date", "x", "", {{"item", "yes"}}, {{"item", "yes"}}, false},
      {"a calendar file",
       Place::Mail,
       "attachment",
       "\"a.ics\", text/calendar, 1",
       "\"a.ics\", message/rfc822, 2",
       {},
       {},
       true},
      {"a picture of a card",
       Place::Mail,
       "attachment",
       "",
       "\"ContactPicture.png\", image/png, 70 bytes",
       {{"item", "yes"}},
       {{"item", "yes"}},
       true},
      {"a picture of a mail", Place::Mail, "attachment", "", "\"ContactPicture.png\", image/png, 70 bytes", {}, {}, false},
      {"another file", Place::Mail, "attachment", "\"a.txt\", text/plain, 1", "\"a.txt\", message/rfc822, 2", {}, {}, false},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(!host::ruleOf(c.place, {"message", c.what, c.before, c.after, {}}, c.old, c.now).empty(), c.explained);
  }
}

ComPtr<IStream> mailOf(std::string text) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) {
    text.insert(at, 1, '\r');
  }
  ComPtr<IStream> stream = streamUtils::createStream();
  ULONG written = 0;
  EXPECT_EQ(stream->Write(text.data(), static_cast<ULONG>(text.size()), &written), S_OK);
  streamUtils::rewind(stream.get());
  return stream;
}

std::string nested(const std::string& boundary, const std::string& inner) {
  const std::string part = "\n--" + boundary + "\n";
  return "Content-Type: multipart/mixed; boundary=" + boundary + "\n" + part + "\ntext" + part +
         "Content-Type: message/rfc822\n\n" + inner + "\n--" + boundary + "--\n";
}

TEST(MailComparison, LooksIntoAttachedMails) {
  const host::Comparison result = host::compareMails(mailOf(nested("a", nested("b", "Subject: deep\n\nx\n"))).get(),
                                                     mailOf(nested("a", nested("b", "Subject: other\n\nx\n"))).get());
  ASSERT_EQ(result.changed.size(), 1U);
  EXPECT_EQ(result.changed[0].where, "attachment 0/message/attachment 0/message");
  EXPECT_EQ(result.changed[0].what, "header Subject");
  EXPECT_TRUE(result.lost.empty() && result.added.empty());
}

TEST(MailComparison, KnowsAnItemThatWasAFile) {
  const std::string head = "Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n--b\n";
  const host::Comparison result = host::compareMails(
      mailOf(head + "Content-Type: text/calendar; name=a.ics\n\nBEGIN:VCALENDAR\n--b--\n").get(),
      mailOf(head + "Content-Type: message/rfc822; name=a.ics\n\nContent-Type: text/calendar\n\nx\n--b--\n").get());
  EXPECT_TRUE(result.whole());
  EXPECT_EQ(result.explained.size(), 2U);  // content and type
  const auto event = [](const std::string& summary) {
    return "BEGIN:VCALENDAR\nBEGIN:VEVENT\nSUMMARY:" + summary + "\nEND:VEVENT\nEND:VCALENDAR\n--b--\n";
  };
  const host::Comparison other = host::compareMails(
      mailOf(head + "Content-Type: text/calendar; name=a.ics\n\n" + event("a")).get(),
      mailOf(head + "Content-Type: message/rfc822; name=a.ics\n\nContent-Type: text/calendar\n\n" + event("b")).get());
  ASSERT_EQ(other.changed.size(), 1U);
  EXPECT_EQ(other.changed[0].where + " " + other.changed[0].what, "attachment 0 calendar summary");
}

// A calendar is written anew with every trip, so what it says counts.
TEST(MailComparison, TellsWhatAnItemSaysOtherwise) {
  struct Case {
    const char* why;
    const char* before;
    const char* after;
    const char* what;  // null: nothing
    bool explained;
  };
  const Case cases[] = {
      {"other text of the same", "DTSTART:20240506T090000Z\nSUMMARY:a", "SUMMARY:a\nDTSTART:20240506T090000Z\nX-NEW:1",
       nullptr, true},
      {"the same dates by other words", "DTSTART:20240506T090000Z\nRRULE:FREQ=MONTHLY;COUNT=3",
       "DTSTART:20240506T090000Z\nRRULE:FREQ=MONTHLY;COUNT=3;BYMONTHDAY=6", nullptr, true},
      {"a summary", "DTSTART:20240506T090000Z\nSUMMARY:a", "DTSTART:20240506T090000Z", "calendar summary", false},
      {"a place", "DTSTART:20240506T090000Z\nLOCATION:a", "DTSTART:20240506T090000Z", "calendar place", false},
      {"another end", "DTSTART:20240506T090000Z\nDTEND:20240506T100000Z", "DTSTART:20240506T090000Z\nDTEND:20240506T110000Z",
       "calendar end", false},
      {"a day of a week", "DTSTART:20240506T090000Z\nRRULE:FREQ=WEEKLY;BYDAY=MO,WE;COUNT=4",
       "DTSTART:20240506T090000Z\nRRULE:FREQ=WEEKLY;BYDAY=MO;COUNT=4", "calendar dates", false},
      {"a date that was excluded", "DTSTART:20240506T090000Z\nRRULE:FREQ=DAILY;COUNT=4\nEXDATE:20240507T090000Z",
       "DTSTART:20240506T090000Z\nRRULE:FREQ=DAILY;COUNT=4", "calendar dates", false},
      {"two weekdays of a month", "DTSTART:20240506T090000Z\nRRULE:FREQ=MONTHLY;BYDAY=1MO,3MO",
       "DTSTART:20240506T090000Z\nRRULE:FREQ=MONTHLY;BYMONTHDAY=6", "calendar dates", true},
      {"each hour", "DTSTART:20240506T090000Z\nRRULE:FREQ=HOURLY", "DTSTART:20240506T090000Z", "calendar dates", true},
      {"dates that can't be read", "DTSTART:20240506T090000Z\nRRULE:FREQ=DAILY;COUNT=2\nEXDATE:some day",
       "DTSTART:20240506T090000Z\nRRULE:FREQ=DAILY;COUNT=2", nullptr, true},
      {"a line of others", "DTSTART:20240506T090000Z\nX-OTHER:1", "DTSTART:20240506T090000Z", "item lines", true},
      {"more dates", "DTSTART:20240506T090000Z\nRDATE:20240601T090000Z", "DTSTART:20240506T090000Z", "calendar dates", true},
  };
  const auto calendar = [](const std::string& lines) {
    return mailOf("Content-Type: text/calendar\n\nBEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\n" + lines +
                  "\nEND:VEVENT\nEND:VCALENDAR\n");
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const host::Comparison result = host::compareMails(calendar(c.before).get(), calendar(c.after).get());
    EXPECT_EQ(result.whole(), c.explained);
    std::set<std::string> told;
    for (const auto* list : {&result.explained, &result.lost, &result.changed, &result.added}) {
      for (const host::Difference& difference : *list) {
        told.insert(difference.what);
      }
    }
    told.erase("body text/calendar");
    EXPECT_EQ(told.contains(c.what == nullptr ? "" : c.what), c.what != nullptr);
    told.erase("item lines");  // beside what they were
    EXPECT_LE(told.size(), c.what == nullptr ? 0U : 1U);
  }
}

TEST(MailComparison, FindsBodiesThatAreNeitherTextNorAttachment) {
  const std::string head = "Content-Type: multipart/alternative; boundary=b\n\n--b\n\ntext\n";
  const host::Comparison result = host::compareMails(
      mailOf(head + "--b\nContent-Type: text/calendar\n\nBEGIN:VCALENDAR\n--b--\n").get(), mailOf(head + "--b--\n").get());
  ASSERT_EQ(result.lost.size(), 1U);
  EXPECT_EQ(result.lost[0].what, "body text/calendar");
}

}  // namespace
}  // namespace nalvo::test

// Meeting messages: the sample of each kind in words, what people read of them, and what comes of mails of others.
#include <gtest/gtest.h>

#include "tests/convert/calendar_items.h"

namespace nalvo::test {
namespace {

using mail::testing::ScopedZone;

constexpr ULONG kTagSenderAddress = propTag(PT_STRING8, 0x0C1F);
constexpr ULONG kTagReceivedByName = propTag(PT_UNICODE, 0x0040);
constexpr std::u16string_view kRequest = u"IPM.Schedule.Meeting.Request";
constexpr std::u16string_view kReply = u"IPM.Schedule.Meeting.Resp";
constexpr std::u16string_view kCancel = u"IPM.Schedule.Meeting.Canceled";

void setSender(Caller& item, const char16_t* name, const std::string& address) {
  item.set(PR_SENDER_NAME, std::u16string(name));
  item.set(PR_SENDER_ADDRTYPE, std::u16string(u"SMTP"));
  item.set(PR_SENDER_EMAIL_ADDRESS, utf8ToWide(address));
  item.set(kTagSenderAddress, address);
  item.set(PR_SENT_REPRESENTING_NAME, std::u16string(name));
  item.set(PR_SENT_REPRESENTING_ADDRTYPE, std::u16string(u"SMTP"));
  item.set(PR_SENT_REPRESENTING_EMAIL_ADDRESS, utf8ToWide(address));
  item.set(changePropType(PR_SENT_REPRESENTING_EMAIL_ADDRESS, PT_STRING8), address);
}

// "Plans" on 6 May 2024 from 09:00 to 10:30 UTC in "Room 5".
void setMeeting(Caller& item) {
  item.set(PR_SUBJECT, std::u16string(u"Re: Plans"));
  item.set(PR_NORMALIZED_SUBJECT, std::u16string(u"Plans"));
  item.set(PR_BODY, std::u16string(u"When: soon\r\n*~*~*~*~*~*~*~*~*~*\r\n1 < 2\r\n*~*~*~*~*~*~*~*~*~*"));
  item.set(named::kAppointmentStartWhole, at("2024-05-06 09:00"));
  item.set(named::kAppointmentEndWhole, at("2024-05-06 10:30"));
  item.set(named::kLocation, std::u16string(u"Room 5"));
  item.set(named::kGlobalObjectId, std::string("m1"));
  item.set(named::kAttendeeCriticalChange, at("2024-04-01 12:00"));
}

// Ann asks Bob; Cleo may come too, and the room is booked.
void fillRequest(Caller& item) {
  setMeeting(item);
  setSender(item, u"Ann", "ann@example.com");
  item.addRecipient(1, u"Bob", u"SMTP", "bob@example.com");
  item.addRecipient(2, u"Cleo", u"SMTP", "cleo@example.com");
  item.addRecipient(3, u"Room 5", u"SMTP", "room5@example.com");
}

// Bob answers Ann.
void fillReply(Caller& item) {
  setMeeting(item);
  setSender(item, u"Bob", "bob@example.com");
  item.addRecipient(1, u"Ann", u"SMTP", "ann@example.com");
}

// Ann calls the meeting with Bob off.
void fillCancel(Caller& item) {
  setMeeting(item);
  setSender(item, u"Ann", "ann@example.com");
  item.addRecipient(1, u"Bob", u"SMTP", "bob@example.com");
}

std::vector<std::string> recipientsOf(const Caller& item) {
  std::vector<std::string> list;
  for (const auto& recipient : item.message->parts().recipients) {
    const host::PropertyBag& bag = recipient->bag();
    list.push_back(wideToUtf8(host::textOf(*bag.find(PR_DISPLAY_NAME))) + "|" +
                   std::to_string(std::get<std::int32_t>(bag.find(PR_RECIPIENT_TYPE)->content)));
  }
  return list;
}

TEST(Meeting, RequestAsksAllWhoAreToCome) {
  Item item{std::u16string(kRequest)};
  fillRequest(item);
  const std::string mail = item.write();
  const std::string calendar = calendarOf(mail);
  EXPECT_NE(mail.find("method=request"), std::string::npos) << mail;
  EXPECT_NE(mail.find("From: Ann <ann@example.com>"), std::string::npos) << mail;
  EXPECT_EQ(mail.find("multipart"), std::string::npos);
  EXPECT_EQ(lineOf(calendar, "METHOD"), "METHOD:REQUEST");
  EXPECT_EQ(lineOf(calendar, "ORGANIZER"), "ORGANIZER;CN=Ann:mailto:ann@example.com");
  EXPECT_EQ(lineOf(calendar, "UID"), "UID:m1");
  const Item back(item, mail);
  EXPECT_EQ(back.text(PR_MESSAGE_CLASS), kRequest);
  EXPECT_EQ(recipientsOf(back), (std::vector<std::string>{"Ann|1", "Bob|1", "Cleo|2", "Room 5|3"}));
  EXPECT_EQ(back.text(PR_SENDER_NAME), u"Ann");
  EXPECT_EQ(back.text(PR_SUBJECT), u"Re: Plans");
  EXPECT_TRUE(back.get<bool>(PR_REPLY_REQUESTED));
  EXPECT_TRUE(back.get<bool>(PR_RESPONSE_REQUESTED));
  EXPECT_TRUE(flagOf(back, named::kSendMeetingAsIcal));
  EXPECT_EQ(numberOf(back, named::kSideEffects), 0x1C61U);
  EXPECT_EQ(numberOf(back, named::kAppointmentStateFlags), 3U);
  EXPECT_EQ(numberOf(back, named::kResponseStatus), 5U);
  EXPECT_EQ(numberOf(back, named::kChangeHighlight), 3U);
}

TEST(Meeting, ReplySaysWhoAnswersWhat) {
  struct Case {
    std::u16string messageClass;
    std::string attendee;
    std::u16string back;
  };
  const std::string bob = "CN=Bob:mailto:bob@example.com";
  const Case cases[] = {
      {u"IPM.Schedule.Meeting.Resp.Pos", "ATTENDEE;PARTSTAT=ACCEPTED;" + bob, u"IPM.Schedule.Meeting.Resp.Pos"},
      {u"ipm.schedule.meeting.resp.neg.Mine", "ATTENDEE;PARTSTAT=DECLINED;" + bob, u"IPM.Schedule.Meeting.Resp.Neg"},
      {u"IPM.Schedule.Meeting.Resp.Tent", "ATTENDEE;PARTSTAT=TENTATIVE;" + bob, u"IPM.Schedule.Meeting.Resp.Tent"},
      {u"IPM.Schedule.Meeting.Resp", "ATTENDEE;" + bob, u"IPM.Schedule.Meeting.Resp"},
      {u"IPM.Schedule.Meeting.Resp.Positive", "ATTENDEE;" + bob, u"IPM.Schedule.Meeting.Resp"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(wideToUtf8(c.messageClass));
    Item item(c.messageClass);
    fillReply(item);
    const std::string mail = item.write();
    const std::string calendar = calendarOf(mail);
    EXPECT_EQ(lineOf(calendar, "METHOD"), "METHOD:REPLY");
    EXPECT_EQ(lineOf(calendar, "ATTENDEE"), c.attendee);
    EXPECT_EQ(lineOf(calendar, "ORGANIZER"), "ORGANIZER;CN=Ann:mailto:ann@example.com");
    const ReceivedItem back(u"", mail);
    EXPECT_EQ(back.text(PR_MESSAGE_CLASS), c.back);
    EXPECT_EQ(back.text(PR_SENDER_NAME), u"Bob");
    EXPECT_EQ(recipientsOf(back), (std::vector<std::string>{"Ann|1"}));
    EXPECT_EQ(wideOf(back, named::kWhere), u"Room 5");
  }
}

TEST(Meeting, CancelLeavesTheStateOfTheItem) {
  Item item{std::u16string(kCancel)};
  fillCancel(item);
  const std::string mail = item.write();
  EXPECT_EQ(lineOf(calendarOf(mail), "METHOD"), "METHOD:CANCEL");
  const Item back(item, mail);
  EXPECT_EQ(back.text(PR_MESSAGE_CLASS), kCancel);
  EXPECT_EQ(numberOf(back, named::kAppointmentStateFlags), 7U);
  EXPECT_EQ(numberOf(back, named::kResponseStatus), 5U);
  EXPECT_EQ(numberOf(back, named::kSideEffects), 0x1C61U);
  EXPECT_FALSE(back.has(PR_REPLY_REQUESTED));
}

// The bodies of a mail that is sent, and its calendar text behind both.
void expectBodies(Item& item, const std::string& plain, const std::string& html) {
  const Mail mail(item.write(kForSend));
  EXPECT_TRUE(mail.isType("multipart", "alternative")) << mail.text();
  EXPECT_EQ(mail.body(mime::TXT_PLAIN), plain);
  EXPECT_EQ(mail.body(mime::TXT_HTML), html);
  EXPECT_LT(mail.text().find("text/html"), mail.text().find("text/calendar"));
}

TEST(Meeting, IsReadByPeopleWithoutACalendar) {
  const std::string rows =
      "<tr><td><b>Subject: </b></td><td>Plans</td></tr>\r\n<tr><td><b>Location: </b></td><td>Room 5</td></tr>\r\n";
  const std::string table = "<table style='font: 12px Verdana, Arial, sans-serif'>\r\n" + rows;
  const std::string paragraph = "<p style='font: 12px Verdana, Arial, sans-serif'>";
  const std::string plainText = "\r\n1 < 2\r\n*~*~*~*~*~*~*~*~*~*\r\n";
  const std::string htmlText = paragraph + "<br>\r\n1 &lt; 2<br>\r\n*~*~*~*~*~*~*~*~*~*\r\n";
  const auto link = [](const std::string& address) { return "<a href=\"mailto:" + address + "\">" + address + "</a>"; };
  const auto row = [](const std::string& label, const std::string& value) {
    return "<tr><td><b>" + label + ": </b></td><td>" + value + "</td></tr>\r\n";
  };
  {
    const ScopedZone zone("Europe/Prague");
    Item item{std::u16string(kRequest)};
    fillRequest(item);
    expectBodies(item,
                 "Subject: Plans\r\nLocation: Room 5\r\nTime: 2024-05-06, 11:00 - 12:30 UTC +2:00 (90 minutes)\r\n"
                 "Organizer: \r\nAnn (ann@example.com)Required: \r\nBob (bob@example.com)Optional: \r\n"
                 "Cleo (cleo@example.com)Others: \r\nRoom 5 (room5@example.com)" +
                     plainText,
                 table + row("Time", "2024-05-06, 11:00 - 12:30 UTC +2:00 (90 minutes)") +
                     row("Organizer", "Ann (" + link("ann@example.com") + ")") +
                     row("Required", "Bob (" + link("bob@example.com") + ")") +
                     row("Optional", "Cleo (" + link("cleo@example.com") + ")") +
                     row("Others", "Room 5 (" + link("room5@example.com") + ")") + "</table>\r\n" + htmlText);
  }
  {
    const ScopedZone zone("America/St_Johns");
    Item item(u"IPM.Schedule.Meeting.Resp.Neg");
    fillReply(item);
    item.set(named::kAppointmentEndWhole, at("2024-05-07 09:00"));
    const std::string time = "2024-05-06 06:30 - 2024-05-07 06:30 UTC -2:30 (1440 minutes)";
    expectBodies(item,
                 "Attendee Bob (bob@example.com) has declined this meeting.Subject: Plans\r\nLocation: Room 5\r\nTime: " +
                     time + "\r\nOrganizer: \r\nAnn (ann@example.com)Required: \r\nBob (bob@example.com)" + plainText,
                 paragraph + "<b>Attendee Bob (" + link("bob@example.com") + ") has declined this meeting.</b></p>\r\n" +
                     table + row("Time", time) + row("Organizer", "Ann (" + link("ann@example.com") + ")") +
                     row("Required", "Bob (" + link("bob@example.com") + ")") + "</table>\r\n" + htmlText);
  }
}

TEST(Meeting, TellsOffsetsAndSentences) {
  struct Case {
    const char* zone;
    std::u16string_view messageClass;
    const char* offset;
    const char* sentence;
  };
  const Case cases[] = {
      {"UTC", kCancel, " UTC +0:00 (", "Attendee Bob (bob@example.com) has canceled this meeting."},
      {"Asia/Kolkata", kReply, " UTC +5:30 (", "Attendee Bob (bob@example.com) has answered this meeting."},
      {"America/New_York", u"IPM.Schedule.Meeting.Resp.Pos", " UTC -4:00 (", " has accepted this meeting."},
      {"Asia/Kathmandu", u"IPM.Schedule.Meeting.Resp.Tent", " UTC +5:45 (", " has tentatively accepted this meeting."},
  };
  for (const Case& c : cases) {
    const ScopedZone zone(c.zone);
    Item item{std::u16string(c.messageClass)};
    fillReply(item);
    const std::string plain = Mail(item.write(kForSend)).body(mime::TXT_PLAIN);
    EXPECT_NE(plain.find(c.offset), std::string::npos) << plain;
    EXPECT_NE(plain.find(c.sentence), std::string::npos) << plain;
  }
}

TEST(Meeting, EscapesATextAsAWhole) {
  Item item{std::u16string(kRequest)};
  std::u16string text(0x4000 - 1, u'x');
  text += u"\r\n" + std::u16string(0x8000, u'y') + u"\r\nz";
  item.set(PR_BODY, text);
  const std::string html = Mail(item.write(kForSend)).body(mime::TXT_HTML);
  EXPECT_NE(html.find("x<br>\r\ny"), std::string::npos);
  EXPECT_NE(html.find("y<br>\r\nz"), std::string::npos);
}

TEST(Meeting, NamesThePersonWhoActsByTheMailboxWhenNobodySays) {
  Item item{std::u16string(kCancel)};
  item.addressBook->ownerName = u"Own Er";
  item.addressBook->ownerAddress = u"me@example.com";
  const Mail mail(item.write(kForSend));
  EXPECT_NE(mail.body(mime::TXT_PLAIN).find("Attendee Own Er (me@example.com) has"), std::string::npos) << mail.text();
}

// --- Mails of others

// The headers of the mail that brought it, which the calendar says nothing of.
TEST(Meeting, KeepsTheHeadersOfItsMail) {
  const std::string headers =
      "Received: from a by b; Mon, 1 Apr 2024 12:00:00 +0000\n"
      "From: Ann <ann@example.com>\nDate: Mon, 1 Apr 2024 12:00:00 +0000\nMessage-ID: <m1@example.com>\n";
  ReceivedItem item(u"", headers +
                             "Subject: Invitation: Plans\n"
                             "Content-Type: multipart/alternative; boundary=b\n\n--b\n\nCome!\n--b\n"
                             "Content-Type: text/calendar; method=REQUEST\n\n"
                             "BEGIN:VCALENDAR\nMETHOD:REQUEST\nBEGIN:VEVENT\nUID:m1\nSUMMARY:Plans\n"
                             "ORGANIZER;CN=Ann:mailto:ann@example.com\nDTSTART:20240506T090000Z\n"
                             "END:VEVENT\nEND:VCALENDAR\n--b--\n");
  EXPECT_EQ(item.text(PR_MESSAGE_CLASS), kRequest);
  for (const DWORD word : {DWORD{0}, kToAttachment}) {
    const std::string mail = item.write(word);
    for (const char* row : {"Received: from a by b", "Date: Mon, 1 Apr 2024", "Message-ID: <m1@", "Subject: Plans"}) {
      EXPECT_NE(mail.find(row), std::string::npos) << row << " in\n" << mail;
    }
    EXPECT_NE(mail.find("Content-Type: text/calendar;"), std::string::npos) << mail;
    EXPECT_EQ(mail.find("multipart"), std::string::npos) << mail;
  }
  EXPECT_EQ(item.write(kForSend).find("Received"), std::string::npos);
}

TEST(Meeting, TakesPeopleOfTheHeadersWhenTheTextNamesNone) {
  const ReceivedItem meeting(u"", calendarMail("DTSTART:20240506T090000Z\n", "REQUEST"));
  EXPECT_EQ(meeting.text(PR_MESSAGE_CLASS), kRequest);
  EXPECT_EQ(meeting.text(PR_SUBJECT), u"From the header");
  EXPECT_EQ(meeting.text(PR_SENDER_NAME), u"Ann");
  EXPECT_EQ(recipientsOf(meeting), (std::vector<std::string>{"Bob|1"}));
  const ReceivedItem told(
      u"", calendarMail("ORGANIZER;CN=Cy:mailto:cy@example.com\nATTENDEE;RSVP=TRUE:mailto:dan@example.com\n", "REQUEST"));
  EXPECT_EQ(told.text(PR_SENT_REPRESENTING_NAME), u"Cy");
  EXPECT_EQ(told.text(PR_SENDER_NAME), u"Ann");
  EXPECT_EQ(recipientsOf(told), (std::vector<std::string>{"Cy|1", "dan@example.com|1"}));
}

TEST(Meeting, SaysWhoseMailboxItIsIn) {
  Caller meeting;
  meeting.addressBook->ownerName = u"Own Er";
  meeting.read(calendarMail("DTSTART:20240506T090000Z\n", "CANCEL"));
  EXPECT_EQ(meeting.text(kTagReceivedByName), u"Own Er");
}

TEST(Meeting, FindsTheOneWhoReplies) {
  struct Case {
    const char* why;
    std::string lines;
    HRESULT result;
    std::u16string sender;
  };
  const std::string organizer = "ORGANIZER:mailto:Ann@example.com\n";
  const Case cases[] = {
      {"the only one, even if it is the organizer", organizer + "ATTENDEE;CN=A:mailto:ann@example.com\n", S_OK, u"A"},
      {"the first other one", organizer + "ATTENDEE;CN=A:mailto:ann@example.com\nATTENDEE;CN=B:mailto:b@x\n", S_OK, u"B"},
      {"nobody", organizer, MAPI_E_CORRUPT_DATA, u""},
      {"the organizer twice", organizer + "ATTENDEE:mailto:ann@example.com\nATTENDEE:mailto:ANN@example.com\n",
       MAPI_E_CORRUPT_DATA, u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const ReceivedItem reply(u"", calendarMail(c.lines, "REPLY"), c.result);
    if (c.result == S_OK) {
      EXPECT_EQ(reply.text(PR_SENT_REPRESENTING_NAME), c.sender);
      EXPECT_EQ(recipientsOf(reply), (std::vector<std::string>{"Ann@example.com|1"}));
    }
  }
}

TEST(Meeting, ReplyGoesToOnePerson) {
  for (const std::size_t recipients : {std::size_t{0}, std::size_t{2}}) {
    Item item{std::u16string(kReply)};
    setMeeting(item);
    for (std::size_t i = 0; i < recipients; ++i) {
      item.addRecipient(1, u"Ann", u"SMTP", "ann@example.com");
    }
    EXPECT_EQ(item.toMime(item.stream().get()), E_UNEXPECTED);
  }
}

TEST(FaultSweep, Meetings) {
  sweepItem(std::u16string(kRequest), fillRequest);
  sweepItem(u"IPM.Schedule.Meeting.Resp.Pos", fillReply);
  sweepItem(std::u16string(kCancel), fillCancel);
}

}  // namespace
}  // namespace nalvo::test

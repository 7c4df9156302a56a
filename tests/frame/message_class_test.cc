#include "frame/message_class_detector.h"

#include "diagnostics/hresult_exception.h"
#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

TEST(MessageClass, IsToldByTheFirstBodyThatShowsOne) {
  struct Case {
    const char* why;
    const char* mail;
    const char16_t* messageClass;
    bool rootCounts;
  };
  const Case cases[] = {
      {"plain text", "Subject: x\n\ntext\n", u"IPM.Note", false},
      {"a signed report stays what was signed",
       "Content-Type: multipart/signed; boundary=s\n\n--s\nContent-Type: multipart/report; report-type=delivery-status; "
       "boundary=b\n\n--b\n\nx\n--b--\n--s\nContent-Type: application/pkcs7-signature\n\ny\n--s--\n",
       u"IPM.Note", false},
      {"a delivery report", "Content-Type: multipart/report; report-type=delivery-status; boundary=b\n\n--b\n\nx\n--b--\n",
       u"Report.IPM.Note.DR", false},
      {"a read report",
       "Content-Type: multipart/report; report-type=\"Disposition-Notification\"; boundary=b\n\n--b\n\nx\n--b--\n",
       u"Report.IPM.Note.IPNRN", false},
      {"a meeting in capitals", "Content-Type: TEXT/CALENDAR; METHOD=REQUEST\n\nBEGIN:VCALENDAR\nBEGIN:VEVENT\nEND:VEVENT\n",
       u"IPM.Schedule.Meeting.Request", false},
      {"a task without a method", "Content-Type: text/calendar\n\nbegin:vtodo\nend:vtodo\n", u"IPM.Task", false},
      {"free and busy times are no item", "Content-Type: text/calendar\n\nBEGIN:VFREEBUSY\nEND:VFREEBUSY\n", u"IPM.Note",
       false},
      {"no component at all", "Content-Type: text/calendar\n\nnothing\n", u"IPM.Appointment", false},
      {"a begin that is not at the start of a line", "Content-Type: text/calendar\n\nx BEGIN:VTODO\nEND:VTODO\n",
       u"IPM.Appointment", false},
      {"an end ahead of its begin", "Content-Type: text/calendar\n\nEND:VTODO\nBEGIN:VTODO\n", u"IPM.Appointment", false},
      {"an event wins over a task", "Content-Type: text/calendar\n\nBEGIN:VTODO\nEND:VTODO\nBEGIN:VEVENT\nEND:VEVENT\n",
       u"IPM.Appointment", false},
      {"a method without a component", "Content-Type: text/calendar; method=request\n\nnothing\n",
       u"IPM.Schedule.Meeting.Request", false},
      {"a card behind a text",
       "Content-Type: multipart/alternative; boundary=b\n\n--b\n\nx\n--b\nContent-Type: text/x-vcard\n\ny\n--b--\n",
       u"IPM.Contact", false},
      {"an attached calendar says nothing",
       "Content-Type: multipart/mixed; boundary=b\n\n--b\n\nx\n--b\nContent-Type: text/calendar\nContent-Disposition: "
       "attachment\n\n"
       "BEGIN:VEVENT\nEND:VEVENT\n--b--\n",
       u"IPM.Note", false},
      {"an attached root counts when it is to",
       "Content-Type: text/vcard\nContent-Disposition: attachment\n\nBEGIN:VCARD\nEND:VCARD\n", u"IPM.Contact", true},
      {"and not otherwise", "Content-Type: text/vcard\nContent-Disposition: attachment\n\nBEGIN:VCARD\nEND:VCARD\n",
       u"IPM.Note", false},
  };
  Caller caller;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(MessageClassDetector::detect(caller.stream(crLf(c.mail)).get(), c.rootCounts), c.messageClass);
  }
}

TEST(MessageClass, LeavesTheStreamWhereItWas) {
  Caller caller;
  const ComPtr<IStream> mail = caller.stream("0123456789" + crLf("Content-Type: text/vcard\n\nBEGIN:VCARD\n"));
  ASSERT_EQ(mail->Seek(10, STREAM_SEEK_SET, nullptr), S_OK);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(MessageClassDetector::detect(mail.get(), false), u"IPM.Contact");
    std::uint64_t position = 0;
    ASSERT_EQ(mail->Seek(0, STREAM_SEEK_CUR, &position), S_OK);
    EXPECT_EQ(position, 10U);
  }
}

TEST(ContentClass, FirstMatchingRowAnswers) {
  struct Case {
    std::u16string_view messageClass, contentClass;
  };
  const Case cases[] = {
      {u"IPM.Note", u"urn:content-classes:message"},
      {u"IPM.Note.Mine", u"urn:content-classes:message"},
      {u"ipm.contact", u"urn:content-classes:person"},
      {u"IPM.Contact.Mine", u"urn:content-classes:person"},
      {u"IPM", u"urn:content-classes:document"},
      {u"IPM.Whatever", u"urn:content-classes:message"},
      {u"IPM.Activity", u"urn:content-classes:activity"},
      {u"IPM.TaskRequest.Update", u"urn:content-classes:calendarmessage"},
      {u"Report.IPM.Note.IPNRN", u"urn:content-classes:mdn"},
      {u"Report.IPM.Mine.NDRx", u"urn:content-classes:dsn"},
      {u"Report.Other", u"urn:content-classes:message"},
      {u"Foo", u"urn:content-classes:document"},
      {u"", u"urn:content-classes:document"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(contentClassFromMessageClass(c.messageClass), c.contentClass);
  }
}

}  // namespace
}  // namespace nalvo::test

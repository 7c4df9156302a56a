// Messages that ask for a task, accept, decline, update or cancel one, both ways.
#include <gtest/gtest.h>

#include "host/byte_sink.h"
#include "host/comparison.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "tests/convert/task_items.h"
#include "tests/mail/zones.h"

namespace nalvo::test {
namespace {

using host::MemoryMessage;

// The lines of a mail with LF.
std::string withLf(std::string mail) {
  std::erase(mail, '\r');
  return mail;
}

// A request that holds a task.
class Request : public Item {
 public:
  Request(std::u16string messageClass, std::int32_t mode,
          host::HostContextPtr shared = std::make_shared<host::HostContext>())
      : Item(std::move(messageClass), std::move(shared)), task_(host::makeMessage(context)) {
    set(PR_SUBJECT, std::u16string(u"Task Request: Write the plan"));
    set(PR_BODY, std::u16string(u"Dear Ann,\r\nplease."));
    set(PR_SENDER_NAME, std::u16string(u"Bob Brown"));
    set(PR_SENDER_EMAIL_ADDRESS, std::u16string(u"bob@example.com"));
    set(PR_SENDER_ADDRTYPE, std::u16string(u"SMTP"));
    set(PR_SENT_REPRESENTING_NAME, std::u16string(u"Bob Brown"));
    set(PR_SENT_REPRESENTING_EMAIL_ADDRESS, std::u16string(u"bob@example.com"));
    set(PR_SENT_REPRESENTING_ADDRTYPE, std::u16string(u"SMTP"));
    set(named::kTaskMode, mode);
    addRecipient(1, u"Ann Archer", u"SMTP", "ann@example.com");
    host::MemoryAttachment& attachment = message->addAttachment();
    attachment.bag().set(PR_ATTACH_METHOD, {PT_LONG, std::int32_t{5}});
    attachment.setEmbedded(task_);
    setOnTask(PR_MESSAGE_CLASS, std::u16string(u"IPM.Task"));
    setOnTask(PR_SUBJECT, std::u16string(u"Write the plan"));
    setOnTask(PR_BODY, std::u16string(u"All of it."));
    setOnTask(named::kTaskMode, mode);
    setOnTask(named::kTaskDueDate, fileTime(kMonday));
    setOnTask(named::kTaskGlobalId, std::string(16, '\x11'));
  }

  void setOnTask(ULONG tag, host::PropertyContent content) {
    task_->bag().set(tag, host::PropertyRecord{propType(tag), std::move(content)});
  }
  void setOnTask(const NamedProperty& property, host::PropertyContent content) {
    setOnTask(MapiName(property).getPropertyTag(task_.get()), std::move(content));
  }

 private:
  ComPtr<MemoryMessage> task_;
};

// What the one who takes part says; one who has to act need not say so.
std::string answerIn(const std::string& mail) {
  const std::size_t at = mail.find("PARTSTAT=");
  return at == std::string::npos ? "NEEDS-ACTION" : mail.substr(at + 9, mail.find_first_of(";:\r", at) - at - 9);
}

// The task that a message holds.
class TaskWithin {
 public:
  explicit TaskWithin(const Caller& request) : message_(request.message->parts().attachments.at(0)->embedded()) {}

  ULONG tagOf(const NamedProperty& property) const { return MapiName(property).getPropertyTag(message_.get()); }
  const host::PropertyRecord* find(ULONG tag) const { return message_->bag().find(tag); }
  std::int32_t number(const NamedProperty& property) const {
    const host::PropertyRecord* record = find(tagOf(property));
    return record == nullptr ? -1 : std::get<std::int32_t>(record->content);
  }
  std::string text(ULONG tag) const {
    const host::PropertyRecord* record = find(tag);
    return record == nullptr ? "<none>" : wideToUtf8(host::textOf(*record));
  }
  std::string text(const NamedProperty& property) const { return text(tagOf(property)); }
  std::string bytes(const NamedProperty& property) const { return host::bytesOf(*find(tagOf(property))); }
  std::size_t recipients() const { return message_->parts().recipients.size(); }

 private:
  ComPtr<MemoryMessage> message_;
};

TEST(TaskRequest, GoesOutAsOneMessageAndComesBackAsTwo) {
  struct Case {
    std::int32_t mode;
    const char16_t* messageClass;
    const char* method;
    const char* partStat;
    std::uint32_t modeBack;       // of the message
    std::int32_t modeBackWithin;  // of the task
    const char16_t* classBack;
    const char16_t* subject;
    std::int32_t history, state, acceptance, ownership;
  };
  const Case cases[] = {
      {0, u"IPM.TaskRequest.Update", "reply", "NEEDS-ACTION", 4, 4, u"IPM.TaskRequest.Update",
       u"Task Update: Write the plan", 3, 2, 0, 2},
      {1, u"IPM.TaskRequest", "request", "NEEDS-ACTION", 1, 1, u"IPM.TaskRequest", u"Task Request: Write the plan", 5, 3, 1,
       1},
      {2, u"IPM.TaskRequest.Accept", "reply", "ACCEPTED", 2, 2, u"IPM.TaskRequest.Accept", u"Task Accepted: Write the plan",
       1, 2, 0, 2},
      {3, u"IPM.TaskRequest.Decline", "reply", "DECLINED", 3, 3, u"IPM.TaskRequest.Decline",
       u"Task Declined: Write the plan", 2, 3, 1, 1},
      {4, u"IPM.TaskRequest.Update", "reply", "NEEDS-ACTION", 4, 4, u"IPM.TaskRequest.Update",
       u"Task Update: Write the plan", 3, 2, 0, 2},
      {5, u"IPM.TaskRequest", "cancel", "NEEDS-ACTION", 5, 5, u"IPM.TaskRequest", u"Task Cancel: Write the plan", 0, 3, 1,
       1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.mode);
    Request request(c.messageClass, c.mode);
    const std::string mail = request.write(kForSend);
    EXPECT_NE(mail.find("method=" + std::string(c.method)), std::string::npos) << mail;
    EXPECT_EQ(answerIn(mail), c.partStat) << mail;
    EXPECT_NE(mail.find("multipart/alternative"), std::string::npos) << mail;
    EXPECT_LT(mail.find("Dear Ann,"), mail.find("BEGIN:VTODO"));
    EXPECT_EQ(lineIn(mail, "Subject"), "Subject: Task Request: Write the plan");
    EXPECT_EQ(lineIn(mail, "From"), "From: Bob Brown <bob@example.com>");
    EXPECT_EQ(lineIn(mail, "To"), "To: Ann Archer <ann@example.com>");
    EXPECT_EQ(lineIn(mail, "SUMMARY"), "SUMMARY:Write the plan");

    const ReceivedItem back(c.messageClass, withLf(mail));
    EXPECT_EQ(back.text(PR_MESSAGE_CLASS), c.classBack);
    EXPECT_EQ(back.text(PR_SUBJECT), c.subject);
    EXPECT_EQ(back.text(PR_BODY), u"Dear Ann,\r\nplease.");
    EXPECT_EQ(back.number(back.tagOf(named::kTaskMode)), c.modeBack);
    EXPECT_EQ(back.bytes(back.tagOf(named::kTaskGlobalId)), std::string(16, '\x11'));
    ASSERT_EQ(back.message->parts().attachments.size(), 1U);
    ASSERT_EQ(back.message->parts().recipients.size(), 1U);
    const TaskWithin task(back);
    EXPECT_EQ(task.text(PR_MESSAGE_CLASS), "IPM.Task");
    EXPECT_EQ(task.text(PR_SUBJECT), "Write the plan");
    EXPECT_EQ(task.text(PR_BODY), "All of it.");
    EXPECT_EQ(task.number(named::kTaskMode), c.modeBackWithin);
    EXPECT_EQ(task.number(named::kTaskHistory), c.history);
    EXPECT_EQ(task.number(named::kTaskState), c.state);
    EXPECT_EQ(task.number(named::kTaskAcceptanceState), c.acceptance);
    EXPECT_EQ(task.number(named::kTaskOwnership), c.ownership);
    EXPECT_EQ(task.number(named::kTaskVersion), 1);
    EXPECT_EQ(task.bytes(named::kTaskGlobalId), std::string(16, '\x11'));
    EXPECT_EQ(task.text(named::kTaskLastUser), "Bob Brown");
    EXPECT_GE(task.recipients(), 1U);
  }
}

TEST(TaskRequest, KeepsAllModesInTheStore) {
  for (std::int32_t mode = 0; mode <= 5; ++mode) {
    SCOPED_TRACE(mode);
    Request request(mode == 0 ? u"IPM.TaskRequest.Update" : u"IPM.TaskRequest", mode);
    request.setOnTask(named::kTaskHistory, std::int32_t{4});
    request.setOnTask(named::kTaskOwnership, std::int32_t{0});
    request.setOnTask(named::kTaskAcceptanceState, std::int32_t{3});
    const std::string mail = request.write();
    const Item back(request, mail);
    const TaskWithin task(back);
    EXPECT_EQ(task.number(named::kTaskMode), mode);
    EXPECT_EQ(task.number(named::kTaskHistory), 4);
    EXPECT_EQ(task.number(named::kTaskOwnership), 0);
    EXPECT_EQ(task.number(named::kTaskAcceptanceState), 3);
    EXPECT_EQ(task.text(PR_SUBJECT), "Write the plan");
  }
}

TEST(TaskRequest, ToSeveralNamesThemAllAsOwners) {
  Request request(u"IPM.TaskRequest", 1);
  request.addRecipient(2, u"", u"SMTP", "carl@example.com");
  const ReceivedItem back(u"IPM.TaskRequest", withLf(request.write(kForSend)));
  const TaskWithin task(back);
  EXPECT_EQ(task.text(named::kTaskOwner), "Ann Archer; carl@example.com");
  EXPECT_TRUE(std::get<bool>(task.find(task.tagOf(named::kTeamTask))->content));
  EXPECT_FALSE(std::get<bool>(task.find(task.tagOf(named::kTaskUpdates))->content));
  EXPECT_EQ(task.number(named::kTaskMultipleRecipients), 1);
  EXPECT_EQ(task.recipients(), 3U);
}

TEST(TaskRequest, TellsProgressInAnUpdate) {
  struct Case {
    std::int32_t status;
    const char* partStat;
    std::int32_t mode;  // of the task that comes back
  };
  for (const Case& c : {Case{1, "IN-PROCESS", 4}, Case{2, "COMPLETED", 0}, Case{3, "NEEDS-ACTION", 4}}) {
    Request request(u"IPM.TaskRequest.Update", 4);
    request.setOnTask(named::kTaskStatus, c.status);
    const std::string mail = request.write(kForSend);
    EXPECT_EQ(answerIn(mail), c.partStat) << mail;
    const ReceivedItem back(u"IPM.TaskRequest.Update", withLf(mail));
    EXPECT_EQ(TaskWithin(back).number(named::kTaskMode), c.mode);
    EXPECT_EQ(back.number(back.tagOf(named::kTaskMode)), 4U);
    EXPECT_EQ(back.text(PR_MESSAGE_CLASS), u"IPM.TaskRequest.Update");
  }
}

TEST(TaskRequest, WithoutATaskCanNotGoOut) {
  Item request(u"IPM.TaskRequest");
  const ComPtr<IStream> out = request.stream();
  EXPECT_EQ(request.toMime(out.get()), E_INVALIDARG);
}

TEST(TaskRequest, IsAnsweredByOneAndToOne) {
  Request request(u"IPM.TaskRequest.Accept", 2);
  request.addRecipient(1, u"Carl", u"SMTP", "carl@example.com");
  const ComPtr<IStream> out = request.stream();
  EXPECT_EQ(request.toMime(out.get()), E_UNEXPECTED);

  const ReceivedItem nobody(u"IPM.TaskRequest.Accept",
                            "From: Bob <bob@example.com>\nContent-Type: text/calendar; component=vtodo; method=reply\n\n"
                            "BEGIN:VCALENDAR\nMETHOD:REPLY\nBEGIN:VTODO\nUID:1\nSUMMARY:x\nEND:VTODO\nEND:VCALENDAR\n",
                            MAPI_E_CORRUPT_DATA);
}

TEST(TaskRequest, FromAStrangerIsReadWithoutASubject) {
  const ReceivedItem back(u"IPM.TaskRequest",
                          "From: Bob <bob@example.com>\nTo: ann@example.com\nSubject: Please\n"
                          "Content-Type: text/calendar; component=vtodo; method=request\n\n"
                          "BEGIN:VCALENDAR\nMETHOD:REQUEST\nBEGIN:VTODO\nDUE:20200302\nEND:VTODO\nEND:VCALENDAR\n");
  EXPECT_EQ(back.text(PR_SUBJECT), u"Task Request: ");
  EXPECT_EQ(back.bytes(back.tagOf(named::kTaskGlobalId)), TaskWithin(back).bytes(named::kTaskGlobalId));
  EXPECT_EQ(back.text(PR_MESSAGE_CLASS), u"IPM.TaskRequest");
}

// As a mail program writes such messages, and keeps them in files.
struct Kind {
  const char16_t* messageClass;
  std::int32_t mode;
  const char16_t* subject;
  std::int32_t status;
  double share;
  std::int32_t version, state, history, acceptance, ownership;
  const char* words;
};
constexpr Kind kKinds[] = {
    {u"IPM.TaskRequest", 1, u"Task Request: Write the plan", 0, 0.0, 1, 2, 5, 1, 2,
     "IPM.TaskRequest \"Task Request: Write the plan\" from Bob Brown to Ann Archer, about \"Write the plan\" of Ann "
     "Archer: "
     "not started, 0 %, version 1, assigned, not answered, in the hands of the assignee"},
    {u"IPM.TaskRequest.Accept", 2, u"Task Accepted: Write the plan", 0, 0.0, 2, 2, 1, 2, 2,
     "IPM.TaskRequest.Accept \"Task Accepted: Write the plan\" from Bob Brown to Ann Archer, about \"Write the plan\" of "
     "Ann "
     "Archer: not started, 0 %, version 2, accepted, accepted, in the hands of the assignee"},
    {u"IPM.TaskRequest.Decline", 3, u"Task Declined: Write the plan", 0, 0.0, 2, 4, 2, 3, 1,
     "IPM.TaskRequest.Decline \"Task Declined: Write the plan\" from Bob Brown to Ann Archer, about \"Write the plan\" of "
     "Ann "
     "Archer: not started, 0 %, version 2, declined, declined, in the hands of the assigner"},
    {u"IPM.TaskRequest.Update", 4, u"Task Update: Write the plan", 1, 0.5, 3, 2, 3, 2, 2,
     "IPM.TaskRequest.Update \"Task Update: Write the plan\" from Bob Brown to Ann Archer, about \"Write the plan\" of Ann "
     "Archer: in process, 50 %, version 3, updated, accepted, in the hands of the assignee"},
};

std::string wordsOf(const Caller& request) {
  static constexpr const char* kStatuses[] = {"not started", "in process", "done", "waiting", "deferred"};
  static constexpr const char* kHistories[] = {"untouched", "accepted", "declined", "updated", "moved", "assigned"};
  static constexpr const char* kAcceptances[] = {"of nobody's concern", "not answered", "accepted", "declined"};
  static constexpr const char* kOwners[] = {"nobody else", "the assigner", "the assignee"};
  const auto text = [&](ULONG tag) { return request.has(tag) ? wideToUtf8(request.text(tag)) : "<none>"; };
  const TaskWithin task(request);
  const auto nameOf = [&](const NamedProperty& property, const auto& names) {
    const auto number = static_cast<std::size_t>(task.number(property));
    return std::string(number < std::size(names) ? names[number] : "unknown");
  };
  std::string words = text(PR_MESSAGE_CLASS) + " \"" + text(PR_SUBJECT) + "\" from " + text(PR_SENDER_NAME) + " to ";
  for (const auto& recipient : request.message->parts().recipients) {
    words += wideToUtf8(host::textOf(*recipient->bag().find(PR_DISPLAY_NAME)));
  }
  const double share = std::get<double>(task.find(task.tagOf(named::kPercentComplete))->content);
  return words + ", about \"" + task.text(PR_SUBJECT) + "\" of " + task.text(named::kTaskOwner) + ": " +
         nameOf(named::kTaskStatus, kStatuses) + ", " + std::to_string(static_cast<int>(share * 100)) + " %, version " +
         std::to_string(task.number(named::kTaskVersion)) + ", " + nameOf(named::kTaskHistory, kHistories) + ", " +
         nameOf(named::kTaskAcceptanceState, kAcceptances) + ", in the hands of " + nameOf(named::kTaskOwnership, kOwners);
}

// A request that went through a file.
class FiledRequest : public Caller {
 public:
  explicit FiledRequest(const Kind& kind) {
    Request request(kind.messageClass, kind.mode);
    fill(request, kind);
    const ComPtr<IStream> file = stream();
    host::StreamSink sink(file.get());
    host::writeMsg(request.message.get(), sink);
    streamUtils::rewind(file.get());
    std::vector<std::string> warnings;
    message = host::readMsg(file.get(), context, &warnings);
    EXPECT_EQ(warnings, std::vector<std::string>());
  }
  explicit FiledRequest(ComPtr<MemoryMessage> read) { message = std::move(read); }

 private:
  static void fill(Request& request, const Kind& kind) {
    request.set(PR_SUBJECT, std::u16string(kind.subject));
    request.set(PR_MESSAGE_FLAGS, std::int32_t{0x11});
    request.set(PR_CLIENT_SUBMIT_TIME, fileTime(kMonday + 60));
    request.set(PR_MESSAGE_DELIVERY_TIME, fileTime(kMonday + 61));
    request.set(PR_IMPORTANCE, std::int32_t{1});
    request.set(PR_PRIORITY, std::int32_t{0});
    request.set(named::kTaskGlobalId, std::string(16, '\x11'));
    request.set(named::kSideEffects, std::int32_t{0x401});
    request.set(named::kSmartNoAttach, true);
    request.setOnTask(named::kTaskStatus, kind.status);
    request.setOnTask(named::kPercentComplete, kind.share);
    request.setOnTask(named::kTaskStartDate, fileTime(kMonday));
    request.setOnTask(named::kTaskDueDate, fileTime(kMonday + 4 * kDay));
    request.setOnTask(named::kCommonStart, fileTime(kMonday));
    request.setOnTask(named::kCommonEnd, fileTime(kMonday + 4 * kDay));
    request.setOnTask(named::kTaskVersion, kind.version);
    request.setOnTask(named::kTaskState, kind.state);
    request.setOnTask(named::kTaskHistory, kind.history);
    request.setOnTask(named::kTaskAcceptanceState, kind.acceptance);
    request.setOnTask(named::kTaskOwnership, kind.ownership);
    request.setOnTask(named::kTaskOwner, std::u16string(u"Ann Archer"));
    request.setOnTask(named::kTaskLastUser, std::u16string(u"Bob Brown"));
    request.setOnTask(named::kTaskLastUpdate, fileTime(kMonday + 59));
    request.setOnTask(named::kTaskUpdates, true);
    request.setOnTask(named::kTaskStatusOnComplete, false);
    request.setOnTask(named::kTaskMultipleRecipients, std::int32_t{0});
    request.setOnTask(named::kTeamTask, false);
    request.setOnTask(named::kTaskComplete, false);
    request.setOnTask(named::kTaskFRecurring, false);
    request.setOnTask(named::kSideEffects, std::int32_t{0x171});
    request.setOnTask(named::kReminderSet, false);
    request.setOnTask(named::kPrivate, false);
    request.setOnTask(PR_IMPORTANCE, std::int32_t{1});
    request.setOnTask(PR_PRIORITY, std::int32_t{0});
    request.setOnTask(PR_ICON_INDEX, std::int32_t{0x503});
  }
};

constexpr FILETIME kRead = fileTime(kMonday + 7 * kDay);

TEST(TaskRequest, OfAFileComesBackWholeFromAMail) {
  const mail::testing::ScopedZone scope("UTC");
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.words);
    const FiledRequest before(kind);
    EXPECT_EQ(wordsOf(before), kind.words);
    const host::MailFile mail = host::writeMail(before.message.get(), host::MailForm::Lossless, nullptr);
    EXPECT_EQ(mail.warnings, std::vector<std::string>());
    const FiledRequest after(host::readMail(mail.mail.get(), before.context, kRead, nullptr));
    EXPECT_EQ(wordsOf(after), kind.words);
    const host::Comparison comparison = host::compareMessages(*before.message, *after.message);
    EXPECT_TRUE(comparison.whole()) << host::toJson(comparison).dump(1);
    EXPECT_NO_THROW(host::writeMail(before.message.get(), host::MailForm::Exact, nullptr));
  }
}

TEST(TaskRequest, OfAFileIsUnderstoodByWhoeverGetsIt) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.words);
    const FiledRequest before(kind);
    const host::MailFile mail = host::writeMail(before.message.get(), host::MailForm::Wire, nullptr);
    const FiledRequest after(host::readMail(mail.mail.get(), before.context, kRead, nullptr));
    EXPECT_EQ(after.text(PR_MESSAGE_CLASS), kind.messageClass);
    EXPECT_EQ(after.text(PR_SUBJECT), kind.subject);
    EXPECT_EQ(after.text(PR_BODY), before.text(PR_BODY));
    const TaskWithin task(after);
    EXPECT_EQ(task.number(named::kTaskHistory), kind.history);
    EXPECT_EQ(task.number(named::kTaskStatus), kind.status);
    EXPECT_EQ(task.number(named::kTaskVersion), kind.version + 1);
    EXPECT_EQ(task.bytes(named::kTaskGlobalId), std::string(16, '\x11'));
  }
}

TEST(TaskRequest, WithoutAMailAroundItHasThePeopleOfItsText) {
  struct Case {
    const char16_t* messageClass;
    const char* method;
    const char* status;
    const char* sender;
    const char* recipient;
  };
  for (const Case& c : {Case{u"IPM.TaskRequest", "REQUEST", "NEEDS-ACTION", "bob@example.com", "ann@example.com"},
                        Case{u"IPM.TaskRequest.Accept", "REPLY", "ACCEPTED", "ann@example.com", "bob@example.com"}}) {
    SCOPED_TRACE(c.method);
    ReceivedItem request(c.messageClass, "Content-Type: text/calendar; component=vtodo; method=" + std::string(c.method) +
                                             "\n\nBEGIN:VCALENDAR\nMETHOD:" + c.method +
                                             "\nBEGIN:VTODO\nUID:1\nSUMMARY:x\nORGANIZER:mailto:bob@example.com\n"
                                             "ATTENDEE;RSVP=TRUE;PARTSTAT=" +
                                             c.status + ":mailto:ann@example.com\nEND:VTODO\nEND:VCALENDAR\n");
    EXPECT_EQ(wideToUtf8(request.text(PR_SENDER_EMAIL_ADDRESS)), c.sender);
    ASSERT_EQ(request.message->parts().recipients.size(), 1U);
    EXPECT_EQ(wideToUtf8(host::textOf(*request.message->parts().recipients[0]->bag().answer(PR_EMAIL_ADDRESS))),
              c.recipient);
    const std::string mail = request.write(kForSend);
    EXPECT_NE(mail.find("ORGANIZER"), std::string::npos);
    EXPECT_NE(mail.find("ATTENDEE"), std::string::npos);
  }
}

TEST(FaultSweep, TaskRequests) {
  constexpr std::size_t kMostSwallowed = 24;
  constexpr std::uint64_t kLeastCalls = 100;
  for (const std::int32_t mode : {1, 2}) {
    const std::u16string messageClass = mode == 1 ? u"IPM.TaskRequest" : u"IPM.TaskRequest.Accept";
    for (const DWORD word : {DWORD{0}, kForSend, kToAttachment}) {
      expectClean(host::faultSweep([&](const host::HostContextPtr& context, const std::function<void()>& arm) {
                    Request request(messageClass, mode, context);
                    const ComPtr<IStream> out = request.stream();
                    arm();
                    return request.toMime(out.get(), word);
                  }),
                  kMostSwallowed, kLeastCalls);
    }
    sweepReceived(messageClass, withLf(Request(messageClass, mode).write(kForSend)), kMostSwallowed);
  }
}

}  // namespace
}  // namespace nalvo::test

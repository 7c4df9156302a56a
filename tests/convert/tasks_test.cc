// Tasks, and the messages that ask for one and answer, both ways.
#include <gtest/gtest.h>

#include "tests/mail/zones.h"
#include "tests/support/item.h"

namespace nalvo::test {
namespace {

using host::MemoryMessage;
using mail::testing::ScopedZone;

constexpr FILETIME fileTime(std::uint64_t minutesSince1601) {
  return {static_cast<std::uint32_t>(minutesSince1601 * 600'000'000),
          static_cast<std::uint32_t>(minutesSince1601 * 600'000'000 >> 32)};
}
// Minutes since 1601.
constexpr std::uint64_t kMonday = 220'459'680;  // 2 March 2020
constexpr std::uint64_t kDay = 1440;

std::string bodyOf(const std::string& mail, const std::string& line) {
  const std::string lines = "\n" + mail;
  const std::size_t at = lines.find("\n" + line);
  return at == std::string::npos ? "<none>" : lines.substr(at + 1, lines.find_first_of("\r\n", at + 1) - at - 1);
}

void fillTask(Caller& task) {
  task.set(PR_SUBJECT, std::u16string(u"Write the plan"));
  task.set(PR_BODY, std::u16string(u"All of it."));
  task.set(PR_IMPORTANCE, std::int32_t{2});
  task.set(named::kTaskStartDate, fileTime(kMonday));
  task.set(named::kTaskDueDate, fileTime(kMonday + 4 * kDay));
  task.set(named::kTaskStatus, std::int32_t{1});
  task.set(named::kPercentComplete, 0.29);
  task.set(named::kTaskVersion, std::int32_t{3});
  task.set(named::kPrivate, true);
  task.set(named::kKeywords, std::vector<std::u16string>{u"plans"});
  task.set(named::kTaskGlobalId, std::string("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F\x10", 16));
}

TEST(Task, TravelsAsAToDo) {
  for (const char* machine : {"America/New_York", "UTC", "Asia/Tokyo", "Australia/Sydney"}) {
    const ScopedZone scope(machine);
    SCOPED_TRACE(machine);
    Item task(u"IPM.Task");
    fillTask(task);
    const std::string mail = task.write();
    EXPECT_NE(mail.find("component=vtodo"), std::string::npos) << mail;
    EXPECT_EQ(mail.find("method="), std::string::npos) << mail;
    EXPECT_EQ(bodyOf(mail, "DTSTART"), "DTSTART;VALUE=DATE:20200302");
    EXPECT_EQ(bodyOf(mail, "DUE"), "DUE;VALUE=DATE:20200306");
    EXPECT_EQ(bodyOf(mail, "STATUS"), "STATUS:IN-PROCESS");
    EXPECT_EQ(bodyOf(mail, "PERCENT"), "PERCENT-COMPLETE:29");
    EXPECT_EQ(bodyOf(mail, "SEQUENCE"), "SEQUENCE:3");
    EXPECT_EQ(bodyOf(mail, "PRIORITY"), "PRIORITY:1");
    EXPECT_EQ(bodyOf(mail, "UID"), "UID:0102030405060708090A0B0C0D0E0F10");
    const Item back(task, mail);
    for (const ULONG tag : {PR_SUBJECT, PR_BODY}) {
      EXPECT_EQ(back.text(tag), task.text(tag));
    }
    EXPECT_EQ(back.number(PR_IMPORTANCE), 2U);
    EXPECT_EQ(back.number(PR_PRIORITY), 1U);
    EXPECT_EQ(back.number(PR_SENSITIVITY), 2U);
    for (const NamedProperty* day : {&named::kTaskStartDate, &named::kTaskDueDate}) {
      EXPECT_EQ(back.get<FILETIME>(back.tagOf(*day)), task.get<FILETIME>(task.tagOf(*day)));
    }
    const ScopedZone utc("UTC");
    EXPECT_EQ(back.number(back.tagOf(named::kTaskStatus)), 1U);
    EXPECT_EQ(back.get<double>(back.tagOf(named::kPercentComplete)), 0.29);
    EXPECT_FALSE(back.get<bool>(back.tagOf(named::kTaskComplete)));
    EXPECT_EQ(back.number(back.tagOf(named::kTaskVersion)), 3U);
    EXPECT_EQ(back.bytes(back.tagOf(named::kTaskGlobalId)), task.bytes(task.tagOf(named::kTaskGlobalId)));
    EXPECT_FALSE(back.get<bool>(back.tagOf(named::kTaskFRecurring)));
  }
}

TEST(Task, ToldAsInstantsBeginsWithItsDayHere) {
  struct Case {
    const char* machine;
    std::int64_t minutesWest;
  };
  for (const Case& c : {Case{"America/New_York", 300}, Case{"UTC", 0}, Case{"Asia/Tokyo", -540}}) {
    const ScopedZone scope(c.machine);
    SCOPED_TRACE(c.machine);
    const auto midnight = [&](std::uint64_t day) {
      return fileTime(static_cast<std::uint64_t>(static_cast<std::int64_t>(day) + c.minutesWest));
    };
    Item task(u"IPM.Task");
    fillTask(task);
    task.set(named::kTaskStatus, std::int32_t{2});
    task.set(named::kTaskDateCompleted, midnight(kMonday + kDay));
    const std::string mail = task.write();
    EXPECT_EQ(bodyOf(mail, "COMPLETED"), "COMPLETED:20200303T000000Z");
    EXPECT_EQ(bodyOf(mail, "PERCENT"), "PERCENT-COMPLETE:29") << "the item's own stands behind that of its status";
    const Item back(task, mail);
    EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kCommonStart)), midnight(kMonday));
    EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kCommonEnd)), midnight(kMonday + 4 * kDay));
    EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kTaskDateCompleted)), midnight(kMonday + kDay));
    EXPECT_TRUE(back.get<bool>(back.tagOf(named::kTaskComplete)));
  }
}

TEST(Task, KeepsItsStatus) {
  struct Case {
    std::int32_t status;
    const char* text;
    std::uint32_t back;
  };
  const Case cases[] = {{0, "<none>", 0},           {1, "STATUS:IN-PROCESS", 1},
                        {2, "STATUS:COMPLETED", 2}, {3, "STATUS:NEEDS-ACTION", 3},
                        {4, "STATUS:CANCELLED", 4}, {7, "STATUS:NEEDS-ACTION", 3}};
  for (const Case& c : cases) {
    Item task(u"IPM.Task");
    task.set(named::kTaskStatus, c.status);
    task.set(named::kPercentComplete, 0.333);
    const std::string mail = task.write();
    EXPECT_EQ(bodyOf(mail, "STATUS"), c.text);
    EXPECT_EQ(bodyOf(mail, "PERCENT"), "PERCENT-COMPLETE:33");
    const Item back(task, mail);
    EXPECT_EQ(back.number(back.tagOf(named::kTaskStatus)), c.back);
  }
  for (const double odd : {-1.0, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
    Item task(u"IPM.Task");
    task.set(named::kPercentComplete, odd);
    const std::string percent = bodyOf(task.write(), "PERCENT");
    EXPECT_TRUE(percent == "PERCENT-COMPLETE:0" || percent == "PERCENT-COMPLETE:100") << percent;
  }
}

TEST(Task, KeepsWhatAToDoHasNoPlaceFor) {
  Item task(u"IPM.Task");
  task.set(PR_SUBJECT, std::u16string());
  task.set(PR_LAST_MODIFICATION_TIME, fileTime(kMonday + 7));
  task.set(named::kReminderSet, false);
  task.set(named::kReminderDelta, std::int32_t{30});
  task.set(named::kReminderFileParameter, std::u16string(u"bell.wav"));
  task.set(PR_SENDER_NAME, std::u16string(u"Ann"));
  task.set(PR_SENDER_ADDRTYPE, std::u16string(u"EX"));
  task.set(PR_SENDER_EMAIL_ADDRESS, std::u16string(u"/o=org/cn=ann"));
  const Item back(task, task.write());
  EXPECT_EQ(back.text(PR_SUBJECT), u"");
  EXPECT_TRUE(back.has(PR_SUBJECT));
  EXPECT_EQ(back.number(back.tagOf(named::kReminderDelta)), 30U);
  EXPECT_EQ(back.text(back.tagOf(named::kReminderFileParameter)), u"bell.wav");
  for (const ULONG tag : {PR_SENDER_NAME, PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS}) {
    EXPECT_EQ(back.text(tag), task.text(tag));
  }
}

TEST(Task, IsRemindedOfAtATimeOfItsOwn) {
  Item task(u"IPM.Task");
  fillTask(task);
  const FILETIME time = fileTime(kMonday + 3 * kDay + 8 * 60);
  task.set(named::kReminderSet, true);
  task.set(named::kReminderTime, time);
  task.set(named::kReminderSignalTime, time);
  const std::string mail = task.write();
  EXPECT_EQ(bodyOf(mail, "X-NEXT-ALARM"), "X-NEXT-ALARM:20200305T080000Z");
  const Item back(task, mail);
  EXPECT_TRUE(back.get<bool>(back.tagOf(named::kReminderSet)));
  EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kReminderTime)), time);
  EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kReminderSignalTime)), time);
}

TEST(Task, GetsAnIdThatStays) {
  Item task(u"IPM.Task");
  const std::string mail = task.write();
  const std::string uid = bodyOf(mail, "UID");
  EXPECT_EQ(uid.size(), 4U + 32);
  EXPECT_EQ(bodyOf(task.write(), "UID"), uid);
  const Item back(task, mail);
  EXPECT_EQ(back.bytes(back.tagOf(named::kTaskGlobalId)), task.bytes(task.tagOf(named::kTaskGlobalId)));
}

TEST(Task, OfSomebodyElseIsRead) {
  const ScopedZone scope("America/New_York");
  const ReceivedItem task(u"IPM.Task",
                          "Content-Type: text/calendar; component=vtodo\n\nBEGIN:VCALENDAR\nBEGIN:VTODO\nUID:abc@d\n"
                          "SUMMARY:Call\nDUE:20200306T120000Z\nRRULE:FREQ=WEEKLY;COUNT=3\nCOMPLETED:20200304T170000Z\n"
                          "END:VTODO\nEND:VCALENDAR\n");
  EXPECT_EQ(task.text(PR_SUBJECT), u"Call");
  EXPECT_EQ(task.bytes(task.tagOf(named::kTaskGlobalId)), "abc@d");
  EXPECT_EQ(task.get<FILETIME>(task.tagOf(named::kTaskDueDate)), fileTime(kMonday + 4 * kDay));
  EXPECT_FALSE(task.has(task.tagOf(named::kTaskStartDate)));
  EXPECT_TRUE(task.get<bool>(task.tagOf(named::kTaskFRecurring)));
  EXPECT_EQ(task.number(PR_ICON_INDEX), 0x501U);
}

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
    EXPECT_EQ(bodyOf(mail, "Subject"), "Subject: Task Request: Write the plan");
    EXPECT_EQ(bodyOf(mail, "From"), "From: Bob Brown <bob@example.com>");
    EXPECT_EQ(bodyOf(mail, "To"), "To: Ann Archer <ann@example.com>");
    EXPECT_EQ(bodyOf(mail, "SUMMARY"), "SUMMARY:Write the plan");

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

TEST(FaultSweep, Tasks) { sweepItem(u"IPM.Task", fillTask); }

TEST(FaultSweep, TaskRequests) {
  constexpr std::size_t kMostSwallowed = 24;
  constexpr std::uint64_t kLeastCalls = 100;
  for (const std::int32_t mode : {1, 2}) {
    const std::u16string messageClass = mode == 1 ? u"IPM.TaskRequest" : u"IPM.TaskRequest.Accept";
    for (const DWORD word : {DWORD{0}, kForSend}) {
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

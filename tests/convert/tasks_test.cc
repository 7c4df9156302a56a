// Tasks, both ways.
#include <gtest/gtest.h>

#include <fstream>

#include "host/mail.h"
#include "tests/convert/task_items.h"
#include "tests/mail/zones.h"

namespace nalvo::test {
namespace {

using mail::testing::ScopedZone;

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
    EXPECT_EQ(lineIn(mail, "DTSTART"), "DTSTART;VALUE=DATE:20200302");
    EXPECT_EQ(lineIn(mail, "DUE"), "DUE;VALUE=DATE:20200306");
    EXPECT_EQ(lineIn(mail, "STATUS"), "STATUS:IN-PROCESS");
    EXPECT_EQ(lineIn(mail, "PERCENT"), "PERCENT-COMPLETE:29");
    EXPECT_EQ(lineIn(mail, "SEQUENCE"), "SEQUENCE:3");
    EXPECT_EQ(lineIn(mail, "PRIORITY"), "PRIORITY:1");
    EXPECT_EQ(lineIn(mail, "UID"), "UID:0102030405060708090A0B0C0D0E0F10");
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
    EXPECT_EQ(lineIn(mail, "COMPLETED"), "COMPLETED:20200303T000000Z");
    EXPECT_EQ(lineIn(mail, "PERCENT"), "PERCENT-COMPLETE:29") << "the item's own stands behind that of its status";
    const Item back(task, mail);
    EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kCommonStart)), midnight(kMonday));
    EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kCommonEnd)), midnight(kMonday + 4 * kDay));
    EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kTaskDateCompleted)), midnight(kMonday + kDay));
    EXPECT_TRUE(back.get<bool>(back.tagOf(named::kTaskComplete)));
  }
}

TEST(Task, WasDoneOnTheDayOfWhoeverDidIt) {
  struct Case {
    const char* where;
    std::uint64_t minutes;  // that it was done
    const char* day;
  };
  const Case cases[] = {
      {"midnight in Tokyo", kMonday + kDay - 9 * 60, "20200303"},
      {"midnight in Auckland", kMonday + kDay - 13 * 60, "20200303"},
      {"midnight in India", kMonday + kDay - 330, "20200303"},
      {"midnight in Los Angeles", kMonday + kDay + 8 * 60, "20200303"},
      {"midnight in Hawaii", kMonday + kDay + 10 * 60, "20200303"},
      {"an evening that is the machine's", kMonday + kDay + 19 * 60 + 7, "20200303"},
  };
  for (const char* machine : {"America/New_York", "UTC", "Europe/Prague"}) {
    const ScopedZone scope(machine);
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(machine) + ": " + c.where);
      Item task(u"IPM.Task");
      task.set(named::kTaskDateCompleted, fileTime(c.minutes));
      EXPECT_EQ(lineIn(task.write(), "DTEND"), "DTEND;VALUE=DATE:" + std::string(c.day));
    }
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
    EXPECT_EQ(lineIn(mail, "STATUS"), c.text);
    EXPECT_EQ(lineIn(mail, "PERCENT"), "PERCENT-COMPLETE:33");
    const Item back(task, mail);
    EXPECT_EQ(back.number(back.tagOf(named::kTaskStatus)), c.back);
  }
  for (const double odd : {-1.0, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
    Item task(u"IPM.Task");
    task.set(named::kPercentComplete, odd);
    const std::string percent = lineIn(task.write(), "PERCENT");
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
  EXPECT_EQ(lineIn(mail, "X-NEXT-ALARM"), "X-NEXT-ALARM:20200305T080000Z");
  const Item back(task, mail);
  EXPECT_TRUE(back.get<bool>(back.tagOf(named::kReminderSet)));
  EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kReminderTime)), time);
  EXPECT_EQ(back.get<FILETIME>(back.tagOf(named::kReminderSignalTime)), time);
}

TEST(Task, GetsAnIdThatStays) {
  Item task(u"IPM.Task");
  const std::string mail = task.write();
  const std::string uid = lineIn(mail, "UID");
  EXPECT_EQ(uid.size(), 4U + 32);
  EXPECT_EQ(lineIn(task.write(), "UID"), uid);
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

std::string contentOfFile(const std::string& name) {
  std::ifstream in(std::string(NALVO_TEST_DATA) + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(Task, OfASeriesThatNoMailTellsComesBackWithIt) {
  const ScopedZone scope("UTC");
  for (const char* name : {"regenerating_task", "daily_without_end", "more_deleted_than_there_is"}) {
    SCOPED_TRACE(name);
    const std::string pattern = contentOfFile("recurrence-blobs/" + std::string(name));
    ASSERT_FALSE(pattern.empty());
    Item task(u"IPM.Task");
    fillTask(task);
    task.set(named::kTaskFRecurring, true);
    task.set(named::kTaskRecurrence, pattern);
    for (const host::MailForm form : {host::MailForm::Lossless, host::MailForm::Exact}) {
      const host::MailFile mail = host::writeMail(task.message.get(), form, nullptr);
      EXPECT_EQ(task.bytes(task.tagOf(named::kTaskRecurrence)), pattern) << "it is hidden on the way alone";
      Caller back(task.context);
      back.message = host::readMail(mail.mail.get(), task.context, FILETIME{}, nullptr);
      const bool isTold = mail.warnings.empty();
      EXPECT_EQ(isTold, std::string_view(name) == "daily_without_end");
      EXPECT_TRUE(back.get<bool>(back.tagOf(named::kTaskFRecurring)));
      EXPECT_TRUE(isTold || back.bytes(back.tagOf(named::kTaskRecurrence)) == pattern);
    }
  }
}

TEST(FaultSweep, Tasks) { sweepItem(u"IPM.Task", fillTask); }

}  // namespace
}  // namespace nalvo::test

// Appointments and meetings both ways: items per second, and growth with those who are asked.
#include <cstdio>
#include <string>
#include <vector>

#include "bench/both_ways.h"
#include "platform/time/file_time.h"

namespace {

using namespace nalvo;
using namespace nalvo::bench;

constexpr std::uint64_t kFirstHour = 220'459'680 / 60;  // 2 March 2020 in hours since 1601

FILETIME hour(std::uint64_t number) { return fileTimeOf((kFirstHour + number) * 3600 * kTicksPerSecond); }

// An hour in a room, with a reminder.
Message appointment(const host::HostContextPtr& context, std::u16string_view messageClass, std::uint64_t number) {
  Message message = makeItem(context, messageClass);
  set(message, named::kAppointmentStartWhole, PT_SYSTIME, hour(number % 1000));
  set(message, named::kAppointmentEndWhole, PT_SYSTIME, hour(number % 1000 + 1));
  set(message, named::kLocation, PT_UNICODE, std::u16string(u"Room 5"));
  set(message, named::kReminderSet, PT_BOOLEAN, true);
  set(message, named::kReminderDelta, PT_LONG, std::int32_t{15});
  set(message, named::kGlobalObjectId, PT_BINARY, "event " + std::to_string(number));
  set(message, named::kKeywords, PT_MV_UNICODE, std::vector<std::u16string>{u"plans", u"work"});
  return message;
}

Message meeting(const host::HostContextPtr& context, std::int32_t attendees) {
  Message message = appointment(context, u"IPM.Schedule.Meeting.Request", 0);
  for (std::int32_t i = 0; i < attendees; ++i) {
    host::PropertyBag& bag = message->addRecipient().bag();
    const std::string name = "person" + std::to_string(i);
    bag.set(PR_RECIPIENT_TYPE, {PT_LONG, 1 + i % 3});
    bag.set(PR_DISPLAY_NAME, {PT_UNICODE, std::u16string(name.begin(), name.end())});
    bag.set(PR_ADDRTYPE, {PT_UNICODE, std::u16string(u"SMTP")});
    bag.set(PR_EMAIL_ADDRESS_A, {PT_STRING8, name + "@example.com"});
  }
  return message;
}

}  // namespace

int main() {
  const auto context = std::make_shared<host::HostContext>();
  std::printf("Appointments\n");
  for (const std::uint64_t count : {1'000U, 10'000U}) {
    std::vector<Message> items;
    for (std::uint64_t i = 0; i < count; ++i) {
      items.push_back(appointment(context, u"IPM.Appointment", i));
    }
    bothWays(std::to_string(count) + " appointments", context, items, host::MailForm::Lossless);
  }
  std::printf("A meeting, as it is kept and as it is sent\n");
  for (const std::int32_t attendees : {10, 100, 1'000, 10'000}) {
    bothWays(std::to_string(attendees) + " attendees", context, {meeting(context, attendees)}, host::MailForm::Lossless);
    bothWays(std::to_string(attendees) + " attendees, sent", context, {meeting(context, attendees)}, host::MailForm::Wire);
  }
}

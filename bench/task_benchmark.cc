// Tasks, and series with many exceptions, both ways: items per second, and growth with what they hold.
#include <cstdio>
#include <string>
#include <vector>

#include "bench/both_ways.h"
#include "convert/groupware/recurrence_pattern.h"
#include "convert/groupware/recurrence_state_item.h"
#include "platform/time/file_time.h"
#include "streams/stream_utils.h"

namespace {

using namespace nalvo;
using namespace nalvo::bench;

constexpr std::uint32_t kDay = 1440;
constexpr std::uint32_t kFirstDay = 220'459'680;  // 2 March 2020 in minutes since 1601

FILETIME timeAt(std::uint64_t minutes) { return fileTimeOf(minutes * 60 * kTicksPerSecond); }

Message task(const host::HostContextPtr& context, std::uint64_t number) {
  Message message = makeItem(context, u"IPM.Task");
  set(message, named::kTaskStartDate, PT_SYSTIME, timeAt(kFirstDay + number % 100 * kDay));
  set(message, named::kTaskDueDate, PT_SYSTIME, timeAt(kFirstDay + (number % 100 + 4) * kDay));
  set(message, named::kTaskStatus, PT_LONG, std::int32_t{1});
  set(message, named::kPercentComplete, PT_DOUBLE, 0.29);
  set(message, named::kTaskVersion, PT_LONG, std::int32_t{3});
  set(message, named::kKeywords, PT_MV_UNICODE, std::vector<std::u16string>{u"plans", u"work"});
  return message;
}

// Every second day of each pair is moved to the other, and back.
Message series(const host::HostContextPtr& context, std::uint32_t exceptions) {
  RecurrencePattern pattern;
  pattern.period = kDay;
  pattern.startOffset = 540;
  pattern.endOffset = 600;
  pattern.startDate = kFirstDay;
  pattern.end = RecurrencePattern::End::Never;
  pattern.endDate = 0x5AE980DF;
  for (std::uint32_t i = 0; i < exceptions; ++i) {
    const std::uint32_t day = kFirstDay + 2 * i * kDay;
    pattern.deleted.push_back(day);
    pattern.modified.push_back(day + kDay);
    pattern.exceptions.push_back({day + kDay + 480, day + kDay + 530, day + 540, std::nullopt});
  }
  const ComPtr<IStream> bytes = streamUtils::createStream();
  writeRecurrencePattern(pattern, ItemKind::Appointment, bytes.get());
  std::string blob(streamUtils::getStreamSize(bytes.get()), '\0');
  streamUtils::rewind(bytes.get());
  streamUtils::detail::readData(bytes.get(), blob.data(), static_cast<std::uint32_t>(blob.size()));

  Message message = makeItem(context, u"IPM.Appointment");
  set(message, named::kAppointmentRecur, PT_BINARY, std::move(blob));
  set(message, named::kRecurring, PT_BOOLEAN, true);
  set(message, named::kAppointmentStartWhole, PT_SYSTIME, timeAt(kFirstDay + pattern.startOffset));
  set(message, named::kAppointmentEndWhole, PT_SYSTIME, timeAt(kFirstDay + pattern.endOffset));
  return message;
}

}  // namespace

int main() {
  const auto context = std::make_shared<host::HostContext>();
  std::printf("Tasks\n");
  for (const std::uint64_t count : {1'000U, 10'000U}) {
    std::vector<Message> items;
    for (std::uint64_t i = 0; i < count; ++i) {
      items.push_back(task(context, i));
    }
    bothWays(std::to_string(count) + " tasks", context, items, host::MailForm::Lossless);
  }
  std::printf("A series with exceptions\n");
  for (const std::uint32_t exceptions : {10U, 100U, 1'000U, 10'000U}) {
    bothWays(std::to_string(exceptions) + " moved dates", context, {series(context, exceptions)}, host::MailForm::Lossless);
  }
}

// Tasks, and series with many exceptions, both ways: items per second, and growth with what they hold.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "convert/groupware/recurrence_pattern.h"
#include "convert/groupware/recurrence_state_item.h"
#include "host/mail.h"
#include "platform/mapi/tags.h"
#include "platform/time/file_time.h"
#include "properties/named_properties.h"
#include "streams/stream_utils.h"

namespace {

using namespace nalvo;
using Clock = std::chrono::steady_clock;

constexpr FILETIME kFallback{0, 0x01D5F070};
constexpr std::uint32_t kDay = 1440;
constexpr std::uint32_t kFirstDay = 220'459'680;  // 2 March 2020 in minutes since 1601

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

using Message = ComPtr<host::MemoryMessage>;

void set(const Message& message, const NamedProperty& property, ULONG type, host::PropertyContent content) {
  message->bag().set(MapiName(property).getPropertyTag(message.get()), {type, std::move(content)});
}

FILETIME timeAt(std::uint64_t minutes) { return fileTimeOf(minutes * 60 * kTicksPerSecond); }

Message makeItem(const host::HostContextPtr& context, std::u16string_view messageClass) {
  Message message = host::makeMessage(context);
  message->bag().set(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(messageClass)});
  message->bag().set(PR_SUBJECT, {PT_UNICODE, std::u16string(u"Write the plan of the week")});
  message->bag().set(PR_BODY, {PT_UNICODE, std::u16string(u"All of it, with an umlaut: \u00E4.\r\nAnd a second line.")});
  return message;
}

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

// Times both ways of the items.
void bothWays(const std::string& name, const host::HostContextPtr& context, const std::vector<Message>& items) {
  std::vector<ComPtr<IStream>> mails;
  const auto start = Clock::now();
  for (const Message& item : items) {
    mails.push_back(host::writeMail(item.get(), host::MailForm::Lossless, nullptr).mail);
  }
  const double out = secondsSince(start);
  const auto middle = Clock::now();
  for (const ComPtr<IStream>& mail : mails) {
    host::readMail(mail.get(), context, kFallback, nullptr);
  }
  const double in = secondsSince(middle);
  const auto count = static_cast<double>(items.size());
  std::printf("  %-24s to MIME %9.1f us each, %7.2f s; to MAPI %9.1f us each, %7.2f s\n", name.c_str(), out / count * 1e6,
              out, in / count * 1e6, in);
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
    bothWays(std::to_string(count) + " tasks", context, items);
  }
  std::printf("A series with exceptions\n");
  for (const std::uint32_t exceptions : {10U, 100U, 1'000U, 10'000U}) {
    bothWays(std::to_string(exceptions) + " moved dates", context, {series(context, exceptions)});
  }
}

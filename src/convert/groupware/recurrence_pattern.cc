#include "convert/groupware/recurrence_pattern.h"

#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

using Pattern = RecurrencePattern;

constexpr SourceFile kSource{".\\RecurrenceState"};
constexpr const char* kReading = "readRecurrencePattern";

constexpr std::uint16_t kVersion = 0x3004;
constexpr std::uint32_t kVersion2 = 0x3006;
constexpr std::uint32_t kWriterVersion2 = 0x3008;
constexpr std::uint16_t kFrequencyMark = 0x2000;
constexpr std::uint32_t kEndNeverToo = 0xFFFFFFFF;

// What an exception record says of itself, in the order of its fields.
enum OverrideFlag : std::uint16_t { kSubject = 0x0001, kLocation = 0x0010, kSubType = 0x0080, kLastOverride = 0x0200 };

constexpr bool hasText(std::uint16_t flag) { return flag == kSubject || flag == kLocation; }

// All of the rest of a stream. Its own count of bytes is not trusted, so that memory is what there is.
std::string readRest(IStream* stream) {
  std::string bytes;
  char buffer[4096];
  for (ULONG got = sizeof(buffer); got != 0;) {
    checkHResult(stream->Read(buffer, sizeof(buffer), &got), kSource.at(kReading));
    bytes.append(buffer, got);
  }
  return bytes;
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  std::uint16_t word() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t dword() { return number(4); }
  void skip(std::size_t count) {
    if (count > rest_.size()) {
      throwHResult(STG_E_READFAULT, kSource.at(kReading));
    }
    rest_.remove_prefix(count);
  }
  // The count is outside bytes: room is made as the dates come.
  std::vector<std::uint32_t> dates() {
    std::vector<std::uint32_t> result;
    for (std::uint32_t left = dword(); left > 0; --left) {
      result.push_back(dword());
    }
    return result;
  }

 private:
  std::uint32_t number(std::size_t size) {
    const std::string_view bytes = rest_.substr(0, size);
    skip(size);
    std::uint32_t value = 0;
    for (std::size_t i = size; i > 0; --i) {
      value = value << 8 | static_cast<unsigned char>(bytes[i - 1]);
    }
    return value;
  }

  std::string_view rest_;
};

class Writer {
 public:
  void word(std::uint16_t value) { number(value, 2); }
  void dword(std::uint32_t value) { number(value, 4); }
  void zeros(std::size_t count) { bytes_.append(count, '\0'); }
  void dates(const std::vector<std::uint32_t>& dates) {
    dword(static_cast<std::uint32_t>(dates.size()));
    for (const std::uint32_t date : dates) {
      dword(date);
    }
  }
  const std::string& bytes() const { return bytes_; }

 private:
  void number(std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) {
      bytes_.push_back(static_cast<char>(value >> 8 * i & 0xFF));
    }
  }

  std::string bytes_;
};

[[noreturn]] void throwUnknown() { throwHResult(E_INVALIDARG, kSource.at(kReading)); }

// The low byte of a field whose high byte has no meaning.
template <typename Enum>
Enum lowByteAs(std::uint16_t value, Enum first, Enum last) {
  const auto low = static_cast<std::uint8_t>(value);
  if (low < static_cast<std::uint8_t>(first) || low > static_cast<std::uint8_t>(last)) {
    throwUnknown();
  }
  return static_cast<Enum>(low);
}

Pattern::End endOf(std::uint32_t value) {
  if (value == kEndNeverToo) {
    return Pattern::End::Never;
  }
  if (value < static_cast<std::uint32_t>(Pattern::End::OnDate) || value > static_cast<std::uint32_t>(Pattern::End::Never)) {
    throwUnknown();
  }
  return static_cast<Pattern::End>(value);
}

Pattern::Exception readException(Reader& reader) {
  Pattern::Exception exception;
  exception.start = reader.dword();
  exception.end = reader.dword();
  exception.original = reader.dword();
  const std::uint16_t flags = reader.word();
  for (std::uint16_t flag = 1; flag <= flags && flag < kLastOverride; flag = static_cast<std::uint16_t>(flag << 1)) {
    if ((flags & flag) == 0) {
      continue;
    }
    if (hasText(flag)) {
      const std::size_t length = reader.word();
      reader.skip(length + 1);
    } else if (flag == kSubType) {
      exception.allDay = reader.dword() != 0;
    } else {
      reader.dword();
    }
  }
  return exception;
}

void writeException(const Pattern::Exception& exception, Writer& writer) {
  writer.dword(exception.start);
  writer.dword(exception.end);
  writer.dword(exception.original);
  writer.word(exception.allDay ? kSubType : 0);
  if (exception.allDay) {
    writer.dword(*exception.allDay ? 1 : 0);
  }
}

}  // namespace

RecurrencePattern readRecurrencePattern(IStream* stream, ItemKind kind) {
  const std::string bytes = readRest(stream);
  Reader reader(bytes);
  Pattern pattern;
  reader.skip(4);
  const std::uint16_t frequency = reader.word();
  const std::uint16_t type = reader.word();
  reader.skip(2);
  pattern.firstDateTime = reader.dword();
  pattern.period = reader.dword();
  if (reader.dword() == 1) {
    throwHResult(E_FAIL, kSource.at(kReading));
  }
  pattern.frequency = lowByteAs(frequency, Pattern::Frequency::Daily, Pattern::Frequency::Yearly);
  pattern.type = lowByteAs(type, Pattern::Type::Day, Pattern::Type::MonthNth);
  if (pattern.type == Pattern::Type::Week || pattern.type == Pattern::Type::MonthNth) {
    pattern.weekdays = reader.dword();
  }
  if (pattern.type == Pattern::Type::Month) {
    pattern.monthDay = reader.dword();
  }
  if (pattern.type == Pattern::Type::MonthNth) {
    pattern.nth = reader.dword();
  }
  pattern.end = endOf(reader.dword());
  pattern.count = reader.dword();
  pattern.firstDayOfWeek = reader.dword();
  pattern.deleted = reader.dates();
  pattern.modified = reader.dates();
  pattern.startDate = reader.dword();
  pattern.endDate = reader.dword();
  if (kind == ItemKind::Task) {
    return pattern;
  }
  reader.skip(8);
  pattern.startOffset = reader.dword();
  pattern.endOffset = reader.dword();
  if (pattern.startOffset >= kMinutesOfDay) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at(kReading));
  }
  for (std::uint16_t left = reader.word(); left > 0; --left) {
    pattern.exceptions.push_back(readException(reader));
  }
  return pattern;
}

void writeRecurrencePattern(const RecurrencePattern& pattern, ItemKind kind, IStream* stream) {
  Writer writer;
  writer.word(kVersion);
  writer.word(kVersion);
  writer.word(static_cast<std::uint16_t>(kFrequencyMark | static_cast<std::uint16_t>(pattern.frequency)));
  writer.word(static_cast<std::uint16_t>(pattern.type));
  writer.word(0);  // the Gregorian calendar
  writer.dword(pattern.firstDateTime);
  writer.dword(pattern.period);
  writer.dword(0);  // no next item when one is done
  if (pattern.type == Pattern::Type::Week || pattern.type == Pattern::Type::MonthNth) {
    writer.dword(pattern.weekdays);
  }
  if (pattern.type == Pattern::Type::Month) {
    writer.dword(pattern.monthDay);
  }
  if (pattern.type == Pattern::Type::MonthNth) {
    writer.dword(pattern.nth);
  }
  writer.dword(static_cast<std::uint32_t>(pattern.end));
  writer.dword(pattern.count);
  writer.dword(pattern.firstDayOfWeek);
  writer.dates(pattern.deleted);
  writer.dates(pattern.modified);
  writer.dword(pattern.startDate);
  writer.dword(pattern.endDate);
  if (kind == ItemKind::Appointment) {
    const std::size_t count = pattern.exceptions.size();
    if (count > std::numeric_limits<std::uint16_t>::max()) {
      throwHResult(E_INVALIDARG, kSource.at("writeRecurrencePattern"));
    }
    writer.dword(kVersion2);
    writer.dword(kWriterVersion2);
    writer.dword(pattern.startOffset);
    writer.dword(pattern.endOffset);
    writer.word(static_cast<std::uint16_t>(count));
    for (const Pattern::Exception& exception : pattern.exceptions) {
      writeException(exception, writer);
    }
    writer.zeros(4 * count);
  }
  writer.zeros(8);
  streamUtils::detail::writeStr(stream, writer.bytes());
}

}  // namespace nalvo

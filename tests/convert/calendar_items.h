// Appointments and meetings for tests: instants in words, and the calendar text of a mail line by line.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/time/file_time.h"
#include "tests/mail/zones.h"
#include "tests/support/item.h"

namespace nalvo::test {

// "2024-05-06 14:30", UTC.
inline FILETIME at(const char* text) {
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0;
  EXPECT_EQ(std::sscanf(text, "%u-%u-%u %u:%u", &year, &month, &day, &hour, &minute), 5) << text;
  const auto word = [](unsigned number) { return static_cast<std::uint16_t>(number); };
  const SYSTEMTIME time{word(year), word(month), 0, word(day), word(hour), word(minute), 0, 0};
  return systemTimeToFileTime(time).value_or(FILETIME{});
}

inline std::string textOf(FILETIME instant) {
  const SYSTEMTIME time = fileTimeToSystemTime(instant).value_or(SYSTEMTIME{});
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute);
  return text;
}

// "<none>" for a property that is not there.
inline std::string timeOf(const Caller& item, const NamedProperty& property) {
  const ULONG tag = item.tagOf(property);
  return item.has(tag) ? textOf(item.get<FILETIME>(tag)) : "<none>";
}
inline std::uint32_t numberOf(const Caller& item, const NamedProperty& property) {
  return item.number(item.tagOf(property));
}
inline std::u16string wideOf(const Caller& item, const NamedProperty& property) { return item.text(item.tagOf(property)); }
inline bool flagOf(const Caller& item, const NamedProperty& property) { return item.get<bool>(item.tagOf(property)); }

// The decoded calendar text of a mail, its lines put together and parted by LF.
inline std::string calendarOf(const std::string& mail) {
  ComPtr<mime::IMimeMessage> message;
  EXPECT_EQ(mime::createMimeMessage(message.put()), S_OK);
  const ComPtr<IStream> source = streamUtils::createStream();
  streamUtils::detail::writeStr(source.get(), mail);
  streamUtils::rewind(source.get());
  EXPECT_EQ(message->Load(source.get()), S_OK);
  mime::FINDBODY find{"text", "calendar", 0};
  mime::HBODY handle = nullptr;
  if (message->FindFirst(&find, &handle) != S_OK) {
    return "<none>";
  }
  ComPtr<mime::IMimeBody> body;
  ComPtr<IStream> data;
  EXPECT_EQ(message->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), S_OK);
  EXPECT_EQ(body->GetData(mime::IET_BINARY, data.put()), S_OK);
  std::string text;
  for (const char c : Caller::contentOf(data.get())) {
    if (c == ' ' && text.ends_with('\n')) {
      text.pop_back();
    } else if (c != '\r') {
      text += c;
    }
  }
  return text;
}

// The line that begins with `name` and ":" or ";", the first of several, of the event or if it has none of the whole.
inline std::string lineOf(const std::string& calendar, const std::string& name) {
  if (const std::size_t event = calendar.find("BEGIN:VEVENT"); event != 0 && event != std::string::npos) {
    const std::string found = lineOf(calendar.substr(event), name);
    return found == "<none>" ? lineOf(calendar.substr(0, event), name) : found;
  }
  for (std::size_t at = 0; at < calendar.size();) {
    const std::size_t end = std::min(calendar.find('\n', at), calendar.size());
    const std::string line = calendar.substr(at, end - at);
    if (line.starts_with(name + ":") || line.starts_with(name + ";")) {
      return line;
    }
    at = end + 1;
  }
  return "<none>";
}

// A mail that is one calendar text; lines with LF.
inline std::string calendarMail(const std::string& lines, const std::string& method = {}) {
  return "From: Ann <ann@example.com>\nTo: Bob <bob@example.com>\nSubject: From the header\nMIME-Version: 1.0\n"
         "Content-Type: text/calendar; charset=utf-8; component=vevent" +
         (method.empty() ? std::string() : "; method=" + method) +
         "\n\nBEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nUID:u1\nDTSTAMP:20240101T000000Z\n" + lines +
         "END:VEVENT\nEND:VCALENDAR\n";
}

// The appointment that a calendar text makes.
class ReceivedEvent : public ReceivedItem {
 public:
  explicit ReceivedEvent(const std::string& lines, HRESULT expected = S_OK)
      : ReceivedItem(u"IPM.Appointment", calendarMail(lines), expected) {}
};

}  // namespace nalvo::test

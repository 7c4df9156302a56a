#include "tool/value_words.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "host/base64.h"

namespace nalvo::tool {
namespace {

// A longer text is cut, unless all is wanted.
constexpr std::size_t kShownText = 400;
constexpr std::size_t kShownBytes = 16;

struct NamedNumber {
  std::string_view property;
  std::int64_t number;
  std::string_view word;
};

constexpr NamedNumber kNumbers[] = {
    {"PR_IMPORTANCE", 0, "low"},
    {"PR_IMPORTANCE", 1, "normal"},
    {"PR_IMPORTANCE", 2, "high"},
    {"PR_PRIORITY", -1, "not urgent"},
    {"PR_PRIORITY", 0, "normal"},
    {"PR_PRIORITY", 1, "urgent"},
    {"PR_SENSITIVITY", 0, "none"},
    {"PR_SENSITIVITY", 1, "personal"},
    {"PR_SENSITIVITY", 2, "private"},
    {"PR_SENSITIVITY", 3, "confidential"},
    {"PR_FLAG_STATUS", 1, "completed"},
    {"PR_FLAG_STATUS", 2, "flagged"},
    {"PR_RECIPIENT_TYPE", 0, "originator"},
    {"PR_RECIPIENT_TYPE", 1, "To"},
    {"PR_RECIPIENT_TYPE", 2, "Cc"},
    {"PR_RECIPIENT_TYPE", 3, "Bcc"},
    {"PR_ATTACH_METHOD", 0, "nothing"},
    {"PR_ATTACH_METHOD", 1, "a file"},
    {"PR_ATTACH_METHOD", 2, "a reference"},
    {"PR_ATTACH_METHOD", 4, "a reference"},
    {"PR_ATTACH_METHOD", 5, "a message"},
    {"PR_ATTACH_METHOD", 6, "an OLE object"},
    {"PR_ATTACH_METHOD", 7, "a reference in the web"},
    {"PidLidBusyStatus", 0, "free"},
    {"PidLidBusyStatus", 1, "tentative"},
    {"PidLidBusyStatus", 2, "busy"},
    {"PidLidBusyStatus", 3, "out of office"},
    {"PidLidBusyStatus", 4, "working elsewhere"},
    {"PidLidResponseStatus", 0, "none"},
    {"PidLidResponseStatus", 1, "organizer"},
    {"PidLidResponseStatus", 2, "tentative"},
    {"PidLidResponseStatus", 3, "accepted"},
    {"PidLidResponseStatus", 4, "declined"},
    {"PidLidResponseStatus", 5, "not answered"},
    {"PidLidTaskStatus", 0, "not started"},
    {"PidLidTaskStatus", 1, "in progress"},
    {"PidLidTaskStatus", 2, "completed"},
    {"PidLidTaskStatus", 3, "waiting for someone else"},
    {"PidLidTaskStatus", 4, "deferred"},
};

constexpr NamedNumber kMessageFlags[] = {
    {"", 0x1, "read"},
    {"", 0x2, "unmodified"},
    {"", 0x4, "submitted"},
    {"", 0x8, "unsent"},
    {"", 0x10, "attachments"},
    {"", 0x20, "from me"},
    {"", 0x40, "hidden"},
    {"", 0x100, "read receipt pending"},
    {"", 0x200, "non-read receipt pending"},
};

struct ClassKind {
  std::string_view start;
  std::string_view kind;
};
// The first that fits.
constexpr ClassKind kKinds[] = {
    {"IPM.Note.SMIME.MultipartSigned", "signed mail"},
    {"IPM.Note.SMIME", "encrypted mail"},
    {"IPM.Note", "mail"},
    {"IPM.Appointment", "appointment"},
    {"IPM.Schedule.Meeting.Request", "meeting request"},
    {"IPM.Schedule.Meeting.Canceled", "meeting cancellation"},
    {"IPM.Schedule.Meeting.Resp", "meeting reply"},
    {"IPM.TaskRequest", "task request"},
    {"IPM.Task", "task"},
    {"IPM.Contact", "contact"},
    {"IPM.DistList", "distribution list"},
    {"IPM.Activity", "journal entry"},
    {"IPM.StickyNote", "sticky note"},
    {"IPM.Post", "post"},
};

bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(), [&](char a, char b) { return lower(a) == lower(b); });
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string numberWords(const std::string& name, std::int64_t number) {
  const std::string plain = std::to_string(number);
  const auto* row = std::find_if(std::begin(kNumbers), std::end(kNumbers),
                                 [&](const NamedNumber& r) { return r.property == name && r.number == number; });
  if (row != std::end(kNumbers)) {
    return plain + " (" + std::string(row->word) + ")";
  }
  if (name == "PR_MESSAGE_FLAGS") {
    std::string words;
    for (const NamedNumber& flag : kMessageFlags) {
      if ((number & flag.number) != 0) {
        words += (words.empty() ? " (" : ", ") + std::string(flag.word);
      }
    }
    return words.empty() ? plain : plain + words + ")";
  }
  if (isOneOf(name, {"PR_MESSAGE_SIZE", "PR_ATTACH_SIZE"}) && number >= 0) {
    return sizeWords(static_cast<std::uint64_t>(number));
  }
  if (isOneOf(name,
              {"PidLidReminderDelta", "PidLidAppointmentDuration", "PidLidTaskActualEffort", "PidLidTaskEstimatedEffort"})) {
    return plain + (number == 1 ? " minute" : " minutes");
  }
  return plain;
}

// Cuts UTF-8 between characters.
std::string_view beginningOf(std::string_view text) {
  std::size_t end = kShownText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) {
    --end;
  }
  return text.substr(0, end);
}

// Control characters would steer the reader's terminal; C1 ones are two bytes of UTF-8.
std::string withoutControls(std::string_view text) {
  std::string clean;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
      ++i;
    } else if (c == '\n' || c == '\t' || (c >= 0x20 && c != 0x7F)) {
      clean += text[i];
    }
  }
  return clean;
}

std::string bytesWords(const Json& value, bool full) {
  if (value.contains("size")) {
    const std::string size = sizeWords(value["size"].get<std::uint64_t>());
    return size + ", sha256 " + value["sha256"].get<std::string>();
  }
  const std::string& encoded = value["base64"].get_ref<const std::string&>();
  if (full) {
    return encoded;
  }
  const std::string bytes = host::decodeBase64(encoded).value_or(std::string());
  std::string hex;
  char pair[3];
  for (const char c : std::string_view(bytes).substr(0, kShownBytes)) {
    std::snprintf(pair, sizeof pair, "%02x", static_cast<unsigned char>(c));
    hex += pair;
  }
  return bytes.size() <= kShownBytes ? hex : hex + "... (" + sizeWords(bytes.size()) + ")";
}

}  // namespace

std::string sizeWords(std::uint64_t bytes) {
  if (bytes < 1000) {
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  }
  constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB"};
  double size = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  while (size >= 999.95 && unit + 1 < std::size(kUnits)) {
    size /= 1000;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", size, kUnits[unit]);
  return text;
}

std::string timeWords(const std::string& utc) {
  std::tm broken{};
  if (std::sscanf(utc.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &broken.tm_year, &broken.tm_mon, &broken.tm_mday, &broken.tm_hour,
                  &broken.tm_min, &broken.tm_sec) != 6) {
    return utc;
  }
  broken.tm_year -= 1900;
  --broken.tm_mon;
  const std::time_t time = timegm(&broken);
  std::tm local{};
  char text[64];
  if (localtime_r(&time, &local) == nullptr || std::strftime(text, sizeof text, "%a %e %b %Y %H:%M:%S %Z", &local) == 0) {
    return utc;
  }
  std::string words = text;
  if (const std::size_t pad = words.find("  "); pad != std::string::npos) {
    words.erase(pad, 1);  // of a day below 10
  }
  return words;
}

std::string_view kindOf(std::string_view messageClass) {
  if (startsWithIgnoringCase(messageClass, "REPORT.")) {
    return "report";
  }
  const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                  [&](const ClassKind& k) { return startsWithIgnoringCase(messageClass, k.start); });
  return kind == std::end(kKinds) ? std::string_view() : kind->kind;
}

std::string nameOf(const Json& property) {
  return property.contains("name")    ? property["name"].get<std::string>()
         : property.contains("named") ? property["named"].get<std::string>()
                                      : property["tag"].get<std::string>();
}

std::string valueWords(const Json& property, bool full) {
  const Json& value = property["value"];
  if (property.contains("words")) {
    const std::string words = withoutControls(property["words"].get<std::string>());
    return full ? words + "\n" + bytesWords(value, true) : words;
  }
  if (value.is_object()) {
    return bytesWords(value, full);
  }
  if (value.is_number_integer()) {
    return numberWords(nameOf(property), value.get<std::int64_t>());
  }
  if (!value.is_string()) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  const std::string& text = value.get_ref<const std::string&>();
  if (property["type"] == "PT_SYSTIME") {
    return full ? text : timeWords(text);
  }
  const bool cut = !full && text.size() > kShownText;
  return cut ? withoutControls(beginningOf(text)) + "... (" + sizeWords(text.size()) + ")" : withoutControls(text);
}

std::string textOf(const Json& properties, std::string_view name) {
  for (const Json& property : properties) {
    if (property.contains("name") && property["name"] == name) {
      const Json& value = property["value"];
      return value.is_string()   ? withoutControls(value.get<std::string>())
             : value.is_number() ? value.dump()
                                 : std::string();
    }
  }
  return {};
}

}  // namespace nalvo::tool

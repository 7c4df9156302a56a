#include "tool/wrapped_objects.h"

#include <algorithm>
#include <array>
#include <map>
#include <sstream>
#include <string_view>
#include <utility>

#include "diagnostics/hresult_exception.h"
#include "mail/content_sources.h"
#include "mail/v_items.h"
#include "platform/text/text.h"

namespace nalvo::tool {
namespace {

using mail::Component;

constexpr std::string_view kCard = "VCARD";
constexpr std::string_view kCalendar = "VCALENDAR";
// In the order of the search; those behind the first two are parts of a calendar, which some files hold without one.
constexpr std::string_view kObjects[] = {kCard, kCalendar, "VEVENT", "VTODO", "VJOURNAL", "VTIMEZONE"};

constexpr SourceFile kSource{".\\WrappedObjects"};

std::string readAll(IStream* stream) {
  std::string text;
  std::array<char, 65536> block;
  for (ULONG count = 1; count > 0;) {
    checkHResult(stream->Read(block.data(), static_cast<ULONG>(block.size()), &count), kSource.at("tool::wrapObjects"));
    text.append(block.data(), count);
  }
  return text;
}

// Some programs write UTF-16, with a mark or without. What else is there stays, without its mark.
std::string inUtf8(std::string text) {
  using namespace std::string_view_literals;
  const bool big = text.starts_with("\xFE\xFF") || text.starts_with("\0B"sv);
  if (big || text.starts_with("\xFF\xFE") || text.starts_with("B\0"sv)) {
    std::u16string wide;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
      const auto first = static_cast<unsigned char>(text[i]), second = static_cast<unsigned char>(text[i + 1]);
      wide += static_cast<char16_t>(big ? first << 8 | second : second << 8 | first);
    }
    text = wideToUtf8(wide);
  }
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

std::string mailOf(const std::string& contentType, std::string_view text) {
  std::string mail =
      "MIME-Version: 1.0\r\nContent-Type: " + contentType + "; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n";
  return mail.append(text);
}

bool isLine(std::string_view line, std::string_view wanted) {
  line = line.substr(0, line.find_last_not_of(" \t\r\n") + 1);
  return equalsIgnoreCase(line, wanted);
}

// The lines of a text, each with its end: CR LF, LF or CR.
class Lines {
 public:
  explicit Lines(std::string_view text) : rest_(text) {}

  bool next(std::string_view& line) {
    std::size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
    end += rest_.substr(end, 2) == "\r\n" ? 2U : end < rest_.size() ? 1U : 0U;
    line = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return !line.empty();
  }

 private:
  std::string_view rest_;
};

// The length of a group in front of a property's name, its dot included; 0 if there is none.
std::size_t groupLength(std::string_view line) {
  const std::size_t end = line.find_first_of(".:;");
  if (end == std::string_view::npos || end == 0 || line[end] != '.') {
    return 0;
  }
  const bool isName = std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(end), [](char c) {
    return (c >= '0' && c <= '9') || c == '-' || (toLowerAscii(c) >= 'a' && toLowerAscii(c) <= 'z');
  });
  return isName ? end + 1 : 0;
}

// "_$!<HomePage>!$_" is a label that address books know in every language.
std::string_view plainLabel(std::string_view label) {
  constexpr std::string_view kBegin = "_$!<";
  constexpr std::string_view kEnd = ">!$_";
  return label.starts_with(kBegin) && label.ends_with(kEnd)
             ? label.substr(kBegin.size(), label.size() - kBegin.size() - kEnd.size())
             : label;
}

std::string cardWithoutGroups(std::string_view card) {
  std::string result;
  std::string labels;
  std::map<std::string, std::string, std::less<>> values;  // of the last line of each group
  Lines lines(card);
  for (std::string_view line; lines.next(line);) {
    const std::size_t group = groupLength(line);
    if (group == 0) {
      if (isLine(line, "END:VCARD") && !labels.empty()) {
        result += "NOTE:" + labels + "\r\n";
      }
      result += line;
      continue;
    }
    const std::string name(line.substr(0, group));
    line.remove_prefix(group);
    const std::size_t colon = std::min(line.find(':'), line.size() - 1);
    std::string_view value = line.substr(colon + 1);
    value = value.substr(0, value.find_last_not_of("\r\n") + 1);
    if (equalsIgnoreCase(line.substr(0, std::min(line.find_first_of(";:"), line.size())), "X-ABLabel")) {
      labels.append(labels.empty() ? "" : "\\n").append(plainLabel(value)).append(": ").append(values[name]);
      continue;
    }
    values[name] = value;
    result += line;
  }
  return result;
}

// The items of one calendar, each with all that belongs to it.
void wrapCalendar(std::string_view text, std::vector<std::string>& mails) {
  std::istringstream in{std::string(text)};
  mail::vcIStreamLex lexer(in, "");
  Component calendar;
  if (!calendar.read(lexer, "VCALENDAR")) {
    return;
  }
  Component frame = calendar;  // and its zones
  frame.children.clear();
  std::vector<Component> rest;  // what no item is; goes with the first one
  for (const Component& child : calendar.children) {
    if (!mail::isItemType(child.name)) {
      (equalsIgnoreCase(child.name, "VTIMEZONE") ? frame.children : rest).push_back(child);
    }
  }
  const std::vector<mail::CalendarItem> items = mail::itemsOf(calendar);
  const std::string method = toLowerAscii(std::string_view(calendar.getPropertyText("METHOD")));
  for (const mail::CalendarItem& item : items) {
    std::string contentType = "text/calendar; component=" + item.type;
    if (method == "request" || method == "reply" || method == "cancel") {
      contentType += "; method=" + method;
    }
    if (items.size() == 1) {
      mails.push_back(mailOf(contentType, text));
      continue;
    }
    Component own = frame;
    own.children.insert(own.children.end(), rest.begin(), rest.end());
    for (const Component* component : item.components) {
      own.children.push_back(*component);
    }
    rest.clear();
    mails.push_back(mailOf(contentType, own.toText()));
  }
}

}  // namespace

std::vector<std::string> wrapObjects(IStream* stream) {
  const std::string text = inUtf8(readAll(stream));
  std::vector<std::string> mails;
  std::string bare;       // what stands outside a calendar and would belong into one
  std::string_view type;  // of the object that is open
  std::size_t begin = 0;
  std::size_t end = 0;
  const auto wrap = [&] {
    const std::string_view object = std::string_view(text).substr(begin, end - begin);
    if (type == kCard) {
      mails.push_back(mailOf("text/x-vcard", cardWithoutGroups(object)));
    } else if (type == kCalendar) {
      wrapCalendar(object, mails);
    } else if (!type.empty()) {
      bare += object;
    }
    type = {};
  };
  Lines lines(text);
  for (std::string_view line; lines.next(line);) {
    end += line.size();
    for (const std::string_view wanted : kObjects) {
      if (type.empty() && isLine(line, "BEGIN:" + std::string(wanted))) {
        type = wanted;
        begin = end - line.size();
      } else if (type == wanted && isLine(line, "END:" + std::string(wanted))) {
        wrap();
      }
    }
  }
  wrap();  // what was cut off
  if (!bare.empty()) {
    wrapCalendar("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + bare + "\r\nEND:VCALENDAR\r\n", mails);
  }
  return mails;
}

}  // namespace nalvo::tool

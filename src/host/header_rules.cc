// Rules about the stored header block of a message, and about values that were taken from it.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <vector>

#include "host/rule_rows.h"
#include "mime/header_text.h"
#include "mime/mime.h"
#include "platform/time/file_time.h"

namespace nalvo::host {
namespace {

struct HeaderLine {
  std::string name;  // lower case
  std::string value;
};

std::vector<HeaderLine> linesOf(std::string_view block) {
  std::vector<HeaderLine> lines;
  while (!block.empty()) {
    const std::size_t end = std::min(block.find('\n'), block.size() - 1);
    const std::string_view line = block.substr(0, end + 1);
    block.remove_prefix(end + 1);
    const std::size_t colon = line.find(':');
    if ((line.front() == ' ' || line.front() == '\t') && !lines.empty()) {
      lines.back().value += line;
    } else if (colon != std::string_view::npos) {
      lines.push_back({toLowerAscii(trim(line.substr(0, colon))), std::string(line.substr(colon + 1))});
    }
  }
  for (HeaderLine& line : lines) {
    line.value = collapseBlanks(line.value);
  }
  return lines;
}

// What a note writes from its properties, people and bodies, whatever the stored block says.
constexpr std::string_view kWrittenHeaders[] = {
    "subject",
    "date",
    "message-id",
    "organization",
    "x-envelope-to",
    "importance",
    "x-priority",
    "x-msmail-priority",
    "mime-version",
    "x-mimeole",
    "x-mapi",
    "from",
    "sender",
    "to",
    "cc",
    "bcc",
    "reply-to",
    "return-receipt-to",
    "disposition-notification-to",
};

bool isWritten(std::string_view name) {
  return name.starts_with("content-") ||
         std::find(std::begin(kWrittenHeaders), std::end(kWrittenHeaders), name) != std::end(kWrittenHeaders);
}

bool keepsOtherHeaders(const Case& c) {
  std::map<std::string, int> kept;
  for (const HeaderLine& line : linesOf(textOf(c.difference.after))) {
    ++kept[line.name + ":" + line.value];
  }
  for (const HeaderLine& line : linesOf(textOf(c.difference.before))) {
    if (!line.value.empty() && !isWritten(line.name) && --kept[line.name + ":" + line.value] < 0) {
      return false;
    }
  }
  return true;
}

struct LiftedHeader {
  std::string_view what;
  std::string_view header;
};
constexpr LiftedHeader kLiftedHeaders[] = {
    {"PR_INTERNET_MESSAGE_ID", "message-id"},   {"PR_INTERNET_ORGANIZATION", "organization"},
    {"PR_INTERNET_RETURN_PATH", "return-path"}, {"PR_LIST_HELP", "list-help"},
    {"PR_LIST_SUBSCRIBE", "list-subscribe"},    {"PR_LIST_UNSUBSCRIBE", "list-unsubscribe"},
    {"PR_IN_REPLY_TO_ID", "in-reply-to"},
};

// True if the stored block that was there has the header that the value was taken from.
bool isStoredHeader(const Case& c) {
  std::string_view header;
  for (const LiftedHeader& row : kLiftedHeaders) {
    if (row.what == c.difference.what) {
      header = row.header;
    }
  }
  // A named property of the internet headers has the header's name in quotes.
  const std::size_t quote = c.difference.what.find('"');
  const std::string named =
      toLowerAscii(quote == std::string::npos ? std::string()
                                              : c.difference.what.substr(quote + 1, c.difference.what.size() - quote - 2));
  const std::string wanted = collapseBlanks(textOf(c.difference.after));
  const std::vector<HeaderLine> lines = linesOf(textOf(c.was("PR_TRANSPORT_MESSAGE_HEADERS")));
  return std::any_of(lines.begin(), lines.end(), [&](const HeaderLine& line) {
    return (line.name == header || line.name == named) &&
           collapseBlanks(wideToUtf8(mime::decodeHeaderText(line.value, nullptr))) == wanted;
  });
}

// The beginning of a time as JSON, to the second.
std::string timeText(FILETIME time) {
  const SYSTEMTIME t = fileTimeToSystemTime(time).value_or(SYSTEMTIME{});
  char text[64];
  std::snprintf(text, sizeof text, "\"%04d-%02d-%02dT%02d:%02d:%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                t.wSecond);
  return text;
}

bool isStoredDate(const Case& c) {
  const std::vector<HeaderLine> lines = linesOf(textOf(c.was("PR_TRANSPORT_MESSAGE_HEADERS")));
  return std::any_of(lines.begin(), lines.end(), [&c](const HeaderLine& line) {
    FILETIME time{};
    return line.name == "date" && succeeded(mime::MimeOleInetDateToFileTime(line.value.c_str(), &time)) &&
           c.difference.after.starts_with(timeText(time));
  });
}

constexpr std::string_view kLifted = "a stored header becomes a property";

constexpr RuleRow kRules[] = {
    {Place::Message, Kind::Made, "PR_TRANSPORT_MESSAGE_HEADERS", keepsOtherHeaders, "a mail keeps its headers as they are"},
    {Place::Message, Kind::Made, "PR_INTERNET_MESSAGE_ID", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "PR_INTERNET_ORGANIZATION", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "PR_INTERNET_RETURN_PATH", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "PR_LIST_HELP", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "PR_LIST_SUBSCRIBE", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "PR_LIST_UNSUBSCRIBE", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "PR_IN_REPLY_TO_ID", isStoredHeader, kLifted},
    {Place::Message, Kind::Made, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"X-Envelope-To\"", isStoredHeader,
     kLifted},
    {Place::Message, Kind::Made, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"X-Spam-Level\"", isStoredHeader,
     kLifted},
    {Place::Message, Kind::Made, "0000001f {00020386-0000-0000-C000-000000000046} [UN] \"X-Spam-Status\"", isStoredHeader,
     kLifted},
    {Place::Message, Kind::Added, "PR_CLIENT_SUBMIT_TIME", isStoredDate, kLifted},
};

}  // namespace

std::span<const RuleRow> headerRules() { return kRules; }

}  // namespace nalvo::host

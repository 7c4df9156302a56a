#include "convert/groupware/meeting_convert_bodies.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>  // not_fn

#include "mail/windows_zone.h"
#include "platform/text/localization.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo {
namespace {

using mail::Attendee;
using mail::DateTimeUtils::gmtToLocal;
using mail::DateTimeUtils::minutesBetween;
using mail::DateTimeUtils::timeZoneBias;

constexpr unsigned kTextTime = 212;
constexpr unsigned kTextMinutes = 213;
constexpr unsigned kTextUtc = 214;
constexpr unsigned kTextRequired = 215;
constexpr unsigned kTextOptional = 216;
constexpr unsigned kTextOthers = 217;
constexpr unsigned kTextOrganizer = 218;

constexpr std::u16string_view kLineBreak = u"\r\n";
constexpr std::u16string_view kTable = u"<table style='font: 12px Verdana, Arial, sans-serif'>\r\n";
constexpr std::u16string_view kTableEnd = u"</table>\r\n";
constexpr std::u16string_view kParagraph = u"<p style='font: 12px Verdana, Arial, sans-serif'>";
constexpr std::u16string_view kParagraphEnd = u"</p>";
constexpr std::u16string_view kRow = u"<tr><td><b>";
constexpr std::u16string_view kRowValue = u"</b></td><td>";
constexpr std::u16string_view kRowEnd = u"</td></tr>\r\n";
// Ahead of it stands what a mail program made of the invitation.
constexpr std::u16string_view kBodySeparator = u"*~*~*~*~*~*~*~*~*~*";

// Years for which every zone has a local time.
constexpr int kFirstYear = 1602;
constexpr int kLastYear = 9998;

std::u16string labelOf(unsigned number) { return std::u16string(Localization::getString(number)).append(u": "); }

std::u16string numberText(const char* format, long long a, long long b = 0, long long c = 0) {
  char text[96];
  std::snprintf(text, sizeof text, format, a, b, c);
  return ansiToWide(text);
}

std::u16string dateText(const SYSTEMTIME& date) {
  return numberText("%04lld-%02lld-%02lld", date.wYear, date.wMonth, date.wDay);
}
std::u16string timeText(const SYSTEMTIME& date) { return numberText("%02lld:%02lld", date.wHour, date.wMinute); }

bool areSameDay(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return a.wYear == b.wYear && a.wMonth == b.wMonth && a.wDay == b.wDay;
}

std::u16string periodText(const SYSTEMTIME& start, const SYSTEMTIME& end) {
  return areSameDay(start, end) ? dateText(start) + u", " + timeText(start) + u" - " + timeText(end)
                                : dateText(start) + u" " + timeText(start) + u" - " + dateText(end) + u" " + timeText(end);
}

// "UTC +1:00"
std::u16string offsetText(const SYSTEMTIME& utc) {
  const std::int32_t bias = timeZoneBias(nullptr, utc, true, true);
  const std::int32_t minutes = std::abs(bias);
  return std::u16string(Localization::getString(kTextUtc))
      .append(bias > 0 ? u" -" : u" +")
      .append(numberText("%lld:%02lld", minutes / 60, minutes % 60));
}

bool isShowable(const SYSTEMTIME& date) { return date.wYear >= kFirstYear && date.wYear <= kLastYear; }

bool isKnown(const Attendee& person) { return !person.name.empty() || !person.address.empty(); }

// Turns `text` into a page, in pieces that end between no two characters of a line end.
void writeEscaped(IStream* html, std::u16string_view text) {
  constexpr std::size_t kPiece = 0x4000;
  while (!text.empty()) {
    std::size_t size = std::min(text.size(), kPiece);
    if (size < text.size() && text[size - 1] == u'\r') {
      --size;
    }
    const ComPtr<IStream> piece = streamUtils::createStream();
    streamUtils::detail::writeStr(piece.get(), text.substr(0, size));
    streamUtils::replaceHtmlEntities(piece.get(), html);
    text.remove_prefix(size);
  }
}

}  // namespace

void MeetingBodies::addToBoth(std::u16string_view text) {
  plain_ += text;
  html_ += text;
}

void MeetingBodies::addPerson(std::u16string_view name, std::u16string_view address, bool first) {
  // Calendar text names a person without a name by the address.
  const bool hasName = !name.empty() && name != address;
  addToBoth(first ? u"" : u", ");
  addToBoth(hasName ? name : u"");
  if (address.empty()) {
    return;
  }
  addToBoth(hasName ? u" (" : u"");
  plain_ += address;
  html_.append(u"<a href=\"mailto:").append(address).append(u"\">").append(address).append(u"</a>");
  addToBoth(hasName ? u")" : u"");
}

void MeetingBodies::addSentence(std::u16string_view name, std::u16string_view address, unsigned whatHasBeenDone) {
  html_.append(kParagraph).append(u"<b>");
  addToBoth(Localization::getString(kTextAttendee));
  addToBoth(u" ");
  addPerson(name, address, true);
  addToBoth(u" ");
  addToBoth(Localization::getString(whatHasBeenDone));
  html_.append(u"</b>").append(kParagraphEnd).append(kLineBreak);
}

void MeetingBodies::beginTable() { html_ += kTable; }

void MeetingBodies::endTable() { html_ += kTableEnd; }

void MeetingBodies::addRow(unsigned label, std::u16string_view value) {
  plain_.append(labelOf(label)).append(value).append(kLineBreak);
  html_.append(kRow).append(labelOf(label)).append(kRowValue).append(value).append(kRowEnd);
}

void MeetingBodies::addTime(const SYSTEMTIME& start, const SYSTEMTIME& end) {
  if (!isShowable(start) || !isShowable(end)) {
    return;
  }
  std::u16string text = periodText(gmtToLocal(start, nullptr), gmtToLocal(end, nullptr));
  text.append(u" ").append(offsetText(start)).append(numberText(" (%lld ", minutesBetween(end, start)));
  text.append(Localization::getString(kTextMinutes)).append(u")");
  addRow(kTextTime, text);
}

void MeetingBodies::beginRow(std::u16string_view label) {
  plain_.append(label).append(kLineBreak);
  html_.append(kRow).append(label).append(kRowValue);
}

void MeetingBodies::endRow() { html_ += kRowEnd; }

void MeetingBodies::addPeopleRow(unsigned label, const std::vector<Attendee>& people) {
  if (people.empty()) {
    return;
  }
  beginRow(labelOf(label));
  for (const Attendee& person : people) {
    addPerson(utf8ToWide(person.name), utf8ToWide(person.address), &person == &people.front());
  }
  endRow();
}

void MeetingBodies::addPeople(const mail::VEvent& event) {
  using Role = Attendee::Role;
  std::vector<Attendee> organizer;
  std::vector<Attendee> required;
  std::vector<Attendee> optional;
  std::vector<Attendee> others;
  if (const Attendee told = event.getOrganizer(); isKnown(told)) {
    organizer.push_back(told);
  }
  for (const Attendee& attendee : event.getAttendees()) {
    if (attendee.role == Role::Chair && organizer.empty()) {
      organizer.push_back(attendee);
      continue;
    }
    std::vector<Attendee>& list = attendee.role == Role::Required   ? required
                                  : attendee.role == Role::Optional ? optional
                                                                    : others;
    list.push_back(attendee);
  }
  organizer.erase(std::remove_if(organizer.begin(), organizer.end(), std::not_fn(isKnown)), organizer.end());
  addPeopleRow(kTextOrganizer, organizer);
  addPeopleRow(kTextRequired, required);
  addPeopleRow(kTextOptional, optional);
  addPeopleRow(kTextOthers, others);
}

void MeetingBodies::addText(std::u16string_view text) {
  const std::size_t separator = text.find(kBodySeparator);
  text_ = separator == std::u16string_view::npos ? text : text.substr(separator + kBodySeparator.size());
  hasText_ = true;
}

void MeetingBodies::write(IStream* plain, IStream* html) const {
  using streamUtils::detail::writeStr;
  writeStr(plain, plain_);
  writeStr(html, html_);
  if (hasText_) {
    writeStr(plain, text_);
    writeStr(plain, kLineBreak);
    writeStr(html, kParagraph);
    writeEscaped(html, text_);
    writeStr(html, kLineBreak);
  }
}

}  // namespace nalvo

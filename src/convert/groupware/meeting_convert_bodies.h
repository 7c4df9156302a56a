// What people read of a meeting message whose mail program knows no calendar: a plain text and a page with a table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mail/v_event.h"
#include "nalvo/com.h"

namespace nalvo {

// Numbers of texts in the catalogue.
inline constexpr unsigned kTextSubject = 202;
inline constexpr unsigned kTextAttendee = 205;
inline constexpr unsigned kTextHasCanceled = 206;
inline constexpr unsigned kTextHasAccepted = 207;
inline constexpr unsigned kTextHasDeclined = 208;
inline constexpr unsigned kTextHasTentativelyAccepted = 209;
inline constexpr unsigned kTextHasAnswered = 210;
inline constexpr unsigned kTextLocation = 211;

// Both texts grow side by side, in the order of the calls. Names, addresses and values of rows go into the page as they are;
// the text of the message alone is escaped.
class MeetingBodies {
 public:
  // "Attendee Ann (ann@example.com) has declined this meeting."
  void addSentence(std::u16string_view name, std::u16string_view address, unsigned whatHasBeenDone);
  void beginTable();
  void addRow(unsigned label, std::u16string_view value);
  // When, on this machine's clock, and for how long. Both times in UTC.
  void addTime(const SYSTEMTIME& start, const SYSTEMTIME& end);
  // The organizer and the attendees by their roles.
  void addPeople(const mail::VEvent& event);
  void endTable();
  // What stands behind the line that parts an invitation from what a program put ahead of it, or the whole text.
  void addText(std::u16string_view text);

  // Appends both as UTF-16.
  void write(IStream* plain, IStream* html) const;

 private:
  void addToBoth(std::u16string_view text);
  void addPerson(std::u16string_view name, std::u16string_view address, bool first);
  void beginRow(std::u16string_view label);
  void endRow();
  void addPeopleRow(unsigned label, const std::vector<mail::Attendee>& people);

  std::u16string plain_;
  std::u16string html_;
  std::u16string text_;  // of the message, which ends both
  bool hasText_ = false;
};

}  // namespace nalvo

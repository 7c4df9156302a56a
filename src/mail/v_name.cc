#include "mail/v_name.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "mail/v_text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kKnown =
    // components
    " DAYLIGHT STANDARD STICKYNOTE VALARM VCALENDAR VCARD VEVENT VFREEBUSY VJOURNAL VTIMEZONE VTODO X-CHILDREN X-DL-ITEM"
    // of calendars
    " ACKNOWLEDGED ACTION ATTACH ATTENDEE CALSCALE CATEGORIES CLASS COMMENT COMPLETED CONTACT CREATED DESCRIPTION DTEND"
    " DTSTAMP DTSTART DUE DURATION EXDATE EXRULE FREEBUSY GEO LAST-MOD LAST-MODIFIED LOCATION METHOD ORGANIZER"
    " PERCENT-COMPLETE PRIORITY PRODID RDATE RECURRENCE-ID RELATED-TO REPEAT REQUEST-STATUS RESOURCES RRULE SEQUENCE STATUS"
    " SUMMARY TRANSP TRIGGER TZID TZNAME TZOFFSETFROM TZOFFSETTO TZURL UID URL VERSION X-ALARM-TRIGGER X-ALT-DESC"
    " X-APPLE-DEFAULT-ALARM X-LABEL X-LIC-LOCATION X-MICROSOFT-CDO-ALLDAYEVENT X-MICROSOFT-CDO-APPT-SEQUENCE"
    " X-MICROSOFT-CDO-BUSYSTATUS X-MICROSOFT-CDO-IMPORTANCE X-MICROSOFT-CDO-INSTTYPE X-MICROSOFT-CDO-INTENDEDSTATUS"
    " X-MICROSOFT-CDO-OWNERAPPTID X-MICROSOFT-DISALLOW-COUNTER X-MOZ-GENERATION X-MOZ-LASTACK X-MOZ-SNOOZE-TIME"
    " X-MOZILLA-ALARM-DEFAULT-LENGTH X-MS-OLK-ALLOWEXTERNCHECK X-MS-OLK-APPTLASTSEQUENCE X-MS-OLK-APPTSEQTIME"
    " X-MS-OLK-AUTOSTARTCHECK X-MS-OLK-CONFTYPE X-NEXT-ALARM X-UNTIL X-VERSION-QTL X-WR-ALARMUID X-WR-CALDESC X-WR-CALNAME"
    " X-WR-RELCALID X-WR-TIMEZONE"
    // of cards and notes
    " ADR ANNIVERSARY BDAY COLOR DATA EMAIL FBURL FN ICQ IMPP KEY LABEL LOGO MAILER MEMBER MESSAGEGUID N NAME NICKNAME NOTE"
    " ORG PHOTO POSITION REV ROLE SOUND TEL TEXT TITLE TYPE TZ X-ACCOUNT-ID X-ADDRESSBOOKSERVER-KIND"
    " X-ADDRESSBOOKSERVER-MEMBER X-AIM X-ANNIVERSARY X-ASSISTANT X-CUSTOMER-ID X-DL X-FILE-AS X-FILE-AS-ID X-GOVERNMENT-ID"
    " X-HOBBIES X-MANAGER X-ROOM X-SPOUSE-NAME";

// Most names differ in length, which is compared at once.
bool isAhead(std::string_view a, std::string_view b) { return a.size() != b.size() ? a.size() < b.size() : a < b; }

// The first one is empty, and so is the name of an object without one.
const std::vector<std::string>& knownNames() {
  static const std::vector<std::string> names = [] {
    const std::vector<std::string_view> words = split(kKnown, " ");
    std::vector<std::string> sorted(words.begin(), words.end());
    std::sort(sorted.begin(), sorted.end(), isAhead);
    return sorted;
  }();
  return names;
}

bool isKnown(const std::string* text) {
  const std::vector<std::string>& names = knownNames();
  return std::less_equal<>()(names.data(), text) && std::less<>()(text, names.data() + names.size());
}

}  // namespace

Name::Name(std::string_view text) {
  const std::vector<std::string>& names = knownNames();
  const auto found = std::lower_bound(names.begin(), names.end(), text, isAhead);
  text_ = found != names.end() && *found == text ? &*found : new std::string(text);
}

Name::Name(const Name& other) : text_(isKnown(other.text_) ? other.text_ : new std::string(*other.text_)) {}

Name::Name(Name&& other) noexcept : text_(std::exchange(other.text_, knownNames().data())) {}

Name& Name::operator=(Name other) noexcept {
  std::swap(text_, other.text_);
  return *this;
}

Name::~Name() {
  if (!isKnown(text_)) {
    delete text_;
  }
}

}  // namespace nalvo::mail

#include "host/item_comparison.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>
#include <utility>

#include "diagnostics/hresult_exception.h"
#include "host/calendar_series.h"
#include "host/mail.h"
#include "host/mime_walk.h"
#include "mail/calendar.h"
#include "mail/content_sources.h"
#include "mail/v_card.h"
#include "mail/v_event.h"
#include "mail/v_items.h"
#include "mail/v_text.h"
#include "mail/v_todo.h"
#include "mime/mime_utils.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

using mail::VCalendar;
using mail::VCard;

constexpr SourceFile kSource{".\\ItemComparison"};

// What it says by what that is called, and what rules may ask.
struct Told {
  std::vector<std::pair<const char*, std::string>> rows = {};
  Facts facts = {};
  std::set<std::string> lines = {};  // the names of all that it says, in lower case
};

// As many dates as people look ahead.
constexpr std::size_t kDates = 100;

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all.append(all.empty() || text.empty() ? "" : "; ").append(text);
  }
  return all;
}

std::string textOf(const mail::DateTime& date) {
  return date.isNull()       ? std::string()
         : date.isDateOnly() ? date.toString(mail::DateTime::kExtended)
                             : mail::DateTime(date.seconds()).toString(mail::DateTime::kExtended);
}

std::set<std::string> linesOf(const mail::Component& component) {
  std::set<std::string> names;
  for (const mail::Property& property : component.properties()) {
    if (std::any_of(property.values.begin(), property.values.end(),
                    [](const auto& value) { return !value.isEmptyValue(); })) {
      names.insert(toLowerAscii(std::string_view(property.name)));
    }
  }
  // Dates are compared by what they come to.
  for (const char* name : {"duration", "rrule", "exdate", "rdate"}) {
    names.erase(name);
  }
  return names;
}

// Rules that step by less than a day, or many of them, tell themselves: their dates may be dear, and none is kept.
std::string datesOf(const VCalendar& object) {
  constexpr std::size_t kMostRules = 4;
  std::vector<mail::RRule> rules = object.getRRules();
  std::vector<std::string> texts;
  if (rules.size() > kMostRules ||
      std::any_of(rules.begin(), rules.end(), [](const mail::RRule& rule) { return rule.freq > mail::kDaily; })) {
    rules.resize(std::min(rules.size(), kMostRules));
    std::transform(rules.begin(), rules.end(), std::back_inserter(texts), [](const auto& rule) { return rule.toString(); });
  } else {
    const std::vector<mail::DateTime> dates = object.getFirstDates(kDates);
    std::transform(dates.begin(), dates.end(), std::back_inserter(texts), [](const auto& date) { return textOf(date); });
  }
  return joined(texts);
}

Told calendarTold(const VCalendar& object) {
  Told told;
  told.rows = {{"calendar summary", collapseBlanks(object.getSummary())},
               {"calendar place", collapseBlanks(object.getLocation())},
               {"calendar start", textOf(object.getStart())},
               {"calendar dates", datesOf(object)}};
  if (const auto* event = dynamic_cast<const mail::VEvent*>(&object)) {
    told.rows.emplace_back("calendar end", textOf(event->getEffectiveEnd()));
  }
  if (const auto* todo = dynamic_cast<const mail::VTodo*>(&object)) {
    told.rows.emplace_back("calendar due", textOf(todo->getDue()));
    told.rows.emplace_back("calendar completed", textOf(todo->getCompletedDate()));
    told.rows.emplace_back("calendar percent", std::to_string(todo->getPercentComplete()));
    told.rows.emplace_back("calendar status", std::to_string(todo->getStatus()));
  }
  told.rows.emplace_back("calendar text", collapseBlanks(object.getDescription()));
  told.rows.emplace_back("calendar categories", joined(object.getCategories()));
  told.rows.emplace_back("calendar priority", std::to_string(object.getPriority()));
  told.rows.emplace_back("calendar class", std::to_string(static_cast<int>(object.getClass())));
  told.lines = linesOf(object.current());
  told.facts.emplace(kCalendarTypeFact, object.getType());
  if (!isHeldByPattern(object)) {
    told.facts.emplace(kFreeSeriesFact, "yes");
  }
  return told;
}

std::string textOf(const mail::Address& address) {
  return joined({address.poBox, address.street, address.city, address.region, address.postalCode, address.country});
}

// Those that a contact has a place for: two of home and work, one of each other kind.
std::string telephonesOf(const VCard& card) {
  std::vector<std::string> numbers;
  for (int kind = 0; kind <= static_cast<int>(mail::TelKind::TtyTdd); ++kind) {
    const auto of = static_cast<mail::TelKind>(kind);
    numbers.push_back(card.getTel(of).number);
    if (of == mail::TelKind::Home || of == mail::TelKind::Business) {
      numbers.push_back(card.getTel(of, 1).number);
    }
  }
  std::erase(numbers, std::string());
  return joined(numbers);
}

Told cardTold(const VCard& card) {
  std::vector<std::string> emails;
  for (const mail::Email& email : card.getEmails()) {
    emails.push_back(email.address);
  }
  constexpr mail::Duration kHalfDay(mail::calendar::kDay / 2);
  const mail::DateTime birthday = card.getBirthday();
  return {{{"card name", joined({card.getFamilyName(), card.getGivenName(), card.getAdditionalName(), card.getPrefix(),
                                 card.getSuffix()})},
           {"card e-mail", joined(emails)},
           {"card home address", textOf(card.getHomeAddress())},
           {"card work address", textOf(card.getWorkAddress())},
           {"card telephones", telephonesOf(card)},
           {"card other address", textOf(card.getOtherAddress())},
           {"card company", card.getCompany()},
           {"card department", card.getDepartment()},
           {"card title", card.getTitle()},
           {"card note", collapseBlanks(card.getNote())},
           {"card birthday", birthday.isNull() ? std::string() : textOf((birthday + kHalfDay).makeDateOnly())}},
          {},
          linesOf(card.root())};
}

// A body that can be read anew.
class ItemBody {
 public:
  ItemBody(mime::IMimeMessage* mail, mime::HBODY handle) {
    ComPtr<mime::IMimeBody> body;
    checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at("host::compareItems"));
    checkHResult(body->GetData(mime::IET_BINARY, data_.put()), kSource.at("host::compareItems"));
    ScopedPropVariant charset(VT_LPSTR);
    if (succeeded(body->GetProp("par:content-type:charset", 0, &charset)) && charset.pszVal != nullptr) {
      charset_ = charset.pszVal;
    }
  }

  template <typename Object>
  bool readInto(Object& object) const {
    streamUtils::rewind(data_.get());
    return object.read(data_.get(), charset_);
  }
  mail::Component component() const {
    streamUtils::rewind(data_.get());
    mail::vcWinIStreamLex lexer(data_.get(), charset_);
    mail::Component component;
    component.read(lexer, "VCALENDAR");
    return component;
  }

 private:
  ComPtr<IStream> data_;
  std::string charset_;
};

Told toldOf(mime::IMimeMessage* mail, mime::HBODY handle) {
  if (mail->IsContentType(handle, "text", "calendar") == S_OK) {
    const ItemBody body(mail, handle);
    const std::unique_ptr<VCalendar> object = mail::calendarFor(body.component());
    return object && body.readInto(*object) ? calendarTold(*object) : Told();
  }
  if (mail->IsContentType(handle, "text", "vcard") == S_OK || mail->IsContentType(handle, "text", "x-vcard") == S_OK) {
    VCard card;
    return ItemBody(mail, handle).readInto(card) ? cardTold(card) : Told();
  }
  return {};
}

// Of the first body that is a calendar or a card.
Told toldIn(mime::IMimeMessage* mail) {
  for (const mime::HBODY handle : bodiesOf(mail)) {
    if (!MimeUtils::isBodyAttachment(mail, handle)) {
      if (Told told = toldOf(mail, handle); !told.rows.empty()) {
        return told;
      }
    }
  }
  return {};
}

std::string_view rowOf(const Told& told, std::string_view what) {
  const auto isIt = [what](const auto& row) { return what == row.first; };
  const auto found = std::find_if(told.rows.begin(), told.rows.end(), isIt);
  return found == told.rows.end() ? std::string_view() : std::string_view(found->second);
}

// The first item of a list that another one lacks.
std::string firstMissing(const std::string& list, const std::string& other) {
  const std::vector<std::string_view> items = mail::split(list, ";"), others = mail::split(other, ";");
  std::set<std::string_view> known;
  std::transform(others.begin(), others.end(), std::inserter(known, known.end()), [](auto item) { return trim(item); });
  const auto found =
      std::find_if(items.begin(), items.end(), [&known](std::string_view item) { return !known.contains(trim(item)); });
  return found == items.end() ? std::string() : std::string(trim(*found));
}

void compare(const std::string& where, const Told& before, const Told& after, Facts old, const Facts& now,
             Comparison& result) {
  old.insert(before.facts.begin(), before.facts.end());
  for (const auto& [what, from] : before.rows) {
    const std::string to(rowOf(after, what));
    if (from == to) {
      result.noteSame();
    } else {
      result.note(Place::Mail, {where, what, from, to, {}}, old, now);
    }
  }
  std::vector<std::string> lost;
  std::set_difference(before.lines.begin(), before.lines.end(), after.lines.begin(), after.lines.end(),
                      std::back_inserter(lost));
  if (!lost.empty()) {
    result.note(Place::Mail, {where, "item lines", joined(lost), {}, {}}, old, now);
  }
}

}  // namespace

void compareItems(const MailPair& pair, Comparison& result) {
  compare(pair.where, toldIn(pair.before.get()), toldIn(pair.after.get()), pair.old, pair.now, result);
}

void compareAttachedItem(const std::string& where, const MailPair& pair, mime::HBODY handle, mime::IMimeMessage* item,
                         Comparison& result) {
  compare(where, toldOf(pair.before.get(), handle), toldIn(item), pair.old, pair.now, result);
}

void warnOfChangedSeries(IStream* mail, const HostContextPtr& context, std::vector<std::string>& warnings) {
  const Told before = toldIn(loadMail(mail).get());
  if (!before.facts.contains(kFreeSeriesFact)) {
    return;
  }
  Told after;
  try {
    const ComPtr<MemoryMessage> message = readMail(mail, context, FILETIME{}, nullptr);
    after = toldIn(loadMail(writeMail(message.get(), MailForm::Wire, nullptr).mail.get()).get());
  } catch (const HResultException&) {
    return;  // an item that can't go out has no dates to compare
  }
  const std::string dates(rowOf(before, "calendar dates")), kept(rowOf(after, "calendar dates"));
  const std::string left = firstMissing(dates, kept), added = firstMissing(kept, dates);
  if (!left.empty() || !added.empty()) {
    warnings.push_back("message: its series has dates that a recurrence pattern can't hold; " +
                       (left.empty() ? added + " is added" : left + " is left out"));
  }
}

}  // namespace nalvo::host

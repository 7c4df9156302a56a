#include "mail/attendee.h"

#include <algorithm>
#include <array>

#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

constexpr std::string_view kMailto = "mailto:";

// By the numbers of Role and PartStat; an empty word isn't written.
constexpr std::array<std::string_view, 4> kRoles = {"CHAIR", "", "OPT-PARTICIPANT", "NON-PARTICIPANT"};
constexpr std::array<std::string_view, 7> kPartStats = {"",          "ACCEPTED",  "DECLINED",  "TENTATIVE",
                                                        "DELEGATED", "COMPLETED", "IN-PROCESS"};

std::size_t findMailto(std::string_view text) {
  const auto same = [](char a, char b) { return toLowerAscii(a) == b; };
  const auto found = std::search(text.begin(), text.end(), kMailto.begin(), kMailto.end(), same);
  return found == text.end() ? std::string_view::npos : static_cast<std::size_t>(found - text.begin());
}

// What stands behind "mailto:", or the whole text.
std::string_view behindMailto(std::string_view text) {
  const std::size_t at = findMailto(text);
  return at == std::string_view::npos ? text : text.substr(at + kMailto.size());
}

template <std::size_t N, typename Word>
Word wordOf(const std::array<std::string_view, N>& words, std::string_view text, Word usual) {
  const int index = text.empty() ? -1 : indexOf(words, text);
  return index < 0 ? usual : static_cast<Word>(index);
}

void setWord(PropertyValue& value, std::string_view param, std::string_view word) {
  if (!word.empty()) {
    value.setParam(param, word);
  }
}

bool isTrue(const PropertyValue& value, std::string_view param) {
  return equalsIgnoreCase(value.firstParamValue(param), "TRUE");
}

std::string addressText(const Attendee& attendee) {
  const bool prefixed =
      attendee.addressKind == Attendee::AddressKind::Mail && findMailto(attendee.address) == std::string_view::npos;
  return prefixed ? std::string(kMailto) + attendee.address : attendee.address;
}

}  // namespace

Attendee readOrganizer(const PropertyValue& value) {
  Attendee attendee;
  attendee.name = value.firstParamValue("CN");
  attendee.address = value.text;
  if (const std::size_t at = findMailto(value.text); at != std::string_view::npos) {
    attendee.address.erase(at, kMailto.size());
    attendee.addressKind = Attendee::AddressKind::Mail;
  }
  attendee.sent = isTrue(value, "X-SENT");
  return attendee;
}

void writeOrganizer(const Attendee& organizer, PropertyValue& value) {
  if (organizer.name.empty()) {
    value.removeParam("CN");
  } else {
    value.setParam("CN", organizer.name);
  }
  value.text = organizer.address.empty() ? std::string() : addressText(organizer);
  if (organizer.sent) {
    value.setParam("X-SENT", "TRUE");
  } else {
    value.removeParam("X-SENT");
  }
}

Attendee readAttendee(const PropertyValue& value) {
  Attendee attendee = readOrganizer(value);
  attendee.role = wordOf(kRoles, value.firstParamValue("ROLE"), Attendee::Role::Required);
  attendee.partStat = wordOf(kPartStats, value.firstParamValue("PARTSTAT"), Attendee::PartStat::NeedsAction);
  attendee.rsvp = isTrue(value, "RSVP");
  return attendee;
}

void writeAttendee(const Attendee& attendee, PropertyValue& value) {
  value.clearParams();
  setWord(value, "ROLE", kRoles[static_cast<std::size_t>(attendee.role)]);
  setWord(value, "PARTSTAT", kPartStats[static_cast<std::size_t>(attendee.partStat)]);
  setWord(value, "RSVP", attendee.rsvp ? "TRUE" : "");
  setWord(value, "X-SENT", attendee.sent ? "TRUE" : "");
  value.setParam("CN", attendee.name.empty() ? behindMailto(attendee.address) : attendee.name);
  value.text = addressText(attendee);
}

void addMissingName(PropertyValue& value) {
  // A bare CN isn't written.
  if (value.firstParamValue("CN").empty()) {
    value.setParam("CN", behindMailto(value.text));
  }
}

}  // namespace nalvo::mail

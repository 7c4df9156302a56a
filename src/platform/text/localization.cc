#include "platform/text/localization.h"

#include <algorithm>
#include <iterator>

#include "nalvo_version.h"

namespace nalvo::Localization {
namespace {

struct Entry {
  unsigned number;
  std::u16string_view text;
};

// Sorted by number.
constexpr Entry kEnglish[] = {
    {2, kProductName},
    {201, u"Private item"},
    {202, u"Subject"},
    {203, u"To"},
    {204, u"Sent"},
    {205, u"Attendee"},
    {206, u"has canceled this meeting."},
    {207, u"has accepted this meeting."},
    {208, u"has declined this meeting."},
    {209, u"has tentatively accepted this meeting."},
    {210, u"has answered this meeting."},
    {211, u"Location"},
    {212, u"Time"},
    {213, u"minutes"},
    {214, u"UTC"},
    {215, u"Required"},
    {216, u"Optional"},
    {217, u"Others"},
    {218, u"Organizer"},
    {223, u"This report was made by "},
    {224, u" on "},
    {225, u"Your message was delivered to:"},
    {226, u"Your message could not be delivered to:"},
};

}  // namespace

std::u16string_view getString(unsigned number) {
  const auto found = std::lower_bound(std::begin(kEnglish), std::end(kEnglish), number,
                                      [](const Entry& entry, unsigned wanted) { return entry.number < wanted; });
  return found != std::end(kEnglish) && found->number == number ? found->text : std::u16string_view{};
}

}  // namespace nalvo::Localization

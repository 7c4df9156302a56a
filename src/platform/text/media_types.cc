#include "platform/text/media_types.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/text/media_types_table.h"
#include "platform/text/text.h"

namespace nalvo {

std::string_view mediaTypeOfName(std::u16string_view fileName) {
  using detail::kMediaTypes;
  using detail::MediaTypeRow;
  static_assert(std::is_sorted(std::begin(kMediaTypes), std::end(kMediaTypes),
                               [](const MediaTypeRow& a, const MediaTypeRow& b) { return a.extension < b.extension; }));
  const std::size_t dot = fileName.rfind(u'.');
  if (dot != std::u16string_view::npos) {
    const std::string extension = toLowerAscii(wideToUtf8(fileName.substr(dot + 1)));
    const auto* row = std::lower_bound(std::begin(kMediaTypes), std::end(kMediaTypes), extension,
                                       [](const MediaTypeRow& r, std::string_view wanted) { return r.extension < wanted; });
    if (row != std::end(kMediaTypes) && row->extension == extension) {
      return row->type;
    }
  }
  return "application/octet-stream";
}

}  // namespace nalvo

// HTML of strangers for a page: whatever comes in, what goes out runs and loads nothing.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/text/html/html_limits.h"
#include "platform/text/html/html_tree.h"
#include "platform/text/text.h"
#include "tool/safe_html.h"

namespace {

void check(bool holds) {
  if (!holds) {
    std::abort();
  }
}

bool isHarmless(std::string_view element) {
  for (const std::string_view name :
       {"script", "style", "iframe", "object", "embed", "link", "meta", "base", "form", "svg", "math"}) {
    if (element == name) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string html(reinterpret_cast<const char*>(data), size);
  const std::string safe = nalvo::tool::safeHtml(html, [](std::string_view) { return "data:image/png;base64,"; });
  if (!nalvo::html::isWithinLimits(safe)) {
    return 0;
  }
  // As a browser would read it where it stands.
  const nalvo::html::Tree tree("<!doctype html><body>" + safe);
  for (const nalvo::html::Node& node : tree.nodes()) {
    if (node.isText()) {
      continue;
    }
    check(isHarmless(node.text));
    for (const char* name :
         {"onload", "onerror", "onclick", "action", "background", "srcset", "formaction", "poster", "data", "id"}) {
      check(!tree.hasAttribute(node, name));
    }
    const std::string source = nalvo::toLowerAscii(nalvo::trim(tree.attribute(node, "src")));
    check(source.empty() || source.starts_with("data:image/"));
    const std::string link = nalvo::toLowerAscii(nalvo::trim(tree.attribute(node, "href")));
    check(link.empty() || link.starts_with("http") || link.starts_with("mailto:") || link.starts_with("tel:"));
    const std::string style = nalvo::toLowerAscii(tree.attribute(node, "style"));
    check(style.find("url(") == std::string::npos);
    check(style.find('\\') == std::string::npos && style.find("expression(") == std::string::npos);
  }
  return 0;
}

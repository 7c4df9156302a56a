#include "diagnostics/format_wide.h"

#include <boost/format.hpp>
#include <locale>
#include <new>

#include "platform/text/text.h"

namespace nalvo {
namespace {

// Unit by unit: a surrogate pair comes back as it was.
std::wstring toUnits(std::u16string_view text) { return {text.begin(), text.end()}; }

std::u16string fromUnits(std::wstring_view text) {
  std::u16string result;
  result.reserve(text.size());
  for (const wchar_t unit : text) {
    result += static_cast<char16_t>(unit);
  }
  return result;
}

std::u16string internalError(std::u16string_view what, std::u16string_view format) {
  std::u16string result = u"Internal error: ";
  result.append(what).append(u" passed: \"").append(format).append(u"\"");
  return result;
}

}  // namespace

FormatArgument::FormatArgument(std::u16string_view text) : value_(toUnits(text)) {}
FormatArgument::FormatArgument(std::string_view text) : value_(toUnits(ansiToWide(text))) {}
FormatArgument::FormatArgument(const char16_t* text)
    : FormatArgument(text != nullptr ? std::u16string_view(text) : std::u16string_view()) {}
FormatArgument::FormatArgument(const char* text)
    : FormatArgument(text != nullptr ? std::string_view(text) : std::string_view()) {}

std::u16string formatWide(std::u16string_view format, std::initializer_list<FormatArgument> arguments) {
  try {
    // The classic locale: numbers without separators, whatever the program has set.
    boost::wformat formatter(toUnits(format), std::locale::classic());
    for (const FormatArgument& argument : arguments) {
      std::visit([&](const auto& value) { formatter % value; }, argument.value());
    }
    return fromUnits(formatter.str());
  } catch (const boost::io::bad_format_string&) {
    return internalError(u"Ill-formed format string", format);
  } catch (const boost::io::too_few_args&) {
    return internalError(u"Too few arguments", format);
  } catch (const boost::io::too_many_args&) {
    return internalError(u"Too many arguments", format);
  } catch (const boost::io::out_of_range&) {
    return internalError(u"Index out-of-range", format);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return u"Internal error: Unknown exception occurred: \"" + std::u16string(format) + u"\"";
  }
}

}  // namespace nalvo

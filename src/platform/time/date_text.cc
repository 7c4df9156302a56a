#include "platform/time/date_text.h"

#include <clocale>
#include <ctime>
#include <cwchar>

#include "platform/time/file_time.h"

namespace nalvo {
namespace {

// The forms of one locale. The locale of the process is never asked or touched.
class Locale {
 public:
  explicit Locale(const char* name) : handle_(newlocale(LC_ALL_MASK, name, nullptr)) {
    if (handle_ == nullptr) {
      handle_ = newlocale(LC_ALL_MASK, "C", nullptr);
    }
  }
  ~Locale() { freelocale(handle_); }
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;
  locale_t get() const { return handle_; }

 private:
  locale_t handle_;
};

}  // namespace

std::optional<std::u16string> localDateText(const SYSTEMTIME& utc, const char* locale) {
  const std::optional<FILETIME> instant = systemTimeToFileTime(utc);
  if (!instant) {
    return std::nullopt;
  }
  const std::time_t seconds = unixSecondsOf(*instant);
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) {
    return std::nullopt;
  }
  const Locale form(locale);
  wchar_t buffer[256];
  const std::size_t length = wcsftime_l(buffer, std::size(buffer), L"%x %X", &local, form.get());
  std::u16string text;
  for (std::size_t i = 0; i < length; ++i) {
    // No locale writes its dates in characters beyond the basic plane.
    text += static_cast<char16_t>(buffer[i]);
  }
  return text;
}

}  // namespace nalvo

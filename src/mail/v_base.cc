#include "mail/v_base.h"

#include <algorithm>
#include <array>

#include "mail/content_sources.h"
#include "mail/v_text.h"
#include "platform/com/hresult.h"
#include "text/charset_ascii_fold.h"
#include "text/charset_names.h"

namespace nalvo::mail {
namespace {

// By the numbers of Privacy.
constexpr std::array<std::string_view, 3> kClasses = {"PUBLIC", "PRIVATE", "CONFIDENTIAL"};

}  // namespace

std::string VBase::toText() const {
  return collectText([this](const Sink& sink) { printTo(sink); });
}

HRESULT VBase::print(IStream* stream) const {
  constexpr std::size_t kMost = 1U << 20;
  HRESULT hr = S_OK;
  printTo([&](std::string_view text) {
    for (; hr == S_OK && !text.empty(); text.remove_prefix(std::min(kMost, text.size()))) {
      const auto size = static_cast<ULONG>(std::min(kMost, text.size()));
      ULONG written = 0;
      hr = stream->Write(text.data(), size, &written);
      hr = failed(hr) ? hr : written == size ? S_OK : STG_E_MEDIUMFULL;
    }
    return hr == S_OK;
  });
  return hr;
}

void VBase::print(std::ostream& stream) const {
  printTo([&stream](std::string_view piece) { return static_cast<bool>(stream << piece); });
}

void VBase::print(NStream& stream) const {
  printTo([&stream](std::string_view piece) {
    stream << piece;
    return true;
  });
}

bool VBase::read(IStream* stream, std::string_view charset) {
  vcWinIStreamLex lexer(stream, charset);
  return readFrom(lexer);
}

bool VBase::read(std::istream& stream, std::string_view charset) {
  vcIStreamLex lexer(stream, charset);
  return readFrom(lexer);
}

bool VBase::read(NStream& stream, std::string_view charset) {
  vcNStreamLex lexer(stream, charset);
  return readFrom(lexer);
}

bool VBase::readFrom(HeaderLex& lexer) { return root_.read(lexer, getType()); }

std::vector<std::string> VBase::getValues(std::string_view name) const {
  std::vector<std::string> texts;
  for (const PropertyValue& value : current().findProperty(name).values) {
    texts.push_back(value.text);
  }
  return texts;
}

void VBase::setValues(std::string_view name, const std::vector<std::string>& texts) {
  Property& property = currentForWrite().addProperty(name);
  property.clearValues();
  for (const std::string& text : texts) {
    property.addValue().text = text;
  }
}

std::vector<std::string> VBase::getCategories() const {
  std::vector<std::string> categories;
  for (const PropertyValue& value : current().findProperty("CATEGORIES").values) {
    for (const std::string_view item : split(value.text, ",")) {
      categories.emplace_back(item);
    }
  }
  return categories;
}

void VBase::setCategories(const std::vector<std::string>& categories) { setValues("CATEGORIES", {join(categories)}); }

Privacy VBase::getClass() const { return static_cast<Privacy>(std::max(indexOf(kClasses, getProperty("CLASS")), 0)); }

void VBase::setClass(Privacy privacy) { setProperty("CLASS", kClasses[static_cast<std::size_t>(privacy)]); }

void VBase::dumpFields(std::ostream& log, std::initializer_list<const char*> names) const {
  log << getType();
  for (const char* name : names) {
    std::string text;
    utils::foldToAscii(utils::kUtf8Charset, getProperty(name), text);
    log << "\n  " << name << ": " << text;
  }
  log << '\n';
}

}  // namespace nalvo::mail

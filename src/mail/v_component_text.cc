// How a tree is read from lines, and written.
#include <algorithm>
#include <unordered_set>
#include <utility>

#include "mail/content_lines.h"
#include "mail/v_component.h"
#include "text/charset_names.h"

namespace nalvo::mail {
namespace {

// The values of these are lists of fields parted by ";", with escapes of their own.
bool isStructured(std::string_view name) {
  return equalsIgnoreCase(name, "ADR") || equalsIgnoreCase(name, "N") || equalsIgnoreCase(name, "ORG");
}

// The parameters of one line as they come in. A line may hold any number of them, of one name or many.
class ParamReader {
 public:
  explicit ParamReader(std::vector<Param>& params) : params_(params) {}

  void add(const std::string& name, std::vector<std::string>& values) {
    std::size_t at = index_.find(name, params_);
    if (at == FoldedIndex::kNone) {
      at = params_.size();
      params_.push_back({name, {}});
      index_.appended(params_);
    }
    for (std::string& value : values) {
      addValue(at, std::move(value));
    }
  }

 private:
  // What is written alike would be one when it is read again.
  static std::string keyOf(std::size_t at, std::string_view value) {
    std::string key;
    quoteToken(value, key);
    return toLowerAscii(key) + ';' + std::to_string(at);
  }

  void addValue(std::size_t at, std::string value) {
    std::vector<std::string>& values = params_[at].values;
    if (values.size() == 1) {
      seen_.insert(keyOf(at, values.front()));
    }
    if (values.empty() || seen_.insert(keyOf(at, value)).second) {
      values.push_back(std::move(value));
    }
  }

  std::vector<Param>& params_;
  FoldedIndex index_;
  std::unordered_set<std::string> seen_;
};

// The text and the parameters of a line whose name was read. What steers the reading of the value isn't kept.
class ValueReader {
 public:
  explicit ValueReader(HeaderLex& lexer) : lexer_(lexer) {}

  void read(PropertyValue& value, bool structured) {
    ParamReader params(value.params);
    bool quotedPrintable = false;
    charset_.clear();
    while (lexer_.readParamName(name_)) {
      lexer_.readParamValues(values_);
      const std::string_view first = values_.empty() ? std::string_view{} : std::string_view(values_.front());
      if (equalsIgnoreCase(name_, kQuotedPrintable)) {
        quotedPrintable = true;
      } else if (equalsIgnoreCase(name_, "ENCODING")) {
        quotedPrintable = quotedPrintable || equalsIgnoreCase(first, kQuotedPrintable);
      } else if (!isCharset(first)) {
        params.add(name_, values_);
      }
    }
    // Assigned, for it grew as it was read, and a tree has many.
    value.text =
        lexer_.readValue(text_, quotedPrintable, structured, charset_) ? std::string_view(text_) : std::string_view();
  }

 private:
  static constexpr std::string_view kQuotedPrintable = "QUOTED-PRINTABLE";

  // A charset that is known counts for the value. All text is UTF-8 from then on, so only that name may stay.
  bool isCharset(std::string_view charset) {
    if (!equalsIgnoreCase(name_, "CHARSET") || !utils::isCharsetSupported(charset)) {
      return false;
    }
    utils::normalizeCharsetName(charset, charset_);
    return !equalsIgnoreCase(charset_, utils::kUtf8Charset);
  }

  HeaderLex& lexer_;
  std::string name_;
  std::string text_;
  std::string charset_;
  std::vector<std::string> values_;
};

// A component's name is written as it stands, so it ends where it would read otherwise.
bool readComponentName(HeaderLex& lexer, std::string& name) {
  if (!lexer.readTrimmedValue(name, false, false)) {
    return false;
  }
  const auto ends = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '\\'; };
  name.erase(std::find_if(name.begin(), name.end(), ends), name.end());
  name = trimRight(name, " \t");
  return !name.empty();
}

void printProperty(const Property& property, std::string& out) {
  const bool structured = isStructured(property.name);
  for (const PropertyValue& value : property.values) {
    if (value.isEmptyValue()) {
      continue;
    }
    quoteToken(property.name, out);
    for (const Param& param : value.params) {
      const std::size_t start = out.size();
      out.push_back(';');
      quoteToken(param.name, out);
      char separator = '=';
      for (const std::string& item : param.values) {
        const std::size_t before = out.size();
        out.push_back(separator);
        quoteToken(item, out);
        if (out.size() == before + 1) {
          out.pop_back();
        } else {
          separator = ',';
        }
      }
      if (separator == '=') {
        out.resize(start);
      }
    }
    out.push_back(':');
    foldValue(value.text, out, structured);
    out.append("\r\n");
  }
}

}  // namespace

bool Component::read(HeaderLex& lexer, std::string_view wantedName) {
  clear();
  // The components that are open; a parent's list doesn't grow while one of its children is open.
  std::vector<Component*> open;
  std::size_t tooDeep = 0;  // how many are open beyond the bound
  ValueReader values(lexer);
  std::string lineName, text;
  while (!lexer.atEnd() && lexer.readName(lineName)) {
    if (equalsIgnoreCase(lineName, "BEGIN") && readComponentName(lexer, text)) {
      if (open.size() == kMostDepth) {
        ++tooDeep;
      } else if (!open.empty()) {
        open.push_back(&open.back()->addComponent(text));
      } else if (wantedName.empty() || equalsIgnoreCase(text, wantedName)) {
        name = text;
        open.push_back(this);
      }
    } else if (equalsIgnoreCase(lineName, "END") && lexer.readValue(text, false, false)) {
      if (tooDeep != 0) {
        --tooDeep;
      } else if (!open.empty()) {
        open.back()->properties_.shrink_to_fit();
        open.pop_back();
        if (open.empty()) {
          return true;
        }
      }
    } else if (open.empty() || tooDeep != 0) {
      if (lexer.skipToValue()) {
        lexer.skipValue();
      }
    } else {
      values.read(open.back()->addProperty(lineName).addValue(), isStructured(lineName));
    }
  }
  return !open.empty();
}

void Component::print(std::string& out, std::span<const Component> firstChildren) const {
  const std::size_t start = out.size();
  out.append("BEGIN:").append(name).append("\r\n");
  const std::size_t content = out.size();
  for (const Property& property : properties_) {
    printProperty(property, out);
  }
  for (const Component& child : firstChildren) {
    child.print(out);
  }
  for (const Component& child : children) {
    child.print(out);
  }
  if (out.size() == content) {
    out.resize(start);
    return;
  }
  out.append("END:").append(name).append("\r\n");
}

}  // namespace nalvo::mail

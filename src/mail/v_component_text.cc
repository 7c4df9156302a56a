// How a tree is read from lines, and written.
#include <algorithm>
#include <unordered_set>
#include <utility>

#include "mail/content_sources.h"
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

  Params get() const { return Params(params_); }

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

  std::vector<Param> params_;
  FoldedIndex index_;
  std::unordered_set<std::string> seen_;
};

// The text and the parameters of a line whose name was read. What steers the reading of the value isn't kept.
class ValueReader {
 public:
  explicit ValueReader(HeaderLex& lexer) : lexer_(lexer) {}

  void read(PropertyValue& value, bool structured) {
    ParamReader params;
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
    value.params = params.get();
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

// Gives a tree's text piece by piece.
class Printer {
 public:
  explicit Printer(const Sink& sink) : sink_(sink) {}

  void print(const Component& component, std::span<const Component> firstChildren) {
    begun_.push_back(component.name);
    for (const Property& property : component.properties()) {
      printProperty(property);
    }
    for (const Component& child : firstChildren) {
      print(child, {});
    }
    for (const Component& child : component.children) {
      print(child, {});
    }
    if (begun_.empty()) {
      text_.append("END:").append(component.name).append("\r\n");
    } else {
      begun_.pop_back();
    }
  }

  // What no piece was full with.
  void finish() { giveAway(); }

 private:
  // Enough for one to be worth its call.
  static constexpr std::size_t kPiece = 1U << 16;

  void printProperty(const Property& property) {
    const bool structured = isStructured(property.name);
    for (const PropertyValue& value : property.values) {
      if (value.isEmptyValue() || stopped_) {
        continue;
      }
      for (const std::string_view name : begun_) {
        text_.append("BEGIN:").append(name).append("\r\n");
      }
      begun_.clear();
      quoteToken(property.name, text_);
      printParams(value.params);
      text_.push_back(':');
      foldValue(value.text, text_, structured);
      text_.append("\r\n");
      if (text_.size() >= kPiece) {
        giveAway();
      }
    }
  }

  // A parameter none of whose values are written isn't either.
  void printParams(const Params& params) {
    std::string_view name;
    bool written = false;
    for (const auto& [isName, text] : params) {
      const std::size_t start = text_.size();
      if (isName) {
        name = text;
        written = false;
        continue;
      }
      if (!written) {
        text_.push_back(';');
        quoteToken(name, text_);
      }
      text_.push_back(written ? ',' : '=');
      const std::size_t before = text_.size();
      quoteToken(text, text_);
      if (text_.size() == before) {
        text_.resize(start);
      } else {
        written = true;
      }
    }
  }

  void giveAway() {
    stopped_ = stopped_ || (!text_.empty() && !sink_(text_));
    text_.clear();
  }

  const Sink& sink_;
  std::string text_;
  std::vector<std::string_view> begun_;  // components whose BEGIN waits for a first line within
  bool stopped_ = false;
};

}  // namespace

bool Component::read(HeaderLex& lexer, std::string_view wantedName) {
  clear();
  // The components that are open; a parent's list doesn't grow while one of its children is open.
  std::vector<Component*> open;
  std::size_t tooDeep = 0;           // how many are open beyond the bound
  constexpr std::size_t kUsual = 8;  // properties of a component
  ValueReader values(lexer);
  std::string lineName, text;
  while (!lexer.atEnd() && lexer.readName(lineName)) {
    if (equalsIgnoreCase(lineName, "BEGIN") && readComponentName(lexer, text)) {
      if (open.size() == kMostDepth) {
        ++tooDeep;
      } else if (!open.empty()) {
        open.push_back(&open.back()->addComponent(text));
        open.back()->properties_.reserve(kUsual);
      } else if (wantedName.empty() || equalsIgnoreCase(text, wantedName)) {
        name = std::string_view(text);
        properties_.reserve(kUsual);
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

void Component::print(const Sink& sink, std::span<const Component> firstChildren) const {
  Printer printer(sink);
  printer.print(*this, firstChildren);
  printer.finish();
}

std::string Component::toText() const {
  return collectText([this](const Sink& sink) { print(sink); });
}

std::string collectText(const std::function<void(const Sink&)>& print) {
  std::string text;
  std::size_t size = 0;
  print([&](std::string_view piece) {
    if (size == 0) {
      text = piece;
    }
    size += piece.size();
    return true;
  });
  if (size > text.size()) {
    text.clear();
    text.reserve(size);
    print([&text](std::string_view piece) {
      text.append(piece);
      return true;
    });
  }
  return text;
}

std::string rereadValue(std::string_view text) {
  PropertyValue whole;
  whole.text = text;
  if (whole.isEmptyValue()) {
    return {};
  }
  std::string line = "X:";
  foldValue(text, line, false);
  line.append("\r\n");
  std::string_view rest = line;
  NStream source([&rest](char* buffer, std::size_t room) {
    const std::size_t count = rest.copy(buffer, room);
    rest.remove_prefix(count);
    return count;
  });
  vcNStreamLex lexer(source, {});
  std::string name, value;
  return lexer.readName(name) && lexer.readValue(value, false, false) ? value : std::string();
}

}  // namespace nalvo::mail

#include "platform/text/html/html_limits.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/text/html/html_scanner.h"
#include "platform/text/html/html_tags.h"

namespace nalvo::html {
namespace {

// The open elements, as a parser would have them. Paragraphs are left out: a block closes them.
class OpenElements {
 public:
  void open(const std::string& name) {
    const TagRow& tag = tagRow(name);
    work_ += 1 + formatting_ + stack_.size() / 16;
    if (!tag.hasEnd || name == "p" || name == "option") {
      return;
    }
    closeBefore(name, tag);
    stack_.push_back({name, formatting_, tag.display});
    ++counts_[name];
    if (tag.display == Display::TableCell || tag.display == Display::TableCaption) {
      formatting_ = 0;
    }
    formatting_ += tag.formatting ? 1 : 0;
  }

  void close(const std::string& name) {
    const auto count = counts_.find(name);
    if (count == counts_.end()) {
      return;
    }
    const TagRow& tag = tagRow(name);
    const bool ofTable = isTablePart(tag.display) || tag.display == Display::Table;
    std::size_t at = stack_.size();
    work_ += stack_.size() / 16;
    while (at-- > 0 && stack_[at].name != name) {
      // What was opened outside of a cell is not closed in it.
      if (stack_[at].display == Display::TableCell && !ofTable) {
        formatting_ -= tag.formatting && formatting_ != 0 ? 1 : 0;
        return;
      }
    }
    if (tag.formatting) {
      // Formatting that lies in it stays open.
      forget(name);
      stack_.erase(stack_.begin() + static_cast<std::ptrdiff_t>(at));
      formatting_ -= formatting_ != 0 ? 1 : 0;
    } else {
      popTo(at);
    }
  }

  std::size_t depth() const { return stack_.size(); }
  std::size_t formatting() const { return formatting_; }
  // Elements that the parser makes, and what it looks at on the way.
  std::size_t work() const { return work_; }

 private:
  struct Open {
    std::string name;
    std::size_t formattingOutside;
    Display display;
  };

  static bool isTablePart(Display display) {
    return display == Display::TableCell || display == Display::TableRow || display == Display::TableGroup ||
           display == Display::TableCaption;
  }

  // Elements that are closed by the next one of their kind.
  void closeBefore(const std::string& name, const TagRow& tag) {
    if (isTablePart(tag.display)) {
      std::size_t at = stack_.size();
      while (at > 0 && stack_[at - 1].display != Display::Table) {
        --at;
      }
      while (at < stack_.size() && isOutside(stack_[at].display, tag.display)) {
        ++at;
      }
      popTo(at);
    } else if (name == "li" || name == "dd" || name == "dt") {
      if (!stack_.empty() && (stack_.back().name == name ||
                              (name[0] == 'd' && stack_.back().name[0] == 'd' && stack_.back().name.size() == 2))) {
        popTo(stack_.size() - 1);
      }
    }
  }

  // Whether a part of a table may stand open around another.
  static bool isOutside(Display outer, Display inner) {
    const auto rank = [](Display display) {
      return display == Display::TableGroup ? 1 : display == Display::TableRow ? 2 : display == Display::TableCell ? 3 : 0;
    };
    return rank(outer) != 0 && rank(outer) < rank(inner);
  }

  void forget(const std::string& name) {
    const auto count = counts_.find(name);
    if (--count->second == 0) {
      counts_.erase(count);
    }
  }

  void popTo(std::size_t size) {
    while (stack_.size() > size) {
      forget(stack_.back().name);
      if (stack_.back().display == Display::TableCell || stack_.back().display == Display::TableCaption) {
        formatting_ = stack_.back().formattingOutside;
      }
      stack_.pop_back();
    }
  }

  std::vector<Open> stack_;
  std::map<std::string, std::size_t, std::less<>> counts_;  // of the names that are open
  std::size_t formatting_ = 0;
  std::size_t work_ = 0;
};

}  // namespace

bool isWithinLimits(std::string_view utf8) {
  if (utf8.size() > kMostBytes) {
    return false;
  }
  Scanner scanner(utf8);
  OpenElements open;
  for (Scanner::Kind kind = scanner.next(); kind != Scanner::Kind::End; kind = scanner.next()) {
    if (kind == Scanner::Kind::StartTag) {
      open.open(scanner.name());
      if (scanner.attributes() > kMostAttributes || open.depth() > kMostOpenElements ||
          open.formatting() > kMostOpenElements || open.work() > kMostWork) {
        return false;
      }
    } else if (kind == Scanner::Kind::EndTag) {
      open.close(scanner.name());
    }
  }
  return true;
}

}  // namespace nalvo::html

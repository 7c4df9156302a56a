#include "mime/text_bodies.h"

#include <algorithm>

#include "mime/header_names.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

// A text of more bytes is never blank.
constexpr std::size_t kBlankBytes = 64;
// Trees that were loaded are never as deep; of one that a caller built deeper, the lower part has no text.
constexpr unsigned kDepth = 200;

constexpr std::string_view kItemSubtypes[] = {"calendar", "vcard", "x-vcard", "x-vcard-dl", "x-stickynote"};

bool isPkcs7Mime(const MediaType& type) {
  return type.is("application", "pkcs7-mime") || type.is("application", "x-pkcs7-mime");
}

// A loaded text of nothing but blanks and line ends.
bool isBlank(const Body& body) {
  if (body.span() == nullptr || body.span()->span.length > kBlankBytes) {
    return false;
  }
  const std::string text = body.span()->span.empty() ? std::string() : body.rows.source()->text(body.span()->span);
  return std::all_of(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
}

struct Candidate {
  Body* body;
  bool isHtml;
  bool isPair;   // an alternative or a related stands above it
  bool isBlank;  // counts only when nothing else does
};
using Candidates = std::vector<Candidate>;

Candidates textsBelow(Body& body, bool isFirstChild, unsigned depth);

void appendAll(Candidates& to, const Candidates& from) { to.insert(to.end(), from.begin(), from.end()); }

const Candidate* firstOf(const Candidates& list, bool isHtml) {
  const auto found = std::find_if(list.begin(), list.end(), [&](const Candidate& c) { return c.isHtml == isHtml; });
  return found != list.end() ? &*found : nullptr;
}

void markPair(Candidates& list) {
  for (Candidate& candidate : list) {
    candidate.isPair = true;
  }
}

Candidates textOfLeaf(Body& body, bool isFirstChild) {
  if (!body.hasContent() || body.embedded() != nullptr || body.attached != Attached::No) {
    return {};
  }
  const MediaType type = mediaTypeOf(body);
  const bool isOtherText = body.isRoot() && type.type == "text" && !isItemType(type);
  const bool isHtml = type.is("text", "html");
  if ((!isHtml && !type.is("text", "plain") && !isOtherText) || dispositionOf(body) == "attachment") {
    return {};
  }
  if (body.isRoot() && body.span() != nullptr && body.span()->span.empty() &&
      body.rows.find(kContentType) == HeaderRows::kNone) {
    return {};
  }
  const bool isPlainList = body.parent != nullptr && [&] {
    const MediaType above = mediaTypeOf(*body.parent);
    constexpr std::string_view kOwnRules[] = {"alternative", "related", "signed", "encrypted", "report"};
    return std::find(std::begin(kOwnRules), std::end(kOwnRules), above.subtype) == std::end(kOwnRules);
  }();
  if (isPlainList && !isFirstChild && hasFileName(body)) {
    return {};
  }
  return {{&body, isHtml, false, isPlainList && isBlank(body)}};
}

// The first plain and the last HTML that stand in it, else one from a multipart within, the last first.
Candidates textsOfAlternative(Body& body, unsigned depth) {
  Candidates direct;
  std::vector<Candidates> within;
  for (Body* child = body.first; child != nullptr; child = child->next) {
    Candidates found = textsBelow(*child, child == body.first, depth);
    if (child->isMultipart()) {
      within.push_back(std::move(found));
    } else {
      appendAll(direct, found);
    }
  }
  Candidates result;
  const auto take = [&](const Candidate* candidate, bool isHtml) {
    for (auto list = within.rbegin(); candidate == nullptr && list != within.rend(); ++list) {
      candidate = firstOf(*list, isHtml);
    }
    if (candidate != nullptr) {
      result.push_back(*candidate);
    }
  };
  take(firstOf(direct, false), false);
  const auto lastHtml = std::find_if(direct.rbegin(), direct.rend(), [](const Candidate& c) { return c.isHtml; });
  take(lastHtml != direct.rend() ? &*lastHtml : nullptr, true);
  markPair(result);
  return result;
}

// The child that "start" names, else the first that yields text. A kind that it lacks may come from a child that no other
// part refers to.
Candidates textsOfRelated(Body& body, unsigned depth) {
  const std::string start(trim(parameterOf(body, kContentType, "start")));
  std::vector<std::pair<Body*, Candidates>> found;
  std::size_t chosen = 0;
  bool isNamed = false;
  for (Body* child = body.first; child != nullptr; child = child->next) {
    Candidates texts = textsBelow(*child, child == body.first, depth);
    if (texts.empty()) {
      continue;
    }
    const std::size_t id = child->rows.find(kContentId);
    if (!isNamed && !start.empty() && id != HeaderRows::kNone && child->rows.rawValue(child->rows[id], {}) == start) {
      chosen = found.size();
      isNamed = true;
    }
    found.emplace_back(child, std::move(texts));
  }
  if (found.empty()) {
    return {};
  }
  Candidates result = found[chosen].second;
  for (const bool isHtml : {false, true}) {
    for (std::size_t i = 0; firstOf(result, isHtml) == nullptr && i < found.size(); ++i) {
      const Body& child = *found[i].first;
      const Candidate* other = firstOf(found[i].second, isHtml);
      if (other != nullptr && child.rows.find(kContentId) == HeaderRows::kNone && dispositionOf(child).empty()) {
        result.push_back(*other);
      }
    }
  }
  markPair(result);
  return result;
}

Candidates textsBelow(Body& body, bool isFirstChild, unsigned depth) {
  if (!body.isMultipart()) {
    return textOfLeaf(body, isFirstChild);
  }
  if (depth >= kDepth) {
    return {};
  }
  const std::string subtype = mediaTypeOf(body).subtype;
  if (subtype == "alternative") {
    return textsOfAlternative(body, depth + 1);
  }
  if (subtype == "related") {
    return textsOfRelated(body, depth + 1);
  }
  if (subtype == "signed" || subtype == "encrypted" || subtype == "report") {
    return body.first != nullptr ? textsBelow(*body.first, true, depth + 1) : Candidates();
  }
  Candidates result;
  for (Body* child = body.first; child != nullptr; child = child->next) {
    appendAll(result, textsBelow(*child, child == body.first, depth + 1));
  }
  return result;
}

TextBodies findTexts(Tree& tree) {
  Candidates all = textsBelow(tree.root(), true, 0);
  if (std::any_of(all.begin(), all.end(), [](const Candidate& c) { return !c.isBlank; })) {
    std::erase_if(all, [](const Candidate& c) { return c.isBlank; });
  }
  TextBodies result;
  const auto take = [&](const Candidate& candidate) {
    Body*& place = candidate.isHtml ? result.html : result.plain;
    place = place == nullptr ? candidate.body : place;
  };
  for (const Candidate& candidate : all) {
    if (candidate.isPair) {
      take(candidate);
    }
  }
  if (!result.any() && !all.empty()) {
    take(all.front());
  }
  return result;
}

class RoleMaker {
 public:
  RoleMaker(Tree& tree, TextBodies texts) : tree_(tree), texts_(texts) {}

  void run() {
    std::uint32_t leaves = 0;
    for (Body* body = &tree_.root(); body != nullptr; body = body->nextInWalk(nullptr)) {
      body->role = {};
      if (body->isMultipart()) {
        noteAbove(*body);
      } else if (body->hasContent()) {
        body->role = roleOf(*body);
        body->role.leafNumber = ++leaves;
      }
    }
  }

 private:
  // What the children of a multipart ask about it. The walk comes to them behind it, and may go deeper in between.
  struct Above {
    std::string subtype;
    bool isReadReport = false;
    // Of an alternative: the first of the message that holds neither a text of it nor an item. The leaves of any other are
    // forms of a text that was taken, or found by their readers anyway.
    bool isPassedOver = false;
  };

  void noteAbove(Body& body) {
    Above& above = above_.emplace_back();
    placeOf_.push_back(&body);
    const MediaType type = mediaTypeOf(body);
    above.subtype = type.type == "multipart" ? type.subtype : "mixed";
    above.isReadReport = above.subtype == "report" &&
                         equalsIgnoreCase(parameterOf(body, kContentType, "report-type"), "disposition-notification");
    if (above.subtype == "alternative" && !seenAlternative_) {
      seenAlternative_ = true;
      above.isPassedOver = !holdsText(body);
      for (const Body* child = body.first; child != nullptr && above.isPassedOver; child = child->next) {
        above.isPassedOver = child->isMultipart() || !isItemType(mediaTypeOf(*child));
      }
    }
  }

  bool isText(const Body& body) const { return &body == texts_.plain || &body == texts_.html; }

  bool holdsText(const Body& top) const {
    for (const Body* text : {texts_.plain, texts_.html}) {
      for (const Body* body = text; body != nullptr; body = body->parent) {
        if (body == &top) {
          return true;
        }
      }
    }
    return false;
  }

  const Above& aboveOf(const Body& body) {
    while (placeOf_.back() != body.parent) {
      placeOf_.pop_back();
      above_.pop_back();
    }
    return above_.back();
  }

  BodyRole roleOf(Body& body) {
    static const Above kNothing;
    const Above& above = body.parent != nullptr ? aboveOf(body) : kNothing;
    BodyRole role;
    if (isText(body)) {
      return role;
    }
    const MediaType type = mediaTypeOf(body);
    const std::string disposition = dispositionOf(body);
    const bool isNotification = !seenNotification_ && type.is("message", "disposition-notification");
    seenNotification_ = seenNotification_ || isNotification;
    const bool isTheItem = disposition.empty() && above.subtype == "mixed" && body.previous == nullptr &&
                           (type.is("text", "x-vcard-dl") || type.is("text", "x-stickynote"));
    const bool isText = type.is("text", "plain") || type.is("text", "html");
    const bool isLeftBlank =
        isText && disposition.empty() && body.attached == Attached::No && isBlank(body) && !hasFileName(body);
    if ((isNotification && above.isReadReport) || isTheItem || isLeftBlank) {
      return role;
    }
    role.isRescued = isRescued(body, type, disposition, above);
    if (role.isRescued || disposition == "attachment" || disposition == "inline" || body.attached != Attached::No) {
      role.isAttachment = true;
    } else {
      role.isAttachment = above.subtype != "alternative";
      role.isAutoAttach = true;
    }
    return role;
  }

  // A loaded leaf that no reader would take up.
  bool isRescued(const Body& body, const MediaType& type, std::string_view disposition, const Above& above) const {
    // An external body says all in its type.
    const bool saysNothing = body.span() == nullptr || (body.span()->span.empty() && !type.is("message", "external-body"));
    if (saysNothing || isItemType(type)) {
      return false;
    }
    if (body.parent == nullptr) {
      return disposition != "attachment" && !isPkcs7Mime(type);
    }
    if (!disposition.empty()) {
      return false;
    }
    if (above.subtype == "related") {
      return body.rows.find(kContentId) == HeaderRows::kNone;
    }
    // Other forms of a text stay behind where one was taken; what is no text at all is no form of it.
    return above.isPassedOver || (above.subtype == "alternative" && type.type != "text");
  }

  Tree& tree_;
  TextBodies texts_;
  std::vector<Above> above_;          // of the multiparts above the walk
  std::vector<const Body*> placeOf_;  // whose they are
  bool seenNotification_ = false;
  bool seenAlternative_ = false;
};

}  // namespace

bool isItemType(const MediaType& type) {
  return type.type == "text" &&
         std::find(std::begin(kItemSubtypes), std::end(kItemSubtypes), type.subtype) != std::end(kItemSubtypes);
}

TextBodies assignRoles(Tree& tree) {
  const TextBodies texts = findTexts(tree);
  RoleMaker(tree, texts).run();
  return texts;
}

}  // namespace nalvo::mime

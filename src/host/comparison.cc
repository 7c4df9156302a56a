#include "host/comparison.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "diagnostics/hresult_exception.h"
#include "host/digest.h"
#include "host/mime_walk.h"
#include "mime/header_text.h"
#include "mime/mime.h"
#include "mime/mime_utils.h"
#include "platform/com/com_ptr.h"
#include "platform/text/code_pages.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Comparison"};

// A value longer than this is told by its beginning.
constexpr std::size_t kShownLength = 200;

std::string collapseBlanks(std::string_view text) {
  std::string result;
  for (const char c : trim(text)) {
    if (kBlanks.find(c) == std::string_view::npos) {
      result += c;
    } else if (!result.empty() && result.back() != ' ') {
      result += ' ';
    }
  }
  return result;
}

// The headers of a kind in their order, as a reader sees them.
struct Header {
  std::string name;  // as the first of the kind is written
  std::vector<std::string> values;
};
using Headers = std::map<std::string, Header>;  // by name in lower case

// The charset of raw bytes in headers; null if the mail does not say.
const Charset* charsetOf(mime::IMimeMessage* mail) {
  mime::HCHARSET charset = nullptr;
  mime::CharsetInfo info{};
  const bool known = succeeded(mail->GetCharset(&charset)) && succeeded(mime::MimeOleGetCharsetInfo(charset, &info));
  return known ? findCharset(info.name) : nullptr;
}

Headers headersOf(mime::IMimeMessage* mail) {
  constexpr const char* kWhere = "host::compareMails";
  ComPtr<mime::IMimeHeaderTable> table;
  ComPtr<mime::IMimeAllocator> allocator;
  checkHResult(mail->BindToObject(mime::HBODY_ROOT, mime::IMimeHeaderTable::kIid, table.putVoid()), kSource.at(kWhere));
  checkHResult(mime::createMimeAllocator(allocator.put()), kSource.at(kWhere));
  ULONG count = 0;
  checkHResult(table->CountRows(nullptr, &count), kSource.at(kWhere));
  const Charset* charset = charsetOf(mail);
  Headers headers;
  for (ULONG i = 0; i < count; ++i) {
    mime::HHEADERROW row = nullptr;
    mime::HeaderRowData data{};
    checkHResult(table->GetRow(i, &row), kSource.at(kWhere));
    checkHResult(table->GetRowData(row, &data), kSource.at(kWhere));
    const std::string_view name = data.name == nullptr ? "" : data.name;
    if (!name.empty()) {
      Header& header = headers[toLowerAscii(name)];
      if (header.values.empty()) {
        header.name = name;
      }
      const std::string_view value = data.value == nullptr ? std::string_view() : std::string_view(data.value);
      header.values.push_back(collapseBlanks(wideToUtf8(mime::decodeHeaderText(mime::unfold(value), charset))));
    }
    allocator->FreeHeaderRowData(&data);
  }
  return headers;
}

std::string textProp(mime::IMimeBody* body, mime::HeaderName name) {
  ScopedPropVariant value(VT_LPWSTR);
  return succeeded(body->GetProp(name, 0, &value)) && value.pwszVal != nullptr ? wideToUtf8(value.pwszVal) : std::string();
}

ComPtr<mime::IMimeBody> bindBody(mime::IMimeMessage* mail, mime::HBODY handle) {
  ComPtr<mime::IMimeBody> body;
  checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at("host::compareMails"));
  return body;
}

// "text/calendar", in lower case.
std::string typeOf(mime::IMimeBody* body) { return toLowerAscii(textProp(body, mime::HeaderId::ContentType)); }

bool isItemType(std::string_view type) {
  constexpr std::string_view kTypes[] = {"text/calendar", "text/vcard", "text/x-vcard", "text/x-vcard-dl",
                                         "text/x-stickynote"};
  return std::find(std::begin(kTypes), std::end(kTypes), type) != std::end(kTypes);
}

// Whether the mail is an item, and not one that has some attached.
bool isItem(mime::IMimeMessage* mail) {
  const std::vector<mime::HBODY> bodies = bodiesOf(mail);
  return std::any_of(bodies.begin(), bodies.end(), [mail](mime::HBODY handle) {
    return isItemType(typeOf(bindBody(mail, handle).get())) && !MimeUtils::isBodyAttachment(mail, handle);
  });
}

// The first value of each header, as a rule asks for them, and the number of parts.
Facts factsOf(mime::IMimeMessage* mail, const Headers& headers) {
  Facts facts;
  for (const auto& [key, header] : headers) {
    facts["header " + key] = header.values.front();
  }
  ULONG parts = 0;
  checkHResult(mail->CountBodies(mime::HBODY_ROOT, 0, &parts), kSource.at("host::compareMails"));
  facts.emplace(kPartsFact, std::to_string(parts));
  if (isItem(mail)) {
    facts.emplace(kItemFact, "yes");
  }
  return facts;
}

// People are the same with quotes around their names and without.
bool readsTheSame(const std::string& name, std::string before, std::string after) {
  constexpr std::string_view kPeople[] = {"from", "sender", "to", "cc", "bcc", "reply-to"};
  if (std::find(std::begin(kPeople), std::end(kPeople), name) != std::end(kPeople)) {
    for (std::string* value : {&before, &after}) {
      std::erase(*value, '"');
    }
  }
  return before == after;
}

void compareHeaders(const std::string& where, const Headers& before, const Headers& after, const Facts& old,
                    const Facts& now, Comparison& result) {
  const auto note = [&](const Header& header, std::size_t place, const std::string& from, const std::string& to) {
    result.note(Place::Mail, {where, (place == 0 ? "header " : "further header ") + header.name, from, to, {}}, old, now);
  };
  static const std::vector<std::string> kNone;
  for (const auto& [key, header] : before) {
    const auto found = after.find(key);
    const std::vector<std::string>& others = found == after.end() ? kNone : found->second.values;
    for (std::size_t i = 0; i < std::max(header.values.size(), others.size()); ++i) {
      const std::string from = i < header.values.size() ? header.values[i] : std::string();
      const std::string to = i < others.size() ? others[i] : std::string();
      if (readsTheSame(key, from, to)) {
        result.noteSame();  // an empty row says nothing
      } else {
        note(header, i, from, to);
      }
    }
  }
  for (const auto& [key, header] : after) {
    if (!before.contains(key)) {
      for (const std::string& value : header.values) {
        if (!value.empty()) {
          note(header, 0, {}, value);
        }
      }
    }
  }
}

// `handle` becomes that of the body that holds the text.
std::optional<StreamDigest> textOf(mime::IMimeMessage* mail, mime::TextType type, mime::HBODY& handle) {
  constexpr const char* kWhere = "host::compareMails";
  ComPtr<IStream> text;
  const HRESULT hr = mail->GetTextBody(type, mime::IET_UNICODE, text.put(), &handle);
  if (hr == MIME_E_NOT_FOUND) {
    return std::nullopt;
  }
  checkHResult(hr, kSource.at(kWhere));
  return digestOf(text.get());
}

std::string told(const std::optional<StreamDigest>& digest) {
  return digest ? std::to_string(digest->size) + " bytes, sha256 " + digest->sha256 : std::string();
}

// What is compared of two mails, and the place that is told for it.
struct Pair {
  std::string where;
  ComPtr<mime::IMimeMessage> before;
  ComPtr<mime::IMimeMessage> after;
  std::size_t depth = 0;
  Facts old = {};
  Facts now = {};

  std::string inside(const std::string& part) const { return where == "message" ? part : where + "/" + part; }
};

void compareText(const Pair& pair, mime::TextType type, const char* what, Comparison& result) {
  mime::HBODY ignored = nullptr;
  const std::optional<StreamDigest> from = textOf(pair.before.get(), type, ignored);
  const std::optional<StreamDigest> to = textOf(pair.after.get(), type, ignored);
  if (!from && !to) {
    return;
  }
  if (from && to && from->sha256 == to->sha256) {
    result.noteSame();
  } else {
    result.note(Place::Mail, {pair.where, what, told(from), told(to), {}}, pair.old, pair.now);
  }
}

struct Attached {
  std::string name;  // empty for none
  std::string type;  // "image/png", in lower case
  StreamDigest digest;
  ComPtr<IStream> mail;  // of an attached mail
  bool item = false;     // a calendar or a card, or a mail that is one
  bool matched = false;
};

Attached attachedOf(mime::IMimeMessage* mail, mime::HBODY handle) {
  const ComPtr<mime::IMimeBody> body = bindBody(mail, handle);
  ComPtr<IStream> data;
  checkHResult(body->GetData(mime::IET_BINARY, data.put()), kSource.at("host::compareMails"));
  const std::string type = typeOf(body.get());
  const bool isMail = mail->IsContentType(handle, "message", "rfc822") == S_OK;
  const StreamDigest digest = digestOf(data.get());
  const bool holdsItem = isMail ? isItem(loadMail(data.get()).get()) : isItemType(type);
  return {textProp(body.get(), "att:filename"), type, digest, isMail ? data : ComPtr<IStream>(), holdsItem};
}

std::vector<Attached> attachmentsOf(mime::IMimeMessage* mail) {
  std::vector<Attached> list;
  MimeUtils::enumAttachments(mail, [&](mime::HBODY handle) { list.push_back(attachedOf(mail, handle)); });
  return list;
}

std::string told(const Attached& attached) {
  return "\"" + attached.name + "\", " + attached.type + ", " + told(std::optional(attached.digest));
}

bool isMultipart(mime::IMimeMessage* mail, mime::HBODY body) {
  ULONG children = 0;
  return succeeded(mail->CountBodies(body, 0, &children)) && children != 0;
}

// Whether the body is one of the forms of a text.
bool isAlternative(mime::IMimeMessage* mail, mime::HBODY body) {
  mime::HBODY parent = nullptr;
  return succeeded(mail->GetBody(mime::IBL_PARENT, body, &parent)) &&
         mail->IsContentType(parent, "multipart", "alternative") == S_OK;
}

// Blanks and line ends alone.
bool isBlank(mime::IMimeMessage* mail, mime::HBODY handle) {
  constexpr const char* kWhere = "host::compareMails";
  const ComPtr<mime::IMimeBody> body = bindBody(mail, handle);
  ComPtr<IStream> data;
  checkHResult(body->GetData(mime::IET_BINARY, data.put()), kSource.at(kWhere));
  char bytes[65];
  ULONG count = 0;
  checkHResult(data->Read(bytes, sizeof bytes, &count), kSource.at(kWhere));
  return count < sizeof bytes && trim(std::string_view(bytes, count)).empty();
}

// Bodies that are neither text nor attachment, such as a calendar among the forms of a text: each must be found again among
// all bodies of the other mail, whatever it is there. Answers the digests of those that were.
std::multiset<std::string> compareOtherBodies(const Pair& pair, Comparison& result) {
  mime::IMimeMessage* mail = pair.before.get();
  std::set<mime::HBODY> known;
  for (const mime::TextType type : {mime::TXT_PLAIN, mime::TXT_HTML}) {
    mime::HBODY handle = nullptr;
    if (textOf(mail, type, handle)) {
      known.insert(handle);
    }
  }
  MimeUtils::enumAttachments(mail, [&known](mime::HBODY handle) { known.insert(handle); });
  std::vector<Attached> others;
  std::vector<mime::HBODY> handles;
  for (const mime::HBODY handle : bodiesOf(mail)) {
    if (!known.contains(handle) && !isMultipart(mail, handle)) {
      others.push_back(attachedOf(mail, handle));
      handles.push_back(handle);
    }
  }
  std::multiset<std::string> found;
  std::multiset<std::string> placed;
  if (!others.empty()) {
    for (const mime::HBODY handle : bodiesOf(pair.after.get())) {
      if (!isMultipart(pair.after.get(), handle)) {
        found.insert(attachedOf(pair.after.get(), handle).digest.sha256);
      }
    }
  }
  for (std::size_t i = 0; i < others.size(); ++i) {
    const Attached& other = others[i];
    const auto match = found.find(other.digest.sha256);
    if (match != found.end()) {
      placed.insert(found.extract(match));
      result.noteSame();
    } else if (other.digest.size != 0) {
      Facts facts = pair.old;
      if (isAlternative(mail, handles[i])) {
        facts.emplace(kAlternativeFact, "yes");
      }
      if (isBlank(mail, handles[i])) {
        facts.emplace(kBlankFact, "yes");
      }
      result.note(Place::Mail, {pair.where, "body " + other.type, told(other), {}, {}}, facts, pair.now);
    }
  }
  return placed;
}

// Looks for the attachments of one mail among those of another, the surest marks first.
class AttachmentMatcher {
 public:
  AttachmentMatcher(std::vector<Attached>& before, std::vector<Attached>& after) : before_(before), after_(after) {
    partners_.resize(before.size(), nullptr);
    match([](const Attached& a) { return a.digest.sha256 + a.name; });
    match([](const Attached& a) { return a.digest.sha256; });
    match([](const Attached& a) { return a.mail && !a.name.empty() ? "mail " + a.name : std::string(); });
    match([](const Attached& a) { return a.mail ? "mail" : std::string(); });
    match([](const Attached& a) { return a.name.empty() ? std::string() : a.type + " " + a.name; });
    match([](const Attached& a) { return a.item && !a.name.empty() ? "item " + a.name : std::string(); });
    match([](const Attached& a) { return std::string(a.item ? "item" : ""); });
  }
  // Null for one that did not come back.
  const Attached* partnerOf(std::size_t i) const { return partners_[i]; }

 private:
  // Those without a partner get the first with an equal key; an empty key has none.
  template <typename Key>
  void match(const Key& key) {
    std::multimap<std::string, Attached*> candidates;
    for (Attached& candidate : after_) {
      if (!candidate.matched) {
        candidates.emplace(key(candidate), &candidate);
      }
    }
    for (std::size_t i = 0; i < before_.size(); ++i) {
      const std::string wanted = key(before_[i]);
      const auto found = candidates.lower_bound(wanted);
      if (!before_[i].matched && !wanted.empty() && found != candidates.end() && found->first == wanted) {
        partners_[i] = found->second;
        before_[i].matched = found->second->matched = true;
        candidates.erase(found);
      }
    }
  }

  std::vector<Attached>& before_;
  std::vector<Attached>& after_;
  std::vector<const Attached*> partners_;
};

// Adds the attached mails that were written anew to `waiting`. An attachment that was `placed` was another body before.
void compareAttachments(const Pair& pair, std::multiset<std::string> placed, std::vector<Pair>& waiting,
                        Comparison& result) {
  std::vector<Attached> before = attachmentsOf(pair.before.get());
  std::vector<Attached> after = attachmentsOf(pair.after.get());
  const auto note = [&](const std::string& where, const char* what, const std::string& from, const std::string& to) {
    result.note(Place::Mail, {where, what, from, to, {}}, pair.old, pair.now);
  };
  const AttachmentMatcher matcher(before, after);
  for (std::size_t i = 0; i < before.size(); ++i) {
    const std::string where = pair.inside("attachment " + std::to_string(i));
    const Attached* partner = matcher.partnerOf(i);
    if (partner == nullptr) {
      note(where, "attachment", told(before[i]), {});
      continue;
    }
    if (partner->digest.sha256 == before[i].digest.sha256) {
      result.noteSame();
    } else if (before[i].mail && partner->mail && pair.depth < kMaxMailDepth) {
      waiting.push_back({where + "/message", loadMail(before[i].mail.get()), loadMail(partner->mail.get()), pair.depth + 1});
    } else {
      note(where, "attachment", told(before[i]), told(*partner));
    }
    if (partner->name != before[i].name) {
      note(where, "attachment name", before[i].name, partner->name);
    }
    if (partner->type != before[i].type) {
      note(where, "attachment type", before[i].type, partner->type);
    }
  }
  for (const Attached& extra : after) {
    if (!extra.matched && placed.extract(extra.digest.sha256).empty()) {
      note(pair.where, "attachment", {}, told(extra));
    }
  }
}

}  // namespace

void Comparison::noteSame() {
  ++compared;
  ++same;
}

void Comparison::note(Place place, Difference difference, const Facts& old, const Facts& now) {
  ++compared;
  difference.rule = ruleOf(place, difference, old, now);
  std::vector<Difference>& list = !difference.rule.empty()    ? explained
                                  : difference.before.empty() ? added
                                  : difference.after.empty()  ? lost
                                                              : changed;
  list.push_back(std::move(difference));
}

Comparison compareMails(IStream* before, IStream* after) {
  Comparison result;
  // A list instead of recursion: the depth is the sender's choice.
  std::vector<Pair> waiting;
  waiting.push_back({"message", loadMail(before), loadMail(after)});
  while (!waiting.empty()) {
    Pair pair = std::move(waiting.back());
    waiting.pop_back();
    const Headers old = headersOf(pair.before.get());
    const Headers now = headersOf(pair.after.get());
    pair.old = factsOf(pair.before.get(), old);
    pair.now = factsOf(pair.after.get(), now);
    compareHeaders(pair.where, old, now, pair.old, pair.now, result);
    compareText(pair, mime::TXT_PLAIN, "plain text", result);
    compareText(pair, mime::TXT_HTML, "HTML", result);
    compareAttachments(pair, compareOtherBodies(pair, result), waiting, result);
  }
  return result;
}

std::string shownValue(const std::string& value) {
  if (value.size() <= kShownLength) {
    return value;
  }
  std::size_t end = kShownLength;
  while (end > 0 && (static_cast<unsigned char>(value[end]) & 0xC0U) == 0x80U) {
    --end;  // no character is cut
  }
  return value.substr(0, end) + "...";
}

nlohmann::ordered_json toJson(const Comparison& comparison) {
  const auto list = [](const std::vector<Difference>& differences) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const Difference& difference : differences) {
      nlohmann::ordered_json entry = {{"where", difference.where}, {"what", difference.what}};
      if (!difference.before.empty()) {
        entry["before"] = shownValue(difference.before);
      }
      if (!difference.after.empty()) {
        entry["after"] = shownValue(difference.after);
      }
      if (!difference.rule.empty()) {
        entry["rule"] = difference.rule;
      }
      array.push_back(std::move(entry));
    }
    return array;
  };
  return {{"compared", comparison.compared},         {"same", comparison.same},
          {"explained", list(comparison.explained)}, {"lost", list(comparison.lost)},
          {"changed", list(comparison.changed)},     {"added", list(comparison.added)}};
}

}  // namespace nalvo::host

#include "host/body_comparison.h"

#include <algorithm>
#include <map>
#include <optional>

#include "diagnostics/hresult_exception.h"
#include "host/digest.h"
#include "host/item_comparison.h"
#include "host/mime_walk.h"
#include "mime/mime_utils.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Comparison"};

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

struct Attached {
  std::string name;  // empty for none
  std::string type;  // "image/png", in lower case
  StreamDigest digest;
  ComPtr<IStream> mail;  // of an attached mail
  bool item = false;     // a calendar or a card, or a mail that is one
  bool matched = false;
  mime::HBODY handle = nullptr;
};

Attached attachedOf(mime::IMimeMessage* mail, mime::HBODY handle) {
  const ComPtr<mime::IMimeBody> body = bindBody(mail, handle);
  ComPtr<IStream> data;
  checkHResult(body->GetData(mime::IET_BINARY, data.put()), kSource.at("host::compareMails"));
  const std::string type = typeOf(body.get());
  const bool isMail = mail->IsContentType(handle, "message", "rfc822") == S_OK;
  const StreamDigest digest = digestOf(data.get());
  const bool holdsItem = isMail ? isItem(loadMail(data.get()).get()) : isItemType(type);
  return {textProp(body.get(), "att:filename"), type, digest, isMail ? data : ComPtr<IStream>(), holdsItem, false, handle};
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

}  // namespace

bool isItem(mime::IMimeMessage* mail) {
  const std::vector<mime::HBODY> bodies = bodiesOf(mail);
  return std::any_of(bodies.begin(), bodies.end(), [mail](mime::HBODY handle) {
    return isItemType(typeOf(bindBody(mail, handle).get())) && !MimeUtils::isBodyAttachment(mail, handle);
  });
}

void compareText(const MailPair& pair, mime::TextType type, const char* what, Comparison& result) {
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

std::multiset<std::string> compareOtherBodies(const MailPair& pair, Comparison& result) {
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

void compareAttachments(const MailPair& pair, std::multiset<std::string> placed, std::vector<MailPair>& waiting,
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
      if (before[i].item && !before[i].mail && partner->mail) {
        compareAttachedItem(where, pair, before[i].handle, loadMail(partner->mail.get()).get(), result);
      }
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

}  // namespace nalvo::host

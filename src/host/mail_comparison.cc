// Two mails: their headers, and what they hold.
#include <algorithm>
#include <map>

#include "diagnostics/hresult_exception.h"
#include "host/body_comparison.h"
#include "host/item_comparison.h"
#include "host/mime_walk.h"
#include "mime/header_text.h"
#include "platform/text/code_pages.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Comparison"};

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

}  // namespace

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

Comparison compareMails(IStream* before, IStream* after) {
  Comparison result;
  // A list instead of recursion: the depth is the sender's choice.
  std::vector<MailPair> waiting;
  waiting.push_back({"message", loadMail(before), loadMail(after)});
  while (!waiting.empty()) {
    MailPair pair = std::move(waiting.back());
    waiting.pop_back();
    const Headers old = headersOf(pair.before.get());
    const Headers now = headersOf(pair.after.get());
    pair.old = factsOf(pair.before.get(), old);
    pair.now = factsOf(pair.after.get(), now);
    compareHeaders(pair.where, old, now, pair.old, pair.now, result);
    compareText(pair, mime::TXT_PLAIN, "plain text", result);
    compareText(pair, mime::TXT_HTML, "HTML", result);
    if (pair.old.contains(kItemFact) && pair.now.contains(kItemFact)) {
      compareItems(pair, result);
    }
    compareAttachments(pair, compareOtherBodies(pair, result), waiting, result);
  }
  return result;
}

}  // namespace nalvo::host

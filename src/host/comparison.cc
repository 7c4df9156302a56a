#include "host/comparison.h"

#include <algorithm>
#include <map>
#include <optional>

#include "diagnostics/hresult_exception.h"
#include "host/digest.h"
#include "mime/header_text.h"
#include "mime/mime.h"
#include "mime/mime_utils.h"
#include "platform/com/com_ptr.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Comparison"};

// A value longer than this is told by its beginning.
constexpr std::size_t kShownLength = 200;

ComPtr<mime::IMimeMessage> load(IStream* stream) {
  ComPtr<mime::IMimeMessage> mail;
  streamUtils::rewind(stream);
  checkHResult(mime::createMimeMessage(mail.put()), kSource.at("host::compareMails"));
  checkHResult(mail->Load(stream), kSource.at("host::compareMails"));
  return mail;
}

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

std::string decoded(const char* value) {
  return collapseBlanks(wideToUtf8(mime::decodeHeaderText(mime::unfold(value), nullptr)));
}

Headers headersOf(mime::IMimeMessage* mail) {
  constexpr const char* kWhere = "host::compareMails";
  ComPtr<mime::IMimeHeaderTable> table;
  ComPtr<mime::IMimeAllocator> allocator;
  checkHResult(mail->BindToObject(mime::HBODY_ROOT, mime::IMimeHeaderTable::kIid, table.putVoid()), kSource.at(kWhere));
  checkHResult(mime::createMimeAllocator(allocator.put()), kSource.at(kWhere));
  ULONG count = 0;
  checkHResult(table->CountRows(nullptr, &count), kSource.at(kWhere));
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
      header.values.push_back(data.value == nullptr ? std::string() : decoded(data.value));
    }
    allocator->FreeHeaderRowData(&data);
  }
  return headers;
}

std::string shown(const std::string& value) {
  return value.size() <= kShownLength ? value : value.substr(0, kShownLength) + "...";
}

void compareHeaders(const Headers& before, const Headers& after, Comparison& result) {
  const auto note = [&result](const Header& header, const std::string& from, const std::string& to) {
    result.note({"message", "header " + header.name, shown(from), shown(to), {}});
  };
  static const std::vector<std::string> kNone;
  for (const auto& [key, header] : before) {
    const auto found = after.find(key);
    const std::vector<std::string>& others = found == after.end() ? kNone : found->second.values;
    for (std::size_t i = 0; i < std::max(header.values.size(), others.size()); ++i) {
      ++result.compared;
      const std::string* from = i < header.values.size() ? &header.values[i] : nullptr;
      const std::string* to = i < others.size() ? &others[i] : nullptr;
      if (from != nullptr && to != nullptr && *from == *to) {
        ++result.same;
      } else if ((from == nullptr || from->empty()) && (to == nullptr || to->empty())) {
        ++result.same;  // an empty row says nothing
      } else {
        note(header, from == nullptr ? std::string() : *from, to == nullptr ? std::string() : *to);
      }
    }
  }
  for (const auto& [key, header] : after) {
    if (!before.contains(key)) {
      for (const std::string& value : header.values) {
        if (!value.empty()) {
          ++result.compared;
          note(header, {}, value);
        }
      }
    }
  }
}

std::optional<StreamDigest> textOf(mime::IMimeMessage* mail, mime::TextType type) {
  constexpr const char* kWhere = "host::compareMails";
  mime::HBODY handle = nullptr;
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

void compareText(mime::IMimeMessage* before, mime::IMimeMessage* after, mime::TextType type, const char* what,
                 Comparison& result) {
  const std::optional<StreamDigest> from = textOf(before, type);
  const std::optional<StreamDigest> to = textOf(after, type);
  if (!from && !to) {
    return;
  }
  ++result.compared;
  if (from && to && from->sha256 == to->sha256) {
    ++result.same;
  } else {
    result.note({"message", what, told(from), told(to), {}});
  }
}

struct Attached {
  std::string name;
  StreamDigest data;
};

std::vector<Attached> attachmentsOf(mime::IMimeMessage* mail) {
  constexpr const char* kWhere = "host::compareMails";
  std::vector<Attached> list;
  MimeUtils::enumAttachments(mail, [&](mime::HBODY handle) {
    ComPtr<mime::IMimeBody> body;
    checkHResult(mail->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()), kSource.at(kWhere));
    ScopedPropVariant name(VT_LPWSTR);
    const bool named = succeeded(body->GetProp("att:filename", 0, &name)) && name.pwszVal != nullptr;
    ComPtr<IStream> data;
    checkHResult(body->GetData(mime::IET_BINARY, data.put()), kSource.at(kWhere));
    list.push_back({named ? wideToUtf8(name.pwszVal) : std::string(), digestOf(data.get())});
  });
  return list;
}

std::string told(const Attached& attached) { return "\"" + attached.name + "\", " + told(std::optional(attached.data)); }

void compareAttachments(const std::vector<Attached>& before, std::vector<Attached> after, Comparison& result) {
  for (std::size_t i = 0; i < before.size(); ++i) {
    ++result.compared;
    const auto match = std::find_if(after.begin(), after.end(), [&](const Attached& candidate) {
      return candidate.data.sha256 == before[i].data.sha256 && candidate.name == before[i].name;
    });
    if (match != after.end()) {
      ++result.same;
      after.erase(match);
    } else {
      result.note({"attachment " + std::to_string(i), "attachment", told(before[i]), {}, {}});
    }
  }
  for (const Attached& extra : after) {
    ++result.compared;
    result.note({"message", "attachment", {}, told(extra), {}});
  }
}

}  // namespace

void Comparison::note(Difference difference) {
  difference.rule = ruleOf(difference);
  std::vector<Difference>& list = !difference.rule.empty()    ? explained
                                  : difference.before.empty() ? added
                                  : difference.after.empty()  ? lost
                                                              : changed;
  list.push_back(std::move(difference));
}

Comparison compareMails(IStream* beforeStream, IStream* afterStream) {
  Comparison result;
  const ComPtr<mime::IMimeMessage> before = load(beforeStream);
  const ComPtr<mime::IMimeMessage> after = load(afterStream);
  compareHeaders(headersOf(before.get()), headersOf(after.get()), result);
  compareText(before.get(), after.get(), mime::TXT_PLAIN, "plain text", result);
  compareText(before.get(), after.get(), mime::TXT_HTML, "HTML", result);
  compareAttachments(attachmentsOf(before.get()), attachmentsOf(after.get()), result);
  return result;
}

nlohmann::ordered_json toJson(const Comparison& comparison) {
  const auto list = [](const std::vector<Difference>& differences) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const Difference& difference : differences) {
      nlohmann::ordered_json entry = {{"where", difference.where}, {"what", difference.what}};
      if (!difference.before.empty()) {
        entry["before"] = difference.before;
      }
      if (!difference.after.empty()) {
        entry["after"] = difference.after;
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

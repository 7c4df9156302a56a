#include "frame/message_class_detector.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "frame/conversion_state.h"
#include "mime/mime_utils.h"
#include "platform/text/text.h"

namespace nalvo::MessageClassDetector {
namespace {

constexpr SourceFile kSource{".\\MessageClassDetector"};

struct BodyInfo {
  std::string contentType;
  std::string component;
  std::string method;
  std::string reportType;
  ComPtr<mime::IMimeBody> body;
};

struct ClassRow {
  std::string_view contentType;
  std::string_view component;  // empty: any, as in the two that follow
  std::string_view method;
  std::string_view reportType;
  std::u16string_view messageClass;
};

// The first row that matches answers.
constexpr ClassRow kClasses[] = {
    {"text/vcard", "", "", "", u"IPM.Contact"},
    {"text/x-vcard", "", "", "", u"IPM.Contact"},
    {"text/x-vcard-dl", "", "", "", u"IPM.DistList"},
    {"text/x-stickynote", "", "", "", u"IPM.StickyNote"},
    {"text/calendar", "vevent", "request", "", u"IPM.Schedule.Meeting.Request"},
    {"text/calendar", "vevent", "cancel", "", u"IPM.Schedule.Meeting.Canceled"},
    {"text/calendar", "vevent", "reply", "", u"IPM.Schedule.Meeting.Resp"},
    {"text/calendar", "vevent", "", "", u"IPM.Appointment"},
    {"text/calendar", "vtodo", "request", "", u"IPM.TaskRequest"},
    {"text/calendar", "vtodo", "reply", "", u"IPM.TaskRequest"},
    {"text/calendar", "vtodo", "cancel", "", u"IPM.TaskRequest"},
    {"text/calendar", "vtodo", "", "", u"IPM.Task"},
    {"text/calendar", "vjournal", "", "", u"IPM.Activity"},
    {"text/calendar", "", "request", "", u"IPM.Schedule.Meeting.Request"},
    {"text/calendar", "", "cancel", "", u"IPM.Schedule.Meeting.Canceled"},
    {"text/calendar", "", "reply", "", u"IPM.Schedule.Meeting.Resp"},
    {"text/calendar", "vfreebusy", "", "", u""},  // ends the search: free and busy times are no item
    {"text/calendar", "", "", "", u"IPM.Appointment"},
    {"multipart/report", "", "", "delivery-status", u"Report.IPM.Note.DR"},
    {"multipart/report", "", "", "disposition-notification", u"Report.IPM.Note.IPNRN"},
};

// Components that are looked for in a calendar whose type does not name one; the first that the text holds answers.
struct ComponentRow {
  std::string_view name;
  std::string_view begin;  // in lower case, at the start of a line
  std::string_view end;    // of a later line
};
constexpr ComponentRow kComponents[] = {{"vevent", "begin:vevent", "end:vevent"},
                                        {"vtodo", "begin:vtodo", "end:vtodo"},
                                        {"vfreebusy", "begin:vfreebusy", "end:vfreebusy"}};

std::string textProp(mime::IMimePropertySet* set, mime::HeaderName name) {
  ScopedPropVariant value(VT_LPSTR);
  const HRESULT hr = set->GetProp(name, 0, &value);
  if (hr == MIME_E_NOT_FOUND) {
    return {};
  }
  checkHResult(hr, kSource.at("MessageClassDetector::detail::textProp"));
  return value.pszVal == nullptr ? std::string() : std::string(value.pszVal);
}

BodyInfo infoOf(ComPtr<mime::IMimeBody> body) {
  return {textProp(body.get(), mime::HeaderId::ContentType), textProp(body.get(), "par:content-type:component"),
          textProp(body.get(), "par:content-type:method"), textProp(body.get(), "par:content-type:report-type"),
          std::move(body)};
}

mime::HBODY neighbour(mime::IMimeMessageTree* tree, mime::BodyLocation location, mime::HBODY pivot) {
  mime::HBODY found = nullptr;
  const HRESULT hr = tree->GetBody(location, pivot, &found);
  if (hr != MIME_E_NOT_FOUND) {
    checkHResult(hr, kSource.at("MessageClassDetector::detail::traverseBodies"));
  }
  return found;
}

// Pre-order, without the attached bodies. The MIME layer bounds the depth of what it loads.
void traverseBodies(mime::IMimeMessageTree* tree, mime::HBODY handle, std::vector<BodyInfo>& list, bool skipAttachments) {
  const bool attachment = MimeUtils::isBodyAttachment(tree, handle);
  if (!attachment || !skipAttachments) {
    ComPtr<mime::IMimeBody> body;
    checkHResult(tree->BindToObject(handle, mime::IMimeBody::kIid, body.putVoid()),
                 kSource.at("MessageClassDetector::detail::traverseBodies"));
    list.push_back(infoOf(std::move(body)));
  }
  if (attachment && !skipAttachments) {
    return;
  }
  for (mime::HBODY child = neighbour(tree, mime::IBL_FIRST, handle); child != nullptr;
       child = neighbour(tree, mime::IBL_NEXT, child)) {
    traverseBodies(tree, child, list, true);
  }
}

// Tells, line by line, which component has both its BEGIN and a later END line.
class ComponentScan {
 public:
  void feed(char16_t c) {
    if (c == u'\n' || c == u'\r' || c == u'\f' || c == 0x85 || c == 0x2028 || c == 0x2029) {
      endLine();
    } else if (line_.size() < kLongestMark) {
      line_ += c < 0x80 ? toLowerAscii(static_cast<char>(c)) : '\0';
    }
  }

  std::string_view result() {
    endLine();
    const auto* found = std::find(std::begin(ended_), std::end(ended_), true);
    return found == std::end(ended_) ? std::string_view() : kComponents[found - std::begin(ended_)].name;
  }

 private:
  static constexpr std::size_t kLongestMark = sizeof("begin:vfreebusy") - 1;

  void endLine() {
    for (std::size_t i = 0; i < std::size(kComponents); ++i) {
      begun_[i] = begun_[i] || line_.starts_with(kComponents[i].begin);
      ended_[i] = ended_[i] || (begun_[i] && line_.starts_with(kComponents[i].end));
    }
    line_.clear();
  }

  std::string line_;
  bool begun_[std::size(kComponents)] = {};
  bool ended_[std::size(kComponents)] = {};
};

void detectVCalendarComponent(BodyInfo& info) {
  constexpr const char* kWhere = "MessageClassDetector::detail::detectVCalendarComponent";
  if (!equalsIgnoreCase(info.contentType, "text/calendar") || !info.component.empty()) {
    return;
  }
  if (!info.body) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  ComPtr<IStream> text;
  checkHResult(info.body->GetData(mime::IET_UNICODE, text.put()), kSource.at(kWhere));
  ComponentScan scan;
  std::array<char16_t, 4096> buffer;
  std::size_t have = 0;  // bytes in the buffer; an odd one waits for its other half
  while (true) {
    ULONG read = 0;
    auto* bytes = reinterpret_cast<char*>(buffer.data());
    checkHResult(text->Read(bytes + have, static_cast<ULONG>(sizeof buffer - have), &read), kSource.at(kWhere));
    if (read == 0) {
      break;
    }
    have += read;
    std::for_each_n(buffer.begin(), have / sizeof(char16_t), [&](char16_t c) { scan.feed(c); });
    if (have % sizeof(char16_t) != 0) {
      bytes[0] = bytes[have - 1];
    }
    have %= sizeof(char16_t);
  }
  info.component = scan.result();
}

bool fits(std::string_view wanted, std::string_view value) { return wanted.empty() || equalsIgnoreCase(wanted, value); }

std::u16string_view classify(const std::vector<BodyInfo>& list) {
  for (const BodyInfo& info : list) {
    for (const ClassRow& row : kClasses) {
      if (equalsIgnoreCase(row.contentType, info.contentType) && fits(row.component, info.component) &&
          fits(row.method, info.method) && fits(row.reportType, info.reportType)) {
        return row.messageClass;
      }
    }
  }
  return {};
}

}  // namespace

std::u16string detect(IStream* stream, bool rootCounts) {
  if (stream == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("MessageClassDetector::detect"));
  }
  return detect(nalvo::detail::initNewMessage(stream).get(), rootCounts);
}

std::u16string detect(mime::IMimeMessageTree* tree, bool rootCounts) {
  constexpr const char* kWhere = "MessageClassDetector::detect";
  if (tree == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  mime::HBODY root = nullptr;
  checkHResult(tree->GetBody(mime::IBL_ROOT, nullptr, &root), kSource.at(kWhere));
  const HRESULT isSigned = tree->IsContentType(root, "multipart", "signed");
  checkHResult(isSigned, kSource.at(kWhere));
  if (isSigned == S_OK) {
    // Taken apart it would no longer be what was signed.
    return u"IPM.Note";
  }
  std::vector<BodyInfo> list;
  traverseBodies(tree, root, list, !rootCounts);
  std::for_each(list.begin(), list.end(), detectVCalendarComponent);
  const std::u16string_view found = classify(list);
  return std::u16string(found.empty() ? std::u16string_view(u"IPM.Note") : found);
}

bool isKnownGroupware(mime::IMimeBody* body) {
  if (body == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("MessageClassDetector::isKnownGroupware"));
  }
  std::vector<BodyInfo> list;
  list.push_back(infoOf(ComPtr<mime::IMimeBody>::retain(body)));
  detectVCalendarComponent(list.front());
  return !classify(list).empty();
}

}  // namespace nalvo::MessageClassDetector

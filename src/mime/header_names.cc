#include "mime/header_names.h"

#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"

namespace nalvo::mime {
namespace {

constexpr SourceFile kSource{".\\HeaderNames"};

struct NumberRow {
  HeaderId id;
  std::string_view name;
};
constexpr NumberRow kNumbers[] = {
    {HeaderId::Subject, "Subject"},
    {HeaderId::MessageId, "Message-ID"},
    {HeaderId::ReturnPath, "Return-Path"},
    {HeaderId::Date, "Date"},
    {HeaderId::XMailer, "X-Mailer"},
    {HeaderId::MimeVersion, kMimeVersion},
    {HeaderId::ContentType, kContentType},
    {HeaderId::ContentId, kContentId},
    {HeaderId::ContentDisposition, kContentDisposition},
    {HeaderId::ContentBase, "Content-Base"},
    {HeaderId::ContentLocation, "Content-Location"},
    {HeaderId::Organization, "Organization"},
    {HeaderId::XPriority, "X-Priority"},
    {HeaderId::XMsMailPriority, "X-MSMail-Priority"},
    {HeaderId::FileName, "par:content-disposition:filename"},
    {HeaderId::Name, "par:content-type:name"},
};

constexpr std::string_view kContentRows[] = {
    kContentType,       kTransferEncoding, kContentId,       kContentDisposition, "Content-Description", "Content-Base",
    "Content-Location", "Content-MD5",     kContentLanguage, "Content-Features",  "Content-Duration"};

struct AddressRow {
  DWORD kind;
  std::string_view name;
};
constexpr AddressRow kAddressRows[] = {
    {IAT_FROM, "From"},
    {IAT_SENDER, "Sender"},
    {IAT_TO, "To"},
    {IAT_CC, "Cc"},
    {IAT_BCC, "Bcc"},
    {IAT_REPLYTO, "Reply-To"},
    {IAT_RETURNRECEIPT, "Return-Receipt-To"},
    {IAT_DISPOSITION_NOTIFICATION, "Disposition-Notification-To"},
};

// "par:HEADER:PARAM", "att:filename", or a plain name.
ParsedName parseText(std::string_view text) {
  if (equalsIgnoreCase(text, "att:filename")) {
    return {{}, {}, true};
  }
  if (!startsWithIgnoreCase(text, "par:")) {
    return {text, {}, false};
  }
  text.remove_prefix(4);
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    return {text, {}, false};
  }
  return {text.substr(0, colon), text.substr(colon + 1), false};
}

}  // namespace

std::size_t rowNameBytes(std::string_view line) {
  std::size_t name = 0;
  while (name < line.size() && line[name] > ' ' && line[name] < 0x7F && line[name] != ':') {
    ++name;
  }
  std::size_t colon = name;
  while (colon < line.size() && (line[colon] == ' ' || line[colon] == '\t')) {
    ++colon;
  }
  return colon < line.size() && line[colon] == ':' ? name : 0;
}

ParsedName parseName(HeaderName name) {
  if (name.text() != nullptr) {
    const ParsedName parsed = parseText(name.text());
    if (parsed.header.empty() && !parsed.isFileName) {
      throwHResult(E_INVALIDARG, kSource.at("HeaderNames::parseName"));
    }
    return parsed;
  }
  for (const NumberRow& row : kNumbers) {
    if (row.id == name.id()) {
      return parseText(row.name);
    }
  }
  throwHResult(E_INVALIDARG, kSource.at("HeaderNames::parseName"));
}

bool isContentRow(std::string_view name) {
  return startsWithIgnoreCase(name, "content-") &&
         std::any_of(std::begin(kContentRows), std::end(kContentRows),
                     [&](std::string_view row) { return equalsIgnoreCase(row, name); });
}

DWORD addressKindOf(std::string_view name) {
  for (const AddressRow& row : kAddressRows) {
    if (equalsIgnoreCase(row.name, name)) {
      return row.kind;
    }
  }
  return 0;
}

std::string_view addressRowName(DWORD kind) {
  for (const AddressRow& row : kAddressRows) {
    if (row.kind == kind) {
      return row.name;
    }
  }
  return {};
}

}  // namespace nalvo::mime

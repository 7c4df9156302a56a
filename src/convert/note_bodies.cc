// Which of a note's texts goes out, in what form, and in which charset.
#include <optional>

#include "convert/note_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/code_pages.h"

namespace nalvo::toMime {
namespace {

constexpr SourceFile kSource{".\\NoteBodies"};

struct Forms {
  bool plain;
  bool html;
  bool rtf;
};

// The forms wanted of those that a note has, by the editor that made it.
Forms formsWanted(std::optional<std::uint32_t> editorFormat, const Forms& has) {
  if (!editorFormat) {
    return {has.plain || has.rtf, has.html && !has.rtf, has.rtf};
  }
  switch (*editorFormat) {
    case 1:  // plain text
      return {has.plain, false, has.rtf && !has.plain};
    case 2:  // HTML
      return {has.html || has.plain || has.rtf, has.html, has.rtf && !has.html};
    case 3:  // RTF
      return {has.rtf, false, has.rtf};
    default:
      return {false, false, false};
  }
}

struct CodePageRow {
  std::uint32_t given;
  std::uint32_t used;
};

constexpr CodePageRow kSubstitutes[] = {
    {28605, 28591},  // ISO-8859-15 as ISO-8859-1
    {28603, 28594},  // ISO-8859-13 as ISO-8859-4
};

}  // namespace

void NoteConvert::setBodies() {
  const Forms has = {exists(PR_BODY), exists(PR_HTML) || exists(PR_BODY_HTML), exists(PR_RTF_COMPRESSED)};
  std::optional<std::uint32_t> editorFormat;
  if (exists(PR_MSG_EDITOR_FORMAT)) {
    editorFormat = getULong(PR_MSG_EDITOR_FORMAT);
  }
  const Forms wanted = formsWanted(editorFormat, has);
  setBodiesNormal(wanted.plain, wanted.html);
}

void NoteConvert::setBodiesNormal(bool plainWanted, bool htmlWanted) {
  if (plainWanted && exists(PR_BODY)) {
    setPlainTextBody(openForReading(PR_BODY).get(), false);
  }
  if (!htmlWanted) {
    return;
  }
  if (exists(PR_HTML)) {
    setHtmlBody(openForReading(PR_HTML).get());
  } else if (exists(PR_BODY_HTML_A)) {
    setHtmlBody(openForReading(PR_BODY_HTML_A).get());
  }
}

void NoteConvert::setPlainTextBody(IStream* stream, bool encoded) {
  const mime::Encoding encoding = encoded ? mime::IET_ENCODED : mime::IET_UNICODE;
  checkHResult(data().getMimeMessage()->SetTextBody(mime::TXT_PLAIN, encoding, lastBody_, stream, &lastBody_),
               kSource.at("toMime::NoteConvert::setPlainTextBody"));
}

void NoteConvert::setHtmlBody(IStream* stream) {
  checkHResult(data().getMimeMessage()->SetTextBody(mime::TXT_HTML, mime::IET_ENCODED, lastBody_, stream, &lastBody_),
               kSource.at("toMime::NoteConvert::setHtmlBody"));
}

void NoteConvert::setCharsetByCpId(std::uint32_t codePage) {
  constexpr const char* kWhere = "toMime::NoteConvert::setCharsetByCpId";
  for (const CodePageRow& row : kSubstitutes) {
    if (row.given == codePage) {
      codePage = row.used;
      break;
    }
  }
  const Charset* known = findCodePage(codePage);
  if (known == nullptr) {
    throwHResult(E_FAIL, kSource.at(kWhere), "Unknown code page.");
  }
  mime::HCHARSET charset = nullptr;
  if (failed(mime::MimeOleFindCharset(std::string(known->name).c_str(), &charset))) {
    checkHResult(mime::MimeOleFindCharset("utf-8", &charset), kSource.at(kWhere));
  }
  checkHResult(data().getMimeMessage()->SetCharset(charset, mime::CSET_APPLY_ALL), kSource.at(kWhere));
}

}  // namespace nalvo::toMime

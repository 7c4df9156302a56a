// Which of a note's texts goes out, in what form, and in which charset.
#include <algorithm>
#include <iterator>
#include <optional>

#include "convert/note_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/code_pages.h"
#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "streams/stream_convertor.h"
#include "streams/stream_utils.h"
#include "text/html_to_plain.h"
#include "text/rich_text_convertor.h"
#include "text/wrap_compressed_rtf_stream.h"

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
  if (!editorFormat || *editorFormat == 0) {  // 0: nobody knows
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

// Pages that a mail does not go out in.
constexpr CodePageRow kSubstitutes[] = {
    {28605, 28591},  // ISO-8859-15 as ISO-8859-1
    {28603, 28594},  // ISO-8859-13 as ISO-8859-4
    {kUtf16, kUtf8}, {kUtf16Be, kUtf8}, {kUtf32, kUtf8}, {kUtf32Be, kUtf8},
};

}  // namespace

void NoteConvert::setBodies() {
  const Forms has = {exists(PR_BODY), exists(PR_HTML) || exists(PR_BODY_HTML), exists(PR_RTF_COMPRESSED)};
  std::optional<std::uint32_t> editorFormat;
  if (exists(PR_MSG_EDITOR_FORMAT)) {
    editorFormat = getULong(PR_MSG_EDITOR_FORMAT);
  }
  const Forms wanted = formsWanted(editorFormat, has);
  if (wanted.rtf && WrapCompressedRtfStream::isAvailable()) {
    setBodiesFromRtf();
  } else {
    setBodiesNormal(wanted.plain, wanted.html);
  }
}

namespace {

// Text in 16 or 32 bits has a zero byte at its start: a mark, or a "<".
bool looksWide(IStream* text) {
  char bytes[4] = {1, 1, 1, 1};
  ULONG read = 0;
  checkHResult(text->Read(bytes, sizeof bytes, &read), kSource.at("toMime::NoteConvert::openHtml"));
  streamUtils::rewind(text);
  return std::find(std::begin(bytes), std::end(bytes), '\0') != std::end(bytes) ||
         byteOrderMarkOf(std::string_view(bytes, read)).codePage == kUtf16;
}

}  // namespace

ComPtr<IStream> NoteConvert::openHtml(ULONG tag) const {
  ComPtr<IStream> html = openForReading(tag);
  const Charset* page = findCodePage(getULongOr(PR_INTERNET_CPID, 0));
  if (page == nullptr || page->shape != Charset::Shape::Wide || !looksWide(html.get())) {
    return html;
  }
  ComPtr<IStream> narrow = streamUtils::createStream();
  StreamConvertor::instance()->streamToStream(page->codePage, kUtf8, html.get(), narrow.get());
  streamUtils::rewind(narrow.get());
  return narrow;
}

void NoteConvert::setBodiesNormal(bool plainWanted, bool htmlWanted) {
  const ULONG htmlTag = exists(PR_HTML) ? PR_HTML : PR_BODY_HTML_A;
  const bool hasHtml = exists(htmlTag);
  if (plainWanted && exists(PR_BODY)) {
    setPlainTextBody(openForReading(PR_BODY).get());
  } else if (plainWanted && hasHtml) {
    const ComPtr<IStream> plain = streamUtils::createStream();
    htmlToPlain::convert(openHtml(htmlTag).get(), plain.get(), getULongOr(PR_INTERNET_CPID, 0));
    streamUtils::rewind(plain.get());
    setPlainTextBody(plain.get());
  }
  if (htmlWanted && hasHtml) {
    setHtmlBody(openHtml(htmlTag).get());
  }
}

void NoteConvert::setBodiesFromRtf() {
  constexpr const char* kWhere = "toMime::NoteConvert::setBodiesFromRtf";
  ComPtr<IStream> compressed;
  ComPtr<IStream> decoded;
  std::uint32_t codePage = 0;
  const std::uint32_t kind = getRtfStreams(nullptr, compressed.put(), decoded.put(), &codePage);
  const ComPtr<IStream> plain = streamUtils::createStream();
  switch (kind) {
    case MAPI_NATIVE_BODY_TYPE_RTF:
      RichTextConvertor::rtfToUnicode(decoded.get(), plain.get());
      break;
    case MAPI_NATIVE_BODY_TYPE_HTML:
      streamUtils::rewind(compressed.get());
      RichTextConvertor::rtfToUnicode(unwrapRtf(compressed.get(), 0, codePage, nullptr).get(), plain.get());
      break;
    case MAPI_NATIVE_BODY_TYPE_PLAINTEXT:
      // Not the bytes in the code page of the message, which may lack some of the text: what doesn't fit goes out as UTF-8.
      streamUtils::rewind(compressed.get());
      StreamConvertor::instance()->streamToStream(
          kUtf8, kUtf16, unwrapRtf(compressed.get(), MAPI_NATIVE_BODY, kUtf8, nullptr).get(), plain.get());
      break;
    default:
      throwHResult(E_FAIL, kSource.at(kWhere));
  }
  streamUtils::rewind(plain.get());
  setPlainTextBody(plain.get());
  if (kind == MAPI_NATIVE_BODY_TYPE_HTML) {
    setHtmlBody(decoded.get());
  }
}

void NoteConvert::setPlainTextBody(IStream* stream) {
  checkHResult(data().getMimeMessage()->SetTextBody(mime::TXT_PLAIN, mime::IET_UNICODE, lastBody_, stream, &lastBody_),
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

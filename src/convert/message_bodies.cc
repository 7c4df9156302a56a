// Compressed RTF, which holds the text of a message in one of three forms.
#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/code_pages.h"
#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "streams/stream_utils.h"
#include "text/rich_text_convertor.h"
#include "text/wrap_compressed_rtf_stream.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\MessageBodies"};

// Runs the codec: on this thread for a caller that has a session, else on one of its own.
std::uint32_t wrapRtf(bool insideMapi, std::uint32_t flags, std::uint32_t codePage, IStream* source, IStream* destination) {
  if (insideMapi) {
    return WrapCompressedRtfStream::detail::WrapCompressedRtfStreamEx(flags, codePage, source, destination);
  }
  WrapCompressedRtfStream::detail::initMapi();
  return WrapCompressedRtfStream::detail::wrapCompressedRtfStreamInThread(codePage, source, flags, destination);
}

}  // namespace

namespace toMime {

ComPtr<IStream> MessageConvert::unwrapRtf(IStream* compressed, std::uint32_t wrapFlags, std::uint32_t codePage,
                                          std::uint32_t* kind) const {
  ComPtr<IStream> decoded = streamUtils::createStream();
  const std::uint32_t found = wrapRtf(hasFlag(ToMimeFlags::InsideMapi), wrapFlags, codePage, compressed, decoded.get());
  if (kind != nullptr) {
    *kind = found;
  }
  streamUtils::rewind(decoded.get());
  return decoded;
}

std::uint32_t MessageConvert::getRtfStreams(IConvertMessage* message, IStream** compressed, IStream** decoded,
                                            std::uint32_t* codePage) const {
  constexpr const char* kWhere = "toMime::MessageConvert::getRtfStreams";
  if (compressed == nullptr || decoded == nullptr || codePage == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  if (message == nullptr) {
    message = data().getMapiMessage();
  }
  *codePage = MapiPropUtils::propertyExists(message, PR_INTERNET_CPID)
                  ? MapiPropUtils::propULong(message, PR_INTERNET_CPID, data().getAllocator())
                  : kAnsiCodePage;
  if (const Charset* page = findCodePage(*codePage); page != nullptr && page->shape == Charset::Shape::Wide) {
    *codePage = kUtf8;  // Nobody sends mail in it.
  }
  ComPtr<IStream> source;
  checkHResult(message->openProp(PR_RTF_COMPRESSED, 0, IStream::kIid, source.putUnknown()), kSource.at(kWhere));
  if (!source) {
    throwHResult(E_POINTER, kSource.at(kWhere));
  }
  std::uint32_t kind = 0;
  *decoded = unwrapRtf(source.get(), MAPI_NATIVE_BODY, *codePage, &kind).detach();
  *compressed = source.detach();
  return kind;
}

}  // namespace toMime

namespace toMapi {

void MessageConvert::createRtfBodyFromPlainText(const std::vector<std::int32_t>& formatting) {
  constexpr const char* kWhere = "toMapi::MessageConvert::createRtfBodyFromPlainText";
  ComPtr<IStream> plain;
  const HRESULT hr = data().getMapiMessage()->openProp(PR_BODY, 0, IStream::kIid, plain.putUnknown());
  if (hr == MAPI_E_NOT_FOUND) {
    return;
  }
  checkHResult(hr, kSource.at(kWhere));
  const ComPtr<IStream> rtf = streamUtils::createStream();
  RichTextConvertor::unicodeToRtf(plain.get(), formatting, rtf.get());
  streamUtils::rewind(rtf.get());
  const ComPtr<IStream> compressed = openForWriting(PR_RTF_COMPRESSED);
  wrapRtf(hasFlag(ToMapiFlags::InsideMapi), MAPI_MODIFY, 0, compressed.get(), rtf.get());
  checkHResult(compressed->Commit(0), kSource.at(kWhere));
}

}  // namespace toMapi
}  // namespace nalvo

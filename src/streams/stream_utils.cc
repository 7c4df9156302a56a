#include "streams/stream_utils.h"

#include <algorithm>
#include <array>
#include <cstring>  // memcpy
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "streams/data_stream.h"

namespace nalvo::streamUtils {
namespace {

constexpr SourceFile kSource{".\\StreamUtils"};

constexpr ULONG kStringBlock = 0x800;
constexpr std::size_t kHtmlBlock = 0x8000;  // characters

void checkTwoStreams(IStream* source, IStream* destination, const SourceLocation& where) {
  detail::checkStream(source);
  detail::checkStream(destination);
  if (source == destination) {
    throwHResult(E_INVALIDARG, where);
  }
}

void appendHtml(std::u16string_view text, std::u16string& html) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    switch (c) {
      case u'&':
        html += u"&amp;";
        break;
      case u'"':
        html += u"&quot;";
        break;
      case u'\'':
        html += u"&#039;";
        break;
      case u'<':
        html += u"&lt;";
        break;
      case u'>':
        html += u"&gt;";
        break;
      case u'\r':
      case u'\n':
        // The two halves of a line end, in either order.
        if (i + 1 < text.size() && text[i + 1] == (c == u'\r' ? u'\n' : u'\r')) {
          ++i;
        }
        html += u"<br>\r\n";
        break;
      default:
        html += c;
    }
  }
}

std::uint64_t positionOf(IStream* stream, const SourceLocation& where) {
  std::uint64_t position = 0;
  checkHResult(stream->Seek(0, STREAM_SEEK_CUR, &position), where);
  return position;
}

}  // namespace

void createStream(IStream** out) {
  checkHResult(DataStream::create<AdaptiveStreamData>(out), kSource.at("streamUtils::createStream"));
}

ComPtr<IStream> createStream() {
  ComPtr<IStream> stream;
  createStream(stream.put());
  return stream;
}

std::uint32_t getStreamSize(IStream* stream) {
  detail::checkStream(stream);
  STATSTG stat{};
  checkHResult(stream->Stat(&stat, STATFLAG_NONAME), kSource.at("streamUtils::getStreamSize"));
  if (stat.cbSize > UINT32_MAX) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("streamUtils::getStreamSize"));
  }
  return static_cast<std::uint32_t>(stat.cbSize);
}

void rewind(IStream* stream) {
  detail::checkStream(stream);
  checkHResult(stream->Seek(0, STREAM_SEEK_SET, nullptr), kSource.at("streamUtils::rewind"));
}

void seek(IStream* stream, std::int32_t offset) {
  detail::checkStream(stream);
  checkHResult(stream->Seek(offset, STREAM_SEEK_CUR, nullptr), kSource.at("streamUtils::seek"));
}

void copy(IStream* source, IStream* destination, bool keepPosition) {
  const char* function = "streamUtils::copy";
  checkTwoStreams(source, destination, kSource.at(function));
  const std::uint64_t position = keepPosition ? positionOf(source, kSource.at(function)) : 0;
  checkHResult(source->CopyTo(destination, UINT64_MAX, nullptr, nullptr), kSource.at(function));
  if (keepPosition) {
    checkHResult(source->Seek(static_cast<std::int64_t>(position), STREAM_SEEK_SET, nullptr), kSource.at(function));
  }
}

void copyToString(IStream* stream, std::u16string& text, bool rewindAfter) {
  detail::checkStream(stream);
  std::array<char, kStringBlock + 1> block;
  std::size_t odd = 0;  // bytes carried over from the read before
  while (true) {
    ULONG read = 0;
    checkHResult(stream->Read(block.data() + odd, kStringBlock, &read), kSource.at("streamUtils::copyToString"));
    if (read == 0) {
      break;
    }
    const std::size_t bytes = odd + std::min(read, kStringBlock);
    const std::size_t old = text.size();
    text.resize(old + bytes / 2);
    std::memcpy(text.data() + old, block.data(), bytes / 2 * 2);
    odd = bytes % 2;
    block[0] = block[bytes - 1];
  }
  if (rewindAfter) {
    rewind(stream);
  }
}

void replaceHtmlEntities(IStream* source, IStream* destination) {
  checkTwoStreams(source, destination, kSource.at("streamUtils::replaceHtmlEntities"));
  rewind(source);
  std::vector<char> block(2 * kHtmlBlock + 1);
  std::u16string text;
  std::u16string html;
  std::size_t odd = 0;  // bytes carried over from the read before
  while (true) {
    ULONG read = 0;
    const HRESULT hr = source->Read(block.data() + odd, 2 * kHtmlBlock, &read);
    if (failed(hr) || read == 0) {
      return;
    }
    const std::size_t bytes = odd + std::min<std::size_t>(read, 2 * kHtmlBlock);
    text.resize(bytes / 2);
    std::memcpy(text.data(), block.data(), 2 * text.size());
    odd = bytes % 2;
    block[0] = block[bytes - 1];
    html.clear();
    appendHtml(text, html);
    detail::writeStr(destination, html);
  }
}

namespace detail {

void checkStream(IStream* stream) {
  if (stream == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at("streamUtils::detail::checkStream"));
  }
}

void readData(IStream* stream, void* buffer, std::uint32_t size) {
  const char* function = "streamUtils::detail::readData";
  checkStream(stream);
  if (buffer == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  ULONG read = 0;
  checkHResult(stream->Read(buffer, size, &read), kSource.at(function));
  if (read != size) {
    throwHResult(STG_E_READFAULT, kSource.at(function));
  }
}

void writeStr(IStream* stream, const void* bytes, std::uint32_t count) {
  checkStream(stream);
  // A stream that takes less gets the rest in further calls.
  for (std::uint32_t at = 0; bytes != nullptr && at < count;) {
    ULONG written = 0;
    const SourceLocation here = kSource.at("streamUtils::detail::writeStr");
    checkHResult(stream->Write(static_cast<const char*>(bytes) + at, count - at, &written), here);
    if (written == 0) {
      throwHResult(STG_E_MEDIUMFULL, here);
    }
    at += std::min(written, count - at);
  }
}

void writeStr(IStream* stream, std::string_view text) {
  if (text.size() > UINT32_MAX) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("streamUtils::detail::writeStr"));
  }
  writeStr(stream, text.data(), static_cast<std::uint32_t>(text.size()));
}

void writeStr(IStream* stream, std::u16string_view text) {
  writeStr(stream, std::string_view(reinterpret_cast<const char*>(text.data()), 2 * text.size()));
}

void writeStr(IStream* stream, const char* text) {
  writeStr(stream, text != nullptr ? std::string_view(text) : std::string_view());
}

void writeStr(IStream* stream, const char16_t* text) {
  writeStr(stream, text != nullptr ? std::u16string_view(text) : std::u16string_view());
}

}  // namespace detail
}  // namespace nalvo::streamUtils

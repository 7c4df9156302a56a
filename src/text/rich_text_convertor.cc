#include "text/rich_text_convertor.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "diagnostics/hresult_exception.h"
#include "platform/text/rtf/rtf_reader.h"
#include "platform/text/rtf/rtf_writer.h"
#include "streams/stream_utils.h"

namespace nalvo::RichTextConvertor {
namespace {

constexpr SourceFile kSource{".\\RichTextConvertor"};
constexpr std::size_t kPiece = 0x8000;

// Takes the blocks of RTF that are written.
struct StreamOutState {
  IStream* stream;
  bool insertFromText;  // until a block with the head has gone out

  void write(std::string_view block);
};

// In a head, the mark goes in front of the first word behind the code page.
void StreamOutState::write(std::string_view block) {
  constexpr std::string_view kCodePage = "\\ansicpg";
  if (insertFromText && block.starts_with("{\\rtf1\\")) {
    const std::size_t page = block.find(kCodePage);
    const std::size_t next = page == std::string_view::npos ? page : block.find('\\', page + kCodePage.size());
    if (next != std::string_view::npos) {
      insertFromText = false;
      std::string marked(block);
      marked.insert(next, "\\fromtext ");
      streamUtils::detail::writeStr(stream, marked);
      return;
    }
  }
  streamUtils::detail::writeStr(stream, block);
}

void checkGiven(IStream* stream, const SourceLocation& where) {
  if (stream == nullptr) {
    throwHResult(E_INVALIDARG, where);
  }
}

// Places in the text that has no blanks yet.
std::vector<std::uint32_t> blankPlaces(const std::vector<std::int32_t>& formatting) {
  std::vector<std::uint32_t> places;
  for (std::size_t i = 0; i < formatting.size(); ++i) {
    places.push_back(static_cast<std::uint32_t>(std::max<std::int64_t>(0, formatting[i] - static_cast<std::int64_t>(i))));
  }
  return places;
}

}  // namespace

void unicodeToRtf(IStream* input, const std::vector<std::int32_t>& formatting, IStream* output) {
  const char* function = "RichTextConvertor::unicodeToRtf";
  checkGiven(input, kSource.at(function));
  checkGiven(output, kSource.at(function));
  StreamOutState state{output, true};
  RtfWriter writer(blankPlaces(formatting));
  state.write(writer.head());
  std::array<char, kPiece + 1> bytes;
  std::u16string text;
  std::string rtf;
  std::size_t odd = 0;  // a byte that waits for its other half
  for (ULONG read = 1; read != 0;) {
    read = 0;
    checkHResult(input->Read(bytes.data() + odd, kPiece, &read), kSource.at(function));
    const std::size_t count = odd + std::min<std::size_t>(read, kPiece);
    text.resize(count / 2);
    std::memcpy(text.data(), bytes.data(), 2 * text.size());
    odd = count % 2;
    bytes[0] = bytes[count - odd];
    rtf.clear();
    writer.update(text, rtf);
    if (read == 0) {
      writer.finish(rtf);
    }
    state.write(rtf);
  }
}

void rtfToUnicode(IStream* input, IStream* output) {
  const char* function = "RichTextConvertor::rtfToUnicode";
  checkGiven(input, kSource.at(function));
  checkGiven(output, kSource.at(function));
  StreamOutState state{output, false};
  RtfReader reader;
  std::array<char, kPiece> bytes;
  std::u16string text;
  for (ULONG read = 1; read != 0;) {
    read = 0;
    checkHResult(input->Read(bytes.data(), kPiece, &read), kSource.at(function));
    text.clear();
    reader.update({bytes.data(), std::min<std::size_t>(read, kPiece)}, text);
    if (read == 0) {
      reader.finish(text);
    }
    state.write({reinterpret_cast<const char*>(text.data()), 2 * text.size()});
  }
}

}  // namespace nalvo::RichTextConvertor

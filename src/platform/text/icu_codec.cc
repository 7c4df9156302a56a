// The halves over ICU, for the charsets that iconv lacks or reads too narrowly.
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <array>
#include <utility>

#include "platform/text/codec.h"

namespace nalvo {
namespace {

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

// Two escape sequences with nothing between them are no error: words of a header are put together so, and senders write
// them.
void passOverEmptySegment(const void*, UConverterToUnicodeArgs*, const char*, std::int32_t, UConverterCallbackReason reason,
                          UErrorCode* error) {
  if (reason == UCNV_IRREGULAR) {
    *error = U_ZERO_ERROR;
  }
}

// Stops at bad characters, so that they can be counted. Null if ICU lacks the charset.
Converter openConverter(const Charset& charset) {
  UErrorCode error = U_ZERO_ERROR;
  Converter converter(ucnv_open(charset.converter.data(), &error));
  if (converter) {
    ucnv_setToUCallBack(converter.get(), passOverEmptySegment, nullptr, nullptr, nullptr, &error);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
  }
  return U_SUCCESS(error) ? std::move(converter) : nullptr;
}

class IcuDecoder final : public Decoder {
 public:
  IcuDecoder(Converter converter, char16_t substitute) : Decoder(substitute), converter_(std::move(converter)) {}

  void decode(std::string_view in, std::u16string& out) override { run(in, false, out); }

  void finish(std::u16string& out) override {
    run({}, true, out);
    ucnv_resetToUnicode(converter_.get());
  }

 private:
  void run(std::string_view in, bool last, std::u16string& out) {
    std::array<char16_t, 2048> area;
    const char* from = in.data();
    const char* end = in.data() + in.size();
    while (true) {
      UErrorCode error = U_ZERO_ERROR;
      char16_t* to = area.data();
      ucnv_toUnicode(converter_.get(), &to, area.data() + area.size(), &from, end, nullptr, last, &error);
      out.append(area.data(), to);
      if (U_SUCCESS(error)) {
        return;
      }
      if (error != U_BUFFER_OVERFLOW_ERROR) {
        bad(out);
        if (from == end && last) {
          return;
        }
      }
    }
  }

  Converter converter_;
};

class IcuEncoder final : public Encoder {
 public:
  IcuEncoder(Converter converter, char16_t substitute) : Encoder(substitute), converter_(std::move(converter)) {}

  void encode(std::u16string_view in, std::string& out) override { run(in, false, out); }

  void finish(std::string& out) override {
    run({}, true, out);
    ucnv_resetFromUnicode(converter_.get());
  }

 private:
  void run(std::u16string_view in, bool last, std::string& out) {
    std::array<char, 4096> area;
    const char16_t* from = in.data();
    const char16_t* end = in.data() + in.size();
    while (true) {
      UErrorCode error = U_ZERO_ERROR;
      char* to = area.data();
      ucnv_fromUnicode(converter_.get(), &to, area.data() + area.size(), &from, end, nullptr, last, &error);
      out.append(area.data(), to);
      if (U_SUCCESS(error)) {
        return;
      }
      if (error != U_BUFFER_OVERFLOW_ERROR) {
        if (const char16_t unit = bad(); unit != 0) {
          run({&unit, 1}, false, out);
        }
      }
    }
  }

  Converter converter_;
};

}  // namespace

std::unique_ptr<Decoder> makeIcuDecoder(const Charset& charset, char16_t substitute) {
  Converter converter = openConverter(charset);
  return converter ? std::make_unique<IcuDecoder>(std::move(converter), substitute) : nullptr;
}

std::unique_ptr<Encoder> makeIcuEncoder(const Charset& charset, char16_t substitute) {
  Converter converter = openConverter(charset);
  return converter ? std::make_unique<IcuEncoder>(std::move(converter), substitute) : nullptr;
}

}  // namespace nalvo

#include "host/digest.h"

#include <openssl/evp.h>

#include <memory>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "platform/com/com_ptr.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Digest"};

class Sha256 {
 public:
  Sha256() { EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr); }

  void update(const void* bytes, std::size_t count) { EVP_DigestUpdate(context_.get(), bytes, count); }

  std::string finish() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context_.get(), digest, &length);
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
      text += kDigits[digest[i] >> 4];
      text += kDigits[digest[i] & 0xF];
    }
    return text;
  }

 private:
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> context_{EVP_MD_CTX_new()};
};

}  // namespace

std::string sha256(std::string_view bytes) {
  Sha256 digest;
  digest.update(bytes.data(), bytes.size());
  return digest.finish();
}

StreamDigest digestOf(IStream* stream) {
  constexpr const char* kWhere = "host::digestOf";
  constexpr ULONG kPiece = 64U << 10;
  ComPtr<IStream> reader;
  checkHResult(stream->Clone(reader.put()), kSource.at(kWhere));
  checkHResult(reader->Seek(0, STREAM_SEEK_SET, nullptr), kSource.at(kWhere));
  Sha256 digest;
  std::uint64_t size = 0;
  std::vector<char> buffer(kPiece);
  while (true) {
    ULONG read = 0;
    checkHResult(reader->Read(buffer.data(), kPiece, &read), kSource.at(kWhere));
    if (read == 0) {
      return {size, digest.finish()};
    }
    digest.update(buffer.data(), read);
    size += read;
  }
}

}  // namespace nalvo::host

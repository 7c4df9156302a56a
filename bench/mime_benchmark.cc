// How fast messages are loaded, walked and saved, beside GMime, and how the cost grows.
//
//     bench-mime FOLDER [PASSES]
//
// FOLDER holds messages, one a file. GMime parses and writes them; this layer loads, walks and saves them; both over the
// same bytes in memory, in turns. The output of the layer is compared with the input once, before anything is timed.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "bench/timing.h"
#include "mime/mime.h"
#include "platform/com/unknown_impl.h"

#ifdef NALVO_HAVE_GMIME
#include <gmime/gmime.h>
#endif

namespace nalvo::mime {
namespace {

// Bytes in memory, borrowed for reading; what is written is gathered, or dropped.
class BytesStream final : public IUnknownImpl<IStream> {
 public:
  explicit BytesStream(std::string_view text, bool gathers = true) : text_(text), gathers_(gathers) {}

  const std::string& written() const { return written_; }

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override {
    const std::size_t left = at_ < text_.size() ? text_.size() - static_cast<std::size_t>(at_) : 0;
    const std::size_t count = std::min<std::size_t>(bytes, left);
    std::copy_n(text_.data() + (count == 0 ? 0 : at_), count, static_cast<char*>(buffer));
    at_ += count;
    if (read != nullptr) {
      *read = static_cast<ULONG>(count);
    }
    return S_OK;
  }
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* done) noexcept override {
    if (gathers_) {
      written_.append(static_cast<const char*>(buffer), bytes);
    }
    if (done != nullptr) {
      *done = bytes;
    }
    return S_OK;
  }
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* position) noexcept override {
    at_ = (origin == STREAM_SEEK_SET   ? 0
           : origin == STREAM_SEEK_CUR ? at_
                                       : text_.size()) +
          static_cast<std::uint64_t>(move);
    if (position != nullptr) {
      *position = at_;
    }
    return S_OK;
  }
  HRESULT SetSize(std::uint64_t) noexcept override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, std::uint64_t, std::uint64_t*, std::uint64_t*) noexcept override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Revert() noexcept override { return E_NOTIMPL; }
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) noexcept override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) noexcept override { return E_NOTIMPL; }

 private:
  std::string_view text_;
  bool gathers_;
  std::uint64_t at_ = 0;
  std::string written_;
};

[[noreturn]] void stop(const char* what) {
  std::fprintf(stderr, "bench-mime: %s\n", what);
  std::exit(1);
}

void require(HRESULT hr) {
  if (hr != S_OK) {
    stop("an operation failed");
  }
}

// Every body, its type asked for.
std::size_t walk(IMimeMessage* message) {
  std::size_t bodies = 0;
  FINDBODY find{nullptr, nullptr, 0};
  HBODY body = nullptr;
  for (HRESULT hr = message->FindFirst(&find, &body); hr == S_OK; hr = message->FindNext(&find, &body)) {
    ++bodies;
  }
  return bodies;
}

std::string loadWalkSave(std::string_view text) {
  ComPtr<IMimeMessage> message;
  require(createMimeMessage(message.put()));
  const auto in = makeCom<BytesStream>(text);
  require(message->Load(in.get()));
  walk(message.get());
  const auto out = makeCom<BytesStream>(std::string_view());
  require(message->Save(out.get(), 1));
  return out->written();
}

#ifdef NALVO_HAVE_GMIME
std::size_t gmimeParseWrite(std::string_view text) {
  GMimeStream* in = g_mime_stream_mem_new_with_buffer(text.data(), text.size());
  GMimeParser* parser = g_mime_parser_new_with_stream(in);
  GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
  std::size_t bytes = 0;
  if (message != nullptr) {
    GMimeStream* out = g_mime_stream_mem_new();
    bytes =
        static_cast<std::size_t>(std::max<ssize_t>(g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, out), 0));
    g_object_unref(out);
    g_object_unref(message);
  }
  g_object_unref(parser);
  g_object_unref(in);
  return bytes;
}
#endif

using Texts = std::vector<std::string>;

// The best of `passes` runs of all texts, shared out among `threads`.
double bestTime(const Texts& texts, unsigned threads, int passes, const std::function<void(std::string_view)>& one) {
  double best = 1e9;
  for (int pass = 0; pass < passes; ++pass) {
    best = std::min(best, bench::secondsOf([&] {
                      std::vector<std::thread> pool;
                      for (unsigned t = 0; t < threads; ++t) {
                        pool.emplace_back([&, t] {
                          for (std::size_t i = t; i < texts.size(); i += threads) {
                            one(texts[i]);
                          }
                        });
                      }
                      for (std::thread& thread : pool) {
                        thread.join();
                      }
                    }));
  }
  return best;
}

Texts readFolder(const char* folder) {
  Texts texts;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_regular_file() && name.find(".expect") == std::string::npos && name != "MANIFEST.tsv") {
      std::ifstream in(entry.path(), std::ios::binary);
      texts.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
  }
  if (texts.empty()) {
    stop("no messages there");
  }
  return texts;
}

void compareWithGMime(const Texts& texts, int passes) {
  double bytes = 0;
  for (const std::string& text : texts) {
    bytes += static_cast<double>(text.size());
    if (loadWalkSave(text) != text) {
      stop("a message was not saved as it was");
    }
  }
  std::printf("%zu messages, %.1f MB\n\n%-28s %7s %10s %12s %8s\n", texts.size(), bytes / 1e6, "", "threads", "MB/s",
              "messages/s", "ratio");
  double reference[3] = {0, 0, 0};
  for (const unsigned threads : {1U, 2U}) {
#ifdef NALVO_HAVE_GMIME
    const double gmime = bestTime(texts, threads, passes, [](std::string_view text) { gmimeParseWrite(text); });
    std::printf("%-28s %7u %10.1f %12.0f\n", "GMime parse, write", threads, bytes / gmime / 1e6,
                static_cast<double>(texts.size()) / gmime);
    reference[threads] = gmime;
#endif
    const double own = bestTime(texts, threads, passes, [](std::string_view text) { loadWalkSave(text); });
    std::printf("%-28s %7u %10.1f %12.0f %7.1fx\n", "load, walk, save", threads, bytes / own / 1e6,
                static_cast<double>(texts.size()) / own, reference[threads] / own);
  }
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

// What grows, and what the caller does with it.
struct Growth {
  const char* what;
  std::size_t base;
  std::function<std::string(std::size_t)> make;
};

void readAll(std::string_view text) {
  ComPtr<IMimeMessage> message;
  require(createMimeMessage(message.put()));
  const auto in = makeCom<BytesStream>(text);
  require(message->Load(in.get()));
  walk(message.get());
  ScopedPropVariant subject(VT_LPWSTR);
  message->GetProp(HeaderId::Subject, 0, &subject);
  AddressList list{};
  require(message->GetAddressTypes(IAT_ALL, IAP_NAME_AND_EMAIL, &list));
  ComPtr<IMimeAllocator> allocator;
  require(createMimeAllocator(allocator.put()));
  allocator->FreeAddressList(&list);
  ULONG count = 0;
  HBODY* bodies = nullptr;
  require(message->GetAttachments(&count, &bodies));
  for (ULONG i = 0; i < count; ++i) {
    ComPtr<IMimeBody> body;
    require(message->BindToObject(bodies[i], IMimeBody::kIid, body.putVoid()));
    const auto out = makeCom<BytesStream>(std::string_view(), false);
    require(body->GetDataHere(IET_BINARY, out.get()));
  }
  allocator->Free(bodies);
  // One more row, so that the writer goes body by body.
  char added[] = "1";
  PROPVARIANT value{VT_LPSTR, {0}};
  value.pszVal = added;
  require(message->SetProp("X-Added", 0, &value));
  const auto out = makeCom<BytesStream>(std::string_view(), false);
  require(message->Save(out.get(), 1));
}

std::string nestedText(std::size_t depth) {
  std::string head;
  for (std::size_t i = 0; i < depth; ++i) {
    const std::string b = "b" + std::to_string(i);
    head += "Content-Type: multipart/mixed; boundary=" + b + "\r\n\r\n--" + b + "\r\n";
  }
  return head + "\r\ntext\r\n";
}

void printGrowth() {
  const std::string mixed = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  const Growth growths[] = {
      {"header rows", 900, [](std::size_t n) { return repeated("X-Row: some value of it\r\n", n) + "\r\ntext"; }},
      {"recipients", 500,
       [](std::size_t n) { return "To: a@x" + repeated(",\r\n \"Name, of\" <person@example.com>", n) + "\r\n\r\ntext"; }},
      {"parts", 99,
       [&](std::size_t n) {
         return mixed + repeated("--b\r\nContent-Type: application/x\r\n\r\ndata\r\n", n) + "--b--\r\n";
       }},
      {"lines of a Base64 body", 5000,
       [&](std::size_t n) {
         return mixed + "--b\r\nContent-Type: application/x\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                repeated(std::string(76, 'Q') + "\r\n", n) + "--b--\r\n";
       }},
      {"nesting (1, 10, 100)", 1, nestedText},
  };
  std::printf("\n%-28s %12s %12s %12s %16s\n", "load, read, change, save", "1x (us)", "10x (us)", "100x (us)",
              "100x over 10x");
  for (const Growth& growth : growths) {
    double times[3];
    std::size_t factor = 1;
    for (double& time : times) {
      const Texts text{growth.make(growth.base * factor)};
      time = 1e9;
      for (int pass = 0; pass < (factor == 100 ? 5 : 20); ++pass) {
        time = std::min(time, bench::processorSecondsOf([&] { readAll(text.front()); }) * 1e6);
      }
      factor *= 10;
    }
    std::printf("%-28s %12.0f %12.0f %12.0f %15.1fx\n", growth.what, times[0], times[1], times[2], times[2] / times[1]);
  }
}

}  // namespace
}  // namespace nalvo::mime

int main(int argc, char** argv) {
  // bench-mime [FOLDER [PASSES]]; without a folder that of the corpus, and without that the growth alone.
  const char* corpus = std::getenv("NALVO_CORPUS");
  const std::string folder = argc > 1 ? argv[1] : corpus != nullptr ? std::string(corpus) + "/eml" : std::string();
#ifdef NALVO_HAVE_GMIME
  g_mime_init();
#endif
  if (!folder.empty()) {
    nalvo::mime::compareWithGMime(nalvo::mime::readFolder(folder.c_str()), argc > 2 ? std::atoi(argv[2]) : 5);
  }
  nalvo::mime::printGrowth();
}

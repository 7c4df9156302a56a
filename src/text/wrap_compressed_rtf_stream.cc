#include "text/wrap_compressed_rtf_stream.h"

#include <atomic>
#include <mutex>

#include "diagnostics/boundary.h"
#include "diagnostics/thread.h"
#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "streams/stream_utils.h"

namespace nalvo::WrapCompressedRtfStream {
namespace {

constexpr SourceFile kSource{".\\WrapCompressedRtfStream"};

using Codec = HRESULT (*)(IStream*, const RTF_WCSINFO*, IStream**, RTF_WCSRETINFO*) noexcept;

// Here the codec is a part of the program. There is no session to begin either.
Codec findCodec() {
  static const Codec codec = &WrapCompressedRTFStreamEx;
  return codec;
}

HRESULT beginSession() { return S_OK; }
void endSession() {}

// One step of the codec, with its own session.
class RtfConvertThread final : public Thread {
 public:
  RtfConvertThread(std::uint32_t flags, std::uint32_t codePage, IStream* source, IStream* destination)
      : Thread("RtfConvertThread"), flags_(flags), codePage_(codePage), source_(source), destination_(destination) {}
  ~RtfConvertThread() override { stopAndWait(); }

  HRESULT result() const { return result_; }
  std::uint32_t streamFlags() const { return streamFlags_; }

 protected:
  void execute() override {
    result_ = beginSession();
    if (failed(result_)) {
      return;
    }
    result_ =
        atBoundary([this] { streamFlags_ = detail::WrapCompressedRtfStreamEx(flags_, codePage_, source_, destination_); });
    endSession();
  }

 private:
  const std::uint32_t flags_;
  const std::uint32_t codePage_;
  // The starter waits and holds them.
  IStream* const source_;
  IStream* const destination_;
  HRESULT result_ = E_FAIL;  // of a thread that never ran
  std::uint32_t streamFlags_ = 0;
};

}  // namespace

bool isAvailable() { return findCodec() != nullptr; }

namespace detail {

void initMapi() {
  static std::mutex lock;
  static std::atomic<bool> done = false;
  if (done) {
    return;
  }
  const std::lock_guard guard(lock);
  if (!done) {
    checkHResult(beginSession(), kSource.at("WrapCompressedRtfStream::detail::initMapi"));
    done = true;
  }
}

std::uint32_t WrapCompressedRtfStreamEx(std::uint32_t flags, std::uint32_t codePage, IStream* source, IStream* destination) {
  const char* function = "WrapCompressedRtfStream::detail::WrapCompressedRtfStreamEx";
  if (source == nullptr || destination == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(function));
  }
  const Codec codec = findCodec();
  if (codec == nullptr) {
    throwHResult(E_FAIL, kSource.at(function));
  }
  const RTF_WCSINFO info{sizeof(info), flags, codePage, codePage};
  RTF_WCSRETINFO result{sizeof(result), 0};
  ComPtr<IStream> wrapped;
  checkHResult(codec(source, &info, wrapped.put(), &result), kSource.at(function));
  if ((flags & MAPI_MODIFY) != 0) {
    streamUtils::copy(destination, wrapped.get(), false);
    checkHResult(wrapped->Commit(0), kSource.at(function));
  } else {
    streamUtils::copy(wrapped.get(), destination, false);
    streamUtils::rewind(destination);
  }
  return result.ulStreamFlags;
}

std::uint32_t wrapCompressedRtfStreamInThread(std::uint32_t codePage, IStream* source, std::uint32_t flags,
                                              IStream* destination) {
  RtfConvertThread thread(flags, codePage, source, destination);
  thread.start();
  thread.wait();
  checkHResult(thread.result(), kSource.at("WrapCompressedRtfStream::detail::wrapCompressedRtfStreamInThread"));
  return thread.streamFlags();
}

}  // namespace detail
}  // namespace nalvo::WrapCompressedRtfStream

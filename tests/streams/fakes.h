// Streams that misbehave, and helpers to fill and read streams.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "diagnostics/hresult_exception.h"
#include "platform/com/unknown_impl.h"
#include "streams/stream_utils.h"

namespace nalvo {

// A stream on a string. Each call may be made to fail, each transfer to be cut short, the size to be a lie.
class FakeStream final : public IUnknownImpl<IStream> {
 public:
  explicit FakeStream(std::string content = {}) : data(std::move(content)) {}

  std::string data;
  std::uint64_t position = 0;
  // The n-th call from now, counted from 1, fails with `failure`, and only that one.
  int failAt = 0;
  HRESULT failure = STG_E_READFAULT;
  // As `failAt`, for reads alone; all from there on when `failsForGood`.
  int failReadAt = 0;
  bool failsForGood = false;
  ULONG atMost = UINT32_MAX;  // bytes for each Read and Write
  std::optional<std::uint64_t> claimedSize;
  HRESULT lastRead = S_OK;  // the success code of the read that reaches the end
  int writes = 0;

  HRESULT Read(void* buffer, ULONG bytes, ULONG* read) noexcept override {
    if (read != nullptr) {
      *read = 0;
    }
    if (fails() || failsToRead()) {
      return failure;
    }
    const std::uint64_t start = std::min<std::uint64_t>(position, data.size());
    const auto count = static_cast<ULONG>(std::min<std::uint64_t>({bytes, atMost, data.size() - start}));
    std::memcpy(buffer, data.data() + start, count);
    position += count;
    if (read != nullptr) {
      *read = count;
    }
    return position == data.size() ? lastRead : S_OK;
  }
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) noexcept override {
    if (written != nullptr) {
      *written = 0;
    }
    ++writes;
    if (fails()) {
      return failure;
    }
    const ULONG count = std::min(bytes, atMost);
    data.resize(std::max<std::size_t>(data.size(), position + count));
    std::memcpy(data.data() + position, buffer, count);
    position += count;
    if (written != nullptr) {
      *written = count;
    }
    return S_OK;
  }
  HRESULT Seek(std::int64_t move, DWORD origin, std::uint64_t* newPosition) noexcept override {
    if (fails()) {
      return failure;
    }
    const std::uint64_t base = origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position : size();
    position = base + static_cast<std::uint64_t>(move);
    if (newPosition != nullptr) {
      *newPosition = position;
    }
    return S_OK;
  }
  HRESULT SetSize(std::uint64_t size) noexcept override {
    if (fails()) {
      return failure;
    }
    data.resize(size);
    return S_OK;
  }
  HRESULT CopyTo(IStream* destination, std::uint64_t bytes, std::uint64_t*, std::uint64_t*) noexcept override {
    if (fails()) {
      return failure;
    }
    const std::string rest = data.substr(position, bytes);
    position += rest.size();
    return destination->Write(rest.data(), static_cast<ULONG>(rest.size()), nullptr);
  }
  HRESULT Commit(DWORD) noexcept override { return S_OK; }
  HRESULT Revert() noexcept override { return S_OK; }
  HRESULT LockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
  HRESULT UnlockRegion(std::uint64_t, std::uint64_t, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
  HRESULT Stat(STATSTG* stat, DWORD) noexcept override {
    *stat = {};
    stat->cbSize = size();
    return fails() ? failure : S_OK;
  }
  HRESULT Clone(IStream**) noexcept override { return E_NOTIMPL; }

 private:
  std::uint64_t size() const { return claimedSize.value_or(data.size()); }
  bool fails() { return failAt > 0 && --failAt == 0; }
  bool failsToRead() {
    if (failReadAt == 1 && failsForGood) {
      return true;
    }
    return failReadAt > 0 && --failReadAt == 0;
  }
};

inline ComPtr<IStream> streamOf(std::string_view content) {
  ComPtr<IStream> stream = streamUtils::createStream();
  streamUtils::detail::writeStr(stream.get(), content);
  streamUtils::rewind(stream.get());
  return stream;
}

// What lies behind the position.
inline std::string restOf(IStream* stream) {
  std::string content;
  char block[4096];
  ULONG read = 0;
  while (succeeded(stream->Read(block, sizeof block, &read)) && read > 0) {
    content.append(block, read);
  }
  return content;
}

inline std::uint64_t sizeOf(IStream* stream) {
  STATSTG stat{};
  EXPECT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
  return stat.cbSize;
}

// The code of the failure that `body` throws; S_OK if it throws none.
template <typename Body>
HRESULT codeOf(Body body) {
  try {
    body();
    return S_OK;
  } catch (const HResultException& failure) {
    return failure.getHResult();
  }
}

}  // namespace nalvo

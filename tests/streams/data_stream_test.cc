#include "streams/data_stream.h"

#include <gtest/gtest.h>

#include <thread>

#include "streams/marshal.h"
#include "streams/memory_stream_data.h"
#include "tests/streams/fakes.h"

namespace nalvo {
namespace {

std::uint64_t positionOf(IStream* stream) {
  std::uint64_t position = 0;
  EXPECT_EQ(stream->Seek(0, STREAM_SEEK_CUR, &position), S_OK);
  return position;
}

TEST(DataStream, SeeksByTheTable) {
  struct Case {
    std::string_view why;
    std::int64_t start, move;
    DWORD origin;
    HRESULT result;
    std::uint64_t position;
  };
  static constexpr Case kCases[] = {
      {"absolute", 3, 7, STREAM_SEEK_SET, S_OK, 7},
      {"absolute beyond the end", 3, 100, STREAM_SEEK_SET, S_OK, 100},
      {"absolute, negative, as it comes", 3, -16, STREAM_SEEK_SET, S_OK, UINT64_MAX - 15},
      {"relative, forward", 3, 4, STREAM_SEEK_CUR, S_OK, 7},
      {"relative, back", 3, -2, STREAM_SEEK_CUR, S_OK, 1},
      {"relative, back to 0", 3, -3, STREAM_SEEK_CUR, S_OK, 0},
      {"relative, below 0", 3, -4, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 3},
      {"relative, the lowest number", 3, INT64_MIN, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 3},
      {"relative, beyond all numbers", -16, 100, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, UINT64_MAX - 15},
      {"from the end", 3, -1, STREAM_SEEK_END, S_OK, 9},
      {"from the end to 0", 3, -10, STREAM_SEEK_END, S_OK, 0},
      {"from the end below 0", 3, -11, STREAM_SEEK_END, STG_E_INVALIDFUNCTION, 3},
      {"from the end, beyond", 3, 5, STREAM_SEEK_END, S_OK, 15},
      {"no origin", 3, 0, 3, STG_E_INVALIDFUNCTION, 3},
  };
  const ComPtr<IStream> stream = streamOf("0123456789");
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    stream->Seek(c.start, STREAM_SEEK_SET, nullptr);
    EXPECT_EQ(stream->Seek(c.move, c.origin, nullptr), c.result);
    EXPECT_EQ(positionOf(stream.get()), c.position);
  }
}

TEST(DataStream, GrowsByAWriteBehindTheEnd) {
  const ComPtr<IStream> stream = streamUtils::createStream();
  char byte = 'x';
  ULONG done = 99;
  stream->Seek(100, STREAM_SEEK_SET, nullptr);
  EXPECT_EQ(stream->Read(&byte, 1, &done), S_OK);
  EXPECT_EQ(done, 0U);
  EXPECT_EQ(stream->Write("y", 1, &done), S_OK);
  EXPECT_EQ(sizeOf(stream.get()), 101U);
  EXPECT_EQ(stream->SetSize(0), S_OK);
  EXPECT_EQ(positionOf(stream.get()), 101U) << "a cut leaves the position";
}

TEST(DataStream, NeverWritesInFrontOfItsBytes) {
  const ComPtr<IStream> stream = streamOf("content");
  stream->Seek(-16, STREAM_SEEK_SET, nullptr);
  const std::string bytes(32, 'x');
  ULONG done = 99;
  EXPECT_EQ(stream->Write(bytes.data(), 32, &done), STG_E_MEDIUMFULL);
  EXPECT_EQ(done, 0U);
  EXPECT_EQ(positionOf(stream.get()), UINT64_MAX - 15);
  streamUtils::rewind(stream.get());
  EXPECT_EQ(restOf(stream.get()), "content");
}

TEST(DataStream, OffersItsInterfaces) {
  ComPtr<IStream> stream = streamOf("abc");
  void* none = &none;
  EXPECT_EQ(stream->QueryInterface(IStreamManager::kIid, nullptr), E_POINTER);
  EXPECT_EQ(stream->QueryInterface(IStreamData::kIid, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(stream.as<IUnknown>().get(), stream.as<IStreamManager>().as<IUnknown>().get());
  EXPECT_EQ(stream.as<IUnknown>().get(), stream.as<IMarshal>().as<IUnknown>().get());
  EXPECT_EQ(stream.as<IUnknown>().get(), stream.as<IExternalConnection>().as<IUnknown>().get());
  EXPECT_TRUE(stream.as<ISequentialStream>());

  ComPtr<IStreamData> store;
  ASSERT_EQ(stream.as<IStreamManager>()->getData(store.put()), S_OK);
  stream.reset();
  std::uint64_t size = 0;
  EXPECT_EQ(store->getSize(&size), S_OK);
  EXPECT_EQ(size, 3U) << "the store lives on";

  ComPtr<IStream> wrapped;
  EXPECT_EQ(DataStream::wrap(nullptr, wrapped.put(), 0, 0, nullptr), E_INVALIDARG);
  EXPECT_FALSE(wrapped);
}

TEST(DataStream, ClonesShareTheBytesAndNotThePosition) {
  const ComPtr<IStream> stream = streamOf("0123456789");
  streamUtils::seek(stream.get(), 4);
  ComPtr<IStream> clone;
  ASSERT_EQ(stream->Clone(clone.put()), S_OK);
  EXPECT_EQ(restOf(clone.get()), "456789");
  EXPECT_EQ(positionOf(stream.get()), 4U);
  streamUtils::detail::writeStr(stream.get(), "XY");
  streamUtils::rewind(clone.get());
  EXPECT_EQ(restOf(clone.get()), "0123XY6789");
  EXPECT_FALSE(clone.as<IMarshal>());
  EXPECT_FALSE(clone.as<IExternalConnection>());
}

TEST(DataStream, CopiesTheRestAndTellsHowMuch) {
  const std::string content(2'500'000, 'c');
  const ComPtr<IStream> stream = streamOf(content);
  stream->Seek(1, STREAM_SEEK_SET, nullptr);
  const ComPtr<IStream> destination = streamUtils::createStream();
  std::uint64_t read = 0;
  std::uint64_t written = 0;
  EXPECT_EQ(stream->CopyTo(destination.get(), UINT64_MAX, &read, &written), S_OK);
  EXPECT_EQ(read, content.size() - 1);
  EXPECT_EQ(written, content.size() - 1);
  EXPECT_EQ(sizeOf(destination.get()), content.size() - 1);
  EXPECT_EQ(stream->CopyTo(nullptr, 1, &read, &written), STG_E_INVALIDPOINTER);
}

TEST(DataStream, CopiesToDestinationsThatTakeLess) {
  const ComPtr<IStream> stream = streamOf("0123456789");
  const auto slow = makeCom<FakeStream>();
  slow->atMost = 3;
  std::uint64_t read = 0;
  std::uint64_t written = 0;
  EXPECT_EQ(stream->CopyTo(slow.get(), UINT64_MAX, &read, &written), S_OK);
  EXPECT_EQ(slow->data, "0123456789");
  EXPECT_EQ(written, 10U);

  streamUtils::rewind(stream.get());
  const auto failing = makeCom<FakeStream>();
  failing->atMost = 4;
  failing->failAt = 2;
  failing->failure = STG_E_WRITEFAULT;
  EXPECT_EQ(stream->CopyTo(failing.get(), UINT64_MAX, &read, &written), STG_E_WRITEFAULT);
  EXPECT_EQ(read, 10U);
  EXPECT_EQ(written, 4U);

  streamUtils::rewind(stream.get());
  const auto full = makeCom<FakeStream>();
  full->atMost = 0;
  EXPECT_EQ(stream->CopyTo(full.get(), UINT64_MAX, &read, &written), STG_E_MEDIUMFULL);
  EXPECT_EQ(written, 0U);
}

TEST(DataStream, CopyingToACloneComesToAnEnd) {
  const ComPtr<IStream> stream = streamOf("0123456789");
  ComPtr<IStream> clone;
  ASSERT_EQ(stream->Clone(clone.put()), S_OK);
  clone->Seek(0, STREAM_SEEK_END, nullptr);
  std::uint64_t read = 0;
  EXPECT_EQ(stream->CopyTo(clone.get(), UINT64_MAX, &read, nullptr), S_OK);
  EXPECT_EQ(read, 10U);
  streamUtils::rewind(clone.get());
  EXPECT_EQ(restOf(clone.get()), "01234567890123456789");
}

// Takes and drops a reference to the stream while that commits for the last time.
struct CommitListener final : IUnknownImpl<IStreamDataCallbacks> {
  HRESULT onCommit(IStreamData*) noexcept override {
    ++commits;
    if (stream != nullptr) {
      const ComPtr<IStream> held = ComPtr<IStream>::retain(stream);
    }
    return S_OK;
  }
  HRESULT onSizeChanged(IStreamData*, std::uint64_t) noexcept override { return S_OK; }

  IStream* stream = nullptr;
  int commits = 0;
};

TEST(DataStream, CommitsOnceWhenItsLastReferenceGoes) {
  ComPtr<IStream> stream = streamOf("abc");
  ComPtr<IStreamData> store;
  stream.as<IStreamManager>()->getData(store.put());
  const auto listener = makeCom<CommitListener>();
  DWORD cookie = 0;
  store->registerCallback(listener.get(), &cookie);
  ComPtr<IStream> clone;
  stream->Clone(clone.put());
  listener->stream = stream.get();
  stream.reset();
  EXPECT_EQ(listener->commits, 1);
  listener->stream = nullptr;
  streamUtils::detail::writeStr(clone.get(), "x");
  clone.reset();
  EXPECT_EQ(listener->commits, 2) << "a clone commits too";
  store->unregisterCallback(cookie);
}

TEST(DataStream, StaysWholeUnderManyThreads) {
  const ComPtr<IStream> stream = streamUtils::createStream();
  const auto writeMany = [&] {
    for (int i = 0; i < 300; ++i) {
      streamUtils::detail::writeStr(stream.get(), std::string(1000, 'x'));
      ComPtr<IStream> clone;
      ASSERT_EQ(stream->Clone(clone.put()), S_OK);
      char block[100];
      EXPECT_EQ(clone->Seek(-100, STREAM_SEEK_END, nullptr), S_OK);
      EXPECT_EQ(clone->Read(block, sizeof block, nullptr), S_OK);
    }
  };
  std::thread others[] = {std::thread(writeMany), std::thread(writeMany), std::thread(writeMany), std::thread(writeMany)};
  for (std::thread& other : others) {
    other.join();
  }
  EXPECT_EQ(sizeOf(stream.get()), 1'200'000U);
}

}  // namespace
}  // namespace nalvo

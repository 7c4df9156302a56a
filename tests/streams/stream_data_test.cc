#include "streams/stream_data.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "platform/process/errno_result.h"
#include "streams/adaptive_stream_data.h"
#include "streams/memory_stream_data.h"
#include "streams/temp_file_stream_data.h"

namespace nalvo {
namespace {

using State = AdaptiveStreamData::State;

struct Listener final : IUnknownImpl<IStreamDataCallbacks> {
  HRESULT onCommit(IStreamData* store) noexcept override {
    ++commits;
    lastStore = store;
    if (also) {
      also(store);
    }
    return S_OK;
  }
  HRESULT onSizeChanged(IStreamData* store, std::uint64_t size) noexcept override {
    ++sizes;
    lastStore = store;
    lastSize = size;
    return S_OK;
  }

  int commits = 0;
  int sizes = 0;
  std::uint64_t lastSize = 0;
  IStreamData* lastStore = nullptr;
  std::function<void(IStreamData*)> also;
};

template <typename Store>
ComPtr<IStreamData> make() {
  ComPtr<IStreamData> store;
  EXPECT_EQ(Store::create(0, nullptr, store.put()), S_OK);
  return store;
}

HRESULT write(IStreamData* store, std::string_view bytes, std::uint64_t offset, ULONG* done = nullptr) {
  return store->write(bytes.data(), static_cast<ULONG>(bytes.size()), offset, done);
}

std::string read(IStreamData* store, std::uint64_t offset, ULONG count) {
  std::string bytes(count, '?');
  ULONG done = 0;
  EXPECT_EQ(store->read(bytes.data(), count, offset, &done), S_OK);
  bytes.resize(done);
  return bytes;
}

std::uint64_t sizeOf(IStreamData* store) {
  std::uint64_t size = 0;
  EXPECT_EQ(store->getSize(&size), S_OK);
  return size;
}

State stateOf(const ComPtr<IStreamData>& store) { return static_cast<AdaptiveStreamData*>(store.get())->state(); }

// Every store by its maker.
struct Maker {
  std::string_view name;
  ComPtr<IStreamData> (*make)();
};
constexpr Maker kMakers[] = {
    {"memory", &make<MemoryStreamData>}, {"file", &make<TempFileStreamData>}, {"adaptive", &make<AdaptiveStreamData>}};

TEST(AdaptiveStreamData, MovesByTheEndOfEachOperation) {
  enum Operation { Write, SetSize, Lock, Read, Commit, Revert, Unlock, Stat, GetSize };
  struct Case {
    std::string_view why;
    std::uint64_t sizeBefore;  // by a write of one byte at the end; 0: no back end
    Operation operation;
    std::uint64_t end;
    State after;
  };
  static constexpr Case kCases[] = {
      {"first write, just below", 0, Write, 1'999'999, State::Memory},
      {"first write, at the threshold", 0, Write, 2'000'000, State::File},
      {"first size, just below", 0, SetSize, 1'999'999, State::Memory},
      {"first size, at the threshold", 0, SetSize, 2'000'000, State::File},
      {"first lock, just below", 0, Lock, 1'999'999, State::Memory},
      {"first lock, at the threshold", 0, Lock, 2'000'000, State::File},
      {"first read", 0, Read, 3'000'000, State::Memory},
      {"first commit", 0, Commit, 0, State::Memory},
      {"first revert", 0, Revert, 0, State::Memory},
      {"first unlock", 0, Unlock, 3'000'000, State::Memory},
      {"first stat", 0, Stat, 0, State::Memory},
      {"first question for the size", 0, GetSize, 0, State::Memory},
      {"memory, write just below", 999'999, Write, 1'999'999, State::Memory},
      {"memory, write at the threshold", 1'999'999, Write, 2'000'000, State::File},
      {"memory, size just below", 999'999, SetSize, 1'999'999, State::Memory},
      {"memory, size at the threshold", 1'000'000, SetSize, 2'000'000, State::File},
      {"memory, lock at the threshold", 1'999'999, Lock, 2'000'000, State::File},
      {"memory, read far behind", 999'999, Read, 3'000'000, State::Memory},
      {"file, size at half the threshold", 2'000'000, SetSize, 1'000'000, State::File},
      {"file, size below half", 2'000'000, SetSize, 999'999, State::Memory},
      {"file, size 0", 2'000'000, SetSize, 0, State::Memory},
      {"file, small write", 2'000'000, Write, 10, State::File},
      {"file, small lock", 2'000'000, Lock, 10, State::File},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const ComPtr<IStreamData> store = make<AdaptiveStreamData>();
    EXPECT_EQ(stateOf(store), State::None);
    if (c.sizeBefore != 0) {
      ASSERT_EQ(write(store.get(), "begin", 0), S_OK);
      ASSERT_EQ(write(store.get(), "x", c.sizeBefore - 1), S_OK);
    }
    char byte = 'y';
    STATSTG stat{};
    std::uint64_t size = 0;
    HRESULT hr = S_OK;
    switch (c.operation) {
      case Write:
        hr = store->write(&byte, 1, c.end - 1, nullptr);
        break;
      case SetSize:
        hr = store->setSize(c.end);
        break;
      case Lock:
        hr = store->lockRegion(c.end - 5, 5, 1) == STG_E_INVALIDFUNCTION ? S_OK : E_FAIL;
        break;
      case Read:
        hr = store->read(&byte, 1, c.end, nullptr);
        break;
      case Commit:
        hr = store->commit(0);
        break;
      case Revert:
        hr = store->revert();
        break;
      case Unlock:
        hr = store->unlockRegion(c.end, 1, 1) == STG_E_INVALIDFUNCTION ? S_OK : E_FAIL;
        break;
      case Stat:
        hr = store->stat(&stat, STATFLAG_DEFAULT);
        break;
      case GetSize:
        hr = store->getSize(&size);
        break;
    }
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(stateOf(store), c.after);
    std::uint64_t expected = c.sizeBefore;
    if (c.operation == SetSize) {
      expected = c.end;
    } else if (c.operation == Write) {
      expected = std::max(expected, c.end);
    }
    EXPECT_EQ(sizeOf(store.get()), expected);
    if (c.sizeBefore != 0 && expected != 0) {
      EXPECT_EQ(read(store.get(), 0, 5), "begin");
      EXPECT_EQ(read(store.get(), c.sizeBefore - 1, 1), expected >= c.sizeBefore ? "x" : "");
    }
  }
}

TEST(AdaptiveStreamData, KeepsListenersAndFlagsOverAMove) {
  const ComPtr<IStreamData> store = make<AdaptiveStreamData>();
  const auto listener = makeCom<Listener>();
  DWORD cookie = 0;
  ASSERT_EQ(store->registerCallback(listener.get(), &cookie), S_OK);
  write(store.get(), "abc", 0);
  EXPECT_EQ(listener->sizes, 1);
  EXPECT_EQ(listener->lastSize, 3U);
  EXPECT_EQ(listener->lastStore, store.get());
  write(store.get(), "x", 2'000'000);
  EXPECT_EQ(listener->sizes, 1) << "the file never tells its size";
  store->commit(0);
  EXPECT_EQ(listener->commits, 1);
  store->commit(0);
  EXPECT_EQ(listener->commits, 1) << "nothing modified";
  store->setSize(10);
  EXPECT_EQ(listener->sizes, 2);
  store->setFlags(kStreamAutoCommit, nullptr);
  write(store.get(), "x", 3'000'000);
  EXPECT_EQ(listener->commits, 2) << "the flag went along to the new store, once";
}

TEST(AdaptiveStreamData, RefusesWritesAfterTheMove) {
  const ComPtr<IStreamData> store = make<AdaptiveStreamData>();
  write(store.get(), "abc", 0);
  store->setFlags(kStreamReadOnly, nullptr);
  EXPECT_EQ(write(store.get(), "x", 2'000'000), STG_E_ACCESSDENIED);
  EXPECT_EQ(stateOf(store), State::File);
  EXPECT_EQ(store->setSize(1), STG_E_ACCESSDENIED);
  EXPECT_EQ(read(store.get(), 0, 10), "abc") << "a refused cut loses nothing";
}

TEST(StreamData, RefusesAnEndThatDoesNotFit) {
  for (const Maker& maker : kMakers) {
    SCOPED_TRACE(maker.name);
    const ComPtr<IStreamData> store = maker.make();
    write(store.get(), "content", 0);
    const std::string bytes(32, 'x');
    struct Case {
      std::uint64_t offset;
    };
    for (const std::uint64_t offset : {UINT64_MAX - 15, UINT64_MAX, std::uint64_t{1} << 63, std::uint64_t{INT64_MAX} - 16}) {
      EXPECT_EQ(write(store.get(), bytes, offset), STG_E_MEDIUMFULL) << offset;
      EXPECT_EQ(read(store.get(), offset, 8), "");
      if (maker.name == "adaptive") {
        EXPECT_EQ(store->lockRegion(offset, 32, 1), STG_E_MEDIUMFULL);
      }
    }
    EXPECT_EQ(store->setSize(std::uint64_t{1} << 63), STG_E_MEDIUMFULL);
    EXPECT_EQ(read(store.get(), 0, 100), "content");
  }
  const ComPtr<IStreamData> memory = make<MemoryStreamData>();
  EXPECT_EQ(memory->setSize(std::uint64_t{1} << 32), STG_E_MEDIUMFULL);
  EXPECT_EQ(write(memory.get(), "x", UINT32_MAX), STG_E_MEDIUMFULL);
  EXPECT_EQ(sizeOf(memory.get()), 0U);
}

TEST(StreamData, ShowsZerosWhereNobodyWrote) {
  for (const Maker& maker : kMakers) {
    SCOPED_TRACE(maker.name);
    const ComPtr<IStreamData> store = maker.make();
    write(store.get(), std::string(5000, 'x'), 0);
    store->setSize(10);
    store->setSize(4000);
    EXPECT_EQ(read(store.get(), 0, 5000), std::string(10, 'x') + std::string(3990, '\0')) << "grown again";
    store->setSize(10);
    write(store.get(), "y", 20);
    EXPECT_EQ(read(store.get(), 0, 100), std::string(10, 'x') + std::string(10, '\0') + "y") << "a gap";
  }
}

TEST(StreamData, AnswersBadArguments) {
  for (const Maker& maker : kMakers) {
    SCOPED_TRACE(maker.name);
    const ComPtr<IStreamData> store = maker.make();
    STATSTG stat{};
    DWORD cookie = 0;
    char byte = 0;
    EXPECT_EQ(store->read(nullptr, 1, 0, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(store->write(nullptr, 1, 0, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_EQ(store->read(&byte, 1, 0, nullptr), S_OK);
    EXPECT_EQ(store->stat(nullptr, 0), STG_E_INVALIDPOINTER);
    EXPECT_EQ(store->stat(&stat, 2), STG_E_INVALIDFLAG);
    EXPECT_EQ(store->getSize(nullptr), E_POINTER);
    EXPECT_EQ(store->getFlags(nullptr), E_POINTER);
    EXPECT_EQ(store->registerCallback(makeCom<Listener>().get(), nullptr), E_POINTER);
    EXPECT_EQ(store->registerCallback(nullptr, &cookie), E_INVALIDARG);
    EXPECT_EQ(store->unregisterCallback(99), E_INVALIDARG);
    EXPECT_EQ(store->copyTo(nullptr), E_INVALIDARG);
    ASSERT_EQ(store->stat(&stat, STATFLAG_DEFAULT), S_OK);
    EXPECT_EQ(stat.type, 2U);
    EXPECT_EQ(stat.grfMode, 0x12U);
    EXPECT_EQ(stat.pwcsName, nullptr);
    EXPECT_NE(stat.mtime, FILETIME{});
  }
}

TEST(StreamData, CopiesItsWholeContent) {
  const std::string content(2'345'678, 'c');
  for (const Maker& from : kMakers) {
    for (const Maker& to : kMakers) {
      SCOPED_TRACE(std::string(from.name) + " to " + std::string(to.name));
      const ComPtr<IStreamData> source = from.make();
      const ComPtr<IStreamData> destination = to.make();
      write(source.get(), content, 0);
      destination->setSize(3'000'000);
      EXPECT_EQ(source->copyTo(destination.get()), S_OK);
      EXPECT_TRUE(read(destination.get(), 0, 4'000'000) == content);
    }
  }
}

TEST(StreamDataCallbacks, MayChangeTheListAndTheStore) {
  const ComPtr<IStreamData> store = make<MemoryStreamData>();
  const auto first = makeCom<Listener>();
  const auto second = makeCom<Listener>();
  const auto late = makeCom<Listener>();
  DWORD firstCookie = 0;
  DWORD secondCookie = 0;
  DWORD lateCookie = 0;
  store->registerCallback(first.get(), &firstCookie);
  store->registerCallback(second.get(), &secondCookie);
  EXPECT_EQ(firstCookie, 1U);
  EXPECT_EQ(secondCookie, 2U);
  first->also = [&](IStreamData* told) {
    told->commit(0);
    told->unregisterCallback(firstCookie);
    told->unregisterCallback(secondCookie);
    told->registerCallback(late.get(), &lateCookie);
  };
  write(store.get(), "x", 0);
  EXPECT_EQ(store->commit(0), S_OK);
  EXPECT_EQ(first->commits, 1);
  EXPECT_EQ(second->commits, 0) << "taken off before its turn";
  EXPECT_EQ(late->commits, 0) << "came while the others were told";
  EXPECT_EQ(lateCookie, 3U);
}

TEST(StreamDataCallbacks, AreSuspendedByCount) {
  for (const Maker& maker : kMakers) {
    SCOPED_TRACE(maker.name);
    const ComPtr<IStreamData> store = maker.make();
    const auto listener = makeCom<Listener>();
    DWORD cookie = 0;
    store->registerCallback(listener.get(), &cookie);
    const auto change = [&] {
      write(store.get(), "x", 0);
      store->commit(0);
      return listener->commits;
    };
    store->suspendCallbacks();
    store->suspendCallbacks();
    store->resumeCallbacks();
    EXPECT_EQ(change(), 0);
    store->resumeCallbacks();
    EXPECT_EQ(listener->commits, 0) << "what was missed is not told later";
    store->resumeCallbacks();
    EXPECT_EQ(change(), 1);
    store->setFlags(kStreamAutoCommit, nullptr);
    write(store.get(), "x", 0);
    store->setSize(1);
    EXPECT_EQ(listener->commits, 3);
    DWORD old = 0;
    store->setFlags(kStreamReadOnly, &old);
    EXPECT_EQ(old, kStreamAutoCommit);
    EXPECT_EQ(write(store.get(), "x", 0), STG_E_ACCESSDENIED);
    EXPECT_EQ(store->setSize(0), STG_E_ACCESSDENIED);
  }
}

TEST(MemoryStreamData, TellsEachSizeItIsSetTo) {
  const ComPtr<IStreamData> store = make<MemoryStreamData>();
  const auto listener = makeCom<Listener>();
  DWORD cookie = 0;
  store->registerCallback(listener.get(), &cookie);
  store->setSize(5);
  store->setSize(5);
  EXPECT_EQ(listener->sizes, 2);
}

// The folder of temporary files is another one while the object lives.
class ScopedTempFolder {
 public:
  explicit ScopedTempFolder(const std::string& folder) {
    const char* now = std::getenv("TMPDIR");
    old_ = now != nullptr ? now : "/tmp";
    ::setenv("TMPDIR", folder.c_str(), 1);
  }
  ~ScopedTempFolder() { ::setenv("TMPDIR", old_.c_str(), 1); }

 private:
  std::string old_;
};

TEST(TempFileStreamData, LeavesNoNameBehind) {
  std::string folder = std::filesystem::temp_directory_path() / "nalvo-test-XXXXXX";
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  {
    const ScopedTempFolder scoped(folder);
    const ComPtr<IStreamData> store = make<TempFileStreamData>();
    EXPECT_EQ(write(store.get(), "x", std::uint64_t{1} << 33), S_OK);
    EXPECT_EQ(sizeOf(store.get()), (std::uint64_t{1} << 33) + 1);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
  }
  std::filesystem::remove(folder);
  const ScopedTempFolder scoped(folder);
  ComPtr<IStreamData> store;
  EXPECT_EQ(static_cast<std::uint32_t>(TempFileStreamData::create(0, nullptr, store.put())), 0x80070003U);
  EXPECT_FALSE(store);
  const ComPtr<IStreamData> adaptive = make<AdaptiveStreamData>();
  write(adaptive.get(), "kept", 0);
  EXPECT_EQ(static_cast<std::uint32_t>(write(adaptive.get(), "x", 2'000'000)), 0x80070003U);
  EXPECT_EQ(stateOf(adaptive), State::Memory);
  EXPECT_EQ(read(adaptive.get(), 0, 10), "kept") << "a move that fails changes nothing";
}

// No file of this process grows beyond `bytes` while the object lives.
class ScopedFileLimit {
 public:
  explicit ScopedFileLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &old_);
    const rlimit limit{bytes, old_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~ScopedFileLimit() {
    ::setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, SIG_DFL);
  }

 private:
  rlimit old_{};
};

TEST(TempFileStreamData, KeepsWhatWasWrittenWhenTheDiskIsFull) {
  const ScopedFileLimit limit(3'000'000);
  const ComPtr<IStreamData> store = make<AdaptiveStreamData>();
  ASSERT_EQ(write(store.get(), std::string(2'500'000, 'a'), 0), S_OK);
  ULONG done = 0;
  EXPECT_EQ(static_cast<std::uint32_t>(write(store.get(), std::string(1'000'000, 'b'), 2'500'000, &done)), 0x80070070U);
  EXPECT_EQ(done, 500'000U);
  EXPECT_EQ(sizeOf(store.get()), 3'000'000U);
  EXPECT_EQ(read(store.get(), 2'999'999, 10), "b");
  EXPECT_EQ(static_cast<std::uint32_t>(store->setSize(4'000'000)), 0x80070070U);
}

TEST(TempFileStreamData, MeetsAFullFileSystem) {
  std::string folder = std::filesystem::temp_directory_path() / "nalvo-test-XXXXXX";
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  // Only root may mount; for others the limit above has the same road.
  if (::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=1m") == 0) {
    const ScopedTempFolder scoped(folder);
    const ComPtr<IStreamData> store = make<AdaptiveStreamData>();
    ASSERT_EQ(write(store.get(), std::string(1'900'000, 'a'), 0), S_OK);
    EXPECT_EQ(static_cast<std::uint32_t>(write(store.get(), std::string(200'000, 'b'), 1'900'000)), 0x80070070U);
    EXPECT_EQ(stateOf(store), State::Memory) << "the move to the full file system was taken back";
    EXPECT_EQ(sizeOf(store.get()), 1'900'000U);
    EXPECT_EQ(read(store.get(), 1'899'999, 10), "a");
  }
  (void)::umount(folder.c_str());
  std::filesystem::remove(folder);
}

TEST(HresultFromErrno, NamesTheNearestError) {
  struct Case {
    int error;
    std::uint32_t code;
  };
  static constexpr Case kCases[] = {
      {ENOSPC, 0x80070070}, {EDQUOT, 0x80070070}, {EFBIG, 0x80070070}, {EACCES, 0x80070005}, {EPERM, 0x80070005},
      {EMFILE, 0x80070004}, {ENFILE, 0x80070004}, {EIO, 0x8007045D},   {ENOENT, 0x80070003}, {EINVAL, 0x80070057},
      {ESRCH, 0x80070057},  {ENOMEM, 0x80070008}, {EBADF, 0x80070006}, {EXDEV, 0x8007001F},
  };
  for (const Case& c : kCases) {
    EXPECT_EQ(static_cast<std::uint32_t>(hresultFromErrno(c.error)), c.code) << c.error;
  }
}

}  // namespace
}  // namespace nalvo

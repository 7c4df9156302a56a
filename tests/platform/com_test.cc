#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/com/com_ptr.h"
#include "platform/com/guid.h"
#include "platform/com/prop_variant.h"
#include "platform/com/unknown_impl.h"

using namespace nalvo;

namespace {

class IFirst : public IUnknown {
 public:
  static constexpr IID kIid{1, 0, 0, {}};
};
class ISecond : public IUnknown {
 public:
  static constexpr IID kIid{2, 0, 0, {}};
};

class Both final : public IUnknownImpl<IFirst, ISecond> {
 public:
  explicit Both(int& alive) : alive_(alive) { ++alive_; }
  ~Both() override { --alive_; }

 private:
  int& alive_;
};

class CountedObject : public testing::Test {
 protected:
  int alive = 0;
};

TEST_F(CountedObject, LivesAsLongAsSomebodyHoldsIt) {
  {
    const ComPtr<Both> object = makeCom<Both>(alive);
    const auto second = ComPtr<IFirst>::retain(object.get()).as<ISecond>();
    ASSERT_TRUE(second);
    EXPECT_EQ(object->AddRef(), 3U);
    EXPECT_EQ(object->Release(), 2U);
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST_F(CountedObject, GivesOneIdentityForIUnknown) {
  const ComPtr<Both> object = makeCom<Both>(alive);
  void* fromFirst = nullptr;
  void* fromSecond = nullptr;
  ASSERT_EQ(static_cast<IFirst*>(object.get())->QueryInterface(IUnknown::kIid, &fromFirst), S_OK);
  ASSERT_EQ(static_cast<ISecond*>(object.get())->QueryInterface(IUnknown::kIid, &fromSecond), S_OK);
  EXPECT_EQ(fromFirst, fromSecond);
  object->Release();
  object->Release();
}

TEST_F(CountedObject, UnknownInterfaceClearsTheOutPointer) {
  const ComPtr<Both> object = makeCom<Both>(alive);
  void* out = &alive;
  EXPECT_EQ(object->QueryInterface(IID{3, 0, 0, {}}, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(object->QueryInterface(IFirst::kIid, nullptr), E_POINTER);
}

TEST_F(CountedObject, PointerKeepsTheCountThroughCopyMoveAndPut) {
  ComPtr<Both> a = makeCom<Both>(alive);
  ComPtr<Both> b = a;
  ComPtr<Both> c = std::move(a);
  EXPECT_FALSE(a);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(b, c);
  const ComPtr<Both>& itself = b;
  b = itself;
  *b.put() = makeCom<Both>(alive).detach();
  EXPECT_EQ(alive, 2);
  c = nullptr;
  EXPECT_EQ(alive, 1);
  Both* raw = b.detach();
  EXPECT_EQ(alive, 1);
  raw->Release();
  EXPECT_EQ(alive, 0);
}

TEST(HResult, Win32CodesGetTheirFacilityOnce) {
  EXPECT_EQ(hresultFromWin32(0), S_OK);
  EXPECT_EQ(hresultFromWin32(0x57), E_INVALIDARG);
  EXPECT_EQ(hresultFromWin32(0x80004005), E_FAIL);
}

TEST(NewGuid, IsRandomUnlessATestForeseesIt) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const GUID guid = newGuid();
    EXPECT_EQ(guid.Data3 >> 12, 4);
    EXPECT_EQ(guid.Data4[0] >> 6, 2);
    seen.insert(std::string(reinterpret_cast<const char*>(&guid), sizeof guid));
  }
  EXPECT_EQ(seen.size(), 100U);
  const GUID foreseen{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  {
    const ScopedGuidSource source([&] { return foreseen; });
    EXPECT_EQ(newGuid(), foreseen);
  }
  EXPECT_NE(newGuid(), foreseen);
}

}  // namespace

#include "frame/conversion_state.h"

#include "diagnostics/hresult_exception.h"
#include "frame/conversion.h"
#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

HRESULT codeOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const HResultException& failure) {
    return failure.getHResult();
  }
  return S_OK;
}

class StateTest : public testing::Test {
 protected:
  void toMime(ToMimeFlags flags, IStream* stream, Converted parts = Converted::All) {
    state.setMapiToMime(caller.message.get(), caller.allocator.get(), flags, caller.annotations.get(), stream,
                        caller.flags.get(), parts);
  }
  Caller caller;
  ConvertorDataMessage state;
};

TEST_F(StateTest, IdleGivesNothing) {
  const std::function<void()> calls[] = {
      [&] { state.getAllocator(); },
      [&] { state.getMimeMessage(); },
      [&] { state.getAnnotationStream(); },
      [&] { state.getAnnotations(); },
      [&] { state.getMimeFlags(); },
      [&] { state.getMapiMessage(); },
      [&] { state.getSuperMessage(); },
      [&] { state.getConverted(); },
      [&] { state.getToMimeFlags(); },
      [&] { state.getToMapiFlags(); },
      [&] { state.setFlags(ToMimeFlags::Normal); },
      [&] { state.reset(false); },
  };
  for (const auto& call : calls) {
    EXPECT_EQ(codeOf(call), E_INVALIDARG);
  }
  toMime(ToMimeFlags::Normal, nullptr);
  state.reset(false);
  EXPECT_EQ(codeOf([&] { state.getMimeMessage(); }), E_INVALIDARG) << "not E_POINTER: a reset state is idle";
}

TEST_F(StateTest, DirectionIsChosenOnce) {
  toMime(ToMimeFlags::Normal, nullptr);
  EXPECT_EQ(codeOf([&] { toMime(ToMimeFlags::Normal, nullptr); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] {
              state.setMimeToMapi(caller.stream("\r\n").get(), caller.message.get(), caller.allocator.get(),
                                  ToMapiFlags::Normal);
            }),
            E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { state.getToMapiFlags(); }), E_INVALIDARG);
  EXPECT_EQ(state.getSuperMessage(), nullptr);
}

TEST_F(StateTest, FlagsChooseWhereAnnotationsGo) {
  toMime(ToMimeFlags::Normal, nullptr);
  EXPECT_EQ(state.getAnnotations(), caller.annotations.get());
  EXPECT_EQ(codeOf([&] { state.getAnnotationStream(); }), E_POINTER);
  for (const ToMimeFlags flags : {ToMimeFlags::ForSend, ToMimeFlags::ToAttachment}) {
    state.reset(true);
    toMime(flags, nullptr);
    EXPECT_EQ(codeOf([&] { state.getAnnotations(); }), E_POINTER);
    EXPECT_NE(state.getAnnotationStream(), nullptr);
  }
  state.reset(true);
  state.setMimeToMapi(caller.stream("\r\n").get(), caller.annotations.get(), caller.flags.get(), caller.message.get(),
                      caller.allocator.get(), ToMapiFlags::FromAttachment);
  EXPECT_EQ(codeOf([&] { state.getAnnotations(); }), E_POINTER) << "the flag decides, not the pointer";
  EXPECT_NE(state.getAnnotationStream(), nullptr);
  EXPECT_EQ(codeOf([&] { state.getMimeFlags(); }), S_OK);
}

TEST_F(StateTest, OnlyAnOrderlyEndSaves) {
  struct Case {
    const char* why;
    Converted parts;
    bool force, saved;
  };
  const Case cases[] = {{"an orderly end", Converted::All, false, true},
                        {"no body wanted", Converted::Flags, false, false},
                        {"after a failure", Converted::All, true, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const ComPtr<IStream> out = caller.stream();
    toMime(ToMimeFlags::Normal, out.get(), c.parts);
    PROPVARIANT subject{VT_LPSTR, {0}};
    subject.pszVal = const_cast<char*>("x");
    ASSERT_EQ(state.getMimeMessage()->SetProp(mime::HeaderId::Subject, 0, &subject), S_OK);
    state.reset(c.force);
    EXPECT_EQ(Caller::contentOf(out.get()).find("Subject: x") != std::string::npos, c.saved);
  }
}

TEST_F(StateTest, HoldsNoReferenceBehindItsReset) {
  {
    Caller other;
    ConvertorDataMessage inner;
    inner.setMapiToMime(other.message.get(), other.allocator.get(), ToMimeFlags::Normal, other.annotations.get(), nullptr,
                        other.flags.get(), Converted::All);
    EXPECT_GT(other.message->AddRef(), 2U);
    other.message->Release();
    inner.reset(true);
    EXPECT_EQ(other.message->AddRef(), 2U);
    other.message->Release();
  }
}

TEST_F(StateTest, EmbeddedFormGivesItsMimeObject) {
  mime::IMimeMessage* made = nullptr;
  EXPECT_EQ(codeOf([&] { Conversion::mapiToMime(nullptr, caller.allocator.get(), ToMimeFlags::NoMimeStream, &made); }),
            E_INVALIDARG);
  caller.set(PR_SUBJECT, u"inner");
  Conversion::mapiToMime(caller.message.get(), caller.allocator.get(), ToMimeFlags::NoMimeStream | ToMimeFlags::ToAttachment,
                         &made);
  const auto owned = ComPtr<mime::IMimeMessage>::attach(made);
  ScopedPropVariant subject(VT_LPSTR);
  EXPECT_EQ(owned->GetProp(mime::HeaderId::Subject, 0, &subject), S_OK);
  EXPECT_STREQ(subject.pszVal, "inner");
}

}  // namespace
}  // namespace nalvo::test

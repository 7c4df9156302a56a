#include "frame/convertor_list.h"

#include <gtest/gtest.h>

#include "diagnostics/hresult_exception.h"
#include "platform/com/unknown_impl.h"

namespace nalvo {
namespace {

int live = 0;

// A convertor that only tells its number.
template <int Number>
class Numbered final : public IUnknownImpl<IConvertor> {
 public:
  Numbered() { ++live; }
  ~Numbered() override { --live; }
  static HRESULT create(IConvertor** out) noexcept {
    *out = new Numbered();
    return S_OK;
  }
  bool mimeToMapiSupportNoBody() override { return true; }
  void mimeToMapi(IStream*, IConvertMessage*, IMapiAllocator*, ToMapiFlags) override {}
  void mimeToMapi(IAnnotations*, IStream*, IMimeFlags*, IConvertMessage*, IMapiAllocator*, ToMapiFlags) override {}
  void mapiToMime(IConvertMessage*, IMapiAllocator*, ToMimeFlags, mime::IMimeMessage** out) override {
    *out = reinterpret_cast<mime::IMimeMessage*>(std::uintptr_t{Number});
  }
  void mapiToMime(IConvertMessage*, IAnnotations*, IStream*, IMimeFlags*, IMapiAllocator*, ToMimeFlags,
                  Converted*) override {}
};

int numberOf(const ComPtr<IConvertor>& convertor) {
  mime::IMimeMessage* number = nullptr;
  convertor->mapiToMime(nullptr, nullptr, ToMimeFlags::Normal, &number);
  return static_cast<int>(reinterpret_cast<std::uintptr_t>(number));
}

HRESULT refuse(IConvertor**) noexcept { return E_ACCESSDENIED; }

HRESULT codeOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const HResultException& failure) {
    return failure.getHResult();
  }
  return S_OK;
}

class ConvertorListTest : public testing::Test {
 protected:
  ConvertorListTest() {
    list.registerConvertor(&Numbered<1>::create, u"IPM.Note");
    list.registerConvertor(&Numbered<2>::create, u"IPM.Schedule.Meeting.Resp");
    list.registerConvertor(&Numbered<3>::create, u"Report.*.DR");
    list.registerConvertor(&Numbered<4>::create, u"Report.*.NDR");
    list.registerConvertor(&Numbered<5>::create, u"Report.*.IPNNRN");
    list.registerConvertor(&Numbered<6>::create, u"IPM.TaskRequest");
    list.registerConvertor(&Numbered<7>::create, u"IPM.Task");
    list.registerConvertor(&Numbered<8>::create, u"");
  }
  ConvertorList list;
};

TEST_F(ConvertorListTest, FindsByPatternThenUpTheClass) {
  struct Case {
    const char* why;
    const char16_t* messageClass;
    int number;
  };
  const Case cases[] = {
      {"without case", u"ipm.note", 1},
      {"a suffix of its own", u"IPM.Note.SMIME.MultipartSigned", 1},
      {"cut at the last dot", u"IPM.Schedule.Meeting.Resp.Tent", 2},
      {"not the shorter name beside it", u"IPM.TaskRequest.Accept", 6},
      {"two patterns match, the later key wins", u"Report.IPM.Note.NDR", 4},
      {"one pattern matches", u"REPORT.IPM.NOTE.IPNNRN", 5},
      {"a pattern has to match the whole class", u"Report.IPM.Note.NDR.Custom", 8},
      {"a control character is not printable", u"Report.\x01.DR", 8},
      {"beyond the first plane", u"Report.\xD83D\xDE00.DR", 3},
      {"nobody knows it", u"Foo.Bar", 8},
      {"no dot", u"Foo", 8},
      {"empty", u"", 8},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(numberOf(list.getConvertor(c.messageClass)), c.number);
    EXPECT_EQ(live, 0) << "no object is left over";
  }
}

TEST_F(ConvertorListTest, LaterFunctionReplacesAnEarlierOne) {
  EXPECT_TRUE(list.registerConvertor(&Numbered<1>::create, u"IPM.New"));
  EXPECT_FALSE(list.registerConvertor(&Numbered<9>::create, u"ipm.NOTE"));
  EXPECT_FALSE(list.registerConvertor(&Numbered<9>::create, u"report.*.dr"));
  EXPECT_EQ(numberOf(list.getConvertor(u"IPM.Note")), 9);
  EXPECT_EQ(numberOf(list.getConvertor(u"Report.x.DR")), 9);
}

TEST_F(ConvertorListTest, FailuresHaveTheirCodes) {
  ConvertorList empty;
  EXPECT_EQ(codeOf([&] { empty.getConvertor(u"IPM.Note"); }), MAPI_E_NOT_FOUND);
  EXPECT_EQ(codeOf([&] { list.getConvertor(nullptr); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { list.registerConvertor(nullptr, u"x"); }), E_INVALIDARG);
  EXPECT_EQ(codeOf([&] { list.registerConvertor(&refuse, nullptr); }), E_INVALIDARG);
  list.registerConvertor(&refuse, u"IPM.Refused");
  EXPECT_EQ(codeOf([&] { list.getConvertor(u"IPM.Refused.Sub"); }), E_ACCESSDENIED);
}

}  // namespace
}  // namespace nalvo

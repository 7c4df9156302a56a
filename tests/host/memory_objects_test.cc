#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <thread>

#include "diagnostics/hresult_exception.h"
#include "host/comparison.h"
#include "host/fault_sweep.h"
#include "host/file_stream.h"
#include "host/json.h"
#include "host/mail.h"
#include "properties/mapi_prop_utils.h"
#include "tests/support/caller.h"

namespace nalvo::test {
namespace {

using host::HostAllocator;

class HostObjects : public testing::Test {
 protected:
  Caller caller;
};

TEST_F(HostObjects, BuffersDieWithTheirParent) {
  void* parent = nullptr;
  void* child = nullptr;
  ASSERT_EQ(HostAllocator::allocate(10, &parent), S_OK);
  ASSERT_EQ(HostAllocator::allocateMore(20, parent, &child), S_OK);
  ASSERT_EQ(HostAllocator::allocateMore(30, parent, &child), S_OK);
  EXPECT_EQ(caller.context->openBuffers, 1);
  HostAllocator::free(parent);
  EXPECT_EQ(caller.context->openBuffers, 0);
  HostAllocator::free(nullptr);
  EXPECT_EQ(HostAllocator::allocateMore(1, nullptr, &child), E_INVALIDARG);
  caller.context->plan.failAt(1, E_OUTOFMEMORY);
  EXPECT_EQ(HostAllocator::allocate(10, &parent), E_OUTOFMEMORY);
  EXPECT_EQ(parent, nullptr);
}

// Every type that a property may have, as a value and back.
TEST_F(HostObjects, ValuesOfEveryTypeSurvive) {
  std::int16_t shorts[] = {-1, 2};
  std::int32_t longs[] = {-3, 4};
  float floats[] = {0.5F, -1.5F};
  double doubles[] = {0.25, -2.5};
  std::int64_t large[] = {-5, INT64_MAX};
  FILETIME times[] = {{1, 2}, {3, 4}};
  GUID guids[] = {PSETID_Common, PSETID_Meeting};
  char narrow[] = "a\xE4";
  char* narrows[] = {narrow, nullptr};
  char16_t wide[] = u"b\u00E4\xD83D\xDE00";
  char16_t* wides[] = {wide, wide};
  BYTE bytes[] = {0, 1, 0};
  SBinary binaries[] = {{3, bytes}, {0, nullptr}};
  const std::function<void(PropertyValue&)> fill[] = {
      [&](PropertyValue& v) { v.i = -7; },
      [&](PropertyValue& v) { v.l = -8; },
      [&](PropertyValue& v) { v.flt = 1.5F; },
      [&](PropertyValue& v) { v.dbl = -0.5; },
      [&](PropertyValue& v) { v.cur = -12345; },
      [&](PropertyValue& v) { v.at = 43892.375; },
      [&](PropertyValue& v) { v.b = 1; },
      [&](PropertyValue& v) { v.li = INT64_MIN; },
      [&](PropertyValue& v) { v.lpszA = narrow; },
      [&](PropertyValue& v) { v.lpszW = wide; },
      [&](PropertyValue& v) { v.ft = times[0]; },
      [&](PropertyValue& v) { v.lpguid = guids; },
      [&](PropertyValue& v) { v.bin = binaries[0]; },
      [&](PropertyValue& v) {
        v.MVi = {2, shorts};
      },
      [&](PropertyValue& v) {
        v.MVl = {2, longs};
      },
      [&](PropertyValue& v) {
        v.MVflt = {2, floats};
      },
      [&](PropertyValue& v) {
        v.MVdbl = {2, doubles};
      },
      [&](PropertyValue& v) {
        v.MVcur = {2, large};
      },
      [&](PropertyValue& v) {
        v.MVat = {2, doubles};
      },
      [&](PropertyValue& v) {
        v.MVli = {2, large};
      },
      [&](PropertyValue& v) {
        v.MVszA = {2, narrows};
      },
      [&](PropertyValue& v) {
        v.MVszW = {2, wides};
      },
      [&](PropertyValue& v) {
        v.MVft = {2, times};
      },
      [&](PropertyValue& v) {
        v.MVguid = {2, guids};
      },
      [&](PropertyValue& v) {
        v.MVbin = {2, binaries};
      },
  };
  const ULONG types[] = {PT_SHORT,      PT_LONG,       PT_FLOAT,       PT_DOUBLE,     PT_CURRENCY,
                         PT_APPTIME,    PT_BOOLEAN,    PT_I8,          PT_STRING8,    PT_UNICODE,
                         PT_SYSTIME,    PT_CLSID,      PT_BINARY,      PT_MV_SHORT,   PT_MV_LONG,
                         PT_MV_FLOAT,   PT_MV_DOUBLE,  PT_MV_CURRENCY, PT_MV_APPTIME, PT_MV_I8,
                         PT_MV_STRING8, PT_MV_UNICODE, PT_MV_SYSTIME,  PT_MV_CLSID,   PT_MV_BINARY};
  static_assert(std::size(types) == std::size(fill));
  for (std::size_t i = 0; i < std::size(types); ++i) {
    SCOPED_TRACE(types[i]);
    SPropValue given{};
    given.ulPropTag = propTag(types[i], 0x6700);
    fill[i](given.Value);
    ASSERT_EQ(caller.message->setProp(&given), S_OK);
    const host::PropertyRecord stored = *caller.message->bag().find(given.ulPropTag);
    SPropValue* answer = nullptr;
    ASSERT_EQ(caller.message->getProp(given.ulPropTag, &answer), S_OK);
    const std::optional<host::PropertyRecord> read = host::recordOf(*answer);
    HostAllocator::free(answer);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->type, stored.type);
    EXPECT_TRUE(host::toJson(caller.message->bag(), given.ulPropTag, true).contains("value"));
    host::PropertyBag& bag = caller.message->bag();
    bag.set(given.ulPropTag, *read);
    EXPECT_EQ(host::toJson(bag, bag.tags().back(), true), [&] {
      bag.set(given.ulPropTag, stored);
      return host::toJson(bag, bag.tags().back(), true);
    }());
  }
  EXPECT_EQ(caller.context->openBuffers, 0);
}

TEST_F(HostObjects, TextsAnswerInBothWidthsAndKeepTheirs) {
  caller.set(PR_SUBJECT, u"a\u00E4");
  caller.set(PR_EMAIL_ADDRESS_A, std::string("b\xE4"));
  EXPECT_EQ(MapiPropUtils::propAnsi(caller.message.get(), PR_SUBJECT), "a\xE4");
  EXPECT_EQ(MapiPropUtils::propUnicodeT(caller.message.get(), PR_EMAIL_ADDRESS), u"b\u00E4");
  EXPECT_EQ(caller.message->bag().tags(), (std::vector<ULONG>{PR_SUBJECT, PR_EMAIL_ADDRESS})) << "both are listed wide";
  EXPECT_EQ(caller.message->bag().find(PR_EMAIL_ADDRESS)->type, PT_STRING8);
  EXPECT_EQ(caller.message->propExists(changePropType(PR_SUBJECT, PT_LONG)), S_FALSE);
}

TEST_F(HostObjects, StreamsCountFromTheirCommit) {
  ComPtr<IStream> stream;
  ASSERT_EQ(caller.message->openProp(PR_BODY, 0, IStream::kIid, stream.putUnknown()), MAPI_E_NOT_FOUND);
  ASSERT_EQ(caller.message->openProp(PR_BODY, 1, IStream::kIid, stream.putUnknown()), S_OK);
  streamUtils::detail::writeStr(stream.get(), std::u16string_view(u"text"));
  EXPECT_FALSE(caller.has(PR_BODY));
  ASSERT_EQ(stream->Commit(0), S_OK);
  EXPECT_EQ(caller.text(PR_BODY), u"text");
  ComPtr<IStream> reader;
  ASSERT_EQ(caller.message->openProp(changePropType(PR_BODY, PT_STRING8), 0, IStream::kIid, reader.putUnknown()), S_OK);
  EXPECT_EQ(Caller::contentOf(reader.get()), "text") << "the other width is made when it is asked for";
  caller.message = host::makeMessage(caller.context);
  EXPECT_EQ(stream->Commit(0), E_UNEXPECTED) << "its message is gone";
}

TEST_F(HostObjects, NamesAreNumberedAnewInEachFile) {
  const ULONG first = caller.tagOf(named::kIsSpam);
  EXPECT_EQ(propId(first), 0x8000U);
  EXPECT_EQ(propId(caller.tagOf(named::kReminderSet)), 0x8001U);
  EXPECT_EQ(caller.tagOf(named::kIsSpam), first);
  const MapiName back = MapiName::fromPropertyTag(first, caller.message.get(), nullptr);
  EXPECT_EQ(back.name(), u"Is Spam");
  EXPECT_EQ(back.set(), PS_INTERNET_HEADERS);
  host::NameMap names;
  for (std::int32_t i = 0; i <= 0xAEFF - 0x8000; ++i) {
    ASSERT_EQ(names.idOf({PSETID_Common, MNID_ID, i, {}}, true), 0x8000 + i);
  }
  EXPECT_EQ(names.idOf({PSETID_Common, MNID_ID, -1, {}}, true), 0) << "no identifier is left";
  EXPECT_EQ(names.nameOf(0xAF00), nullptr);
}

TEST_F(HostObjects, PartsOutliveTheirMessageUntilSaved) {
  ComPtr<IConvertRecipient> recipient;
  ComPtr<IConvertAttachment> attachment;
  ASSERT_EQ(caller.message->createRecipient(recipient.put()), S_OK);
  ASSERT_EQ(caller.message->createAttachment(attachment.put()), S_OK);
  ASSERT_EQ(recipient->saveChanges(), S_OK);
  ASSERT_EQ(recipient->saveChanges(), S_OK);
  EXPECT_EQ(caller.message->parts().recipients.size(), 1U);
  EXPECT_TRUE(caller.message->parts().attachments.empty());
  caller.message = host::makeMessage(caller.context);
  EXPECT_EQ(attachment->saveChanges(), S_OK);
}

// A store keeps the texts of a message and what it says of them in step.
TEST_F(HostObjects, TextsAndTheirFormatAgree) {
  const auto saved = [this](std::int32_t format) {
    caller.set(PR_MSG_EDITOR_FORMAT, format);
    EXPECT_EQ(caller.message->saveChanges(), S_OK);
    return caller.number(PR_MSG_EDITOR_FORMAT);
  };
  EXPECT_EQ(saved(3), 3U) << "nothing is there at all";
  caller.set(PR_RTF_COMPRESSED, std::string("rtf"));
  EXPECT_EQ(saved(1), 3U);
  caller.set(PR_BODY, u"text");
  EXPECT_FALSE(caller.has(PR_RTF_COMPRESSED)) << "it would win over the new text";
  EXPECT_EQ(saved(3), 1U);
  caller.set(PR_RTF_COMPRESSED, std::string("rtf"));
  caller.set(PR_RTF_IN_SYNC, true);
  EXPECT_EQ(saved(3), 3U);
  caller.set(PR_HTML, std::string("html"));
  EXPECT_FALSE(caller.has(PR_RTF_COMPRESSED) || caller.has(PR_RTF_IN_SYNC));
  EXPECT_EQ(saved(3), 2U);
  EXPECT_EQ(saved(0), 0U);
}

TEST_F(HostObjects, EmbeddedMessageIsMadeWhenAskedFor) {
  ComPtr<IConvertAttachment> attachment;
  ASSERT_EQ(caller.message->createAttachment(attachment.put()), S_OK);
  ComPtr<IConvertMessage> embedded;
  EXPECT_EQ(attachment->openProp(PR_ATTACH_DATA_OBJ, 0, IConvertMessage::kIid, embedded.putUnknown()), MAPI_E_NOT_FOUND);
  ASSERT_EQ(attachment->openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, embedded.putUnknown()), S_OK);
  MapiPropUtils::setUnicode(embedded.get(), PR_SUBJECT, u"inner");
  ASSERT_EQ(attachment->saveChanges(), S_OK);
  const auto json = host::toJson(*caller.message, false);
  EXPECT_EQ(json["attachments"][0]["message"]["properties"][0]["value"], "inner");
}

TEST(HostJson, TellsValuesAsPromised) {
  struct Case {
    ULONG type;
    host::PropertyContent content;
    const char* value;
  };
  const Case cases[] = {
      {PT_I8, std::int64_t{-9007199254740993}, "\"-9007199254740993\""},
      {PT_SYSTIME, FILETIME{0xF41F6801, 0x01D5F070}, "\"2020-03-02T09:00:00.0000001Z\""},
      {PT_SYSTIME, FILETIME{0, 0xFFFFFFFF}, "null"},
      {PT_CLSID, PSETID_Common, "\"{00062008-0000-0000-C000-000000000046}\""},
      {PT_BOOLEAN, true, "true"},
      {PT_DOUBLE, std::nan(""), "null"},
      {PT_BINARY, std::string("abc"), "{\"base64\":\"YWJj\"}"},
      {PT_BINARY, std::string(4097, 'x'),
       "{\"size\":4097,\"sha256\":\"3e97197f4b8d46a893067c94ab15e195e3d97fb5f24eede5ef047b571240d92b\"}"},
      {PT_UNICODE,
       std::u16string(u"a\xD800"
                      u"b"),
       "\"a\xEF\xBF\xBD"
       "b\""},
      {PT_MV_UNICODE, std::vector<std::u16string>{u"x", u""}, "[\"x\",\"\"]"},
      {PT_MV_LONG, std::vector<std::int32_t>{1, -2}, "[1,-2]"},
  };
  for (const Case& c : cases) {
    Caller caller;
    const ULONG tag = propTag(c.type, 0x6700);
    caller.set(tag, c.content);
    const std::string value = host::toJson(caller.message->bag(), tag, false)["value"].dump();
    EXPECT_EQ(value, c.value);
  }
}

TEST(HostFiles, OpenWhatIsThereAndSayWhatIsNot) {
  char folder[] = "/tmp/nalvo-host-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::filesystem::path path(folder);
  std::ofstream(path / "file") << "0123456789";
  const ComPtr<IStream> file = host::openFile(path / "file");
  EXPECT_EQ(Caller::contentOf(file.get()), "0123456789");
  ASSERT_EQ(file->Seek(-3, STREAM_SEEK_END, nullptr), S_OK);
  char rest[8] = {};
  ULONG got = 0;
  ASSERT_EQ(file->Read(rest, sizeof rest, &got), S_OK);
  EXPECT_EQ(std::string_view(rest, got), "789");
  EXPECT_EQ(file->Seek(-11, STREAM_SEEK_END, nullptr), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(file->Write("x", 1, nullptr), STG_E_ACCESSDENIED);
  for (const std::filesystem::path& bad : {path / "missing", path}) {
    EXPECT_THROW(host::openFile(bad), HResultException);
  }
  ASSERT_EQ(mkfifo((path / "pipe").c_str(), 0600), 0);
  std::jthread writer([&] { std::ofstream(path / "pipe") << "through a pipe"; });
  EXPECT_EQ(Caller::contentOf(host::openFile(path / "pipe").get()), "through a pipe");
  writer.join();
  std::filesystem::remove_all(path);
}

TEST(Comparison, NamesWhatDiffers) {
  const std::string before = crLf("Subject: a\nX-Gone: b\nX-Same: c\nContent-Type: text/plain\n\ntext\n");
  const std::string after =
      crLf("Subject: A\nX-same:  =?utf-8?Q?c?=\nX-New: d\nX-MAPI: AAAA\nContent-Type: text/plain\n\nother\n");
  Caller caller;
  const host::Comparison result = host::compareMails(caller.stream(before).get(), caller.stream(after).get());
  const auto told = [](const std::vector<host::Difference>& list) {
    std::string text;
    for (const host::Difference& difference : list) {
      text += difference.where + "/" + difference.what + ";";
    }
    return text;
  };
  EXPECT_EQ(told(result.lost), "message/header X-Gone;");
  EXPECT_EQ(told(result.changed), "message/header Subject;message/plain text;");
  EXPECT_EQ(told(result.added), "message/header X-New;");
  EXPECT_EQ(told(result.explained), "message/header X-MAPI;");
  EXPECT_EQ(result.same, 2U);
  EXPECT_EQ(result.compared, 7U);
}

TEST(FaultSweepItself, SeesWhatIsLeft) {
  // A run that leaks, swallows or changes a code is found out.
  const host::SweepResult leaking =
      host::faultSweep([](const host::HostContextPtr& context, const std::function<void()>& arm) {
        arm();
        static std::vector<ComPtr<host::MemoryMessage>> kept;
        kept.push_back(host::makeMessage(context));
        return kept.back()->propExists(PR_SUBJECT);
      });
  EXPECT_FALSE(leaking.complaints.empty());
  const host::SweepResult lying =
      host::faultSweep([](const host::HostContextPtr& context, const std::function<void()>& arm) {
        const ComPtr<host::MemoryMessage> message = host::makeMessage(context);
        arm();
        return failed(message->propExists(PR_SUBJECT)) ? E_FAIL : failed(message->propExists(PR_BODY)) ? S_OK : S_OK;
      });
  EXPECT_EQ(lying.complaints.size(), 1U);
  EXPECT_EQ(lying.swallowed, std::vector<std::string>{"propExists"});
}

}  // namespace
}  // namespace nalvo::test

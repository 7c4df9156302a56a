// Message files whose objects fail at every call, and folders that do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "diagnostics/hresult_exception.h"
#include "host/fault_sweep.h"
#include "host/file_stream.h"
#include "host/folder_annotations.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

using testing::ElementsAre;

ComPtr<IStream> sample(const char* name) { return openFile(std::filesystem::path(NALVO_TEST_DATA) / "msg" / name); }

HRESULT codeOf(const std::function<void()>& work) {
  try {
    work();
    return S_OK;
  } catch (const HResultException& failure) {
    return failure.getHResult();
  }
}

constexpr const char* kSamples[] = {"embedded_and_ole.msg", "many_types.msg", "narrow_1251.msg"};

// The calls whose failure a run may pass over, each for its reason.
std::set<std::string> unexpected(const SweepResult& result, std::initializer_list<const char*> expected) {
  std::set<std::string> calls(result.swallowed.begin(), result.swallowed.end());
  for (const char* call : expected) {
    calls.erase(call);
  }
  return calls;
}

TEST(MsgFaults, EveryFailureOnTheWayToMailIsTold) {
  for (const char* name : kSamples) {
    for (const MailForm form : {MailForm::Lossless, MailForm::Store}) {
      SCOPED_TRACE(name);
      const SweepResult result = faultSweep([&](const HostContextPtr& context, const std::function<void()>& arm) {
        const ComPtr<MemoryMessage> message = readMsg(sample(name).get(), context, nullptr);
        const std::vector<ULONG> tags = message->bag().tags();
        arm();
        const HRESULT hr = codeOf([&] { writeMail(message.get(), form, nullptr); });
        EXPECT_EQ(message->bag().tags(), tags) << "what is carried does not stay behind";
        return hr;
      });
      EXPECT_THAT(result.complaints, ElementsAre());
      // A value that may be missing is read so, as is a person that no address book knows.
      EXPECT_THAT(unexpected(result, {"getProp", "allocateBuffer", "allocateMore", "IMapiAllocator::getAllocators",
                                      "IConvertAttachment::getContentIdSource"}),
                  ElementsAre());
      EXPECT_LT(result.swallowed.size(), result.runs / 5);
      EXPECT_GT(result.runs, 60U);
    }
  }
}

TEST(MsgFaults, EveryFailureOnTheWayBackIsTold) {
  for (const char* name : kSamples) {
    SCOPED_TRACE(name);
    const auto unharmed = std::make_shared<HostContext>();
    const MailFile mail = writeMail(readMsg(sample(name).get(), unharmed, nullptr).get(), MailForm::Lossless, nullptr);
    const SweepResult result = faultSweep([&](const HostContextPtr& context, const std::function<void()>& arm) {
      arm();
      return codeOf([&] {
        const ComPtr<MemoryMessage> message = readMail(mail.mail.get(), context, FILETIME{}, nullptr);
        const ComPtr<IStream> file = streamUtils::createStream();
        StreamSink sink(file.get());
        writeMsg(message.get(), sink);
      });
    });
    EXPECT_THAT(result.complaints, ElementsAre());
    // The reader of annotations keeps what it has read when it comes upon one that fails.
    EXPECT_THAT(unexpected(result, {"getIdsFromNames", "setProp", "getProp", "allocateBuffer", "allocateMore",
                                    "IMapiAllocator::getAllocators"}),
                ElementsAre());
    EXPECT_GT(result.runs, 60U);
  }
}

TEST(FolderFaults, AFailedExportLeavesNoHalfSet) {
  const auto context = std::make_shared<HostContext>();
  const auto folder = makeCom<MemoryFolder>(context, std::make_shared<NameMap>());
  folder->bag().set(propTag(PT_UNICODE, 0x6000), {PT_UNICODE, std::u16string(u"a")});
  folder->bag().set(propTag(PT_LONG, 0x6001), {PT_LONG, std::int32_t{1}});
  const auto annotations = makeCom<MemoryAnnotations>(context);
  EXPECT_TRUE(writeAnnotations(folder.get(), *annotations, nullptr));
  EXPECT_EQ(annotations->entries().size(), 2U);
  // A currency has no text.
  folder->bag().set(propTag(PT_CURRENCY, 0x6002), {PT_CURRENCY, std::int64_t{1}});
  annotations->clear();
  EXPECT_THROW(writeAnnotations(folder.get(), *annotations, nullptr), HResultException);
  EXPECT_TRUE(annotations->entries().empty());
  folder->bag().clearChanges();
  EXPECT_FALSE(writeAnnotations(folder.get(), *annotations, nullptr));
}

}  // namespace
}  // namespace nalvo::host

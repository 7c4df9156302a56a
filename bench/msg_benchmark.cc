// How .msg files are opened, shown and saved: per second, in memory, and as they grow.
//
// bench-msg [FOLDER]: with FOLDER, or msg/ of NALVO_CORPUS, also what the .msg files below it take.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <vector>

#include "bench/timing.h"
#include "diagnostics/hresult_exception.h"
#include "host/byte_sink.h"
#include "host/compound_writer.h"
#include "host/file_stream.h"
#include "host/folder_annotations.h"
#include "host/json.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "mime/read_only_stream.h"
#include "nalvo/convert.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

using namespace nalvo;
using namespace nalvo::bench;
using namespace nalvo::host;
namespace fs = std::filesystem;

namespace {

ComPtr<MemoryMessage> open(const fs::path& file) {
  return readMsg(openFile(file).get(), std::make_shared<HostContext>(), nullptr);
}

void throughput(const fs::path& folder, const fs::path& scratch) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".msg") {
      files.push_back(entry.path());
    }
  }
  std::size_t done = 0;
  std::uintmax_t bytes = 0;
  std::vector<ComPtr<MemoryMessage>> messages;
  const auto tell = [&](const char* what, double seconds) {
    std::printf("%-8s %8.0f messages/s  %8.1f MB/s\n", what, static_cast<double>(done) / seconds,
                static_cast<double>(bytes) / seconds / 1e6);
  };
  const double opening = secondsOf([&] {
    for (const fs::path& file : files) {
      try {
        messages.push_back(open(file));
        ++done;
        bytes += fs::file_size(file);
      } catch (const HResultException& e) {
        std::printf("%s: %s\n", file.c_str(), e.what());
      }
    }
  });
  std::printf("%zu files\n", done);
  tell("open", opening);
  tell("show", secondsOf([&] {
         for (const auto& message : messages) {
           (void)toJson(*message, false);
         }
       }));
  tell("save", secondsOf([&] {
         for (const auto& message : messages) {
           writeMsg(message.get(), scratch);
         }
       }));
}

// What each message takes through the library, and the annotations among it.
void conversions(const fs::path& folder) {
  const auto context = std::make_shared<HostContext>();
  std::vector<ComPtr<MemoryMessage>> messages;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".msg") {
      try {
        messages.push_back(open(entry.path()));
      } catch (const HResultException&) {
        continue;  // told above
      }
    }
  }
  struct Form {
    const char* name;
    MailForm form;
  };
  for (const Form& row : {Form{"lossless", MailForm::Lossless}, Form{"exact", MailForm::Exact}, Form{"wire", MailForm::Wire},
                          Form{"store", MailForm::Store}}) {
    std::vector<MailFile> mails;
    std::size_t failures = 0;
    const double there = secondsOf([&] {
      for (const auto& message : messages) {
        try {
          mails.push_back(writeMail(message.get(), row.form, nullptr));
        } catch (const HResultException&) {
          ++failures;
        }
      }
    });
    const double back = secondsOf([&] {
      for (const MailFile& mail : mails) {
        (void)readMail(mail, context, FILETIME{}, true, nullptr);
      }
    });
    const auto count = static_cast<double>(mails.size());
    std::printf("%-8s to-mime %6.0f /s  to-mapi %6.0f /s  %zu failed\n", row.name, count / there, count / back, failures);
  }
}

// Properties of a folder to annotations and back.
void annotations() {
  constexpr ULONG kCount = 8'000;
  const auto context = std::make_shared<HostContext>();
  const auto folder = makeCom<MemoryFolder>(context, std::make_shared<NameMap>());
  for (ULONG i = 0; i < kCount; ++i) {
    folder->bag().set(propTag(PT_UNICODE, 0x4000 + i), {PT_UNICODE, std::u16string(u"a text \u00E9 of some length")});
  }
  const auto set = makeCom<MemoryAnnotations>(context);
  const double there = secondsOf([&] { (void)writeAnnotations(folder.get(), *set, nullptr); });
  const auto again = makeCom<MemoryFolder>(context, std::make_shared<NameMap>());
  const double back = secondsOf([&] { (void)folderFromMimeToMapi(set.get(), again.get(), 0, nullptr); });
  if (again->bag().tags() != folder->bag().tags()) {
    std::printf("annotations: not all came back\n");
  }
  std::printf("annotations: write %8.0f /s, read %8.0f /s\n", kCount / there, kCount / back);
}

// Growth of the process while a big attachment goes to a mail and back.
void bigConversion(std::size_t mebibytes, const fs::path& scratch) {
  const fs::path big = scratch.string() + ".big";
  const ComPtr<MemoryMessage> message = makeMessage(std::make_shared<HostContext>());
  {
    ComPtr<IStream> data = streamUtils::createStream();
    const std::string piece(1U << 20, 'x');
    for (std::size_t i = 0; i < mebibytes; ++i) {
      mime::writeAll(data.get(), piece);
    }
    PropertyBag& bag = message->addAttachment().bag();
    bag.set(PR_ATTACH_METHOD, {PT_LONG, std::int32_t{1}});
    bag.set(PR_ATTACH_LONG_FILENAME, {PT_UNICODE, std::u16string(u"big.bin")});
    bag.set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::move(data)});
    message->bag().set(PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(u"IPM.Note")});
  }
  writeMsg(message.get(), big);
  const double toMime = megabytesOf([&] { (void)writeMail(open(big).get(), MailForm::Lossless, nullptr); });
  const ComPtr<IStream> mail = writeMail(open(big).get(), MailForm::Lossless, nullptr).mail;
  const double toMapi = megabytesOf(
      [&] { writeMsg(readMail(mail.get(), std::make_shared<HostContext>(), FILETIME{}, nullptr).get(), scratch); });
  std::printf("%4zu MiB attachment: to-mime %5.1f, to-mapi %5.1f MiB above the start\n", mebibytes, toMime, toMapi);
  fs::remove(big);
}

void bigAttachment(std::size_t mebibytes, const fs::path& scratch) {
  const fs::path big = scratch.string() + ".big";
  const double made = megabytesOf([&] {
    const ComPtr<MemoryMessage> message = makeMessage(std::make_shared<HostContext>());
    ComPtr<IStream> data = streamUtils::createStream();
    const std::string piece(1U << 20, 'x');
    for (std::size_t i = 0; i < mebibytes; ++i) {
      mime::writeAll(data.get(), piece);
    }
    message->addAttachment().bag().set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::move(data)});
    writeMsg(message.get(), big);
  });
  const double opened = megabytesOf([&] { (void)open(big); });
  const double shown = megabytesOf([&] { (void)toJson(*open(big), false); });
  const double saved = megabytesOf([&] { writeMsg(open(big).get(), scratch); });
  const double seconds = secondsOf([&] { writeMsg(open(big).get(), scratch); });
  std::printf(
      "%4zu MiB attachment: make %5.1f, open %5.1f, show %5.1f, open and save %5.1f MiB above the start; saved in %.2f s\n",
      mebibytes, made, opened, shown, saved, seconds);
  fs::remove(big);
}

void growth(const char* what, const fs::path& scratch, const std::function<void(MemoryMessage&, int)>& add) {
  for (const int count : {500, 5'000, 50'000}) {
    const ComPtr<MemoryMessage> message = makeMessage(std::make_shared<HostContext>());
    for (int i = 0; i < count; ++i) {
      add(*message, i);
    }
    const double save = secondsOf([&] { writeMsg(message.get(), scratch); });
    ComPtr<MemoryMessage> again;
    const double read = secondsOf([&] { again = open(scratch); });
    const double show = secondsOf([&] { (void)toJson(*again, false); });
    std::printf("%6d %-12s save %7.1f ms, open %7.1f ms, show %7.1f ms\n", count, what, save * 1e3, read * 1e3, show * 1e3);
  }
}

void addRecipient(MemoryMessage& message, int i) {
  PropertyBag& bag = message.addRecipient().bag();
  bag.set(PR_RECIPIENT_TYPE, {PT_LONG, std::int32_t{1}});
  bag.set(PR_DISPLAY_NAME, {PT_UNICODE, std::u16string(u"A recipient with a name")});
  bag.set(PR_ADDRTYPE, {PT_UNICODE, std::u16string(u"SMTP")});
  bag.set(PR_EMAIL_ADDRESS, {PT_UNICODE, std::u16string(u"somebody@example.org")});
  bag.set(PR_ENTRYID, {PT_BINARY, std::string(80, static_cast<char>(i))});
  bag.set(PR_SEARCH_KEY, {PT_BINARY, std::string(30, static_cast<char>(i))});
}

void addAttachment(MemoryMessage& message, int i) {
  PropertyBag& bag = message.addAttachment().bag();
  bag.set(PR_ATTACH_METHOD, {PT_LONG, std::int32_t{1}});
  bag.set(PR_ATTACH_LONG_FILENAME, {PT_UNICODE, std::u16string(u"file.txt")});
  bag.set(PR_ATTACH_DATA_BIN, {PT_BINARY, std::string(1000, static_cast<char>(i))});
}

// Identifiers below 0x8000 don't suffice for the largest count, so the types go round as well.
void addProperty(MemoryMessage& message, int i) {
  const ULONG id = 0x1000 + static_cast<ULONG>(i) % 0x6000;
  const ULONG type = i < 0x6000 ? PT_UNICODE : i < 0xC000 ? PT_BINARY : PT_I8;
  PropertyContent content = std::int64_t{i};
  if (type != PT_I8) {
    content = type == PT_UNICODE ? PropertyContent(std::u16string(20, u'x')) : PropertyContent(std::string(20, 'x'));
  }
  message.bag().load(propTag(type, id), {type, std::move(content)});
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const fs::path scratch = fs::temp_directory_path() / ("nalvo-bench-" + std::to_string(getpid()) + ".msg");
  // The children of these measures are to start from a small process.
  for (const std::size_t mebibytes : std::initializer_list<std::size_t>{1, 50, 500}) {
    bigAttachment(mebibytes, scratch);
  }
  for (const std::size_t mebibytes : std::initializer_list<std::size_t>{50, 500}) {
    bigConversion(mebibytes, scratch);
  }
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (argc > 1 || corpus != nullptr) {
    const fs::path folder = argc > 1 ? fs::path(argv[1]) : fs::path(corpus) / "msg";
    throughput(folder, scratch);
    conversions(folder);
  }
  annotations();
  growth("recipients", scratch, addRecipient);
  growth("attachments", scratch, addAttachment);
  growth("properties", scratch, addProperty);
  fs::remove(scratch);
}

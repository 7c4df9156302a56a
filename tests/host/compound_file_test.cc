// Compound files as libgsf reads them, and the .msg files of the corpus.
#include <gsf/gsf.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>

#include "diagnostics/hresult_exception.h"
#include "host/compound_file.h"
#include "host/compound_writer.h"
#include "host/file_stream.h"
#include "host/json.h"
#include "host/msg_file.h"
#include "platform/mapi/property_types.h"
#include "platform/text/text.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

namespace fs = std::filesystem;

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using InputPtr = std::unique_ptr<GsfInput, Unref>;

// Storages end with a slash. Names longer than 30 units are left out: libgsf gives none for them.
using Contents = std::map<std::string, std::string>;

void listByGsf(GsfInfile* storage, const std::string& prefix, Contents& contents) {
  for (int i = 0; i < gsf_infile_num_children(storage); ++i) {
    const InputPtr child(gsf_infile_child_by_index(storage, i));
    const char* name = gsf_infile_name_by_index(storage, i);
    ASSERT_NE(child, nullptr) << prefix << i;
    if (name == nullptr || *name == '\0') {
      continue;
    }
    const bool isStorage = GSF_IS_INFILE(child.get()) && gsf_infile_num_children(GSF_INFILE(child.get())) >= 0;
    std::string& content = contents[prefix + name + (isStorage ? "/" : "")];
    if (isStorage) {
      listByGsf(GSF_INFILE(child.get()), prefix + name + "/", contents);
      continue;
    }
    content.resize(static_cast<std::size_t>(gsf_input_size(child.get())));
    if (!content.empty() &&
        gsf_input_read(child.get(), content.size(), reinterpret_cast<guint8*>(content.data())) == nullptr) {
      content = "unreadable";
    }
  }
}

void listByUs(CompoundFile& file, const CompoundFile::Entry& storage, const std::string& prefix, Contents& contents) {
  for (const std::uint32_t index : storage.children) {
    const CompoundFile::Entry& child = file.entry(index);
    if (child.name.empty() || child.name.size() > 30) {
      continue;
    }
    const std::string name = prefix + wideToUtf8(child.name) + (child.isStorage ? "/" : "");
    std::string& content = contents[name];
    if (child.isStorage) {
      listByUs(file, child, name, contents);
    } else {
      content = file.read(child, child.size);
      if (content.size() < child.size) {
        content = "unreadable";
      }
    }
  }
}

bool openByGsf(std::string& bytes, Contents& contents) {
  const InputPtr input(
      gsf_input_memory_new(reinterpret_cast<guint8*>(bytes.data()), static_cast<gsf_off_t>(bytes.size()), 0));
  GError* error = nullptr;
  GsfInfile* file = gsf_infile_msole_new(input.get(), &error);
  if (file == nullptr) {
    g_clear_error(&error);
    return false;
  }
  const InputPtr owner(GSF_INPUT(file));
  listByGsf(file, "", contents);
  return true;
}

// Of a damaged file libgsf may read less than we do.
void expectSameAsGsf(std::string bytes, std::size_t* compared = nullptr, bool sound = true) {
  g_log_set_default_handler([](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
  Contents theirs;
  if (!openByGsf(bytes, theirs)) {
    EXPECT_FALSE(sound);
    return;
  }
  const ComPtr<IStream> stream = streamUtils::createStream();
  StreamSink(stream.get()).append(bytes);
  CompoundFile file(stream.get());
  Contents ours;
  listByUs(file, file.root(), "", ours);
  EXPECT_TRUE(sound ? ours.size() == theirs.size() : ours.size() >= theirs.size()) << ours.size();
  for (const auto& [name, content] : theirs) {
    EXPECT_TRUE(ours.contains(name)) << name;
    EXPECT_TRUE(ours[name] == content) << name;
  }
  if (compared != nullptr) {
    *compared += theirs.size();
  }
}

std::string bytesOfFile(IStream* stream) { return bytesOf({PT_BINARY, ComPtr<IStream>::retain(stream)}); }

TEST(CompoundFile, IsReadByOthers) {
  // Content expected is what decides the size of sectors.
  for (const std::uint64_t expected : {std::uint64_t{0}, std::uint64_t{1} << 32}) {
    SCOPED_TRACE(expected);
    const ComPtr<IStream> stream = streamUtils::createStream();
    StreamSink sink(stream.get());
    CompoundWriter writer(sink, expected);
    std::size_t streams = 0;
    for (const std::size_t size : std::initializer_list<std::size_t>{0, 1, 64, 4095, 4096, 4097, 100'000, 9'000'000}) {
      std::string content(size, '\0');
      for (std::size_t i = 0; i < size; ++i) {
        content[i] = static_cast<char>(i * 7 + i / 251);
      }
      const auto storage = writer.addStorage(
          CompoundWriter::kRoot, u"storage " + std::u16string(1 + size % 7, u'x') + static_cast<char16_t>(u'a' + streams));
      for (int i = 0; i < 30; ++i, ++streams) {
        const std::u16string name{static_cast<char16_t>(u'A' + i), static_cast<char16_t>(u'\u00E0' + i)};
        writer.addStream(storage, name, i % 3 == 0 || size < 5000 ? std::string_view(content) : std::string_view("short"));
      }
    }
    writer.finish();
    std::size_t compared = 0;
    expectSameAsGsf(bytesOfFile(stream.get()), &compared);
    EXPECT_EQ(compared, streams + 8);
  }
}

TEST(CompoundFile, ChainsThatShareSectorsEndTheReading) {
  const ComPtr<IStream> stream = streamUtils::createStream();
  StreamSink sink(stream.get());
  CompoundWriter writer(sink, 0);
  for (int i = 0; i < 50; ++i) {
    writer.addStream(CompoundWriter::kRoot, u"s" + std::u16string(1, static_cast<char16_t>(u'0' + i)),
                     i == 0 ? std::string(1'000'000, 'x') : std::string());
  }
  writer.finish();
  std::string bytes = bytesOfFile(stream.get());
  // All of them take the place of the first.
  std::size_t first = std::string::npos;
  for (std::size_t at = bytes.find(std::string("s\0"
                                               "0",
                                               3));
       at < bytes.size(); at += 128) {
    if (bytes[at] != 's') {
      continue;
    }
    first = first == std::string::npos ? at : first;
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(first) + 116, 12,
                bytes.begin() + static_cast<std::ptrdiff_t>(at) + 116);
  }
  const ComPtr<IStream> damaged = streamUtils::createStream();
  StreamSink(damaged.get()).append(bytes);
  CompoundFile file(damaged.get());
  ASSERT_EQ(file.root().children.size(), 50U);
  EXPECT_THROW(
      {
        for (const std::uint32_t child : file.root().children) {
          (void)file.read(file.entry(child), 1'000'000);
        }
      },
      HResultException);
}

// Files of others; without the folder there is nothing to compare.
TEST(CompoundFile, CorpusIsReadAsOthersReadItAndComesBackTheSame) {
  const char* corpus = std::getenv("NALVO_CORPUS");
  if (corpus == nullptr) {
    return;
  }
  const auto context = std::make_shared<HostContext>();
  std::size_t files = 0;
  std::size_t streams = 0;
  for (const auto& entry : fs::directory_iterator(fs::path(corpus) / "msg")) {
    if (entry.path().extension() != ".msg") {
      continue;
    }
    SCOPED_TRACE(entry.path().filename());
    ++files;
    const ComPtr<IStream> file = openFile(entry.path());
    expectSameAsGsf(bytesOfFile(file.get()), &streams, false);
    const ComPtr<MemoryMessage> message = readMsg(file.get(), context, nullptr);
    const ComPtr<IStream> written = streamUtils::createStream();
    StreamSink sink(written.get());
    writeMsg(message.get(), sink);
    expectSameAsGsf(bytesOfFile(written.get()), &streams);
    std::vector<std::string> warnings;
    const ComPtr<MemoryMessage> again = readMsg(written.get(), context, &warnings);
    EXPECT_TRUE(toJson(*again, true) == toJson(*message, true));
  }
  EXPECT_GT(files, 100U);
  EXPECT_GT(streams, 10'000U);
}

}  // namespace
}  // namespace nalvo::host

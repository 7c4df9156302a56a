#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "host/little_endian.h"
#include "host/msg_address_book.h"
#include "host/msg_file.h"
#include "host/msg_names.h"
#include "host/msg_object_reader.h"
#include "host/storage_copy.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

using namespace msg;

constexpr SourceFile kSource{".\\MsgReader"};

class MessageReader {
 public:
  MessageReader(CompoundFile& file, ObjectReader& objects) : file_(file), objects_(objects) {}

  void read(const CompoundFile::Entry& storage, ObjectKind kind, const std::string& prefix, CodePage codePage,
            unsigned depth, MemoryMessage& message) {
    const ObjectStreams streams(file_, storage);
    codePage = objects_.read(streams, kind, prefix + "message", codePage, message.bag());
    checkCounts(streams, kind, prefix);
    std::size_t number = 0;
    for (const auto& [stored, entry] : streams.recipients) {
      const std::string where = prefix + "recipient " + std::to_string(number++);
      objects_.read(ObjectStreams(file_, file_.entry(entry)), ObjectKind::Part, where, codePage,
                    message.addRecipient().bag());
    }
    message.setAddressBook(addressBookOf(message));
    number = 0;
    for (const auto& [stored, entry] : streams.attachments) {
      const std::string where = prefix + "attachment " + std::to_string(number++);
      readAttachment(file_.entry(entry), where, codePage, depth, message.addAttachment());
    }
  }

 private:
  // The header counts the parts; a file that lost some can tell.
  void checkCounts(const ObjectStreams& streams, ObjectKind kind, const std::string& prefix) {
    if (!streams.properties) {
      return;
    }
    const std::string head = file_.read(file_.entry(*streams.properties), headerBytes(kind));
    const auto check = [&](std::size_t offset, std::size_t found, const char* what) {
      if (head.size() >= offset + 4 && loadAt<std::uint32_t>(head, offset) > found) {
        objects_.warn(prefix + "message", std::to_string(found) + " " + what + " of " +
                                              std::to_string(loadAt<std::uint32_t>(head, offset)) + " are there");
      }
    };
    check(kRecipientCount, streams.recipients.size(), "recipients");
    check(kAttachmentCount, streams.attachments.size(), "attachments");
  }

  void readAttachment(const CompoundFile::Entry& storage, const std::string& where, CodePage codePage, unsigned depth,
                      MemoryAttachment& attachment) {
    const ObjectStreams streams(file_, storage);
    PropertyBag& bag = attachment.bag();
    objects_.read(streams, ObjectKind::Part, where, codePage, bag);
    const auto object = streams.values.find(PR_ATTACH_DATA_OBJ);
    if (object == streams.values.end() || !file_.entry(object->second).isStorage) {
      return;
    }
    const CompoundFile::Entry& data = file_.entry(object->second);
    const bool isMessage = ObjectStreams(file_, data).properties.has_value();
    if (bag.number(PR_ATTACH_METHOD) == kOle || !isMessage) {
      bag.take(PR_ATTACH_DATA_OBJ);  // no message can be opened there
      bag.load(kTagOleData, {PT_BINARY, storageAsFile(data, where)});
      return;
    }
    if (depth >= kDeepestMessage) {
      objects_.warn(where, "is left out: messages lie more than " + std::to_string(kDeepestMessage) + " deep in each other");
      return;
    }
    bag.load(PR_ATTACH_DATA_OBJ, {PT_OBJECT, std::monostate()});
    auto embedded = makeCom<MemoryMessage>(attachment.context(), bag.nameMap());
    read(data, ObjectKind::EmbeddedMessage, where + "/", codePage, depth + 1, *embedded);
    attachment.setEmbedded(std::move(embedded));
  }

  // A storage as a compound file of its own.
  ComPtr<IStream> storageAsFile(const CompoundFile::Entry& storage, const std::string& where) {
    ComPtr<IStream> stream = streamUtils::createStream();
    StreamSink sink(stream.get());
    CompoundWriter writer(sink, sizeOfStorage(file_, storage));
    writer.setRootInfo(infoOf(storage));
    if (!copyStorage(file_, storage, writer, CompoundWriter::kRoot)) {
      objects_.warn(where, "a part of the storage is left out: it is cut, or lies too deep");
    }
    writer.finish();
    streamUtils::rewind(stream.get());
    return stream;
  }

  CompoundFile& file_;
  ObjectReader& objects_;
};

}  // namespace

bool isMsg(IStream* file) { return CompoundFile::isCompoundFile(file); }

ComPtr<MemoryMessage> readMsg(IStream* file, const HostContextPtr& context, std::vector<std::string>* warnings) {
  std::vector<std::string> unheard;
  std::vector<std::string>& told = warnings == nullptr ? unheard : *warnings;
  CompoundFile compound(file);
  const ObjectStreams streams(compound, compound.root());
  if (!streams.properties && streams.values.empty()) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("host::readMsg"), "a compound file that holds no message");
  }
  const std::map<std::uint16_t, PropertyName> names = readNames(compound, told);
  ObjectReader objects(compound, names, told);
  ComPtr<MemoryMessage> message = makeMessage(context);
  MessageReader(compound, objects).read(compound.root(), ObjectKind::Message, "", kAnsiCodePage, 0, *message);
  return message;
}

}  // namespace nalvo::host

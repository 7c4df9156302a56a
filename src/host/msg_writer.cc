#include "diagnostics/hresult_exception.h"
#include "host/little_endian.h"
#include "host/msg_code_page.h"
#include "host/msg_file.h"
#include "host/msg_object_writer.h"
#include "host/storage_copy.h"

namespace nalvo::host {
namespace {

using namespace msg;

constexpr SourceFile kSource{".\\MsgWriter"};

IStream* streamOf(const PropertyRecord* record) {
  const auto* stream = record == nullptr ? nullptr : std::get_if<ComPtr<IStream>>(&record->content);
  return stream == nullptr ? nullptr : stream->get();
}

// Roughly what a message takes in a file, so that the sectors can be chosen.
std::uint64_t expectedBytes(const PropertyBag& bag) {
  std::uint64_t bytes = 0;
  for (const ULONG tag : bag.tags()) {
    if (IStream* stream = streamOf(bag.find(tag))) {
      STATSTG stat{};
      checkHResult(stream->Stat(&stat, STATFLAG_NONAME), kSource.at("host::expectedBytes"));
      bytes += stat.cbSize;
    }
    bytes += 64;
  }
  return bytes;
}

std::uint64_t expectedBytes(const MemoryMessage& message) {
  std::uint64_t bytes = expectedBytes(message.bag());
  for (const ComPtr<MemoryRecipient>& recipient : message.parts().recipients) {
    bytes += expectedBytes(recipient->bag());
  }
  for (const ComPtr<MemoryAttachment>& attachment : message.parts().attachments) {
    bytes += expectedBytes(attachment->bag()) + (attachment->embedded() ? expectedBytes(*attachment->embedded()) : 0);
  }
  return bytes;
}

class MessageWriter {
 public:
  explicit MessageWriter(CompoundWriter& writer) : writer_(writer) {}

  void write(const MemoryMessage& message, CompoundWriter::Storage storage, ObjectKind kind, CodePage codePage) {
    codePage = codePageOf(message.bag(), codePage);
    ObjectWriter properties(writer_, names_, storage);
    properties.write(message.bag(), codePage);
    bool wide = properties.hasWideTexts();
    std::uint32_t recipients = 0;
    for (const ComPtr<MemoryRecipient>& recipient : message.parts().recipients) {
      ObjectWriter part(writer_, names_, writer_.addStorage(storage, numberedName(kRecipientPrefix, recipients++)));
      part.write(recipient->bag(), codePage);
      part.finish(std::string(headerBytes(ObjectKind::Part), '\0'));
      wide = wide || part.hasWideTexts();
    }
    std::uint32_t attachments = 0;
    for (const ComPtr<MemoryAttachment>& attachment : message.parts().attachments) {
      const CompoundWriter::Storage made = writer_.addStorage(storage, numberedName(kAttachmentPrefix, attachments++));
      wide = writeAttachment(*attachment, made, codePage) || wide;
    }
    // Readers take the texts of a message for narrow ones without this mark.
    if (wide) {
      properties.setBits(PR_STORE_SUPPORT_MASK, kStoreUnicodeOk);
    }
    std::string header(headerBytes(kind), '\0');
    storeAt(header, kNextRecipient, recipients);
    storeAt(header, kNextAttachment, attachments);
    storeAt(header, kRecipientCount, recipients);
    storeAt(header, kAttachmentCount, attachments);
    properties.finish(header);
  }

  void finish() {
    names_.write(writer_);
    writer_.finish();
  }

 private:
  // Tells whether it has wide texts.
  bool writeAttachment(const MemoryAttachment& attachment, CompoundWriter::Storage storage, CodePage codePage) {
    const PropertyBag& bag = attachment.bag();
    ObjectWriter properties(writer_, names_, storage);
    properties.write(bag, codePage);
    const std::u16string objectName = numberedName(kValuePrefix, PR_ATTACH_DATA_OBJ);
    if (attachment.embedded()) {
      properties.listObject(PR_ATTACH_DATA_OBJ, kObjectIsMessage);
      write(*attachment.embedded(), writer_.addStorage(storage, objectName), ObjectKind::EmbeddedMessage, codePage);
    } else if (const PropertyRecord* ole = bag.find(kTagOleData)) {
      writeOleData(*ole, bag, storage, objectName, properties);
    }
    properties.finish(std::string(headerBytes(ObjectKind::Part), '\0'));
    return properties.hasWideTexts();
  }

  // Data that are no compound file can't be a storage; they go where the data of a file attachment are.
  void writeOleData(const PropertyRecord& ole, const PropertyBag& bag, CompoundWriter::Storage storage,
                    const std::u16string& objectName, ObjectWriter& properties) {
    ComPtr<IStream> data;
    checkHResult(openRecord(ole, PT_BINARY, data.put()), kSource.at("MessageWriter::writeOleData"));
    if (CompoundFile::isCompoundFile(data.get())) {
      CompoundFile file(data.get());
      properties.listObject(PR_ATTACH_DATA_OBJ, kObjectIsStorage);
      copyStorage(file, file.root(), writer_, writer_.addStorage(storage, objectName, infoOf(file.root())));
    } else if (bag.find(PR_ATTACH_DATA_BIN) == nullptr) {
      STATSTG stat{};
      checkHResult(data->Stat(&stat, STATFLAG_NONAME), kSource.at("MessageWriter::writeOleData"));
      writer_.addStream(storage, numberedName(kValuePrefix, PR_ATTACH_DATA_BIN), data.get());
      properties.list(PR_ATTACH_DATA_BIN, stat.cbSize);
    }
  }

  CompoundWriter& writer_;
  NameNumbers names_;
};

}  // namespace

void writeMsg(MemoryMessage* message, const std::filesystem::path& file) {
  FileSink sink(file);
  writeMsg(message, sink);
  sink.close();
}

void writeMsg(MemoryMessage* message, ByteSink& sink) {
  CompoundWriter compound(sink, expectedBytes(*message));
  compound.setRootInfo({kMessageClassId, 0, {}, {}});
  MessageWriter writer(compound);
  writer.write(*message, CompoundWriter::kRoot, ObjectKind::Message, kAnsiCodePage);
  writer.finish();
}

}  // namespace nalvo::host

#include "host/hidden_values.h"

#include <algorithm>
#include <iterator>

#include "diagnostics/hresult_exception.h"
#include "platform/mapi/tags.h"
#include "platform/text/code_pages.h"
#include "platform/text/rtf/compressed_rtf.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\HiddenValues"};

struct OriginatorRow {
  ULONG type;
  ULONG address;
  const char* what;
};
constexpr OriginatorRow kOriginators[] = {
    {PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS, "the sender"},
    {PR_SENT_REPRESENTING_ADDRTYPE, PR_SENT_REPRESENTING_EMAIL_ADDRESS, "the author"},
};

constexpr std::int32_t kByValue = 1;
constexpr std::int32_t kByReference = 4;
// None, by value, by reference, message, OLE object.
constexpr std::int32_t kKnownMethods[] = {0, kByValue, kByReference, 5, 6};

}  // namespace

HiddenValues::~HiddenValues() {
  for (Value& value : values_) {
    value.bag->take(value.tag);
    if (value.record) {
      value.bag->restore(value.tag, std::move(*value.record));
    }
  }
}

void HiddenValues::hide(const std::shared_ptr<PropertyBag>& bag, ULONG tag) {
  if (std::optional<PropertyRecord> record = bag->take(tag)) {
    values_.push_back({bag, tag, std::move(record)});
  }
}

void HiddenValues::hideUnknownCodePages(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  for (MemoryMessage* message : messages) {
    const PropertyRecord* record = message->bag().find(PR_INTERNET_CPID);
    const auto* page = record == nullptr ? nullptr : std::get_if<std::int32_t>(&record->content);
    if (page != nullptr && findCodePage(static_cast<CodePage>(*page)) == nullptr) {
      told.push_back("the code page " + std::to_string(*page) + " is unknown and counts as absent");
      hide(message->sharedBag(), PR_INTERNET_CPID);
    }
  }
}

void HiddenValues::replaceOddMethods(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  for (MemoryMessage* message : messages) {
    for (const auto& attachment : message->parts().attachments) {
      const std::shared_ptr<PropertyBag>& bag = attachment->sharedBag();
      const PropertyRecord* record = bag->find(PR_ATTACH_METHOD);
      const auto* stored = record == nullptr ? nullptr : std::get_if<std::int32_t>(&record->content);
      const std::int32_t shown = stored == nullptr ? 0 : methodInMail(*bag, *stored);
      if (stored == nullptr || shown == *stored) {
        continue;
      }
      if (shown == kByValue && bag->find(PR_ATTACH_DATA_BIN) == nullptr) {
        told.push_back("an attachment of method " + std::to_string(*stored) + " has no path; the mail has an empty file");
        values_.push_back({bag, PR_ATTACH_DATA_BIN, {}});
        bag->restore(PR_ATTACH_DATA_BIN, {PT_BINARY, std::string()});
      }
      hide(bag, PR_ATTACH_METHOD);
      bag->restore(PR_ATTACH_METHOD, {PT_LONG, shown});
    }
  }
}

bool HiddenValues::hideDamagedRtf(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  bool found = false;
  for (MemoryMessage* message : messages) {
    const PropertyRecord* rtf = message->bag().find(PR_RTF_COMPRESSED);
    if (rtf != nullptr && !isIntactRtf(*rtf)) {
      told.push_back("the RTF text is damaged; the mail is made from what other text there is");
      hide(message->sharedBag(), PR_RTF_COMPRESSED);
      found = true;
    }
  }
  return found;
}

std::int32_t methodInMail(const PropertyBag& attachment, std::int32_t method) {
  if (std::find(std::begin(kKnownMethods), std::end(kKnownMethods), method) != std::end(kKnownMethods)) {
    return method;
  }
  const bool hasPath = attachment.find(PR_ATTACH_LONG_PATHNAME) != nullptr || attachment.find(PR_ATTACH_PATHNAME) != nullptr;
  return hasPath ? kByReference : kByValue;
}

bool isIntactRtf(const PropertyRecord& compressed) {
  constexpr const char* kWhere = "host::isIntactRtf";
  ComPtr<IStream> stream;
  checkHResult(openRecord(compressed, PT_BINARY, stream.put()), kSource.at(kWhere));
  CompressedRtfDecoder decoder;
  std::vector<char> buffer(64U << 10);
  std::string rtf;
  for (ULONG got = 1; got != 0 && !decoder.atEnd();) {
    checkHResult(stream->Read(buffer.data(), static_cast<ULONG>(buffer.size()), &got), kSource.at(kWhere));
    decoder.update({buffer.data(), got}, rtf);
    rtf.clear();
  }
  return decoder.intact();
}

void tellNamelessOriginators(const MemoryMessage& message, std::vector<std::string>& told) {
  for (const OriginatorRow& row : kOriginators) {
    const PropertyRecord* type = message.bag().answer(row.type);
    const bool isPath = type != nullptr && equalsIgnoreCase(textOf(*type), u"EX");
    if (isPath && message.bag().answer(changePropType(row.address, PT_STRING8)) == nullptr) {
      told.push_back("the address of " + std::string(row.what) + " is a path in a directory; the mail has the name alone");
      return;
    }
  }
}

}  // namespace nalvo::host

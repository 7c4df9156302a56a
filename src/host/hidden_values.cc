#include "host/hidden_values.h"

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

}  // namespace

HiddenValues::~HiddenValues() {
  for (Value& value : values_) {
    value.message->bag().restore(value.tag, std::move(value.record));
  }
}

void HiddenValues::hide(MemoryMessage& message, ULONG tag) {
  if (std::optional<PropertyRecord> record = message.bag().take(tag)) {
    values_.push_back({&message, tag, std::move(*record)});
  }
}

void HiddenValues::hideUnknownCodePages(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  for (MemoryMessage* message : messages) {
    const PropertyRecord* record = message->bag().find(PR_INTERNET_CPID);
    const auto* page = record == nullptr ? nullptr : std::get_if<std::int32_t>(&record->content);
    if (page != nullptr && findCodePage(static_cast<CodePage>(*page)) == nullptr) {
      told.push_back("the code page " + std::to_string(*page) + " is unknown and counts as absent");
      hide(*message, PR_INTERNET_CPID);
    }
  }
}

bool HiddenValues::hideDamagedRtf(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  bool found = false;
  for (MemoryMessage* message : messages) {
    const PropertyRecord* rtf = message->bag().find(PR_RTF_COMPRESSED);
    if (rtf != nullptr && !isIntactRtf(*rtf)) {
      told.push_back("the RTF text is damaged; the mail is made from what other text there is");
      hide(*message, PR_RTF_COMPRESSED);
      found = true;
    }
  }
  return found;
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

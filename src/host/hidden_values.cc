#include "host/hidden_values.h"

#include <algorithm>

#include "diagnostics/hresult_exception.h"
#include "host/msg_layout.h"
#include "host/series.h"
#include "host/worked_out_body.h"
#include "platform/mapi/tags.h"
#include "platform/text/code_pages.h"
#include "platform/text/rtf/compressed_rtf.h"
#include "platform/text/text.h"
#include "platform/text/text_converter.h"

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

constexpr std::int32_t kNoAttachment = 0;
constexpr std::int32_t kByReference = 4;

// As warnings name an attachment.
std::string shownName(const MemoryAttachment& attachment, std::size_t index) {
  std::string shown = "attachment " + std::to_string(index);
  for (const ULONG tag : {PR_ATTACH_LONG_FILENAME, PR_ATTACH_FILENAME, PR_DISPLAY_NAME}) {
    if (const PropertyRecord* name = attachment.bag().find(tag)) {
      return shown + " (" + wideToUtf8(textOf(*name)) + ")";
    }
  }
  return shown;
}

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

void HiddenValues::replace(const std::shared_ptr<PropertyBag>& bag, ULONG tag, PropertyRecord record) {
  values_.push_back({bag, tag, bag->take(tag)});
  bag->restore(tag, std::move(record));
}

void HiddenValues::hideUnknownCodePages(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  for (MemoryMessage* message : messages) {
    const std::optional<std::int32_t> page = message->bag().number(PR_INTERNET_CPID);
    if (page && findCodePage(static_cast<CodePage>(*page)) == nullptr) {
      told.push_back("the code page " + std::to_string(*page) + " is unknown and counts as absent");
      hide(message->sharedBag(), PR_INTERNET_CPID);
    }
  }
}

void HiddenValues::hideUntoldSeries(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  for (MemoryMessage* message : messages) {
    for (const ULONG tag : untoldSeriesOf(message->bag())) {
      told.push_back("the item repeats in a way that no mail tells, or its pattern is damaged; the mail has one date");
      hide(message->sharedBag(), tag);
    }
  }
}

void HiddenValues::replaceOddAttachments(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told) {
  for (MemoryMessage* message : messages) {
    std::size_t index = 0;
    for (const auto& attachment : message->parts().attachments) {
      const std::string name = shownName(*attachment, index++);
      const std::shared_ptr<PropertyBag>& bag = attachment->sharedBag();
      const std::int32_t shown = methodInMail(*attachment);
      if (shown == msg::kByValue && bag->find(PR_ATTACH_DATA_BIN) == nullptr) {
        told.push_back(name + " has no data; the mail has an empty file");
        replace(bag, PR_ATTACH_DATA_BIN, {PT_BINARY, std::string()});
      }
      if (bag->number(PR_ATTACH_METHOD) != shown) {
        replace(bag, PR_ATTACH_METHOD, {PT_LONG, shown});
      }
    }
  }
}

void HiddenValues::addWorkedOutBodies(const std::vector<MemoryMessage*>& messages) {
  for (MemoryMessage* message : messages) {
    if (std::optional<std::u16string> text = workedOutBody(*message)) {
      replace(message->sharedBag(), PR_BODY, {PT_UNICODE, std::move(*text)});
    }
  }
}

void HiddenValues::makeNotes(const std::vector<MemoryMessage*>& messages) {
  for (const MemoryMessage* message : messages) {
    if (isItem(*message)) {
      replace(message->sharedBag(), PR_MESSAGE_CLASS, {PT_UNICODE, std::u16string(kNoteClass)});
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

std::int32_t methodInMail(const MemoryAttachment& attachment) {
  const PropertyBag& bag = attachment.bag();
  const bool hasMessage = static_cast<bool>(attachment.embedded());
  const bool hasObject = bag.find(msg::kTagOleData) != nullptr;
  const std::int32_t held = bag.find(PR_ATTACH_DATA_BIN) != nullptr ? msg::kByValue
                            : hasMessage                            ? msg::kEmbeddedMessage
                            : hasObject                             ? msg::kOle
                                                                    : msg::kByValue;
  switch (const std::int32_t method = bag.number(PR_ATTACH_METHOD).value_or(msg::kByValue)) {
    case kNoAttachment:
    case kByReference:
      return method;
    case msg::kByValue:
      return held;
    case msg::kEmbeddedMessage:
      return hasMessage ? method : held;
    case msg::kOle:
      return hasObject ? method : held;
    default:
      break;
  }
  const bool hasPath = bag.find(PR_ATTACH_LONG_PATHNAME) != nullptr || bag.find(PR_ATTACH_PATHNAME) != nullptr;
  return hasPath ? kByReference : msg::kByValue;
}

bool isItem(const MemoryMessage& message) {
  constexpr std::u16string_view kItems[] = {u"IPM.Appointment", u"IPM.Schedule.Meeting.", u"IPM.Task",       u"IPM.Contact",
                                            u"IPM.DistList",    u"IPM.Activity",          u"IPM.StickyNote", u"REPORT."};
  const PropertyRecord* record = message.bag().find(PR_MESSAGE_CLASS);
  const std::u16string messageClass = record == nullptr ? std::u16string() : textOf(*record);
  return std::any_of(std::begin(kItems), std::end(kItems), [&](std::u16string_view start) {
    return equalsIgnoreCase(std::u16string_view(messageClass).substr(0, start.size()), start);
  });
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

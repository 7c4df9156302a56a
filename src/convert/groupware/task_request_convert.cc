#include "convert/groupware/task_request_convert.h"

#include "convert/attachment_convert.h"
#include "convert/groupware/task_request_convert_embedded.h"
#include "convert/importance.h"
#include "diagnostics/hresult_exception.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"
#include "properties/no_convert.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\TaskRequestConvert"};

// Bits of PR_MESSAGE_FLAGS.
constexpr std::uint32_t kFlagRead = 0x1;
constexpr std::uint32_t kFlagUnsent = 0x8;
constexpr std::uint32_t kFlagHidden = 0x40;
constexpr std::uint32_t kReceiptPending = 0x300;

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::TaskRequestConvert, toMapi::TaskRequestConvert>::create, u"IPM.TaskRequest");

}  // namespace

namespace toMime {

PartTags TaskRequestConvert::getPartTags(IConvertMessage* /*message*/) const {
  PartTags tags;
  tags.flagTags = {PR_FLAG_STATUS, PR_MESSAGE_CLASS, PR_MESSAGE_DELIVERY_TIME, PR_MESSAGE_FLAGS};
  tags.bodyTags = {PR_IMPORTANCE, PR_PRIORITY, PR_SUBJECT};
  tags.allParts = false;
  tags.noOtherTags = true;
  return tags;
}

ComPtr<IConvertMessage> TaskRequestConvert::getEmbeddedTask() const {
  constexpr const char* kWhere = "toMime::TaskRequestConvert::getEmbeddedTask";
  IMapiAllocator* allocator = data().getAllocator();
  ScopedInterfaceArray array;
  checkHResult(data().getMapiMessage()->getAttachments(array.put(), 1), kSource.at(kWhere));
  for (IUnknown* element : array) {
    ComPtr<IConvertAttachment> attachment;
    if (element == nullptr || failed(element->QueryInterface(IConvertAttachment::kIid, attachment.putVoid()))) {
      throwHResult(E_INVALIDARG, kSource.at(kWhere));
    }
    if (!MapiPropUtils::propertyExists(attachment.get(), PR_ATTACH_METHOD) ||
        MapiPropUtils::propULong(attachment.get(), PR_ATTACH_METHOD, allocator) !=
            static_cast<std::uint32_t>(AttachMethod::EmbeddedMessage)) {
      continue;
    }
    ComPtr<IConvertMessage> message;
    checkHResult(attachment->openProp(PR_ATTACH_DATA_OBJ, 0, IConvertMessage::kIid, message.putUnknown()),
                 kSource.at(kWhere));
    if (!message) {
      throwHResult(E_INVALIDARG, kSource.at(kWhere));
    }
    if (MapiPropUtils::propertyExists(message.get(), PR_MESSAGE_CLASS) &&
        equalsIgnoreCase(MapiPropUtils::propUnicodeT(message.get(), PR_MESSAGE_CLASS, allocator), kTaskClass)) {
      return message;
    }
  }
  throwHResult(E_INVALIDARG, kSource.at(kWhere), "A task request without a task.");
}

void TaskRequestConvert::mapiToMimeStart() {
  const ComPtr<IConvertMessage> task = getEmbeddedTask();
  const bool forSend = hasFlag(ToMimeFlags::ForSend);
  ConvertorDataMessage state;
  const bool hasAnnotations = hasServerSide();
  state.setMapiToMime(task.get(), data().getMapiMessage(), data().getAllocator(), flags() | ToMimeFlags::EmbedAsNormal,
                      hasAnnotations ? data().getAnnotations() : nullptr, data().getMimeMessage(),
                      forSend || !hasAnnotations ? nullptr : data().getMimeFlags());
  TaskRequestSubConvert convert(&state);
  convert.mapiToMimeStart();
  for (const ULONG tag : NoConvert::getConvertableProps(task.get(), IConvertMessage::kIid)) {
    if (propType(tag) != PT_OBJECT) {
      convert.onProp(tag);
    }
  }
  convert.mapiToMimeEnd();
}

void TaskRequestConvert::onProp(ULONG tag) {
  switch (tag) {
    case PR_SUBJECT:
      setHeader(tag, mime::HeaderId::Subject);
      break;
    case PR_IMPORTANCE:
      if (const ImportanceRow* row = rowOfValue(kImportances, getULong(tag))) {
        setHeader("Importance", row->word);
      }
      break;
    case PR_PRIORITY:
      if (const PriorityRow* row = rowOfValue(kPriorities, getULong(tag))) {
        setHeader(mime::HeaderId::XPriority, row->number);
        setHeader(mime::HeaderId::XMsMailPriority, row->word);
      }
      break;
    default:
      if (hasServerSide()) {
        onServerProp(tag);
      }
      break;
  }
}

void TaskRequestConvert::onServerProp(ULONG tag) {
  constexpr const char* kWhere = "toMime::TaskRequestConvert::onProp";
  switch (tag) {
    case PR_MESSAGE_CLASS:
      if ((getULongOr(PR_MESSAGE_FLAGS, 0) & kFlagHidden) == 0) {
        checkHResult(data().getMimeFlags()->setMessageClass(getUnicode(tag).c_str()), kSource.at(kWhere));
      }
      break;
    case PR_MESSAGE_DELIVERY_TIME: {
      const SYSTEMTIME delivered = getSysTime(tag);
      checkHResult(data().getMimeFlags()->setInternalDate(&delivered), kSource.at(kWhere));
      break;
    }
    case PR_MESSAGE_FLAGS: {
      const std::uint32_t value = getULong(tag);
      setImapFlag(MimeFlag::Read, (value & kFlagRead) != 0);
      setImapFlag(MimeFlag::Draft, (value & kFlagUnsent) != 0);
      setImapFlag(MimeFlag::ReceiptDealtWith, (value & kReceiptPending) != kReceiptPending);
      break;
    }
    case PR_FLAG_STATUS:
      setImapFlag(MimeFlag::Flagged, getULong(tag) != 0);
      break;
    default:
      break;
  }
}

}  // namespace toMime
}  // namespace nalvo

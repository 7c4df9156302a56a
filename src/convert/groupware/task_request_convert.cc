#include "convert/groupware/task_request_convert.h"

#include <algorithm>
#include <iterator>

#include "convert/attachment_convert.h"
#include "convert/groupware/object_attendees.h"
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

constexpr std::u16string_view kTaskClass = u"IPM.Task";
// Of the caller's own; it goes with the task.
constexpr ULONG kTagOfCaller = propTag(PT_BOOLEAN, 0x7D01);

// Bits of PR_MESSAGE_FLAGS.
constexpr std::uint32_t kFlagRead = 0x1;
constexpr std::uint32_t kFlagUnsent = 0x8;
constexpr std::uint32_t kFlagHidden = 0x40;
constexpr std::uint32_t kReceiptPending = 0x300;

constexpr std::uint32_t kSideEffects = 0x401;
constexpr std::uint32_t kTodoItem = 1;
constexpr std::uint32_t kFollowupComplete = 1;
constexpr std::uint32_t kFollowupFlagged = 2;
constexpr std::uint32_t kFollowupIconRed = 6;

constexpr ULONG kOriginatorTags[] = {
    PR_SENDER_ADDRTYPE,
    PR_SENDER_EMAIL_ADDRESS,
    PR_SENDER_ENTRYID,
    PR_SENDER_NAME,
    PR_SENDER_SEARCH_KEY,
    PR_SENT_REPRESENTING_ADDRTYPE,
    PR_SENT_REPRESENTING_EMAIL_ADDRESS,
    PR_SENT_REPRESENTING_ENTRYID,
    PR_SENT_REPRESENTING_NAME,
    PR_SENT_REPRESENTING_SEARCH_KEY,
};

struct ModeRow {
  std::uint32_t mode;
  std::u16string_view prefix;  // of the subject
  std::u16string_view messageClass;
};
// The first row answers for what is not known.
constexpr ModeRow kModes[] = {
    {kTaskRequest, u"Task Request: ", u"IPM.TaskRequest"},
    {kTaskChanged, u"Task Update: ", u"IPM.TaskRequest.Update"},
    {kTaskAccepted, u"Task Accepted: ", u"IPM.TaskRequest.Accept"},
    {kTaskDeclined, u"Task Declined: ", u"IPM.TaskRequest.Decline"},
    {kTaskUpdate, u"Task Update: ", u"IPM.TaskRequest.Update"},
    {kTaskCancelled, u"Task Cancel: ", u"IPM.TaskRequest"},
};

const ModeRow& rowOfMode(std::uint32_t mode) {
  const auto* row =
      std::find_if(std::begin(kModes), std::end(kModes), [=](const ModeRow& each) { return each.mode == mode; });
  return row == std::end(kModes) ? kModes[0] : *row;
}

// The flags of a run are others while the object lives.
class ScopedFlags {
 public:
  ScopedFlags(ConvertorDataMessage& data, ToMapiFlags added) : data_(data), former_(data.getToMapiFlags()) {
    data_.setFlags(former_ | added);
  }
  ~ScopedFlags() { data_.setFlags(former_); }
  ScopedFlags(const ScopedFlags&) = delete;
  ScopedFlags& operator=(const ScopedFlags&) = delete;

 private:
  ConvertorDataMessage& data_;
  const ToMapiFlags former_;
};

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

namespace toMapi {

void TaskRequestConvert::convertMimeToMapi() {
  if (hasFlag(ToMapiFlags::JustFlags)) {
    MessageConvert::convertMimeToMapi();
    return;
  }
  const Task task = makeTask();
  // The task has the attachments.
  data().setFlags(flags() | ToMapiFlags::NoAttachment);
  MessageConvert::convertMimeToMapi();
  setAddresses(true, true);
  takePeople(task.message.get());
  setEnvelope(task);
}

// A calendar text that comes without a mail around it names them alone.
void TaskRequestConvert::takePeople(IConvertMessage* task) {
  if (!exists(PR_SENDER_ENTRYID)) {
    for (const ULONG tag : kOriginatorTags) {
      MapiPropUtils::propCopyIfExist(task, data().getMapiMessage(), data().getAllocator(), tag);
    }
  }
  const char* const where = "toMapi::TaskRequestConvert::takePeople";
  if (!recipientsOf(data().getMapiMessage(), where).empty()) {
    return;
  }
  const auto recipients = recipientsOf(task, where);
  for (const ComPtr<IConvertRecipient>& recipient : recipients) {
    const mail::Attendee person = ObjectAttendees::createAttendeeFromRecipient(recipient.get(), data().getAllocator());
    // Who asks is told as the sender; an answer goes there alone.
    if (person.role != mail::Attendee::Role::Chair || recipients.size() == 1) {
      ObjectAttendees::addRsvpAttendee(data(), person);
    }
  }
}

TaskRequestConvert::Task TaskRequestConvert::makeTask() {
  constexpr const char* kWhere = "toMapi::TaskRequestConvert::convertMimeToMapi";
  const ScopedFlags scope(data(), ToMapiFlags::EmbedAsNormal);
  setImportance();
  Task task;
  ComPtr<IConvertAttachment> attachment;
  createEmbeddedTask(attachment.put(), task.message.put());
  IMapiAllocator* allocator = data().getAllocator();
  const ULONG idTag = data().tagOf(named::kTaskGlobalId, task.message.get());
  if (MapiPropUtils::propertyExists(task.message.get(), idTag)) {
    task.globalId = MapiPropUtils::propBinary(task.message.get(), idTag, allocator);
  } else {
    task.globalId = makeTaskGlobalId();
    MapiPropUtils::setBinary(task.message.get(), idTag, task.globalId);
  }
  checkHResult(task.message->saveChanges(), kSource.at(kWhere));
  if (MapiPropUtils::propertyExists(task.message.get(), PR_SUBJECT)) {
    task.subject = MapiPropUtils::propUnicodeT(task.message.get(), PR_SUBJECT, allocator);
  }
  MapiPropUtils::setUnicode(attachment.get(), PR_DISPLAY_NAME, task.subject);
  checkHResult(attachment->saveChanges(), kSource.at(kWhere));
  return task;
}

void TaskRequestConvert::createEmbeddedTask(IConvertAttachment** attachment, IConvertMessage** message) {
  constexpr const char* kWhere = "toMapi::TaskRequestConvert::createEmbeddedTask";
  if (attachment == nullptr || message == nullptr) {
    throwHResult(E_INVALIDARG, kSource.at(kWhere));
  }
  ComPtr<IConvertAttachment> made;
  ComPtr<IConvertMessage> task;
  checkHResult(data().getMapiMessage()->createAttachment(made.put()), kSource.at(kWhere));
  checkHResult(made->openProp(PR_ATTACH_DATA_OBJ, 1, IConvertMessage::kIid, task.putUnknown()), kSource.at(kWhere));
  ConvertorDataMessage state;
  state.setMimeToMapi(data().getMimeMessage(), fromAttachment() ? nullptr : data().getAnnotations(),
                      fromAttachment() ? nullptr : data().getMimeFlags(), task.get(), data().getAllocator(), flags());
  TaskRequestSubConvert convert(&state);
  convert.convertMimeToMapi();
  convert.mimeToMapiEnd();
  MapiPropUtils::setULong(made.get(), PR_ATTACH_METHOD, static_cast<std::uint32_t>(AttachMethod::EmbeddedMessage));
  *attachment = made.detach();
  *message = task.detach();
}

void TaskRequestConvert::setEnvelope(const Task& task) {
  IConvertMessage* envelope = data().getMapiMessage();
  MapiPropUtils::propCopyIfExist(task.message.get(), envelope, data().getAllocator(), kTagOfCaller);
  setULong(tagOf(named::kSideEffects), kSideEffects);
  const ULONG modeTag = data().tagOf(named::kTaskMode, task.message.get());
  std::uint32_t mode = MapiPropUtils::propertyExists(task.message.get(), modeTag)
                           ? MapiPropUtils::propULong(task.message.get(), modeTag, data().getAllocator())
                           : kTaskRequest;
  if (mode == kTaskChanged) {
    mode = kTaskUpdate;
  }
  const ModeRow& row = rowOfMode(mode);
  setULong(tagOf(named::kTaskMode), mode);
  setUnicode(PR_SUBJECT, std::u16string(row.prefix) + task.subject);
  setUnicode(PR_MESSAGE_CLASS, row.messageClass);
  setBool(tagOf(named::kSmartNoAttach), true);
  MapiPropUtils::setBinary(envelope, tagOf(named::kTaskGlobalId), task.globalId);
  ObjectAttendees::fillReceivedByProperties(data());
  setOtherFlags();
  setBody(mime::IET_UNICODE, PR_BODY, mime::TXT_PLAIN);
  setBody(mime::IET_BINARY, tagOf(named::kInternetCharsetBody), mime::TXT_PLAIN);
  setBody(mime::IET_ENCODED, PR_HTML, mime::TXT_HTML);
  setCharset();
}

void TaskRequestConvert::setOtherFlags() {
  if (!isImapFlagSet(MimeFlag::Flagged)) {
    for (const ULONG tag : {PR_FLAG_STATUS, PR_FOLLOWUP_ICON, PR_TODO_ITEM_FLAGS}) {
      MapiPropUtils::deletePropIfExist(data().getMapiMessage(), tag);
    }
    return;
  }
  setULong(PR_TODO_ITEM_FLAGS, kTodoItem);
  const std::uint32_t followup = getULongOr(PR_FLAG_STATUS, 0);
  if (followup == 0) {
    setULong(PR_FLAG_STATUS, kFollowupFlagged);
  }
  if (followup != kFollowupComplete) {
    setULong(PR_FOLLOWUP_ICON, kFollowupIconRed);
  }
}

}  // namespace toMapi
}  // namespace nalvo

// From the text of a request to the message that holds the task.
#include <algorithm>
#include <iterator>

#include "convert/attachment_convert.h"
#include "convert/groupware/calendar_values.h"
#include "convert/groupware/object_attendees.h"
#include "convert/groupware/task_request_convert.h"
#include "convert/groupware/task_request_convert_embedded.h"
#include "diagnostics/hresult_exception.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\TaskRequestConvert"};

constexpr std::uint32_t kSideEffects = 0x401;
constexpr std::uint32_t kTodoItem = 1;
constexpr std::uint32_t kFollowupComplete = 1;
constexpr std::uint32_t kFollowupFlagged = 2;
constexpr std::uint32_t kFollowupIconRed = 6;

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

}  // namespace

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
  constexpr const char* kWhere = "toMapi::TaskRequestConvert::takePeople";
  if (!ObjectAttendees::recipientsOf(data().getMapiMessage(), kWhere).empty()) {
    return;
  }
  const auto recipients = ObjectAttendees::recipientsOf(task, kWhere);
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

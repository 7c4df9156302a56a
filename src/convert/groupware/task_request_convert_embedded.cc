#include "convert/groupware/task_request_convert_embedded.h"

#include <algorithm>
#include <iterator>

#include "convert/groupware/object_attendees.h"
#include "diagnostics/hresult_exception.h"
#include "platform/com/interface_array.h"
#include "platform/text/code_pages.h"
#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "platform/text/text.h"
#include "streams/stream_convertor.h"
#include "text/rich_text_convertor.h"
#include "text/wrap_compressed_rtf_stream.h"

namespace nalvo {
namespace {

using mail::Attendee;
using mail::Method;
using ObjectAttendees::Person;
using PartStat = mail::Attendee::PartStat;

constexpr SourceFile kSource{".\\TaskRequestConvert"};

// Of the caller's own; it goes with the task.
constexpr ULONG kTagOfCaller = propTag(PT_BOOLEAN, 0x7D01);

constexpr std::uint32_t kSideEffects = 0x171;
constexpr std::uint32_t kIconTaskRequest = 0x503;
constexpr std::u16string_view kTaskClass = u"IPM.Task";

struct MethodRow {
  std::uint32_t mode;
  const char* parameter;  // of the content type
  Method method;
  bool fromOwner;  // of the task, who answers
};
constexpr MethodRow kMethods[] = {
    {kTaskChanged, "reply", Method::Reply, true},  {kTaskRequest, "request", Method::Request, false},
    {kTaskAccepted, "reply", Method::Reply, true}, {kTaskDeclined, "reply", Method::Reply, true},
    {kTaskUpdate, "reply", Method::Reply, true},   {kTaskCancelled, "cancel", Method::Cancel, false},
};
constexpr MethodRow kNoMethod = {0, "", Method::Publish, false};

const MethodRow& methodRow(std::uint32_t mode) {
  const auto* row =
      std::find_if(std::begin(kMethods), std::end(kMethods), [=](const MethodRow& each) { return each.mode == mode; });
  return row == std::end(kMethods) ? kNoMethod : *row;
}

// What the embedded task of a received request says of itself.
struct StateRow {
  std::uint32_t mode;
  std::uint32_t history;
  std::uint32_t state;
  std::uint32_t acceptance;
  std::uint32_t ownership;
};
// The first row answers for what is not known.
constexpr StateRow kStates[] = {
    {kTaskRequest, 5, 3, 1, 1},  {kTaskChanged, 3, 2, 0, 2}, {kTaskAccepted, 1, 2, 0, 2},
    {kTaskDeclined, 2, 3, 1, 1}, {kTaskUpdate, 3, 2, 0, 2},  {kTaskCancelled, 0, 3, 1, 1},
};

// What the answer of a task's owner means.
struct AnswerRow {
  PartStat partStat;
  std::uint32_t mode;
};
// The first row answers for what is not known.
constexpr AnswerRow kAnswers[] = {
    {PartStat::Accepted, kTaskAccepted},  {PartStat::NeedsAction, kTaskUpdate}, {PartStat::Declined, kTaskDeclined},
    {PartStat::Tentative, kTaskAccepted}, {PartStat::Delegated, kTaskUpdate},   {PartStat::Completed, kTaskChanged},
    {PartStat::InProcess, kTaskUpdate},
};

std::uint32_t modeOf(PartStat partStat) {
  const auto* row = std::find_if(std::begin(kAnswers), std::end(kAnswers),
                                 [=](const AnswerRow& each) { return each.partStat == partStat; });
  return row == std::end(kAnswers) ? kAnswers[0].mode : row->mode;
}

PartStat answerOf(std::uint32_t mode, std::uint32_t status) {
  switch (mode) {
    case kTaskAccepted:
      return PartStat::Accepted;
    case kTaskDeclined:
      return PartStat::Declined;
    case kTaskChanged:
    case kTaskUpdate:
      return status == mail::VTodo::kInProcess   ? PartStat::InProcess
             : status == mail::VTodo::kCompleted ? PartStat::Completed
                                                 : PartStat::NeedsAction;
    default:
      return PartStat::NeedsAction;
  }
}

Attendee attendeeOf(const Person& person) {
  Attendee attendee;
  attendee.name = wideToUtf8(person.name);
  attendee.address = wideToUtf8(person.address);
  attendee.addressKind = Attendee::AddressKind::Mail;
  return attendee;
}

const std::string& displayName(const Attendee& attendee) { return attendee.name.empty() ? attendee.address : attendee.name; }

// Whether the text of a message is taken from its RTF, by the editor that made it.
bool isRtfWanted(IConvertMessage* message, IMapiAllocator* allocator) {
  const auto has = [message](ULONG tag) { return MapiPropUtils::propertyExists(message, tag); };
  if (!has(PR_RTF_COMPRESSED)) {
    return false;
  }
  const std::uint32_t format =
      has(PR_MSG_EDITOR_FORMAT) ? MapiPropUtils::propULong(message, PR_MSG_EDITOR_FORMAT, allocator) : 0;
  switch (format) {
    case 1:  // plain text
      return !has(PR_BODY);
    case 2:  // HTML
      return !has(PR_HTML) && !has(PR_BODY_HTML);
    default:
      return format == 0 || format == 3;  // nobody knows, RTF
  }
}

}  // namespace

std::vector<ComPtr<IConvertRecipient>> recipientsOf(IConvertMessage* message, const char* where) {
  ScopedInterfaceArray array;
  checkHResult(message->getRecipients(array.put()), kSource.at(where));
  std::vector<ComPtr<IConvertRecipient>> recipients;
  for (IUnknown* element : array) {
    ComPtr<IConvertRecipient>& recipient = recipients.emplace_back();
    if (element == nullptr || failed(element->QueryInterface(IConvertRecipient::kIid, recipient.putVoid()))) {
      throwHResult(E_INVALIDARG, kSource.at(where));
    }
  }
  return recipients;
}

namespace toMime {

PartTags TaskRequestSubConvert::getPartTags(IConvertMessage* /*message*/) const { return {}; }

std::uint32_t TaskRequestSubConvert::getTaskMode() {
  if (!taskMode_) {
    taskMode_ = getULongOr(tagOf(named::kTaskMode), kTaskRequest);
  }
  return *taskMode_;
}

void TaskRequestSubConvert::mapiToMimeStart() {
  TaskConvert::mapiToMimeStart();
  MapiPropUtils::propCopyIfExist(envelope(), data().getMapiMessage(), data().getAllocator(), kTagOfCaller);
  object().setMethod(methodRow(getTaskMode()).method);
}

void TaskRequestSubConvert::mapiToMimeEnd() {
  if (!hasUid()) {
    createUid();
    MapiPropUtils::setBinary(envelope(), data().tagOf(named::kTaskGlobalId, envelope()),
                             getBinary(tagOf(named::kTaskGlobalId)));
  }
  TaskConvert::mapiToMimeEnd();
}

std::string TaskRequestSubConvert::getMethod() { return methodRow(getTaskMode()).parameter; }

void TaskRequestSubConvert::createAttendees() {
  if (methodRow(getTaskMode()).fromOwner) {
    createAttendeesReply();
  } else {
    createAttendeesRequest();
  }
}

void TaskRequestSubConvert::createAttendeesRequest() {
  object().removeAttendees();
  object().setOrganizer(attendeeOf(ObjectAttendees::getSender(envelope(), data().getAllocator())));
  for (const auto& recipient : recipientsOf(envelope(), "toMime::TaskRequestSubConvert::createAttendeesRequest")) {
    Attendee attendee = ObjectAttendees::createAttendeeFromRecipient(recipient.get(), data().getAllocator());
    if (attendee.role != Attendee::Role::Chair) {
      attendee.partStat = PartStat::NeedsAction;
      object().addAttendee(attendee);
    }
  }
}

void TaskRequestSubConvert::createAttendeesReply() {
  constexpr const char* kWhere = "toMime::TaskRequestSubConvert::createAttendeesReply";
  object().removeAttendees();
  Attendee owner = attendeeOf(ObjectAttendees::getSender(envelope(), data().getAllocator()));
  owner.partStat = answerOf(getTaskMode(), getULongOr(tagOf(named::kTaskStatus), mail::VTodo::kNotStarted));
  object().addAttendee(owner);
  const auto recipients = recipientsOf(envelope(), kWhere);
  if (recipients.size() != 1) {
    throwHResult(E_UNEXPECTED, kSource.at(kWhere), "An answer to a task request goes to one recipient.");
  }
  object().setOrganizer(ObjectAttendees::createOrganizerFromRecipient(recipients.front().get(), data().getAllocator()));
}

GeneratedBodiesTypes TaskRequestSubConvert::renderBodies(IStream* plain, IStream* html) {
  return isRtfWanted(envelope(), data().getAllocator()) && WrapCompressedRtfStream::isAvailable()
             ? bodiesFromRtf(plain, html)
             : bodiesNormal(plain);
}

GeneratedBodiesTypes TaskRequestSubConvert::bodiesNormal(IStream* plain) const {
  constexpr const char* kWhere = "toMime::TaskRequestSubConvert::bodiesNormal";
  if (!MapiPropUtils::propertyExists(envelope(), PR_BODY)) {
    return GeneratedBodiesTypes::None;
  }
  ComPtr<IStream> body;
  checkHResult(envelope()->openProp(PR_BODY, 0, IStream::kIid, body.putUnknown()), kSource.at(kWhere));
  streamUtils::copy(body.get(), plain, false);
  return GeneratedBodiesTypes::Plain;
}

GeneratedBodiesTypes TaskRequestSubConvert::bodiesFromRtf(IStream* plain, IStream* html) {
  ComPtr<IStream> compressed;
  ComPtr<IStream> decoded;
  std::uint32_t codePage = 0;
  const std::uint32_t kind = getRtfStreams(envelope(), compressed.put(), decoded.put(), &codePage);
  const auto unwrap = [&](std::uint32_t flags, std::uint32_t page) {
    streamUtils::rewind(compressed.get());
    return unwrapRtf(compressed.get(), flags, page, nullptr);
  };
  const auto toWide = [](std::uint32_t page, IStream* from, IStream* to) {
    StreamConvertor::instance()->streamToStream(page, kUtf16, from, to);
  };
  switch (kind) {
    case MAPI_NATIVE_BODY_TYPE_RTF:
      RichTextConvertor::rtfToUnicode(decoded.get(), plain);
      return GeneratedBodiesTypes::Plain;
    case MAPI_NATIVE_BODY_TYPE_HTML:
      RichTextConvertor::rtfToUnicode(unwrap(0, codePage).get(), plain);
      toWide(codePage, decoded.get(), html);
      return GeneratedBodiesTypes::Both;
    case MAPI_NATIVE_BODY_TYPE_PLAINTEXT:
      // The code page of the message may lack some of the text.
      toWide(kUtf8, unwrap(MAPI_NATIVE_BODY, kUtf8).get(), plain);
      return GeneratedBodiesTypes::Plain;
    default:
      return GeneratedBodiesTypes::None;
  }
}

}  // namespace toMime

namespace toMapi {

void TaskRequestSubConvert::convertMimeToMapi() {
  TaskConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  setUnicode(PR_MESSAGE_CLASS, kTaskClass);
  setULong(tagOf(named::kSideEffects), kSideEffects);
  const std::uint32_t mode = getULongOr(tagOf(named::kTaskMode), kTaskRequest);
  setState(mode);
  setULong(PR_ICON_INDEX, kIconTaskRequest);
  setULongIfMissing(tagOf(named::kTaskVersion),
                    mode == kTaskCancelled ? 1 : static_cast<std::uint32_t>(object().getSequence()) + 1);
}

void TaskRequestSubConvert::setState(std::uint32_t mode) {
  const auto* row =
      std::find_if(std::begin(kStates), std::end(kStates), [=](const StateRow& each) { return each.mode == mode; });
  const StateRow& state = row == std::end(kStates) ? kStates[0] : *row;
  const ULONG acceptance = tagOf(named::kTaskAcceptanceState);
  const ULONG ownership = tagOf(named::kTaskOwnership);
  if (!exists(acceptance) || !exists(ownership)) {
    setULong(acceptance, state.acceptance);
    setULong(ownership, state.ownership);
  }
  setULongIfMissing(tagOf(named::kTaskState), state.state);
  if (!exists(tagOf(named::kTaskHistory))) {
    setULong(tagOf(named::kTaskHistory), state.history);
    propCopyIfExists(PR_LAST_MODIFICATION_TIME, tagOf(named::kTaskLastUpdate));
  }
}

void TaskRequestSubConvert::parseAttendees() {
  switch (object().getMethod()) {
    case Method::Reply:
      parseAttendeesReply();
      break;
    case Method::Cancel:
      parseAttendeesRequest(true);
      break;
    default:
      parseAttendeesRequest(false);
      break;
  }
}

void TaskRequestSubConvert::setSender(const Attendee& sender) { ObjectAttendees::fillSenderProperties(data(), sender); }

void TaskRequestSubConvert::setBoolIfMissing(ULONG tag, bool value) const {
  if (!exists(tag)) {
    setBool(tag, value);
  }
}

void TaskRequestSubConvert::parseAttendeesReply() {
  const std::vector<Attendee> attendees = object().getAttendees();
  if (attendees.size() != 1) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("toMapi::TaskRequestSubConvert::parseAttendeesReply"),
                 "An answer to a task request comes from one person.");
  }
  Attendee owner = attendees.front();
  if (displayName(owner).empty()) {
    ScopedAddressList authors;
    authors.load(data().getMimeMessage(), mime::IAT_FROM);
    if (!authors.empty()) {
      const mime::AddressProperties& author = *authors.begin();
      owner.name = author.name == nullptr ? std::string() : wideToUtf8(author.name);
      owner.address = author.email == nullptr ? std::string() : author.email;
    }
  }
  setSender(owner);
  // Of several modes with one answer, that which the task had stays.
  const ULONG modeTag = tagOf(named::kTaskMode);
  const std::uint32_t status = getULongOr(tagOf(named::kTaskStatus), mail::VTodo::kNotStarted);
  const PartStat answer = attendees.front().partStat;
  if (!exists(modeTag) || !methodRow(getULong(modeTag)).fromOwner || answerOf(getULong(modeTag), status) != answer) {
    setULong(modeTag, modeOf(answer));
  }
  Attendee organizer = object().getOrganizer();
  if (organizer.address.empty()) {
    organizer = attendeeOf(ObjectAttendees::getMailboxOwner(data().getMapiMessage(), data().getAllocator()));
  }
  organizer.role = Attendee::Role::Chair;
  organizer.partStat = PartStat::Accepted;
  ObjectAttendees::addRsvpAttendee(data(), organizer);
  setBoolIfMissing(tagOf(named::kTeamTask), false);
  if (!exists(tagOf(named::kTaskLastUser))) {
    propCopyIfExists(PR_SENDER_NAME, tagOf(named::kTaskLastUser));
  }
}

void TaskRequestSubConvert::parseAttendeesRequest(bool cancel) {
  Attendee organizer = object().getOrganizer();
  if (!organizer.address.empty()) {
    setSender(organizer);
    organizer.role = Attendee::Role::Chair;
    organizer.partStat = cancel ? PartStat::Declined : PartStat::Accepted;
    organizer.sent = true;
    ObjectAttendees::addRsvpAttendee(data(), organizer);
    if (!exists(tagOf(named::kTaskLastUser))) {
      setUtf8(tagOf(named::kTaskLastUser), displayName(organizer));
    }
  }
  const std::vector<Attendee> attendees = object().getAttendees();
  std::string owners;
  for (const Attendee& attendee : attendees) {
    owners.append(&attendee == &attendees.front() ? "" : "; ");
    if (attendee.rsvp) {
      ObjectAttendees::addRsvpAttendee(data(), attendee);
      owners.append(displayName(attendee));
    }
  }
  const bool multiple = attendees.size() > 1;
  setULong(tagOf(named::kTaskMode), cancel ? kTaskCancelled : kTaskRequest);
  setBoolIfMissing(tagOf(named::kTeamTask), multiple);
  setBoolIfMissing(tagOf(named::kTaskUpdates), !multiple);
  setBoolIfMissing(tagOf(named::kTaskStatusOnComplete), !multiple);
  setULongIfMissing(tagOf(named::kTaskMultipleRecipients), multiple ? 1 : 0);
  if (!exists(tagOf(named::kTaskOwner))) {
    setUtf8(tagOf(named::kTaskOwner), owners);
  }
}

}  // namespace toMapi
}  // namespace nalvo

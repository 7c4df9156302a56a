// From the text of a request to the task that it holds.
#include <algorithm>
#include <iterator>

#include "convert/groupware/object_attendees.h"
#include "convert/groupware/task_request_convert_embedded.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

using mail::Attendee;
using mail::Method;
using PartStat = mail::Attendee::PartStat;

constexpr SourceFile kSource{".\\TaskRequestConvert"};

constexpr std::uint32_t kSideEffects = 0x171;
constexpr std::uint32_t kIconTaskRequest = 0x503;

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

}  // namespace

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
  if (ObjectAttendees::displayName(owner).empty()) {
    ScopedAddressList authors;
    authors.load(data().getMimeMessage(), mime::IAT_FROM);
    if (!authors.empty()) {
      const mime::AddressProperties& author = *authors.begin();
      owner.name = author.name == nullptr ? std::string() : wideToUtf8(author.name);
      owner.address = author.email == nullptr ? std::string() : author.email;
    }
  }
  ObjectAttendees::fillSenderProperties(data(), owner);
  // Of several modes with one answer, that which the task had stays.
  const ULONG modeTag = tagOf(named::kTaskMode);
  const std::uint32_t status = getULongOr(tagOf(named::kTaskStatus), mail::VTodo::kNotStarted);
  const PartStat answer = attendees.front().partStat;
  if (!exists(modeTag) || !methodRow(getULong(modeTag)).fromOwner || answerOf(getULong(modeTag), status) != answer) {
    setULong(modeTag, modeOf(answer));
  }
  Attendee organizer = object().getOrganizer();
  if (organizer.address.empty()) {
    organizer =
        ObjectAttendees::attendeeOf(ObjectAttendees::getMailboxOwner(data().getMapiMessage(), data().getAllocator()));
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
    ObjectAttendees::fillSenderProperties(data(), organizer);
    organizer.role = Attendee::Role::Chair;
    organizer.partStat = cancel ? PartStat::Declined : PartStat::Accepted;
    organizer.sent = true;
    ObjectAttendees::addRsvpAttendee(data(), organizer);
    if (!exists(tagOf(named::kTaskLastUser))) {
      setUtf8(tagOf(named::kTaskLastUser), ObjectAttendees::displayName(organizer));
    }
  }
  const std::vector<Attendee> attendees = object().getAttendees();
  std::string owners;
  for (const Attendee& attendee : attendees) {
    owners.append(&attendee == &attendees.front() ? "" : "; ");
    if (attendee.rsvp) {
      ObjectAttendees::addRsvpAttendee(data(), attendee);
      owners.append(ObjectAttendees::displayName(attendee));
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

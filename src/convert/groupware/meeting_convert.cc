#include "convert/groupware/meeting_convert.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "convert/groupware/meeting_convert_bodies.h"
#include "convert/groupware/object_attendees.h"
#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"
#include "platform/com/interface_array.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

using mail::Attendee;

constexpr SourceFile kSource{".\\MeetingConvert"};

// PidLidSideEffects of a meeting message.
constexpr std::uint32_t kSideEffects = 0x1C61;
// PidLidAppointmentStateFlags: a meeting, received, canceled.
constexpr std::uint32_t kIsMeetingReceived = 3;
constexpr std::uint32_t kIsMeetingReceivedCanceled = 7;
constexpr std::uint32_t kNotResponded = 5;
constexpr std::uint32_t kHighlighted = 3;

// What a reply says.
struct ReplyRow {
  std::u16string_view messageClass;
  Attendee::PartStat partStat;
  unsigned text;
};
constexpr ReplyRow kReplies[] = {
    {u"IPM.Schedule.Meeting.Resp.Pos", Attendee::PartStat::Accepted, kTextHasAccepted},
    {u"IPM.Schedule.Meeting.Resp.Neg", Attendee::PartStat::Declined, kTextHasDeclined},
    {u"IPM.Schedule.Meeting.Resp.Tent", Attendee::PartStat::Tentative, kTextHasTentativelyAccepted},
};
constexpr ReplyRow kOtherReply = {u"", Attendee::PartStat::NeedsAction, kTextHasAnswered};

bool isOfClass(std::u16string_view messageClass, std::u16string_view wanted) {
  return equalsIgnoreCase(messageClass.substr(0, wanted.size()), wanted) &&
         (messageClass.size() == wanted.size() || messageClass[wanted.size()] == u'.');
}

const ReplyRow& replyOfClass(std::u16string_view messageClass) {
  const auto* row = std::find_if(std::begin(kReplies), std::end(kReplies),
                                 [&](const ReplyRow& r) { return isOfClass(messageClass, r.messageClass); });
  return row == std::end(kReplies) ? kOtherReply : *row;
}

template <typename ToMime, typename ToMapi>
bool registerMeeting(const char16_t* messageClass) {
  return ConvertorList::instance().registerConvertor(&ConvertorImpl<ToMime, ToMapi>::create, messageClass);
}

[[maybe_unused]] const bool kRegistered[] = {
    registerMeeting<toMime::MeetingRequestConvert, toMapi::MeetingRequestConvert>(u"IPM.Schedule.Meeting.Request"),
    registerMeeting<toMime::MeetingReplyConvert, toMapi::MeetingReplyConvert>(u"IPM.Schedule.Meeting.Resp"),
    registerMeeting<toMime::MeetingCancelConvert, toMapi::MeetingCancelConvert>(u"IPM.Schedule.Meeting.Canceled"),
};

}  // namespace

namespace toMime {

PartTags MeetingScheduleConvert::getPartTags(IConvertMessage* message) const {
  return PartTags::extend(
      CalendarConvert::getPartTags(message), {}, {},
      {PR_SENT_REPRESENTING_EMAIL_ADDRESS, PR_SENT_REPRESENTING_NAME, PR_SENT_REPRESENTING_ENTRYID, PR_SENDER_EMAIL_ADDRESS,
       PR_SENDER_NAME, PR_SENDER_ENTRYID, PR_REPLY_RECIPIENT_ENTRIES, PR_REPLY_RECIPIENT_NAMES, PR_NORMALIZED_SUBJECT},
      {});
}

void MeetingScheduleConvert::mapiToMimeStart() {
  CalendarConvert::mapiToMimeStart();
  object().setMethod(kind_.method);
}

GeneratedBodiesTypes MeetingScheduleConvert::renderBodies(IStream* plain, IStream* html) {
  MeetingBodies bodies;
  renderMeetingBody(bodies);
  bodies.beginTable();
  if (exists(PR_NORMALIZED_SUBJECT)) {
    bodies.addRow(kTextSubject, getUnicode(PR_NORMALIZED_SUBJECT));
  }
  if (const ULONG tag = tagOf(named::kLocation); exists(tag)) {
    bodies.addRow(kTextLocation, getUnicode(tag));
  }
  const ULONG startTag = tagOf(named::kAppointmentStartWhole);
  const ULONG endTag = tagOf(named::kAppointmentEndWhole);
  if (exists(startTag) && exists(endTag)) {
    bodies.addTime(getSysTime(startTag), getSysTime(endTag));
  }
  bodies.addPeople(object());
  bodies.endTable();
  if (exists(PR_BODY)) {
    bodies.addText(utf8ToWide(getUtf8Text()));
  }
  bodies.write(plain, html);
  return GeneratedBodiesTypes::Both;
}

void MeetingScheduleConvert::renderMeetingBody(MeetingBodies& /*bodies*/) {}

void MeetingScheduleConvert::renderSentence(MeetingBodies& bodies, unsigned whatHasBeenDone) const {
  const ObjectAttendees::Person sender = ObjectAttendees::getSender(data().getMapiMessage(), data().getAllocator());
  bodies.addSentence(sender.name, sender.address, whatHasBeenDone);
}

void MeetingCancelConvert::renderMeetingBody(MeetingBodies& bodies) { renderSentence(bodies, kTextHasCanceled); }

void MeetingReplyConvert::renderMeetingBody(MeetingBodies& bodies) {
  renderSentence(bodies, replyOfClass(exists(PR_MESSAGE_CLASS) ? getUnicode(PR_MESSAGE_CLASS) : u"").text);
}

void MeetingReplyConvert::createAttendees() {
  constexpr const char* kWhere = "toMime::MeetingReplyConvert::createAttendees";
  IConvertMessage* message = data().getMapiMessage();
  object().removeAttendees();
  Attendee attendee = ObjectAttendees::attendeeOf(ObjectAttendees::getSender(message, data().getAllocator()));
  attendee.partStat = replyOfClass(exists(PR_MESSAGE_CLASS) ? getUnicode(PR_MESSAGE_CLASS) : u"").partStat;
  object().addAttendee(attendee);
  const auto recipients = ObjectAttendees::recipientsOf(message, kWhere);
  if (recipients.size() != 1) {
    throwHResult(E_UNEXPECTED, kSource.at(kWhere));
  }
  object().setOrganizer(ObjectAttendees::createOrganizerFromRecipient(recipients.front().get(), data().getAllocator()));
}

}  // namespace toMime

namespace toMapi {

bool MeetingScheduleConvert::hasRecipients() const {
  ScopedInterfaceArray recipients;
  checkHResult(data().getMapiMessage()->getRecipients(recipients.put()),
               kSource.at("toMapi::MeetingScheduleConvert::hasRecipients"));
  return recipients.begin() != recipients.end();
}

void MeetingScheduleConvert::convertMimeToMapi() {
  CalendarConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  if (!exists(PR_SUBJECT)) {
    getHeaderIfExists(PR_SUBJECT, mime::HeaderId::Subject);
  }
  // The headers name those people again that the calendar text has told of.
  setAddresses(!isHidden() && !hasRecipients(), !isHidden() && !exists(PR_SENDER_ENTRYID));
  setULong(tagOf(named::kSideEffects), kSideEffects);
  setBool(tagOf(named::kSendMeetingAsIcal), true);
  ObjectAttendees::fillReceivedByProperties(data());
}

void MeetingRequestConvert::convertMimeToMapi() {
  MeetingScheduleConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  setBool(PR_REPLY_REQUESTED, true);
  setBool(PR_RESPONSE_REQUESTED, true);
  setULong(tagOf(named::kAppointmentStateFlags), kIsMeetingReceived);
  setULong(tagOf(named::kResponseStatus), kNotResponded);
  setULong(tagOf(named::kChangeHighlight), kHighlighted);
}

void MeetingCancelConvert::convertMimeToMapi() {
  if (readsText()) {
    // Ahead of all else: what travelled as annotation replaces these, and an appointment leaves them.
    setULong(tagOf(named::kResponseStatus), kNotResponded);
    setULong(tagOf(named::kAppointmentStateFlags), kIsMeetingReceivedCanceled);
  }
  MeetingScheduleConvert::convertMimeToMapi();
}

void MeetingReplyConvert::convertMimeToMapi() {
  MeetingScheduleConvert::convertMimeToMapi();
  if (readsText()) {
    propCopyIfExists(tagOf(named::kLocation), tagOf(named::kWhere));
  }
}

void MeetingReplyConvert::parseAttendees() {
  Attendee organizer = object().getOrganizer();
  if (organizer.address.empty()) {
    const ObjectAttendees::Person owner = ObjectAttendees::getMailboxOwner(data().getMapiMessage(), data().getAllocator());
    organizer.name = wideToUtf8(owner.name);
    organizer.address = wideToUtf8(owner.address);
  }
  organizer.role = Attendee::Role::Chair;
  ObjectAttendees::addRsvpAttendee(data(), organizer);
  const std::vector<Attendee> attendees = object().getAttendees();
  const auto replier = std::find_if(attendees.begin(), attendees.end(), [&](const Attendee& each) {
    return attendees.size() == 1 || !equalsIgnoreCase(each.address, organizer.address);
  });
  if (replier == attendees.end()) {
    throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("toMapi::MeetingReplyConvert::parseAttendees"));
  }
  ObjectAttendees::fillSenderProperties(data(), *replier);
  const auto* row = std::find_if(std::begin(kReplies), std::end(kReplies),
                                 [&](const ReplyRow& r) { return r.partStat == replier->partStat; });
  // Any other reply keeps the class that its mail has.
  if (row != std::end(kReplies)) {
    setUnicode(PR_MESSAGE_CLASS, row->messageClass);
  }
}

}  // namespace toMapi
}  // namespace nalvo

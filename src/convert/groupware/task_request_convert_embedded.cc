#include "convert/groupware/task_request_convert_embedded.h"

#include "convert/groupware/object_attendees.h"
#include "diagnostics/hresult_exception.h"
#include "platform/text/code_pages.h"
#include "platform/text/rtf/wrap_compressed_rtf.h"
#include "platform/text/text.h"
#include "streams/stream_convertor.h"
#include "text/rich_text_convertor.h"
#include "text/wrap_compressed_rtf_stream.h"

namespace nalvo {
namespace {

using mail::Attendee;
using PartStat = mail::Attendee::PartStat;

constexpr SourceFile kSource{".\\TaskRequestConvert"};

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
  object().setOrganizer(ObjectAttendees::attendeeOf(ObjectAttendees::getSender(envelope(), data().getAllocator())));
  for (const auto& recipient :
       ObjectAttendees::recipientsOf(envelope(), "toMime::TaskRequestSubConvert::createAttendeesRequest")) {
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
  Attendee owner = ObjectAttendees::attendeeOf(ObjectAttendees::getSender(envelope(), data().getAllocator()));
  owner.partStat = answerOf(getTaskMode(), getULongOr(tagOf(named::kTaskStatus), mail::VTodo::kNotStarted));
  object().addAttendee(owner);
  const auto recipients = ObjectAttendees::recipientsOf(envelope(), kWhere);
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

}  // namespace nalvo

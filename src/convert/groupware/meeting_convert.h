// Meeting messages: requests, replies and cancellations.
#pragma once

#include "convert/groupware/calendar_convert.h"

namespace nalvo {

class MeetingBodies;

// A kind of meeting message.
struct MeetingKind {
  mail::Method method;
  const char* parameter;  // of the content type
};

inline constexpr MeetingKind kMeetingRequest{mail::Method::Request, "request"};
inline constexpr MeetingKind kMeetingReply{mail::Method::Reply, "reply"};
inline constexpr MeetingKind kMeetingCancel{mail::Method::Cancel, "cancel"};

namespace toMime {

// An appointment with a method, and with bodies for people who have no calendar.
class MeetingScheduleConvert : public CalendarConvert {
 public:
  PartTags getPartTags(IConvertMessage* message) const override;

  void mapiToMimeStart();

 protected:
  MeetingScheduleConvert(ConvertorDataMessage* data, const MeetingKind& kind) : CalendarConvert(data), kind_(kind) {}
  ~MeetingScheduleConvert() = default;

  std::string getMethod() override { return kind_.parameter; }
  GeneratedBodiesTypes renderBodies(IStream* plain, IStream* html) override;
  // What stands ahead of the table.
  virtual void renderMeetingBody(MeetingBodies& bodies);
  // A sentence about the sender.
  void renderSentence(MeetingBodies& bodies, unsigned whatHasBeenDone) const;

 private:
  const MeetingKind& kind_;
};

class MeetingRequestConvert final : public MeetingScheduleConvert {
 public:
  explicit MeetingRequestConvert(ConvertorDataMessage* data) : MeetingScheduleConvert(data, kMeetingRequest) {}
};

class MeetingReplyConvert final : public MeetingScheduleConvert {
 public:
  explicit MeetingReplyConvert(ConvertorDataMessage* data) : MeetingScheduleConvert(data, kMeetingReply) {}

 protected:
  // The one who replies, to the organizer. E_UNEXPECTED unless there is one recipient.
  void createAttendees() override;
  void renderMeetingBody(MeetingBodies& bodies) override;
};

class MeetingCancelConvert final : public MeetingScheduleConvert {
 public:
  explicit MeetingCancelConvert(ConvertorDataMessage* data) : MeetingScheduleConvert(data, kMeetingCancel) {}

 protected:
  void renderMeetingBody(MeetingBodies& bodies) override;
};

}  // namespace toMime

namespace toMapi {

class MeetingScheduleConvert : public CalendarConvert {
 public:
  explicit MeetingScheduleConvert(ConvertorDataMessage* data) : CalendarConvert(data) {}

  void convertMimeToMapi();

 protected:
  ~MeetingScheduleConvert() = default;

 private:
  bool hasRecipients() const;
};

class MeetingRequestConvert final : public MeetingScheduleConvert {
 public:
  using MeetingScheduleConvert::MeetingScheduleConvert;

  void convertMimeToMapi();
};

class MeetingReplyConvert final : public MeetingScheduleConvert {
 public:
  using MeetingScheduleConvert::MeetingScheduleConvert;

  void convertMimeToMapi();

 protected:
  // The organizer becomes the recipient, the one who replies the sender. MAPI_E_CORRUPT_DATA when nobody replies.
  void parseAttendees() override;
};

class MeetingCancelConvert final : public MeetingScheduleConvert {
 public:
  using MeetingScheduleConvert::MeetingScheduleConvert;

  void convertMimeToMapi();
};

}  // namespace toMapi
}  // namespace nalvo

// The task that a request about it holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "convert/groupware/task_convert.h"
#include "convert/groupware/task_modes.h"

namespace nalvo {

inline constexpr std::u16string_view kTaskClass = u"IPM.Task";
// Of the caller's own; it goes with the task.
inline constexpr ULONG kTagOfCaller = propTag(PT_BOOLEAN, 0x7D01);

namespace toMime {

// Converts the task; who sends it and to whom, and the bodies for people, come from the message that holds it.
class TaskRequestSubConvert : public TaskConvert {
 public:
  explicit TaskRequestSubConvert(ConvertorDataMessage* data) : TaskConvert(data) {}

  // Any change means all.
  PartTags getPartTags(IConvertMessage* message) const override;

  void mapiToMimeStart();
  void mapiToMimeEnd();

 protected:
  std::string getMethod() override;
  void createAttendees() override;
  GeneratedBodiesTypes renderBodies(IStream* plain, IStream* html) override;

 private:
  IConvertMessage* envelope() const { return data().getSuperMessage(); }
  std::uint32_t getTaskMode();
  void createAttendeesRequest();
  void createAttendeesReply();
  GeneratedBodiesTypes bodiesNormal(IStream* plain) const;
  GeneratedBodiesTypes bodiesFromRtf(IStream* plain, IStream* html);

  std::optional<std::uint32_t> taskMode_;
};

}  // namespace toMime

namespace toMapi {

class TaskRequestSubConvert : public TaskConvert {
 public:
  explicit TaskRequestSubConvert(ConvertorDataMessage* data) : TaskConvert(data) {}

  void convertMimeToMapi();

 protected:
  void parseAttendees() override;

 private:
  void parseAttendeesReply();
  void parseAttendeesRequest(bool cancel);
  void setState(std::uint32_t mode);
  void setBoolIfMissing(ULONG tag, bool value) const;
};

}  // namespace toMapi
}  // namespace nalvo

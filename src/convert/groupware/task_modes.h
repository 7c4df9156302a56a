// What messages about a task say, in numbers of the message and words of calendar text.
#pragma once

#include <cstdint>

#include "mail/attendee.h"
#include "mail/v_calendar.h"

namespace nalvo {

// What a request is about, PidLidTaskMode.
enum TaskMode : std::uint32_t {
  kTaskChanged,  // an update, as the embedded task tells it
  kTaskRequest,
  kTaskAccepted,
  kTaskDeclined,
  kTaskUpdate,
  kTaskCancelled,
};

struct MethodRow {
  std::uint32_t mode;
  const char* parameter;  // of the content type; empty for none
  mail::Method method;
  bool fromOwner;  // of the task, who answers
};
// That of a mode; of one that is not known a row without a method.
const MethodRow& methodRow(std::uint32_t mode);

// What the owner of the task says by a mode; `status` is that of the task.
mail::Attendee::PartStat answerOf(std::uint32_t mode, std::uint32_t status);
// The mode that an answer stands for.
std::uint32_t modeOf(mail::Attendee::PartStat answer);

}  // namespace nalvo

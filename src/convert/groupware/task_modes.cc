#include "convert/groupware/task_modes.h"

#include <algorithm>
#include <iterator>

#include "mail/v_todo.h"

namespace nalvo {
namespace {

using mail::Method;
using PartStat = mail::Attendee::PartStat;

constexpr MethodRow kMethods[] = {
    {kTaskChanged, "reply", Method::Reply, true},  {kTaskRequest, "request", Method::Request, false},
    {kTaskAccepted, "reply", Method::Reply, true}, {kTaskDeclined, "reply", Method::Reply, true},
    {kTaskUpdate, "reply", Method::Reply, true},   {kTaskCancelled, "cancel", Method::Cancel, false},
};
constexpr MethodRow kNoMethod = {0, "", Method::Publish, false};

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

}  // namespace

const MethodRow& methodRow(std::uint32_t mode) {
  const auto* row =
      std::find_if(std::begin(kMethods), std::end(kMethods), [=](const MethodRow& each) { return each.mode == mode; });
  return row == std::end(kMethods) ? kNoMethod : *row;
}

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

}  // namespace nalvo

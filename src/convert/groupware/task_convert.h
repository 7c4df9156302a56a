// Tasks. Requests about them hold one.
#pragma once

#include "convert/groupware/groupware_convert.h"
#include "mail/v_todo.h"

namespace nalvo {

// A new PidLidTaskGlobalId.
std::string makeTaskGlobalId();

namespace toMime {

class TaskConvert : public CalendarBaseConvert<TaskConvert, mail::VTodo> {
 public:
  static constexpr GroupwareBody kBody = kTodoBody;

  explicit TaskConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data) {}

  static std::span<const PropertyRow<TaskConvert>> rows();

  void mapiToMimeEnd();

 protected:
  void createAttendees() override;
  bool hasUid() const;
  // Gives the text and the message itself an id.
  void createUid();

 private:
  void onDueDate(ULONG tag);
  void onStartDate(ULONG tag);
  void onDateCompleted(ULONG tag);
  void onVersion(ULONG tag);
  void onGlobalId(ULONG tag);
  void onSubject(ULONG tag);
  void onImportance(ULONG tag);
  void onReminder(ULONG tag);
  void onOriginator(ULONG tag);

  void setProgress();
};

}  // namespace toMime

namespace toMapi {

class TaskConvert : public CalendarBaseConvert<TaskConvert, mail::VTodo> {
 public:
  static constexpr GroupwareBody kBody = kTodoBody;
  static constexpr bool kSupportsNoBody = false;

  explicit TaskConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data) {}

  void convertMimeToMapi();

 protected:
  void parseAttendees() override;

 private:
  void setDates();
  void setProgress();
};

}  // namespace toMapi
}  // namespace nalvo

// Requests to do a task, and what is answered: messages that hold the task, which in MIME are one with it.
#pragma once

#include <string>

#include "convert/message_convert.h"

namespace nalvo {

namespace toMime {

class TaskRequestConvert : public MessageConvert {
 public:
  explicit TaskRequestConvert(ConvertorDataMessage* data) : MessageConvert(data) {}

  PartTags getPartTags(IConvertMessage* message) const override;

  // Converts the task, with all that goes into the mail.
  void mapiToMimeStart();
  // Nothing of the request itself becomes an annotation.
  void onProp(ULONG tag);
  void mapiToMimeEnd() {}

 private:
  // E_INVALIDARG when the request holds no task.
  ComPtr<IConvertMessage> getEmbeddedTask() const;
  void onServerProp(ULONG tag);
};

}  // namespace toMime

namespace toMapi {

class TaskRequestConvert : public MessageConvert {
 public:
  static constexpr bool kSupportsNoBody = false;

  explicit TaskRequestConvert(ConvertorDataMessage* data) : MessageConvert(data) {}

  void convertMimeToMapi();

 private:
  // What the request tells of the task that it holds.
  struct Task {
    ComPtr<IConvertMessage> message;
    std::string globalId;
    std::u16string subject;
  };

  Task makeTask();
  void createEmbeddedTask(IConvertAttachment** attachment, IConvertMessage** message);
  void takePeople(IConvertMessage* task);
  void setEnvelope(const Task& task);
  void setOtherFlags();
};

}  // namespace toMapi
}  // namespace nalvo

#include "host/carried_tasks.h"

#include <algorithm>
#include <iterator>

#include "host/carried_value.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "properties/property_sets.h"

namespace nalvo::host {
namespace {

constexpr std::u16string_view kTaskClass = u"IPM.Task";
constexpr std::u16string_view kRequestClass = u"IPM.TaskRequest";
// A mail tells longer values itself, or they are no small matter.
constexpr std::uint64_t kLargestValue = 1U << 20;

// What the mail of a request tells.
constexpr ULONG kTold[] = {PR_MESSAGE_CLASS, PR_SUBJECT, PR_BODY, PR_HTML, PR_BODY_HTML, PR_RTF_COMPRESSED};

// What a to-do says though the task does not, each standing for nothing.
struct SaidRow {
  const GUID& set;
  std::int32_t id;
  PropertyRecord record;
};
const SaidRow kSaid[] = {
    {PSETID_Common, 0x8503, {PT_BOOLEAN, false}},       // has a reminder
    {PSETID_Common, 0x8506, {PT_BOOLEAN, false}},       // is private
    {PSETID_Common, 0x851E, {PT_BOOLEAN, false}},       // has a sound
    {PSETID_Task, 0x8101, {PT_LONG, std::int32_t{0}}},  // status
    {PSETID_Task, 0x8102, {PT_DOUBLE, 0.0}},            // share that is done
    {PSETID_Task, 0x8112, {PT_LONG, std::int32_t{0}}},  // version
    {PSETID_Task, 0x811C, {PT_BOOLEAN, false}},         // is done
    {PSETID_Task, 0x8126, {PT_BOOLEAN, false}},         // repeats
};

std::u16string classOf(const MemoryMessage& message) { return message.bag().text(PR_MESSAGE_CLASS); }

bool isRequestClass(std::u16string_view messageClass) {
  return equalsIgnoreCase(messageClass.substr(0, kRequestClass.size()), kRequestClass) &&
         (messageClass.size() == kRequestClass.size() || messageClass[kRequestClass.size()] == u'.');
}

// The same property of another message; null if it has none.
const PropertyRecord* findIn(const PropertyBag& bag, const PropertyKey& key) {
  if (!key.name) {
    return bag.findListed(key.tag);
  }
  const std::uint16_t id = bag.names().idOf(*key.name, false);
  return id == 0 ? nullptr : bag.findListed(propTag(propType(key.tag), id));
}

using Action = CarriedValue::Action;

void remove(std::vector<CarriedValue>& values, const PropertyKey& key, const PropertyBag& bag, Guard guard) {
  if (findIn(bag, key) == nullptr) {
    values.push_back({key, std::move(guard), Action::Remove, {}});
  }
}

// Nothing of a request itself travels, and what travels of its task is put on both.
void planRequest(const PropertyBag& bag, const PropertyBag& task, CarriedLayer& layer) {
  for (const ULONG tag : bag.tags()) {
    const PropertyRecord& record = *bag.findListed(tag);
    const std::optional<PropertyKey> key = keyOf(bag, tag);
    if (!key || std::find(std::begin(kTold), std::end(kTold), tag) != std::end(kTold) ||
        contentSize(record) > kLargestValue) {
      continue;
    }
    layer.values.push_back({*key, Guard{Guard::Kind::Absent, 0, {}}, Action::Set, record});
    const PropertyRecord* other = findIn(task, *key);
    if (other != nullptr && contentSize(*other) <= kLargestValue) {
      layer.values.push_back({*key, Guard::value(*other), Action::Set, record});
    }
  }
  for (const ULONG tag : task.tags()) {
    const PropertyRecord& record = *task.findListed(tag);
    const std::optional<PropertyKey> key = keyOf(task, tag);
    if (key && contentSize(record) <= kLargestValue) {
      remove(layer.values, *key, bag, Guard::value(record));
    }
  }
}

// The attachment that is the task goes under its subject.
void planName(const MemoryMessage& request, const MemoryMessage& task, CarriedLayer& layer) {
  const PropertyRecord name{PT_UNICODE, task.bag().text(PR_SUBJECT)};
  const auto& attachments = request.parts().attachments;
  for (std::size_t i = 0; i < attachments.size(); ++i) {
    if (attachments[i]->embedded().get() == &task) {
      remove(layer.attachments.at(i).values, {PR_DISPLAY_NAME, {}}, attachments[i]->bag(), Guard::value(name));
    }
  }
}

void planToDo(const PropertyBag& bag, CarriedLayer& layer) {
  for (const SaidRow& row : kSaid) {
    const PropertyKey key{propTag(row.record.type, 0), PropertyName{row.set, MNID_ID, row.id, {}}};
    remove(layer.values, key, bag, Guard::value(row.record));
  }
  remove(layer.values, {PR_RTF_COMPRESSED, {}}, bag, Guard::words(PR_BODY, bag.text(PR_BODY)));
}

// --- The people of a request, whom the task gets as well

struct PersonRow {
  ULONG name, type, address, entryId, searchKey;
};
constexpr PersonRow kPeople[] = {
    {PR_SENDER_NAME, PR_SENDER_ADDRTYPE, PR_SENDER_EMAIL_ADDRESS, PR_SENDER_ENTRYID, PR_SENDER_SEARCH_KEY},
    {PR_SENT_REPRESENTING_NAME, PR_SENT_REPRESENTING_ADDRTYPE, PR_SENT_REPRESENTING_EMAIL_ADDRESS,
     PR_SENT_REPRESENTING_ENTRYID, PR_SENT_REPRESENTING_SEARCH_KEY},
};

// Whether the one who does the task answers the one who asked for it.
bool isAnswer(const PropertyBag& task) {
  constexpr std::int32_t kRequest = 1;
  constexpr std::int32_t kLastAnswer = 4;
  const PropertyRecord* record = findIn(task, {propTag(PT_LONG, 0), PropertyName{PSETID_Common, MNID_ID, 0x8518, {}}});
  const auto* mode = record == nullptr ? nullptr : std::get_if<std::int32_t>(&record->content);
  return mode != nullptr && *mode >= 0 && *mode <= kLastAnswer && *mode != kRequest;
}

void planSender(const PropertyBag& task, const PropertyBag& request, CarriedLayer& layer) {
  for (const PersonRow& row : kPeople) {
    for (const PersonRow& told : kPeople) {
      const Guard guard = Guard::person(row.address, request.text(told.address));
      for (const ULONG tag : {row.name, row.type, row.address, row.entryId, row.searchKey}) {
        remove(layer.values, {tag, {}}, task, guard);
      }
    }
  }
}

void planRecipients(const PropertyBag& task, const MemoryMessage& request, CarriedLayer& layer) {
  const auto addExtra = [&layer](const MemoryRecipient& recipient) {
    layer.recipients.push_back({marksOf(recipient), true, {}});
  };
  if (!isAnswer(task)) {
    const ComPtr<MemoryMessage> people = makeMessage(request.context());
    PropertyBag& sender = people->addRecipient().bag();
    sender.load(PR_DISPLAY_NAME, {PT_UNICODE, request.bag().text(PR_SENDER_NAME)});
    sender.load(PR_EMAIL_ADDRESS, {PT_UNICODE, request.bag().text(PR_SENDER_EMAIL_ADDRESS)});
    addExtra(*people->parts().recipients.front());
  }
  for (const auto& recipient : request.parts().recipients) {
    addExtra(*recipient);
  }
}

}  // namespace

MemoryMessage* taskWithin(const MemoryMessage& message) {
  if (!isRequestClass(classOf(message))) {
    return nullptr;
  }
  for (const auto& attachment : message.parts().attachments) {
    if (attachment->embedded() && equalsIgnoreCase(classOf(*attachment->embedded()), kTaskClass)) {
      return attachment->embedded().get();
    }
  }
  return nullptr;
}

void planTask(const MemoryMessage& message, const MemoryMessage* holder, CarriedLayer& layer) {
  if (const MemoryMessage* task = taskWithin(message)) {
    planRequest(message.bag(), task->bag(), layer);
    planName(message, *task, layer);
  } else if (equalsIgnoreCase(classOf(message), kTaskClass)) {
    planToDo(message.bag(), layer);
  }
  if (holder != nullptr) {
    planSender(message.bag(), holder->bag(), layer);
    if (layer.recipients.empty()) {
      planRecipients(message.bag(), *holder, layer);
    }
  }
}

}  // namespace nalvo::host

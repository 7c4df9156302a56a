// Messages in memory to mail files.
#include <algorithm>
#include <map>

#include "host/carried_tasks.h"
#include "host/exact_mail.h"
#include "host/failure_listener.h"
#include "host/hidden_values.h"
#include "host/host_allocator.h"
#include "host/mail.h"
#include "nalvo/convert.h"
#include "platform/mapi/tags.h"
#include "streams/stream_utils.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Mail"};

// What the messages carry is theirs only while they are written.
class CarriedScope {
 public:
  explicit CarriedScope(MemoryMessage& message) : messages_(messagesOf(message)) {}
  ~CarriedScope() { drop(); }
  CarriedScope(const CarriedScope&) = delete;
  CarriedScope& operator=(const CarriedScope&) = delete;

  void give(const CarriedTree& tree) {
    for (MemoryMessage* message : messages_) {
      const auto carried = tree.find(message);
      if (carried == tree.end()) {
        continue;
      }
      // A request is no mail of its own.
      if (MemoryMessage* task = taskWithin(*message)) {
        giveCarried(*task, carried->second, CarriedFor::Holder);
      } else {
        giveCarried(*message, carried->second);
      }
    }
  }
  void drop() {
    for (MemoryMessage* message : messages_) {
      dropCarried(*message);
    }
  }
  CarriedTree plan() const {
    CarriedTree tree;
    std::map<const MemoryMessage*, const MemoryMessage*> holders;
    for (const MemoryMessage* message : messages_) {
      if (const MemoryMessage* task = taskWithin(*message)) {
        holders[task] = message;
      }
      if (CarriedLayer layer = planCarried(*message, holders[message]); !layer.empty()) {
        tree[message].push_back(std::move(layer));
      }
    }
    return tree;
  }

 private:
  std::vector<MemoryMessage*> messages_;
};

// Converts into an empty `file`. What would fail the whole mail is told and passed over.
void convert(MemoryMessage* message, IAnnotations* annotations, DWORD word, ILog* log, MailFile& file) {
  const auto allocator = makeCom<HostAllocator>(message->context());
  const std::vector<MemoryMessage*> messages = messagesOf(*message);
  const FailureListener listener(log, message->context());
  HiddenValues hidden;
  file.warnings.clear();
  hidden.addWorkedOutBodies(messages);
  hidden.hideUnknownCodePages(messages, file.warnings);
  hidden.hideUntoldSeries(messages, file.warnings);
  hidden.replaceOddAttachments(messages, file.warnings);
  const auto run = [&] {
    file.mail = streamUtils::createStream();
    // A session of MAPI is what this caller stands for.
    return mapiToMime(message, annotations, file.mail.get(), file.flags.get(), allocator.get(), word | CONVERT_INSIDE_MAPI,
                      nullptr, listener.log());
  };
  HRESULT hr = run();
  if (hr == MAPI_E_CORRUPT_DATA && hidden.hideDamagedRtf(messages, file.warnings)) {
    hr = run();
  }
  listener.check(hr, kSource.at("host::writeMail"));
  tellNamelessOriginators(*message, file.warnings);
}

// Two moments at which a mail may be read; what it becomes must not depend on it.
constexpr FILETIME kOneMoment{0, 0x01D00000};
constexpr FILETIME kAnotherMoment{0, 0x01D80000};

void writeExact(MemoryMessage* message, ILog* log, MailFile& file) {
  CarriedScope scope(*message);
  CarriedTree tree = scope.plan();
  std::vector<std::string> lost;
  const auto goThereAndBack = [&](FILETIME moment, CarriedTree* differences) {
    scope.give(tree);
    convert(message, nullptr, CONVERT_TO_ATTACHMENT, log, file);
    scope.drop();
    const ComPtr<MemoryMessage> back = readMail(file.mail.get(), message->context(), moment, nullptr);
    lost = addDifferences(*message, *back, differences);
  };
  goThereAndBack(kOneMoment, &tree);
  if (lost.empty()) {
    goThereAndBack(kAnotherMoment, nullptr);
  }
  if (!lost.empty()) {
    const std::string told = "does not come back exactly: " + lost.front();
    throwHResult(MAPI_E_NO_SUPPORT, kSource.at("host::writeExact"), told.c_str());
  }
  streamUtils::rewind(file.mail.get());
}

// `more` is carried too.
MailFile write(MemoryMessage* message, MailForm form, const CarriedTree& more, ILog* log) {
  MailFile file;
  if (form == MailForm::Exact) {
    writeExact(message, log, file);
    return file;
  }
  if (form == MailForm::Wire) {
    convert(message, nullptr, CONVERT_FOR_SEND, log, file);
    return file;
  }
  CarriedScope scope(*message);
  CarriedTree tree = scope.plan();
  for (const auto& [one, layers] : more) {
    tree[one].insert(tree[one].end(), layers.begin(), layers.end());
  }
  scope.give(tree);
  if (form == MailForm::Lossless) {
    convert(message, nullptr, CONVERT_TO_ATTACHMENT, log, file);
    return file;
  }
  const auto annotations = makeCom<MemoryAnnotations>(message->context());
  file.flags = makeCom<MemoryFlags>(message->context());
  convert(message, annotations.get(), CONVERT_NORMAL, log, file);
  file.annotations = annotations->entries();
  return file;
}

// What brings the class of each item back that went out as a note.
CarriedTree classesOf(const std::vector<MemoryMessage*>& messages) {
  const PropertyRecord note{PT_UNICODE, std::u16string(kNoteClass)};
  CarriedTree tree;
  for (const MemoryMessage* message : messages) {
    if (isItem(*message)) {
      CarriedLayer layer;
      layer.values.push_back({{PR_MESSAGE_CLASS, std::nullopt},
                              Guard::value(note),
                              CarriedValue::Action::Set,
                              *message->bag().find(PR_MESSAGE_CLASS)});
      tree[message].push_back(std::move(layer));
    }
  }
  return tree;
}

// Not of a stream, of memory, or of a disk.
bool isOfTheContent(HRESULT hr) {
  constexpr HRESULT kCodes[] = {E_UNEXPECTED,           E_INVALIDARG,     MAPI_E_CORRUPT_DATA, MAPI_E_NOT_FOUND,
                                MAPI_E_UNEXPECTED_TYPE, MIME_E_NOT_FOUND, MIME_E_BAD_DATE};
  return std::find(std::begin(kCodes), std::end(kCodes), hr) != std::end(kCodes);
}

}  // namespace

MailFile writeMail(MemoryMessage* message, MailForm form, ILog* log) {
  const ScopedContext allocations(message->context().get());
  const std::vector<MemoryMessage*> messages = messagesOf(*message);
  const CarriedTree classes = classesOf(messages);
  try {
    return write(message, form, {}, log);
  } catch (const HResultException& failure) {
    // The proof of the form Exact is of a message as it is.
    if (classes.empty() || form == MailForm::Exact || !isOfTheContent(failure.getHResult())) {
      throw;
    }
  }
  HiddenValues hidden;
  hidden.makeNotes(messages);
  MailFile file = write(message, form, classes, log);
  file.warnings.emplace_back("message: an item in it lacks what its kind needs, so that items were written as mails");
  return file;
}

}  // namespace nalvo::host

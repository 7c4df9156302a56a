// Values of a message that would fail its whole conversion, or that the conversion waits for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/memory_objects.h"

namespace nalvo::host {

inline constexpr std::u16string_view kNoteClass = u"IPM.Note";

// Takes values away from messages, and gives them back at its end.
class HiddenValues {
 public:
  HiddenValues() = default;
  ~HiddenValues();
  HiddenValues(const HiddenValues&) = delete;
  HiddenValues& operator=(const HiddenValues&) = delete;

  // A code page that nobody knows. `told` gets one line for each.
  void hideUnknownCodePages(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told);
  // A series that no mail tells; the item goes out as if it were its first date alone.
  void hideUntoldSeries(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told);
  // A method of attachment that no mail knows, or whose content is not there: methodInMail takes its place. A file without
  // data is an empty one on the way, and is told.
  void replaceOddAttachments(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told);
  // An item's text that a store would work out. It has to be asked for while nothing else is hidden.
  void addWorkedOutBodies(const std::vector<MemoryMessage*>& messages);
  // Every item counts as a note: its kind asks for what it lacks.
  void makeNotes(const std::vector<MemoryMessage*>& messages);
  // RTF that is damaged, where there is another text. False if there is none.
  bool hideDamagedRtf(const std::vector<MemoryMessage*>& messages, std::vector<std::string>& told);

 private:
  struct Value {
    std::shared_ptr<PropertyBag> bag;
    ULONG tag;
    std::optional<PropertyRecord> record;  // none: what stands there now goes
  };
  void hide(const std::shared_ptr<PropertyBag>& bag, ULONG tag);
  void replace(const std::shared_ptr<PropertyBag>& bag, ULONG tag, PropertyRecord record);

  std::vector<Value> values_;
};

// The method of an attachment as a mail can tell it: that of the content which is there. A reference, however it is to be
// resolved, is one by path; one without a path is a file, as is an attachment without any content.
std::int32_t methodInMail(const MemoryAttachment& attachment);

// True for a message whose class is neither a note's nor one of somebody's own: its convertor may ask for what it lacks.
bool isItem(const MemoryMessage& message);

// True if the RTF of a message can be read to its end. Throws the code of its stream.
bool isIntactRtf(const PropertyRecord& compressed);

// One line for each originator whose address is known as a path in a directory alone, so that a mail has the name without
// it.
void tellNamelessOriginators(const MemoryMessage& message, std::vector<std::string>& told);

}  // namespace nalvo::host

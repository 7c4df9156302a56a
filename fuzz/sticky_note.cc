// Any bytes are a sticky note or none; it is written the same once it was written.
#include "mail/sticky_note.h"

#include "fuzz/object_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace nalvo;
  mail::StickyNote note;
  fuzz::readStable(note, data, size);
  note.setColor(note.getColor());
  note.setPosition(note.getPosition());
  note.setText(note.getSubject() + note.getText());
  fuzz::require(isValidUtf8(note.getText()) && isValidUtf8(note.getSubject()));
  note.setCategories(note.getCategories());
  const std::string text = note.toText();
  fuzz::readStable(note, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  return 0;
}

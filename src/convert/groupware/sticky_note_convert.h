// Sticky notes.
#pragma once

#include "convert/groupware/groupware_convert.h"
#include "mail/sticky_note.h"

namespace nalvo {

namespace toMime {

class StickyNoteConvert : public GroupwareBaseConvert<StickyNoteConvert, mail::StickyNote> {
 public:
  static constexpr GroupwareBody kBody = kStickyNoteBody;

  explicit StickyNoteConvert(ConvertorDataMessage* data) : GroupwareBaseConvert(data) {}

  static std::span<const PropertyRow<StickyNoteConvert>> rows();

 protected:
  GeneratedBodiesTypes renderBodies(IStream* plain, IStream* html) override;

 private:
  void onColor(ULONG tag);
  // The position, which all of its properties give together.
  void onPosition(ULONG tag);
  void onSubject(ULONG tag);
  void onBody(ULONG tag);
};

}  // namespace toMime

namespace toMapi {

class StickyNoteConvert : public GroupwareBaseConvert<StickyNoteConvert, mail::StickyNote> {
 public:
  static constexpr GroupwareBody kBody = kStickyNoteBody;
  static constexpr bool kSupportsNoBody = true;

  explicit StickyNoteConvert(ConvertorDataMessage* data) : GroupwareBaseConvert(data) {}

  void convertMimeToMapi();

 private:
  // Whether PR_BODY came back whole from the annotations, and the note holds its first part alone.
  bool isTextCut() const;
};

}  // namespace toMapi
}  // namespace nalvo

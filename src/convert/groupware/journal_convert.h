// Journal entries.
#pragma once

#include "convert/groupware/groupware_convert.h"
#include "mail/v_journal.h"

namespace nalvo {

namespace toMime {

class JournalConvert : public CalendarBaseConvert<JournalConvert, mail::VJournal> {
 public:
  static constexpr GroupwareBody kBody = kJournalBody;

  explicit JournalConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data) {}

  static std::span<const PropertyRow<JournalConvert>> rows();

  void mapiToMimeStart();

 private:
  void onStart(ULONG tag);
  void onSubject(ULONG tag);
};

}  // namespace toMime

namespace toMapi {

class JournalConvert : public CalendarBaseConvert<JournalConvert, mail::VJournal> {
 public:
  static constexpr GroupwareBody kBody = kJournalBody;
  static constexpr bool kSupportsNoBody = true;

  explicit JournalConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data) {}

  void convertMimeToMapi();
};

}  // namespace toMapi
}  // namespace nalvo

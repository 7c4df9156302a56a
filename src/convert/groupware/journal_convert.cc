#include "convert/groupware/journal_convert.h"

#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"

namespace nalvo {
namespace {

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::JournalConvert, toMapi::JournalConvert>::create, u"IPM.Activity");

}  // namespace

namespace toMime {

std::span<const PropertyRow<JournalConvert>> JournalConvert::rows() {
  using Convert = JournalConvert;
  static constexpr PropertyRow<Convert> kRows[] = {
      {named::kKeywords, ChangeOf::Body, &Convert::onKeywords},
      {named::kPrivate, ChangeOf::Body, &Convert::onPrivate},
      {named::kLogStart, ChangeOf::Body, &Convert::onStart},
      {PR_SUBJECT, ChangeOf::Body, &Convert::onSubject},
      {PR_BODY, ChangeOf::Body},
  };
  return kRows;
}

void JournalConvert::mapiToMimeStart() {
  CalendarBaseConvert::mapiToMimeStart();
  if (converts(Converted::Body)) {
    object().setSequence(object().getSequence() + 1);
  }
}

void JournalConvert::onStart(ULONG tag) { object().setStart(mail::DateTime::fromSystemTime(getSysTime(tag))); }

void JournalConvert::onSubject(ULONG tag) {
  setHeader(tag, mime::HeaderId::Subject);
  storeSummary(tag);
}

}  // namespace toMime

namespace toMapi {

void JournalConvert::convertMimeToMapi() {
  CalendarBaseConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  setUtf8IfNotEmpty(PR_SUBJECT, object().getSummary());
  setBodyText(object().getDescription());
  setDate(tagOf(named::kLogStart), object().getStart());
  setPrivate(object());
  setCategories(object());
  setSensitivity();
  setDate(PR_LAST_MODIFICATION_TIME, object().getLastModified());
}

}  // namespace toMapi
}  // namespace nalvo

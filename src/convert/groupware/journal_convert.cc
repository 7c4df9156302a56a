#include "convert/groupware/journal_convert.h"

#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"

namespace nalvo {
namespace {

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::JournalConvert, toMapi::JournalConvert>::create, u"IPM.Activity");

}  // namespace

namespace toMime {

struct JournalRows {
  static constexpr PropertyRow<JournalConvert> kAll[] = {
      {named::kKeywords, ChangeOf::Body, &JournalConvert::onKeywords},
      {named::kPrivate, ChangeOf::Body, &JournalConvert::onPrivate},
      {named::kLogStart, ChangeOf::Body, &JournalConvert::onStart},
      {PR_SUBJECT, ChangeOf::Body, &JournalConvert::onSubject},
      {PR_BODY, ChangeOf::Body},
  };
};

JournalConvert::JournalConvert(ConvertorDataMessage* data) : CalendarBaseConvert(data), rows_(JournalRows::kAll) {}

PartTags JournalConvert::getPartTags(IConvertMessage* message) const {
  return PropertyRows<JournalConvert>::extend(MessageConvert::getPartTags(message), JournalRows::kAll, message);
}

void JournalConvert::mapiToMimeStart() {
  CalendarBaseConvert::mapiToMimeStart();
  if (converts(Converted::Body)) {
    object().setSequence(object().getSequence() + 1);
  }
}

void JournalConvert::onProp(ULONG tag) {
  if (!rows_.apply(*this, tag, data())) {
    MessageConvert::onProp(tag);
  }
}

void JournalConvert::onKeywords(ULONG /*tag*/) { makeCategories(object()); }

void JournalConvert::onPrivate(ULONG tag) { storePrivate(tag, object()); }

void JournalConvert::onStart(ULONG tag) { object().setStart(mail::DateTime::fromSystemTime(getSysTime(tag))); }

void JournalConvert::onSubject(ULONG tag) {
  setHeader(tag, mime::HeaderId::Subject);
  object().setSummary(getUtf8(tag));
  if (object().getSummary().empty()) {
    storeAnnotation(tag);  // Calendar text knows no empty values.
  }
}

}  // namespace toMime

namespace toMapi {

void JournalConvert::convertMimeToMapi() {
  CalendarBaseConvert::convertMimeToMapi();
  if (hasFlag(ToMapiFlags::JustFlags | ToMapiFlags::WithoutBody)) {
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

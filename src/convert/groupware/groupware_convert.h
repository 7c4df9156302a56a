// Items that travel as one text of a calendar, a card or a sticky note: the fixed order of their conversion.
//
// What the text can hold goes there, the rest becomes annotations as with a note. Beside the text can stand bodies that
// people read.
#pragma once

#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "convert/groupware/fragile_text.h"
#include "convert/groupware/property_rows.h"
#include "convert/message_convert.h"
#include "diagnostics/hresult_exception.h"
#include "mail/sticky_note.h"
#include "mail/v_calendar.h"
#include "mail/v_card.h"
#include "streams/stream_utils.h"

namespace nalvo {

// The text of a kind of item as a body of MIME.
struct GroupwareBody {
  static constexpr const char* kPrimaryType = "text";

  const char* subType;
  const char* alternativeSubType;  // accepted on the way back; may be null
  const char* component;           // of the content type; may be null
};

inline constexpr GroupwareBody kEventBody{"calendar", nullptr, "vevent"};
inline constexpr GroupwareBody kTodoBody{"calendar", nullptr, "vtodo"};
inline constexpr GroupwareBody kJournalBody{"calendar", nullptr, "vjournal"};
inline constexpr GroupwareBody kCardBody{"x-vcard", "vcard", nullptr};
inline constexpr GroupwareBody kDistListBody{"x-vcard-dl", nullptr, nullptr};
inline constexpr GroupwareBody kStickyNoteBody{"x-stickynote", nullptr, nullptr};

// What the text calls the description of an item, in UTF-8.
inline void setDescription(mail::VCalendar& object, std::string text) { object.setDescription(std::move(text)); }
inline void setDescription(mail::VCard& object, std::string text) { object.setNote(std::move(text)); }
inline void setDescription(mail::StickyNote& object, const std::string& text) { object.setText(text); }

namespace detail {

// PR_BODY of a message in UTF-8; empty if there is none.
std::string getUtf8Text(IConvertMessage* message, IMapiAllocator* allocator);
// The text of a binary id: as it stands if all of it is printable, else in upper-case hexadecimal.
std::string groupwareIdText(std::string_view bytes);
// The bytes whose text this is. A text that no bytes have stands for itself.
std::string groupwareIdBytes(std::string_view text);
[[noreturn]] void throwNoServerObject();

}  // namespace detail

// Owns the calendar, card or note of one run.
template <typename Object>
class GroupwareObjectHolder {
 protected:
  // Replaces the present one. E_OUTOFMEMORY when there is no memory.
  void createNewServerObject() {
    object_.reset(new (std::nothrow) Object());
    if (!object_) {
      detail::throwNoServerObject();
    }
  }
  void destroyServerObject() { object_.reset(); }
  // Between the two.
  Object& object() const { return *object_; }

 private:
  std::unique_ptr<Object> object_;
};

// Which bodies for people were made.
enum class GeneratedBodiesTypes { None, Plain, Html, Both };

namespace toMime {

// The steps that are the same for all kinds of text.
class GroupwareBaseConvertHelper : public MessageConvert {
 public:
  explicit GroupwareBaseConvertHelper(ConvertorDataMessage* data) : MessageConvert(data) {}

 protected:
  ~GroupwareBaseConvertHelper() = default;

  // The text of a binary property.
  std::string getGroupwareId(ULONG tag) const { return detail::groupwareIdText(getBinary(tag)); }
  void storeIfFragile(ULONG tag, std::string_view text);
  // These two do so. A carriage return alone becomes a line feed, for the object would drop it.
  std::string getUtf8(ULONG tag);
  std::string takeUtf8Text();
  // The property Keywords.
  void makeCategories(mail::VBase& object);
  // The boolean property `tag` as CLASS; one that can't be read is passed over.
  void storePrivate(ULONG tag, mail::VBase& object) const;
  std::string getUtf8Text() const { return detail::getUtf8Text(data().getMapiMessage(), data().getAllocator()); }
  void setUtf8Charset() const;

  // Makes the bodies that renderBodies gave, both streams of UTF-16 at their start.
  void setReadableBodies(GeneratedBodiesTypes types, IStream* plain, IStream* html);
  // Places the text: as the last of the alternatives if there are bodies for people, else as the whole message.
  ComPtr<mime::IMimeBody> setDataBody(const GroupwareBody& type, const mail::VBase& object) const;
  // `method` may be empty.
  void setCalendarParameters(mime::IMimeBody* body, const char* component, const std::string& method) const;

  // Writes bodies for people as UTF-16.
  virtual GeneratedBodiesTypes renderBodies(IStream* plain, IStream* html);
};

// `Derived::kBody` says what the text is, `Derived::rows()` what becomes of the properties.
template <typename Derived, typename Object>
class GroupwareBaseConvert : public GroupwareBaseConvertHelper, protected GroupwareObjectHolder<Object> {
 public:
  explicit GroupwareBaseConvert(ConvertorDataMessage* data) : GroupwareBaseConvertHelper(data), rows_(Derived::rows()) {}

  PartTags getPartTags(IConvertMessage* message) const override {
    return PropertyRows<Derived>::extend(MessageConvert::getPartTags(message), Derived::rows(), message);
  }

  void mapiToMimeStart() {
    MessageConvert::mapiToMimeStart();
    this->createNewServerObject();
    this->object().createNew();
    setUtf8Charset();
    if (converts(Converted::Body)) {
      setDescription(this->object(), takeUtf8Text());
    }
  }

  void onProp(ULONG tag) {
    if (!rows_.apply(static_cast<Derived&>(*this), tag, data())) {
      MessageConvert::onProp(tag);
    }
  }

  void mapiToMimeEnd() {
    storeBodies();
    MessageConvert::mapiToMimeEnd();
  }

 protected:
  ~GroupwareBaseConvert() = default;

  void onKeywords(ULONG /*tag*/) { makeCategories(this->object()); }
  void onPrivate(ULONG tag) { storePrivate(tag, this->object()); }

  void storeBodies() {
    if (hasFlag(ToMimeFlags::ForSend | ToMimeFlags::EmbedAsNormal)) {
      const ComPtr<IStream> plain = streamUtils::createStream();
      const ComPtr<IStream> html = streamUtils::createStream();
      const GeneratedBodiesTypes types = this->renderBodies(plain.get(), html.get());
      setReadableBodies(types, plain.get(), html.get());
    }
    if (converts(Converted::Body)) {
      modifyGroupwareBody(setDataBody(Derived::kBody, this->object()).get());
    }
    this->destroyServerObject();
  }

  virtual void modifyGroupwareBody(mime::IMimeBody* /*body*/) {}

 private:
  PropertyRows<Derived> rows_;
};

// Calendar text, whose content type tells the component and the method.
template <typename Derived, typename Object>
class CalendarBaseConvert : public GroupwareBaseConvert<Derived, Object> {
 public:
  explicit CalendarBaseConvert(ConvertorDataMessage* data) : GroupwareBaseConvert<Derived, Object>(data) {}

 protected:
  ~CalendarBaseConvert() = default;

  void modifyGroupwareBody(mime::IMimeBody* body) override {
    this->setCalendarParameters(body, Derived::kBody.component, getMethod());
  }
  // Of the content type; empty for none.
  virtual std::string getMethod() { return {}; }
  virtual void createAttendees() {}
  void storeSummary(ULONG tag) {
    this->object().setSummary(this->getUtf8(tag));
    keepIfEmpty(tag, this->object().getSummary());
  }
  // Calendar text knows no empty values.
  void keepIfEmpty(ULONG tag, std::string_view text) {
    if (text.empty()) {
      this->storeAnnotation(tag);
    }
  }
};

}  // namespace toMime

namespace toMapi {

class GroupwareBaseConvertHelper : public MessageConvert {
 public:
  explicit GroupwareBaseConvertHelper(ConvertorDataMessage* data) : MessageConvert(data) {}

 protected:
  ~GroupwareBaseConvertHelper() = default;

  // Whether this run makes an item of the text.
  bool readsText() const { return !hasFlag(ToMapiFlags::JustFlags | ToMapiFlags::WithoutBody); }
  // Loads the text of that type; without one the object stays as it is. Of several the one that told the class of the
  // message counts. MAPI_E_CORRUPT_DATA for a text that holds no such object.
  void findAndLoadGroupwareBody(const GroupwareBody& type, mail::VBase& object) const;

  // Leaves a text alone that came back in the annotations, if this is what became of it.
  void setUtf8(ULONG tag, std::string_view text) const;
  // Whether the property holds what came beside the text and is what `text` once was, so that it stays.
  bool isRestored(ULONG tag, std::string_view text) const;
  // What is empty leaves the property alone.
  void setUtf8IfNotEmpty(ULONG tag, std::string_view text) const;
  // PR_BODY, and the rich text that is made of it.
  void setBodyText(std::string_view text);
  // Keywords, when there are any.
  void setCategories(const mail::VBase& object) const;
  // PidLidPrivate: whether CLASS is PRIVATE or CONFIDENTIAL.
  void setPrivate(const mail::VBase& object) const;
  // The properties that follow from PidLidPrivate.
  void setSensitivity() const;
  void setULongIfMissing(ULONG tag, std::uint32_t value) const;
  // The instant in UTC, but the wall clock of a whole day. A null date leaves the property alone.
  void setDate(ULONG tag, const mail::DateTime& date) const;
};

template <typename Derived, typename Object>
class GroupwareBaseConvert : public GroupwareBaseConvertHelper, protected GroupwareObjectHolder<Object> {
 public:
  explicit GroupwareBaseConvert(ConvertorDataMessage* data) : GroupwareBaseConvertHelper(data) {}

  void convertMimeToMapi() {
    MessageConvert::convertMimeToMapi();
    if (readsText()) {
      this->createNewServerObject();
      findAndLoadGroupwareBody(Derived::kBody, this->object());
    }
  }

 protected:
  ~GroupwareBaseConvert() = default;
};

template <typename Derived, typename Object>
class CalendarBaseConvert : public GroupwareBaseConvert<Derived, Object> {
 public:
  explicit CalendarBaseConvert(ConvertorDataMessage* data) : GroupwareBaseConvert<Derived, Object>(data) {}

 protected:
  ~CalendarBaseConvert() = default;

  virtual void parseAttendees() {}
};

}  // namespace toMapi
}  // namespace nalvo

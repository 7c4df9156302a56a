#include "convert/groupware/sticky_note_convert.h"

#include <algorithm>
#include <iterator>

#include "frame/convertor_impl.h"
#include "frame/convertor_list.h"

namespace nalvo {
namespace {

using Color = mail::StickyNote::Color;
using Position = mail::StickyNote::Position;

struct ColorRow {
  Color color;
  std::uint32_t noteColor;  // PidLidNoteColor
  std::uint32_t icon;       // PR_ICON_INDEX
  std::u16string_view background;
};

// The first row stands for what is not known.
constexpr ColorRow kColors[] = {
    {Color::Yellow, 3, 0x303, u"ffffcc"}, {Color::White, 4, 0x304, u"ffffff"}, {Color::Pink, 2, 0x302, u"ffcccc"},
    {Color::Green, 1, 0x301, u"ccffcc"},  {Color::Blue, 0, 0x300, u"a6caf0"},
};

template <typename Matches>
const ColorRow& findColor(Matches matches) {
  const auto* row = std::find_if(std::begin(kColors), std::end(kColors), matches);
  return row == std::end(kColors) ? kColors[0] : *row;
}

const ColorRow& rowOfNoteColor(std::uint32_t number) {
  return findColor([number](const ColorRow& row) { return row.noteColor == number; });
}

constexpr std::uint32_t kSideEffects = 0x110;

// x, y, width, height.
constexpr Position kDefaultPosition = {80, 80, 200, 166};

Position positionOf(const mail::StickyNote& note) {
  const Position position = note.getPosition();
  const bool isSet = position[0] != 0 || position[1] != 0 || position[3] != 0;
  return isSet ? position : kDefaultPosition;
}

constexpr const NamedProperty* kPositionProperties[] = {&named::kNoteX, &named::kNoteY, &named::kNoteWidth,
                                                        &named::kNoteHeight};

[[maybe_unused]] const bool kRegistered = ConvertorList::instance().registerConvertor(
    &ConvertorImpl<toMime::StickyNoteConvert, toMapi::StickyNoteConvert>::create, u"IPM.StickyNote");

}  // namespace

namespace toMime {

std::span<const PropertyRow<StickyNoteConvert>> StickyNoteConvert::rows() {
  using Convert = StickyNoteConvert;
  static constexpr auto kRows = withRichText<Convert>({
      {named::kKeywords, ChangeOf::Body, &Convert::onKeywords},
      {named::kNoteColor, ChangeOf::Body, &Convert::onColor},
      {named::kNoteX, ChangeOf::Body, &Convert::onPosition},
      {named::kNoteY, ChangeOf::Body, &Convert::onPosition},
      {named::kNoteWidth, ChangeOf::Body, &Convert::onPosition},
      {named::kNoteHeight, ChangeOf::Body, &Convert::onPosition},
      {named::kSideEffects, ChangeOf::Nothing},
      {PR_SUBJECT, ChangeOf::Body, &Convert::onSubject},
      {PR_BODY, ChangeOf::Body, &Convert::onBody},
      {PR_ICON_INDEX, ChangeOf::Nothing},
  });
  return kRows;
}

void StickyNoteConvert::onColor(ULONG tag) { object().setColor(rowOfNoteColor(getULong(tag)).color); }

// Whichever of the four comes first: one by one, a position on the way could pass for none.
void StickyNoteConvert::onPosition(ULONG /*tag*/) {
  Position position = kDefaultPosition;
  for (std::size_t i = 0; i < position.size(); ++i) {
    position[i] = static_cast<int>(getULongOr(tagOf(*kPositionProperties[i]), static_cast<std::uint32_t>(position[i])));
  }
  object().setPosition(position);
}

void StickyNoteConvert::onSubject(ULONG tag) {
  setHeader(tag, mime::HeaderId::Subject);
  (void)getUtf8(tag);  // The note's own is the first line of its text.
}

void StickyNoteConvert::onBody(ULONG tag) {
  if (converts(Converted::Body) && getUtf8Text().size() > mail::StickyNote::kMostText) {
    storeAnnotation(tag);  // The note holds the beginning alone.
  }
}

GeneratedBodiesTypes StickyNoteConvert::renderBodies(IStream* plain, IStream* html) {
  using streamUtils::detail::writeStr;
  writeStr(html, u"<html>\r\n  <head>\r\n  </head>\r\n<body>\r\n");
  if (exists(PR_BODY)) {
    streamUtils::copy(openForReading(PR_BODY).get(), plain, false);
    streamUtils::rewind(plain);
    writeStr(html, u"\r\n  <div style=\"background-color:#");
    writeStr(html, rowOfNoteColor(getULongOr(tagOf(named::kNoteColor), kColors[0].noteColor)).background);
    writeStr(html,
             u";border:1px solid black;padding:3px;font:10pt 'Comic Sans MS','Chalkboard',sans-serif; width:50%\">\r\n");
    streamUtils::replaceHtmlEntities(plain, html);
    writeStr(html, u"\r\n  </div>\r\n");
  }
  writeStr(html, u"</body>\r\n</html>\r\n");
  return GeneratedBodiesTypes::Both;
}

}  // namespace toMime

namespace toMapi {

bool StickyNoteConvert::isTextCut() const {
  mail::StickyNote note;
  const std::string whole = detail::getUtf8Text(data().getMapiMessage(), data().getAllocator());
  note.setText(whole);
  return whole.size() > mail::StickyNote::kMostText && detail::rereadText(note.getText()) == object().getText();
}

void StickyNoteConvert::convertMimeToMapi() {
  GroupwareBaseConvert::convertMimeToMapi();
  if (!readsText()) {
    return;
  }
  setUtf8(PR_SUBJECT, object().getSubject());
  setCategories(object());
  const ColorRow& color = findColor([this](const ColorRow& row) { return row.color == object().getColor(); });
  setULong(tagOf(named::kNoteColor), color.noteColor);
  setULong(PR_ICON_INDEX, color.icon);
  const Position position = positionOf(object());
  for (std::size_t i = 0; i < position.size(); ++i) {
    setULong(tagOf(*kPositionProperties[i]), static_cast<std::uint32_t>(position[i]));
  }
  if (isTextCut()) {
    createRtfBodyFromPlainText({});
  } else {
    setBodyText(object().getText());
  }
  setULong(tagOf(named::kSideEffects), kSideEffects);
}

}  // namespace toMapi
}  // namespace nalvo

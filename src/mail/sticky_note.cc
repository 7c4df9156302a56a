#include "mail/sticky_note.h"

#include <algorithm>

#include "mail/v_text.h"
#include "platform/text/text.h"

namespace nalvo::mail {
namespace {

// By the numbers of StickyNote::Color.
constexpr std::array<std::string_view, 5> kColors = {"WHITE", "YELLOW", "PINK", "GREEN", "BLUE"};

}  // namespace

void StickyNote::createNew() {
  rootForWrite() = Component(getType());
  setProperty("COLOR", "yellow");
}

void StickyNote::setText(std::string_view text) {
  setProperty("TEXT", text.size() > kMostText ? firstCharacters(text, kMostText) : text);
}

std::string StickyNote::getSubject() const {
  constexpr std::size_t kMostSubject = 255;
  const std::string_view text = getProperty("TEXT");
  const std::string_view line = text.substr(0, text.find_first_of("\r\n"));
  return std::string(line.size() > kMostSubject ? firstCharacters(line, kMostSubject) : line);
}

StickyNote::Color StickyNote::getColor() const {
  const int index = indexOf(kColors, getProperty("COLOR"));
  return index < 0 ? Color::Yellow : static_cast<Color>(index);
}

void StickyNote::setColor(Color color) {
  const auto index = static_cast<std::size_t>(color);
  setProperty("COLOR", kColors[index < kColors.size() ? index : static_cast<std::size_t>(Color::Yellow)]);
}

StickyNote::Position StickyNote::getPosition() const {
  Position position{};
  std::string_view text = getProperty("POSITION");
  for (int& number : position) {
    text = trimLeft(text);
    number = leadingInt(text);
    text.remove_prefix(std::min(text.find_first_of(kBlanks), text.size()));
  }
  return position;
}

void StickyNote::setPosition(const Position& position) {
  std::string text;
  for (const int number : position) {
    text.append(text.empty() ? "" : " ").append(std::to_string(number));
  }
  setProperty("POSITION", text);
}

}  // namespace nalvo::mail

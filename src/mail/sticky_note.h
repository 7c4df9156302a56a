// Sticky notes.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "mail/v_base.h"

namespace nalvo::mail {

class StickyNote final : public VBase {
 public:
  enum class Color : std::uint8_t { White, Yellow, Pink, Green, Blue };
  using Position = std::array<int, 4>;

  // A text of more bytes is cut to as many characters.
  static constexpr std::size_t kMostText = 30000;

  const char* getType() const override { return "STICKYNOTE"; }
  void dump(std::ostream& log) const override { dumpFields(log, {"COLOR", "POSITION", "TEXT"}); }

  void createNew();

  std::string getText() const { return getProperty("TEXT"); }
  void setText(std::string_view text);
  // The first line of the text, at most 255 characters of it.
  std::string getSubject() const;

  // Yellow for one that isn't known.
  Color getColor() const;
  void setColor(Color color);

  // Zeros for numbers that are missing.
  Position getPosition() const;
  void setPosition(const Position& position);
};

}  // namespace nalvo::mail

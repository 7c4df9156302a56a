// What a mail and its annotations would not bring back of a message travels beside them, in one binary property under a name
// of the host's own. Each message, also one that is attached, carries its own.
//
// Every value that is carried has a guard: it comes back only to the thing that it was taken from, so that a mail that was
// edited in between keeps what its editor wrote. Values of the mail itself win wherever the two disagree.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/memory_objects.h"

namespace nalvo::host {

enum class SeriesKind : std::uint8_t { Appointment, Task };

// A property by what holds in every file: its tag, or the name of a named one with the type.
struct PropertyKey {
  ULONG tag = 0;  // as it is listed; of a named property the type alone counts
  std::optional<PropertyName> name;
};
// No key for an identifier of a named property that has no name.
std::optional<PropertyKey> keyOf(const PropertyBag& bag, ULONG tag);
// No tag when the bag's names are all given away.
std::optional<ULONG> tagOf(const PropertyKey& key, const PropertyBag& bag);

// When a carried value comes back.
struct Guard {
  enum class Kind : std::uint8_t {
    Always,   // where its object is found at all
    Absent,   // the property is not there
    Value,    // the property has the value of this digest
    Words,    // the text of the property `tag` has these words; one that is not there has none
    Person,   // of the originator with the address `tag`, the address or the name has these words
    Headers,  // the text of the property has these lines, whatever boundaries they name, which are new in each mail
    Message,  // the attachment holds the message of this digest
    Series,   // the property is a recurrence pattern, of the kind `tag`, with the meaning of this digest
  };
  Kind kind = Kind::Always;
  ULONG tag = 0;
  std::string digest;

  static Guard value(const PropertyRecord& record);
  static Guard words(ULONG tag, std::u16string_view text);
  // Either of two texts will do.
  static Guard words(ULONG tag, std::u16string_view text, std::u16string_view otherText);
  static Guard person(ULONG addressTag, std::u16string_view addressOrName);
  static Guard headers(const PropertyRecord& record);
  static Guard message(const MemoryMessage& message);
  static Guard series(const std::vector<std::uint32_t>& meaning, SeriesKind kind);
};

struct CarriedValue {
  enum class Action : std::uint8_t {
    Set,
    Remove,
    Narrow,  // the text was stored narrow, in the record's code page
  };
  PropertyKey key;
  Guard guard;
  Action action = Action::Set;
  PropertyRecord record;
};

// A recipient or an attachment. It is found by its marks, the surest first; one without marks is made anew.
struct CarriedPart {
  std::vector<std::string> marks;
  bool isExtra = false;  // the message has none; the one that is found goes
  std::vector<CarriedValue> values;
};

// What is put back in one go. An empty list of parts says nothing about them. Parts get the order of the list if each is
// found and no other is there; else each that is found gets its values, and nothing is made or moved.
struct CarriedLayer {
  std::vector<CarriedValue> values;
  std::vector<CarriedPart> recipients;
  std::vector<CarriedPart> attachments;

  bool empty() const { return values.empty() && recipients.empty() && attachments.empty(); }
};

// Layers come back in their order, each on what the one before it left.
using Carried = std::vector<CarriedLayer>;

// Throws MAPI_E_TOO_BIG for more than kLargestCarried bytes.
inline constexpr std::size_t kLargestCarried = 256U << 20;
std::string encode(const Carried& carried);
// No value for what encode does not make.
std::optional<Carried> decodeCarried(std::string_view bytes);

// The marks of a part, as it is now or as it would be back from a mail; the last of an attachment is its kind alone.
std::vector<std::string> marksOf(const MemoryRecipient& recipient);
std::vector<std::string> marksOf(const MemoryAttachment& attachment);
// A mark that tells a part by its place alone.
std::string placeMark(std::size_t index, std::size_t count);
// For each list of `wanted` marks the index among `there`; no value where none has one of its marks.
using Pairing = std::vector<std::optional<std::size_t>>;
Pairing pair(const std::vector<std::vector<std::string>>& wanted, const std::vector<std::vector<std::string>>& there);

// What is known to be dropped or altered on the way, from the message alone. `message` is not looked into for messages that
// are attached to it; `holder` is the one that it is one mail with, null for none.
CarriedLayer planCarried(const MemoryMessage& message, const MemoryMessage* holder = nullptr);

// Puts back what `carried` holds.
void apply(const Carried& carried, MemoryMessage& message);

// Whose values they are: those of the message, or of the one that holds it and is one mail with it.
enum class CarriedFor : std::uint8_t { Itself, Holder };

// The property itself. `takeCarried` removes it from the message and answers what it held; no value for one that is not
// there or can't be read. `dropCarried` removes those of both.
void giveCarried(MemoryMessage& message, const Carried& carried, CarriedFor whom = CarriedFor::Itself);
std::optional<Carried> takeCarried(MemoryMessage& message, CarriedFor whom = CarriedFor::Itself);
void dropCarried(MemoryMessage& message);

}  // namespace nalvo::host

#include "host/carried.h"

#include "diagnostics/hresult_exception.h"
#include "host/carried_value.h"
#include "host/little_endian.h"
#include "platform/mapi/property_types.h"

namespace nalvo::host {
namespace {

constexpr SourceFile kSource{".\\Carried"};

constexpr std::uint8_t kVersion = 1;
constexpr ULONG kFirstNamedId = 0x8000;
// A small text must not become a large tree.
constexpr std::size_t kMostThings = 1U << 20;

const PropertyName& carriedName(CarriedFor whom) {
  constexpr GUID kSet{0x3D4C1F0A, 0x92B7, 0x4E65, {0xA1, 0x58, 0x6E, 0x0D, 0x2F, 0x93, 0xC4, 0x7B}};
  static const PropertyName kItself{kSet, MNID_STRING, 0, u"Carried"};
  static const PropertyName kHolder{kSet, MNID_STRING, 0, u"Carried of holder"};
  return whom == CarriedFor::Itself ? kItself : kHolder;
}

[[noreturn]] void raiseCorrupt() { throwHResult(MAPI_E_CORRUPT_DATA, kSource.at("host::decodeCarried")); }

class Encoder {
 public:
  explicit Encoder(std::string& out) : out_(out) {}

  void add(const CarriedLayer& layer) {
    addList(layer.values);
    addList(layer.recipients);
    addList(layer.attachments);
  }
  template <typename T>
  void addList(const std::vector<T>& list) {
    appendTo(out_, static_cast<std::uint32_t>(list.size()));
    for (const T& one : list) {
      add(one);
    }
  }

 private:
  void add(const std::string& text) { appendText(out_, text); }
  void add(const PropertyKey& key) {
    appendTo(out_, static_cast<std::uint32_t>(key.name ? propTag(propType(key.tag), kFirstNamedId) : key.tag));
    if (key.name) {
      appendTo(out_, key.name->set);
      out_ += static_cast<char>(key.name->kind);
      if (key.name->kind == MNID_ID) {
        appendTo(out_, key.name->id);
      } else {
        appendWideText(out_, key.name->name);
      }
    }
  }
  void add(const CarriedValue& value) {
    if (out_.size() > kLargestCarried) {
      throwHResult(MAPI_E_TOO_BIG, kSource.at("host::encode"));
    }
    add(value.key);
    out_ += static_cast<char>(value.guard.kind);
    appendTo(out_, static_cast<std::uint32_t>(value.guard.tag));
    appendText(out_, value.guard.digest);
    out_ += static_cast<char>(value.action);
    if (value.action == CarriedValue::Action::Set) {
      appendRecord(out_, value.record);
    } else if (value.action == CarriedValue::Action::Narrow) {
      appendTo(out_, static_cast<std::uint32_t>(value.record.codePage));
    }
  }
  void add(const CarriedPart& part) {
    addList(part.marks);
    out_ += part.isExtra ? '\1' : '\0';
    addList(part.values);
  }

  std::string& out_;
};

class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : in_(bytes) {}

  Carried carried() {
    if (in_.number<std::uint8_t>() != kVersion) {
      raiseCorrupt();
    }
    Carried result;
    read(result);
    if (!in_.atEnd()) {
      raiseCorrupt();
    }
    return result;
  }

 private:
  template <typename T>
  void read(std::vector<T>& list) {
    const std::uint32_t count = in_.count(sizeof(std::uint32_t));
    if ((things_ += count) > kMostThings) {
      raiseCorrupt();
    }
    for (std::uint32_t i = 0; i < count; ++i) {
      read(list.emplace_back());
    }
  }
  void read(std::string& text) { text = in_.text(); }
  template <typename T>
  T oneOf(T last) {
    const auto value = in_.number<std::uint8_t>();
    if (value > static_cast<std::uint8_t>(last)) {
      raiseCorrupt();
    }
    return static_cast<T>(value);
  }
  // An identifier that a store numbers for itself means nothing here.
  void read(PropertyKey& key) {
    key.tag = in_.number<std::uint32_t>();
    if (propId(key.tag) < kFirstNamedId) {
      return;
    }
    if (propId(key.tag) > kFirstNamedId) {
      raiseCorrupt();
    }
    PropertyName& name = key.name.emplace();
    name.set = in_.number<GUID>();
    name.kind = oneOf<ULONG>(MNID_STRING);
    if (name.kind == MNID_ID) {
      name.id = in_.number<std::int32_t>();
    } else {
      name.name = in_.wideText();
    }
  }
  void read(CarriedValue& value) {
    read(value.key);
    value.guard.kind = oneOf(Guard::Kind::Series);
    value.guard.tag = in_.number<std::uint32_t>();
    value.guard.digest = in_.text();
    value.action = oneOf(CarriedValue::Action::Narrow);
    if (value.action == CarriedValue::Action::Set) {
      value.record = readRecord(in_);
    } else if (value.action == CarriedValue::Action::Narrow) {
      value.record.codePage = in_.number<std::uint32_t>();
    }
    if (propType(value.key.tag) == PT_OBJECT) {
      raiseCorrupt();
    }
  }
  void read(CarriedPart& part) {
    read(part.marks);
    part.isExtra = oneOf<std::uint8_t>(1) != 0;
    read(part.values);
  }
  void read(CarriedLayer& layer) {
    read(layer.values);
    read(layer.recipients);
    read(layer.attachments);
  }

  ByteReader in_;
  std::size_t things_ = 0;
};

std::optional<PropertyRecord> takeRecord(MemoryMessage& message, CarriedFor whom) {
  const std::uint16_t id = message.bag().names().idOf(carriedName(whom), false);
  return id == 0 ? std::nullopt : message.bag().take(propTag(PT_BINARY, id));
}

}  // namespace

std::optional<PropertyKey> keyOf(const PropertyBag& bag, ULONG tag) {
  if (propId(tag) < kFirstNamedId) {
    return PropertyKey{tag, {}};
  }
  const PropertyName* name = bag.names().nameOf(static_cast<std::uint16_t>(propId(tag)));
  return name == nullptr ? std::nullopt : std::optional(PropertyKey{propTag(propType(tag), 0), *name});
}

std::optional<ULONG> tagOf(const PropertyKey& key, const PropertyBag& bag) {
  if (!key.name) {
    return key.tag;
  }
  const std::uint16_t id = bag.names().idOf(*key.name, true);
  return id == 0 ? std::nullopt : std::optional(propTag(propType(key.tag), id));
}

std::string encode(const Carried& carried) {
  std::string out(1, static_cast<char>(kVersion));
  Encoder(out).addList(carried);
  if (out.size() > kLargestCarried) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("host::encode"));
  }
  return out;
}

std::optional<Carried> decodeCarried(std::string_view bytes) {
  try {
    return Decoder(bytes).carried();
  } catch (const HResultException& broken) {
    if (broken.getHResult() != MAPI_E_CORRUPT_DATA) {
      throw;
    }
    return std::nullopt;
  }
}

void giveCarried(MemoryMessage& message, const Carried& carried, CarriedFor whom) {
  const std::uint16_t id = message.bag().names().idOf(carriedName(whom), true);
  if (id == 0) {
    throwHResult(MAPI_E_TOO_BIG, kSource.at("host::giveCarried"), "too many named properties");
  }
  message.bag().restore(propTag(PT_BINARY, id), {PT_BINARY, encode(carried)});
}

std::optional<Carried> takeCarried(MemoryMessage& message, CarriedFor whom) {
  const std::optional<PropertyRecord> record = takeRecord(message, whom);
  return record && contentSize(*record) <= kLargestCarried ? decodeCarried(bytesOf(*record)) : std::nullopt;
}

void dropCarried(MemoryMessage& message) {
  takeRecord(message, CarriedFor::Itself);
  takeRecord(message, CarriedFor::Holder);
}

}  // namespace nalvo::host

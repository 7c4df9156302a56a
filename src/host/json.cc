#include "host/json.h"

#include <cinttypes>
#include <cstdio>

#include "host/digest.h"
#include "host/structure_words.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "platform/time/file_time.h"
#include "properties/tag_names.h"
#include "streams/coder.h"

namespace nalvo::host {
namespace {

using Json = nlohmann::ordered_json;

// Longer binary values are told by size and digest.
constexpr std::size_t kShownBytes = 4096;

template <typename... Args>
std::string print(const char* format, Args... args) {
  char text[96];
  std::snprintf(text, sizeof text, format, args...);
  return text;
}

std::string textOfGuid(const GUID& g) {
  return print("{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1],
               g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
}

Json valueOf(FILETIME time) {
  const std::optional<SYSTEMTIME> t = fileTimeToSystemTime(time);
  if (!t) {
    return nullptr;
  }
  const auto fraction = static_cast<unsigned>(ticksOf(time) % kTicksPerSecond);
  return print("%04u-%02u-%02uT%02u:%02u:%02u.%07uZ", t->wYear, t->wMonth, t->wDay, t->wHour, t->wMinute, t->wSecond,
               fraction);
}

Json bytesValue(const std::string& bytes, bool full) {
  if (bytes.size() > kShownBytes && !full) {
    return {{"size", bytes.size()}, {"sha256", sha256(bytes)}};
  }
  std::string encoded;
  (void)Coder::encodeBase64(bytes.data(), bytes.size(), encoded);
  return {{"base64", encoded}};
}

// Tells the value of a property by the alternative that holds it.
struct ValueVisitor {
  const PropertyRecord& record;
  bool full;

  Json operator()(std::monostate) const { return nullptr; }
  Json operator()(std::int64_t number) const { return std::to_string(number); }
  Json operator()(FILETIME time) const { return valueOf(time); }
  Json operator()(const GUID& guid) const { return textOfGuid(guid); }
  Json operator()(const std::string& bytes) const {
    return isText() ? Json(wideToUtf8(textOf({PT_STRING8, bytes, record.codePage}))) : bytesValue(bytes, full);
  }
  Json operator()(const std::u16string& text) const { return wideToUtf8(text); }
  Json operator()(const ComPtr<IStream>& stream) const {
    if (isText()) {
      return wideToUtf8(textOf(record));
    }
    const StreamDigest digest = digestOf(stream.get());
    if (digest.size > kShownBytes && !full) {
      return {{"size", digest.size}, {"sha256", digest.sha256}};
    }
    return bytesValue(bytesOf(record), full);
  }
  template <typename T>
  Json operator()(const std::vector<T>& values) const {
    Json array = Json::array();
    for (const T& value : values) {
      array.push_back((*this)(value));
    }
    return array;
  }
  template <typename Number>
  requires std::is_arithmetic_v<Number> Json operator()(Number number) const { return number; }

  bool isText() const {
    const ULONG single = record.type & ~MV_FLAG;
    return single == PT_STRING8 || single == PT_UNICODE;
  }
};

std::string annotationStyleName(const PropertyName& name, ULONG type) {
  const std::string head = print("%08x ", type) + textOfGuid(name.set);
  return name.kind == MNID_ID ? head + print(" [I] %08x", static_cast<std::uint32_t>(name.id))
                              : head + " [UN] \"" + wideToUtf8(name.name) + "\"";
}

std::string wordsOf(const PropertyBag& bag, ULONG tag) {
  const PropertyName* name = bag.names().nameOf(static_cast<std::uint16_t>(propId(tag)));
  const PropertyRecord* record = bag.find(tag);
  const bool isNumbered = name != nullptr && name->kind == MNID_ID;
  return isNumbered && record != nullptr && record->type == PT_BINARY
             ? structureWords(name->set, static_cast<std::uint32_t>(name->id), bytesOf(*record))
             : std::string();
}

Json propertiesOf(const PropertyBag& bag, bool full, bool words) {
  Json list = Json::array();
  for (const ULONG tag : bag.tags()) {
    list.push_back(toJson(bag, tag, full));
    if (const std::string text = words ? wordsOf(bag, tag) : std::string(); !text.empty()) {
      list.back()["words"] = text;
    }
  }
  return list;
}

}  // namespace

nlohmann::ordered_json toJson(const PropertyBag& bag, ULONG tag, bool full) {
  Json property = {{"tag", print("%08x", tag)}};
  if (const PropertyName* name = bag.names().nameOf(static_cast<std::uint16_t>(propId(tag)))) {
    property["named"] = annotationStyleName(*name, propType(tag));
    const std::string_view published =
        name->kind == MNID_ID ? namedPropertyName(name->set, static_cast<std::uint32_t>(name->id)) : std::string_view();
    if (!published.empty()) {
      property["name"] = published;
    }
  } else if (const std::string_view published = tagName(tag); !published.empty()) {
    property["name"] = published;
  }
  property["type"] = typeName(propType(tag));
  const PropertyRecord* record = bag.find(tag);
  property["value"] = record == nullptr ? Json(nullptr) : std::visit(ValueVisitor{*record, full}, record->content);
  return property;
}

nlohmann::ordered_json toJson(const MemoryMessage& message, bool full, bool words) {
  Json result;
  result["messageClass"] = messageClassOf(message);
  result["properties"] = propertiesOf(message.bag(), full, words);
  result["recipients"] = Json::array();
  for (const ComPtr<MemoryRecipient>& recipient : message.parts().recipients) {
    result["recipients"].push_back({{"properties", propertiesOf(recipient->bag(), full, words)}});
  }
  result["attachments"] = Json::array();
  for (const ComPtr<MemoryAttachment>& attachment : message.parts().attachments) {
    Json entry = {{"properties", propertiesOf(attachment->bag(), full, words)}};
    if (attachment->embedded()) {
      entry["message"] = toJson(*attachment->embedded(), full, words);
    }
    result["attachments"].push_back(std::move(entry));
  }
  return result;
}

}  // namespace nalvo::host

// The files beside a mail that came from a server.
#include <iterator>
#include <nlohmann/json.hpp>

#include "host/mail.h"
#include "platform/text/text.h"

namespace nalvo::host {
namespace {

using Json = nlohmann::ordered_json;

struct FlagRow {
  const char* name;
  MimeFlag flag;
};

constexpr FlagRow kFlags[] = {
    {"read", MimeFlag::Read},         {"draft", MimeFlag::Draft},     {"forwarded", MimeFlag::Forwarded},
    {"answered", MimeFlag::Answered}, {"flagged", MimeFlag::Flagged}, {"deleted", MimeFlag::Deleted},
    {"junk", MimeFlag::Junk},         {"notJunk", MimeFlag::NotJunk}, {"receiptDealtWith", MimeFlag::ReceiptDealtWith},
};

// The order of SYSTEMTIME without the day of the week, which follows from the rest.
Json toJson(const SYSTEMTIME& time) {
  return {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds};
}

SYSTEMTIME timeOf(const Json& json) {
  const auto at = [&json](std::size_t i) { return json.at(i).get<std::uint16_t>(); };
  return {at(0), at(1), 0, at(2), at(3), at(4), at(5), at(6)};
}

template <typename T>
std::optional<T> valueOf(const Json& json, const char* name) {
  return json.contains(name) ? std::optional<T>(json.at(name).get<T>()) : std::nullopt;
}

}  // namespace

std::string annotationsToJson(const MemoryAnnotations::Entries& entries) {
  Json list = Json::array();
  for (const auto& [name, value] : entries) {
    list.push_back({{"name", name}, {"value", value}});
  }
  return list.dump(1) + "\n";
}

MemoryAnnotations::Entries annotationsFromJson(const std::string& text) {
  MemoryAnnotations::Entries entries;
  for (const Json& entry : Json::parse(text)) {
    entries.emplace_back(entry.at("name").get<std::string>(), entry.at("value").get<std::string>());
  }
  return entries;
}

std::string flagsToJson(const MemoryFlags& flags) {
  Json json;
  for (const FlagRow& row : kFlags) {
    json[row.name] = flags.flags.contains(static_cast<ULONG>(row.flag));
  }
  json["hidden"] = flags.hidden;
  if (!flags.messageClass.empty()) {
    json["messageClass"] = wideToUtf8(flags.messageClass);
  }
  if (flags.internalDate) {
    json["internalDate"] = toJson(*flags.internalDate);
  }
  if (flags.modificationDate) {
    json["modificationDate"] = toJson(*flags.modificationDate);
  }
  if (flags.messageSize) {
    json["size"] = *flags.messageSize;
  }
  if (flags.attachments) {
    json["attachments"] = *flags.attachments;
  }
  return json.dump(1) + "\n";
}

ComPtr<MemoryFlags> flagsFromJson(const std::string& text, const HostContextPtr& context) {
  const Json json = Json::parse(text);
  auto flags = makeCom<MemoryFlags>(context);
  for (const FlagRow& row : kFlags) {
    if (valueOf<bool>(json, row.name).value_or(false)) {
      flags->flags.insert(static_cast<ULONG>(row.flag));
    }
  }
  flags->hidden = valueOf<bool>(json, "hidden").value_or(false);
  flags->messageClass = utf8ToWide(valueOf<std::string>(json, "messageClass").value_or(std::string()));
  if (json.contains("internalDate")) {
    flags->internalDate = timeOf(json["internalDate"]);
  }
  if (json.contains("modificationDate")) {
    flags->modificationDate = timeOf(json["modificationDate"]);
  }
  flags->messageSize = valueOf<ULONG>(json, "size");
  flags->attachments = valueOf<bool>(json, "attachments");
  return flags;
}

}  // namespace nalvo::host

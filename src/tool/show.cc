#include <algorithm>

#include "host/json.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "tool/commands.h"

namespace nalvo::tool {
namespace {

using Json = nlohmann::ordered_json;

// A longer text is cut, unless all is wanted.
constexpr std::size_t kShownText = 400;

std::string dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// Cuts UTF-8 between characters.
std::string_view beginningOf(std::string_view text) {
  std::size_t end = kShownText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) {
    --end;
  }
  return text.substr(0, end);
}

std::string valueText(const Json& value, bool full, const std::string& indent) {
  if (value.is_object()) {
    return value.contains("size")
               ? std::to_string(value["size"].get<std::uint64_t>()) + " bytes, sha256 " + value["sha256"].get<std::string>()
               : value["base64"].get<std::string>();
  }
  if (!value.is_string()) {
    return dump(value);
  }
  const auto& text = value.get_ref<const std::string&>();
  const bool cut = !full && text.size() > kShownText;
  std::string result;
  for (const char c : cut ? beginningOf(text) : std::string_view(text)) {
    if (c == '\n') {
      result += "\n" + indent + "    ";
    } else if (c != '\r' && (static_cast<unsigned char>(c) >= 0x20 || c == '\t')) {
      result += c;  // control characters would steer the reader's terminal
    }
  }
  return cut ? result + "... (" + std::to_string(text.size()) + " bytes)" : result;
}

void tellProperties(std::string& out, const Json& properties, bool full, const std::string& indent) {
  for (const Json& property : properties) {
    const std::string name = property.contains("name")    ? property["name"].get<std::string>()
                             : property.contains("named") ? property["named"].get<std::string>()
                                                          : property["tag"].get<std::string>();
    const bool hasWords = property.contains("words");
    out += indent + name + "  " +
           (hasWords ? property["words"].get<std::string>() : valueText(property["value"], full, indent));
    out += hasWords && full ? "  " + valueText(property["value"], full, indent) + "\n" : "\n";
  }
}

void tellMessage(std::string& out, const Json& message, bool full, const std::string& indent) {
  tellProperties(out, message["properties"], full, indent);
  std::size_t number = 0;
  for (const Json& recipient : message["recipients"]) {
    out += indent + "recipient " + std::to_string(number++) + "\n";
    tellProperties(out, recipient["properties"], full, indent + "  ");
  }
  number = 0;
  for (const Json& attachment : message["attachments"]) {
    out += indent + "attachment " + std::to_string(number++) + "\n";
    tellProperties(out, attachment["properties"], full, indent + "  ");
    if (attachment.contains("message")) {
      out += indent + "  message " + attachment["message"]["messageClass"].get<std::string>() + "\n";
      tellMessage(out, attachment["message"], full, indent + "    ");
    }
  }
}

}  // namespace

Outcome show(const Input& input, const ShowOptions& options) {
  const auto context = std::make_shared<host::HostContext>();
  Outcome outcome;
  const ComPtr<IStream> file = input.open();
  const ComPtr<host::MemoryMessage> message =
      host::isMsg(file.get()) ? host::readMsg(file.get(), context, &outcome.warnings)
                              : host::readMail(file.get(), context, input.modified(), nullptr, &outcome.warnings);
  const Json json = host::toJson(*message, options.full, true);
  if (options.json) {
    Json line = {{"file", input.name}};
    line.update(json);
    outcome.output = dump(line) + "\n";
    return outcome;
  }
  outcome.output = input.name + "  " + json["messageClass"].get<std::string>() + "\n";
  tellMessage(outcome.output, json, options.full, "  ");
  return outcome;
}

}  // namespace nalvo::tool

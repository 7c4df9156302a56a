#include "tool/message_summary.h"

#include <algorithm>

namespace nalvo::tool {
namespace {

constexpr const char* kRecipientKinds[] = {"From", "To", "Cc", "Bcc"};

std::string singleLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

// The path of a directory tells people nothing.
std::string person(const std::string& name, const std::string& full) {
  const std::string address = full.starts_with('/') ? std::string() : full;
  return singleLine(address.empty() || name == address ? name : name.empty() ? address : name + " <" + address + ">");
}

std::string firstOf(const Json& properties, std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) {
    if (std::string text = textOf(properties, name); !text.empty()) {
      return text;
    }
  }
  return {};
}

// A structure in words.
std::string wordsOf(const Json& properties, std::string_view name) {
  for (const Json& property : properties) {
    if (property.contains("words") && nameOf(property) == name) {
      return property["words"].get<std::string>();
    }
  }
  return {};
}

std::string whoIs(const Json& recipient) {
  const Json& properties = recipient["properties"];
  return person(textOf(properties, "PR_DISPLAY_NAME"), firstOf(properties, {"PR_SMTP_ADDRESS", "PR_EMAIL_ADDRESS"}));
}

const char* kindOf(const Json& recipient) {
  const std::string type = textOf(recipient["properties"], "PR_RECIPIENT_TYPE");
  return type.size() == 1 && type[0] >= '0' && type[0] <= '3' ? kRecipientKinds[type[0] - '0'] : "Recipient";
}

std::string recipientsOf(const Json& message, std::string_view kind) {
  std::string list;
  for (const Json& recipient : message["recipients"]) {
    if (kindOf(recipient) == kind) {
      list += (list.empty() ? "" : "; ") + whoIs(recipient);
    }
  }
  return list;
}

// Of the bytes of a property.
std::uint64_t sizeOf(const Json& value) {
  if (value.contains("size")) {
    return value["size"].get<std::uint64_t>();
  }
  if (!value.contains("base64")) {
    return 0;
  }
  const std::string& encoded = value["base64"].get_ref<const std::string&>();
  return encoded.size() / 4 * 3 - static_cast<std::size_t>(std::count(encoded.begin(), encoded.end(), '='));
}

std::string attachmentsOf(const Json& message) {
  std::string list;
  for (const Json& attachment : message["attachments"]) {
    list += (list.empty() ? "" : "; ") + attachmentTitle(attachment);
  }
  return list;
}

}  // namespace

std::string recipientTitle(const Json& recipient) { return std::string(kindOf(recipient)) + ": " + whoIs(recipient); }

std::string attachmentTitle(const Json& attachment) {
  const Json& properties = attachment["properties"];
  std::string name = firstOf(properties, {"PR_ATTACH_LONG_FILENAME", "PR_ATTACH_FILENAME", "PR_DISPLAY_NAME"});
  if (name.empty()) {
    name = attachment.contains("message") ? textOf(attachment["message"]["properties"], "PR_SUBJECT") : "(no name)";
  }
  for (const Json& property : properties) {
    if (nameOf(property) == "PR_ATTACH_DATA_BIN") {
      return singleLine(name) + ", " + sizeWords(sizeOf(property["value"]));
    }
  }
  const std::string size = textOf(properties, "PR_ATTACH_SIZE");
  return singleLine(name) + (size.empty() || size[0] == '-' ? "" : ", " + sizeWords(std::stoull(size)));
}

MessageSummary summaryOf(const Json& message) {
  const Json& properties = message["properties"];
  const auto time = [&](std::string_view name) {
    const std::string text = textOf(properties, name);
    return text.empty() ? text : timeWords(text);
  };
  const auto messageClass = message["messageClass"].get<std::string>();
  const std::string kind(nalvo::tool::kindOf(messageClass));
  const std::string from = person(firstOf(properties, {"PR_SENT_REPRESENTING_NAME", "PR_SENDER_NAME"}),
                                  firstOf(properties, {"PR_SENT_REPRESENTING_EMAIL_ADDRESS", "PR_SENDER_EMAIL_ADDRESS"}));
  const std::string sender = person(textOf(properties, "PR_SENDER_NAME"), textOf(properties, "PR_SENDER_EMAIL_ADDRESS"));
  const std::string begins = time("PidLidAppointmentStartWhole");
  const std::pair<const char*, std::string> rows[] = {
      {"From", from},
      {"Sender", sender == from ? "" : sender},
      {"To", recipientsOf(message, "To")},
      {"Cc", recipientsOf(message, "Cc")},
      {"Bcc", recipientsOf(message, "Bcc")},
      {"Sent", time("PR_CLIENT_SUBMIT_TIME")},
      {"Received", time("PR_MESSAGE_DELIVERY_TIME")},
      {"Begins", begins},
      {"Ends", begins.empty() ? "" : time("PidLidAppointmentEndWhole")},
      {"Repeats", wordsOf(properties, "PidLidAppointmentRecur")},
      {"Place", textOf(properties, "PidLidLocation")},
      {"Due", time("PidLidTaskDueDate")},
      {"Company", textOf(properties, "PR_COMPANY_NAME")},
      {"E-mail", textOf(properties, "PidLidEmail1EmailAddress")},
      {"Kind", kind.empty() ? messageClass : kind + " (" + messageClass + ")"},
      {"Attachments", attachmentsOf(message)},
  };
  MessageSummary summary;
  summary.title = singleLine(firstOf(properties, {"PR_SUBJECT", "PR_DISPLAY_NAME"}));
  for (const auto& [label, value] : rows) {
    if (!value.empty()) {
      summary.rows.emplace_back(label, singleLine(value));
    }
  }
  return summary;
}

}  // namespace nalvo::tool

#include "host/item_comparison.h"
#include "host/json.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "tool/commands.h"
#include "tool/message_page.h"
#include "tool/message_summary.h"
#include "tool/value_words.h"

namespace nalvo::tool {
namespace {

std::string dump(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// Writes a message for a terminal, in columns.
class Teller {
 public:
  explicit Teller(const ShowOptions& options) : options_(options) {}

  void message(const Json& json, std::size_t depth) {
    const MessageSummary summary = summaryOf(json);
    line(depth, bold(summary.title.empty() ? "(no subject)" : summary.title));
    for (const auto& [label, value] : summary.rows) {
      row(depth, label, kLabelWidth, value);
    }
    properties("Message", json["properties"], depth);
    for (const Json& recipient : json["recipients"]) {
      properties(recipientTitle(recipient), recipient["properties"], depth);
    }
    for (const Json& attachment : json["attachments"]) {
      properties("Attachment: " + attachmentTitle(attachment), attachment["properties"], depth);
      if (attachment.contains("message")) {
        message(attachment["message"], depth + 1);
      }
    }
  }

  std::string take() { return std::move(out_); }

  std::string bold(const std::string& text) const { return options_.colours ? "\033[1m" + text + "\033[0m" : text; }

 private:
  static constexpr std::size_t kLabelWidth = 13;
  static constexpr std::size_t kNameWidth = 41;
  static constexpr std::size_t kIndent = 2;

  void properties(const std::string& title, const Json& list, std::size_t depth) {
    out_ += "\n";
    line(depth, bold(title));
    for (const Json& property : list) {
      row(depth + 1, nameOf(property), kNameWidth, valueWords(property, options_.full));
    }
  }

  void line(std::size_t depth, const std::string& text) { out_ += std::string(kIndent * (depth + 1), ' ') + text + "\n"; }

  // Further lines of the value stand below its first.
  void row(std::size_t depth, const std::string& label, std::size_t width, const std::string& value) {
    const std::size_t indent = kIndent * (depth + 1);
    out_ += std::string(indent, ' ') + (options_.colours ? "\033[36m" + label + "\033[0m" : label);
    out_ += std::string(label.size() + 2 <= width ? width - label.size() : 2, ' ');
    for (const char c : value) {
      out_ += c;
      if (c == '\n') {
        out_.append(indent + kIndent, ' ');
      }
    }
    out_ += "\n";
  }

  const ShowOptions& options_;
  std::string out_;
};

}  // namespace

Outcome show(const Input& input, const ShowOptions& options) {
  const auto context = std::make_shared<host::HostContext>();
  Outcome outcome;
  const ComPtr<IStream> file = input.open();
  const bool isMail = !host::isMsg(file.get());
  const ComPtr<host::MemoryMessage> message =
      isMail ? host::readMail(file.get(), context, input.modified(), nullptr, &outcome.warnings)
             : host::readMsg(file.get(), context, &outcome.warnings);
  if (isMail) {
    host::warnOfChangedSeries(file.get(), context, outcome.warnings);
  }
  const Json json = host::toJson(*message, options.full, true);
  outcome.messageClass = json["messageClass"].get<std::string>();
  if (options.json) {
    Json line = {{"file", input.name}};
    line.update(json);
    outcome.output = dump(line) + "\n";
  } else if (options.page) {
    outcome.output = messagePage(message.get(), json);
  } else {
    Teller teller(options);
    teller.message(json, 0);
    outcome.output = teller.bold(input.name) + "\n" + teller.take() + "\n";
  }
  return outcome;
}

}  // namespace nalvo::tool

#include <algorithm>
#include <iterator>

#include "host/comparison.h"
#include "host/mail.h"
#include "host/msg_file.h"
#include "tool/commands.h"

namespace nalvo::tool {
namespace {

void tell(std::string& out, const char* kind, const std::vector<host::Difference>& differences) {
  for (const host::Difference& difference : differences) {
    out += std::string("  ") + kind + "  " + difference.where + ": " + difference.what;
    if (!difference.rule.empty()) {
      out += " (" + difference.rule + ")";
    } else if (!difference.before.empty() && !difference.after.empty()) {
      out += "\n      was: " + host::shownValue(difference.before) + "\n      is:  " + host::shownValue(difference.after);
    } else {
      out += ": " + host::shownValue(difference.before + difference.after);
    }
    out += "\n";
  }
}

// A mail that holds all, and what its writer should know.
ComPtr<IStream> mailOf(host::MemoryMessage& message, Outcome& outcome) {
  host::MailFile file = host::writeMail(&message, host::MailForm::Lossless, nullptr);
  std::move(file.warnings.begin(), file.warnings.end(), std::back_inserter(outcome.warnings));
  return file.mail;
}

std::string sumOf(const host::Comparison& comparison) {
  std::string text;
  const auto add = [&text](std::size_t count, const char* word) {
    if (count != 0) {
      text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + word;
    }
  };
  add(comparison.lost.size(), "lost");
  add(comparison.changed.size(), "changed");
  add(comparison.added.size(), "added");
  return text;
}

}  // namespace

Outcome check(const Input& input, bool json) {
  const auto context = std::make_shared<host::HostContext>();
  Outcome outcome;
  host::Comparison comparison;
  const ComPtr<IStream> file = input.open();
  if (host::isMsg(file.get())) {
    const ComPtr<host::MemoryMessage> before = host::readMsg(file.get(), context, &outcome.warnings);
    outcome.messageClass = host::messageClassOf(*before);
    const ComPtr<IStream> mail = mailOf(*before, outcome);
    const ComPtr<host::MemoryMessage> after =
        host::readMail(mail.get(), context, input.modified(), nullptr, &outcome.warnings);
    comparison = host::compareMessages(*before, *after);
  } else {
    const ComPtr<host::MemoryMessage> message =
        host::readMail(file.get(), context, input.modified(), nullptr, &outcome.warnings);
    outcome.messageClass = host::messageClassOf(*message);
    const ComPtr<IStream> back = mailOf(*message, outcome);
    comparison = host::compareMails(file.get(), back.get());
  }
  outcome.error = sumOf(comparison);
  outcome.explained = comparison.explained.size();
  outcome.unexplained = comparison.lost.size() + comparison.changed.size() + comparison.added.size();
  if (json) {
    nlohmann::ordered_json line = {{"file", input.name}};
    line.update(host::toJson(comparison));
    outcome.output = line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
  } else {
    outcome.output = input.name + ": " + std::to_string(comparison.same) + " of " + std::to_string(comparison.compared) +
                     " came back the same\n";
    tell(outcome.output, "lost     ", comparison.lost);
    tell(outcome.output, "changed  ", comparison.changed);
    tell(outcome.output, "added    ", comparison.added);
    tell(outcome.output, "explained", comparison.explained);
  }
  return outcome;
}

}  // namespace nalvo::tool

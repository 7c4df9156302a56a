// nalvo: mail as MAPI objects, and back.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "nalvo_version.h"
#include "tool/commands.h"

namespace {

using namespace nalvo::tool;

int run(int argc, char** argv) {
  CLI::App app{"Converts MAPI objects to Internet mail and back; nothing is lost on the way."};
  app.name("nalvo");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("nalvo ") + nalvo::kVersionText);
  app.footer("Exit codes: 0 all done, 1 some input failed, 2 wrong usage.");

  std::vector<std::string> arguments;
  ShowOptions showOptions;
  bool checkJson = false;
  unsigned jobs = 1;

  const auto takesInputs = [&arguments](CLI::App* verb) {
    verb->add_option("INPUT", arguments, "A .eml file, a folder, or - for standard input")->required();
  };
  CLI::App* showVerb = app.add_subcommand("show", "Print the properties that a mail becomes");
  showVerb->add_flag("--json", showOptions.json, "One JSON object per input, on one line each");
  showVerb->add_flag("--full", showOptions.full, "Long values whole");
  takesInputs(showVerb);
  CLI::App* checkVerb = app.add_subcommand("check", "Go there and back and name what does not come back the same");
  checkVerb->add_flag("--json", checkJson, "One JSON object per input, on one line each");
  checkVerb->add_option("-j", jobs, "Inputs worked on at a time")->check(CLI::Range(1U, 256U));
  takesInputs(checkVerb);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kAllDone : kWrongUsage;
  }
  const std::vector<Input> inputs = collectInputs(arguments);
  if (inputs.empty()) {
    std::fprintf(stderr, "nalvo: no mail found\n");
    return kSomeFailed;
  }
  if (showVerb->parsed()) {
    return runAll(inputs, 1, [&](const Input& input) { return show(input, showOptions); });
  }
  return runAll(inputs, jobs, [&](const Input& input) { return check(input, checkJson); });
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "nalvo: %s\n", failure.what());
    return kSomeFailed;
  }
}

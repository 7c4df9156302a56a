// nalvo: mail as MAPI objects, and back.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>

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
  ConvertOptions convertOptions;
  ObjectOptions objectOptions;
  bool checkJson = false;
  unsigned jobs = 1;

  const auto takesInputs = [&arguments](CLI::App* verb, const char* what) {
    verb->add_option("INPUT", arguments, what)->required();
  };
  const auto takesJobs = [&jobs](CLI::App* verb) {
    verb->add_option("-j", jobs, "Inputs worked on at a time")->check(CLI::Range(1U, 256U));
  };
  const auto takesOutput = [&convertOptions](CLI::App* verb) {
    verb->add_option("-o", convertOptions.output, "A file, or a folder; without it the output goes beside the input");
    verb->add_flag("--force", convertOptions.force, "Write over files that are there");
  };
  CLI::App* toMimeVerb = app.add_subcommand("to-mime", "Write .msg files as mail");
  const std::map<std::string, nalvo::host::MailForm> forms = {{"lossless", nalvo::host::MailForm::Lossless},
                                                              {"exact", nalvo::host::MailForm::Exact},
                                                              {"wire", nalvo::host::MailForm::Wire},
                                                              {"store", nalvo::host::MailForm::Store}};
  toMimeVerb
      ->add_option("--form", convertOptions.form,
                   "lossless: one mail that holds all; exact: the same, proven bit by bit; wire: as it would be sent; "
                   "store: with annotations and flags beside it")
      ->transform(CLI::CheckedTransformer(forms, CLI::ignore_case));
  takesOutput(toMimeVerb);
  takesJobs(toMimeVerb);
  takesInputs(toMimeVerb, "A .msg file, a folder, or - for standard input");
  CLI::App* toMapiVerb = app.add_subcommand("to-mapi", "Write mails as .msg files");
  toMapiVerb->add_flag("!--no-x-mapi", convertOptions.trustXMapi, "Leave alone what the header X-MAPI brings");
  takesOutput(toMapiVerb);
  takesJobs(toMapiVerb);
  takesInputs(toMapiVerb, "A .eml file, a folder, or - for standard input");
  CLI::App* showVerb = app.add_subcommand("show", "Print the properties of a message, or those that a mail becomes");
  showVerb->add_flag("--json", showOptions.json, "One JSON object per input, on one line each");
  showVerb->add_flag("--full", showOptions.full, "Long values whole");
  takesInputs(showVerb, "A .msg or .eml file, a folder, or - for standard input");
  CLI::App* checkVerb = app.add_subcommand("check", "Go there and back and name what does not come back the same");
  checkVerb->add_flag("--json", checkJson, "One JSON object per input, on one line each");
  takesJobs(checkVerb);
  takesInputs(checkVerb, "A .msg or .eml file, a folder, or - for standard input");

  CLI::App* objectVerb = app.add_subcommand("object", "Print calendars, cards and notes in the library's exact form");
  objectVerb->add_option("--occurrences", objectOptions.occurrences, "That many dates of the calendar's rules instead");
  takesInputs(objectVerb, "A .ics, .vcs or .vcf file, a folder, or - for standard input");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kAllDone : kWrongUsage;
  }
  const std::vector<std::string> extensions = toMimeVerb->parsed()   ? std::vector<std::string>{".msg"}
                                              : toMapiVerb->parsed() ? std::vector<std::string>{".eml"}
                                              : objectVerb->parsed() ? std::vector<std::string>{".ics", ".vcs", ".vcf"}
                                                                     : std::vector<std::string>{".eml", ".msg"};
  const std::vector<Input> inputs = collectInputs(arguments, extensions);
  if (inputs.empty()) {
    std::fprintf(stderr, objectVerb->parsed() ? "nalvo: no calendar or card found\n" : "nalvo: no mail found\n");
    return kSomeFailed;
  }
  convertOptions.manyInputs = inputs.size() > 1;
  if (showVerb->parsed()) {
    return runAll(inputs, 1, [&](const Input& input) { return show(input, showOptions); });
  }
  if (objectVerb->parsed()) {
    return runAll(inputs, 1, [&](const Input& input) { return object(input, objectOptions); });
  }
  if (checkVerb->parsed()) {
    return runAll(inputs, jobs, [&](const Input& input) { return check(input, checkJson); });
  }
  return runAll(inputs, jobs, [&](const Input& input) {
    return toMimeVerb->parsed() ? toMime(input, convertOptions) : toMapi(input, convertOptions);
  });
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

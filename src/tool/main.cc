// nalvo: mail as MAPI objects, and back.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>
#include <thread>

#include "nalvo_version.h"
#include "tool/commands.h"
#include "tool/outputs.h"
#include "tool/pipe.h"

namespace {

using namespace nalvo::tool;

constexpr const char* kAnyInput = "A .msg, .eml, .ics or .vcf file, an mbox, a Maildir, a folder, or - for standard input";

int run(int argc, char** argv) {
  CLI::App app{"Converts MAPI objects to Internet mail and back; nothing is lost on the way."};
  app.name("nalvo");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("nalvo ") + nalvo::kVersionText);
  app.footer("Exit codes: 0 all done, 1 some input failed, 2 wrong usage, 130 interrupted.");

  std::vector<std::string> arguments;
  ShowOptions showOptions;
  ConvertOptions convertOptions;
  ObjectOptions objectOptions;
  bool checkJson = false;
  std::string output;
  bool quiet = false;
  RunOptions runOptions;
  runOptions.threads = std::clamp(std::thread::hardware_concurrency(), 1U, 256U);

  const auto takesInputs = [&arguments](CLI::App* verb, const char* what) {
    verb->add_option("INPUT", arguments, what)->required();
  };
  const auto takesMany = [&](CLI::App* verb) {
    verb->add_option("-j", runOptions.threads, "Inputs worked on at a time; the number of processors")
        ->check(CLI::Range(1U, 256U));
    verb->add_option("--report", runOptions.report, "A JSON file with a row for each input");
    verb->add_flag("-q,--quiet", quiet, "No summary at the end");
  };
  const auto takesOutput = [&](CLI::App* verb) {
    verb->add_option("-o", output, "A file, or a folder; without it the output goes beside the input; - is standard output");
    CLI::Option* force = verb->add_flag("--force", convertOptions.force, "Write over files that are there");
    verb->add_flag("--resume", convertOptions.resume, "Pass over inputs whose output is there")->excludes(force);
    verb->add_flag("--reproducible", convertOptions.reproducible, "The same input gives the same bytes in each run");
  };
  CLI::App* toMimeVerb = app.add_subcommand("to-mime", "Write .msg files as mail");
  const std::map<std::string, nalvo::host::MailForm> forms = {{"lossless", nalvo::host::MailForm::Lossless},
                                                              {"exact", nalvo::host::MailForm::Exact},
                                                              {"wire", nalvo::host::MailForm::Wire},
                                                              {"store", nalvo::host::MailForm::Store}};
  const auto takesForm = [&](CLI::App* verb) {
    verb->add_option("--form", convertOptions.form,
                     "lossless: one mail that holds all; exact: the same, proven bit by bit; wire: as it would be sent; "
                     "store: with annotations and flags beside it")
        ->transform(CLI::CheckedTransformer(forms, CLI::ignore_case));
  };
  takesForm(toMimeVerb);
  const std::map<std::string, ObjectFile> objects = {{"beside", ObjectFile::Beside}, {"only", ObjectFile::Only}};
  toMimeVerb
      ->add_option(
          "--object", convertOptions.object,
          "beside: an .ics, .vcf or .txt file for each calendar item, card and sticky note, beside the mail; only: in "
          "its place")
      ->transform(CLI::CheckedTransformer(objects, CLI::ignore_case));
  takesOutput(toMimeVerb);
  takesMany(toMimeVerb);
  takesInputs(toMimeVerb, "A .msg file, a folder, or - for standard input");
  CLI::App* toMapiVerb = app.add_subcommand("to-mapi", "Write mails as .msg files");
  toMapiVerb->add_flag("!--no-x-mapi", convertOptions.trustXMapi, "Leave alone what the header X-MAPI brings");
  takesOutput(toMapiVerb);
  takesMany(toMapiVerb);
  takesInputs(toMapiVerb, "A .eml, .ics or .vcf file, an mbox, a Maildir, a folder, or - for standard input");
  CLI::App* showVerb = app.add_subcommand("show", "Print a message, or what a mail becomes, with all properties");
  CLI::Option* json = showVerb->add_flag("--json", showOptions.json, "One JSON object per input, on one line each");
  showVerb->add_flag("--html", showOptions.page, "One self-contained page of one message")->excludes(json);
  showVerb->add_flag("--full", showOptions.full, "Long values whole");
  takesInputs(showVerb, kAnyInput);
  CLI::App* checkVerb = app.add_subcommand("check", "Go there and back and name what does not come back the same");
  checkVerb->add_flag("--json", checkJson, "One JSON object per input, on one line each");
  takesMany(checkVerb);
  takesInputs(checkVerb, kAnyInput);

  CLI::App* objectVerb = app.add_subcommand("object", "Print calendars, cards and notes in the library's exact form");
  objectVerb->add_option("--occurrences", objectOptions.occurrences, "That many dates of the calendar's rules instead");
  takesInputs(objectVerb, "A .ics, .vcs or .vcf file, a folder, or - for standard input");

  std::string pipeVerb;
  PipeFraming framing = PipeFraming::Lines;
  CLI::App* pipeCommand = app.add_subcommand("pipe", "Convert records from standard input to standard output, in order");
  pipeCommand->add_option("VERB", pipeVerb, "to-mime or to-mapi")->required()->check(CLI::IsMember({"to-mime", "to-mapi"}));
  const std::map<std::string, PipeFraming> framings = {{"lines", PipeFraming::Lines}, {"lengths", PipeFraming::Lengths}};
  pipeCommand
      ->add_option("--framing", framing,
                   "lines: one JSON object {\"id\", \"base64\"} a line; lengths: 4 bytes of length, the most significant "
                   "first, ahead of each")
      ->transform(CLI::CheckedTransformer(framings, CLI::ignore_case));
  takesForm(pipeCommand);
  pipeCommand->add_option("-j", runOptions.threads, "Records worked on at a time; the number of processors")
      ->check(CLI::Range(1U, 256U));

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kAllDone : kWrongUsage;
  }
  const bool writesBeside =
      convertOptions.form == nalvo::host::MailForm::Store || convertOptions.object == ObjectFile::Beside;
  if (writesBeside && (pipeCommand->parsed() || output == "-")) {
    std::fprintf(stderr, "nalvo: files beside the mail need a place\n");
    return kWrongUsage;
  }
  if (pipeCommand->parsed()) {
    return pipeRecords(framing, runOptions.threads, [&](const Input& input) {
      return pipeVerb == "to-mime" ? toMime(input, "-", convertOptions) : toMapi(input, "-", convertOptions);
    });
  }
  InputKinds kinds{{".eml", ".msg", ".ics", ".vcs", ".vcf"}, true, true};
  if (toMimeVerb->parsed()) {
    kinds = {{".msg"}, false, false};
  } else if (toMapiVerb->parsed()) {
    kinds = {{".eml", ".ics", ".vcs", ".vcf"}, true, true};
  } else if (objectVerb->parsed()) {
    kinds = {{".ics", ".vcs", ".vcf"}, false, false};
  }
  const Inputs inputs = collectInputs(arguments, kinds);
  if (inputs.list.empty()) {
    std::fprintf(stderr, objectVerb->parsed() ? "nalvo: no calendar or card found\n" : "nalvo: no mail found\n");
    return kSomeFailed;
  }
  if (showOptions.page && inputs.list.size() != 1) {
    std::fprintf(stderr, "nalvo: a page is made of one message\n");
    return kWrongUsage;
  }
  if (showVerb->parsed() || objectVerb->parsed()) {
    const char* terminal = std::getenv("TERM");
    showOptions.colours = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
                          std::string_view(terminal) != "dumb";
    runOptions.threads = 1;
    runOptions.verb = nullptr;
    return runAll(inputs.list, runOptions, [&](const Input& input, std::size_t) {
      return showVerb->parsed() ? show(input, showOptions) : object(input, objectOptions);
    });
  }
  if (checkVerb->parsed()) {
    runOptions.verb = quiet ? nullptr : "came back whole";
    return runAll(inputs.list, runOptions, [&](const Input& input, std::size_t) { return check(input, checkJson); });
  }
  runOptions.verb = quiet ? nullptr : "converted";
  const bool toMimeRun = toMimeVerb->parsed();
  const std::vector<std::filesystem::path> targets = planOutputs(inputs, output, toMimeRun ? ".eml" : ".msg");
  return runAll(inputs.list, runOptions, [&](const Input& input, std::size_t index) {
    return toMimeRun ? toMime(input, targets[index], convertOptions) : toMapi(input, targets[index], convertOptions);
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

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "host/item_comparison.h"
#include "host/mail_content.h"
#include "host/msg_file.h"
#include "host/wire_form.h"
#include "platform/mapi/tags.h"
#include "platform/text/text.h"
#include "tool/atomic_file.h"
#include "tool/commands.h"
#include "tool/reproducible.h"

namespace nalvo::tool {
namespace {

constexpr const char* kAnnotationsSuffix = ".annotations.json";
constexpr const char* kFlagsSuffix = ".flags.json";

std::filesystem::path besideOf(std::filesystem::path mail, const char* suffix) { return mail.replace_extension(suffix); }

std::string contentOf(IStream* stream) {
  std::string text;
  std::vector<char> buffer(256U << 10);
  for (ULONG got = 1; got != 0;) {
    const HRESULT hr = stream->Read(buffer.data(), static_cast<ULONG>(buffer.size()), &got);
    if (failed(hr)) {
      throw HResultException(hr, {2, ".\\Convert", __LINE__, "tool::contentOf"});
    }
    text.append(buffer.data(), got);
  }
  return text;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The output that is there already: the target, or with ObjectFile::Only the text of an item in its place. Else the target.
std::filesystem::path presentOutput(const std::filesystem::path& target, ObjectFile object) {
  if (object == ObjectFile::Only && !std::filesystem::exists(target)) {
    for (const char* extension : {".ics", ".vcf", ".txt"}) {
      if (const auto item = besideOf(target, extension); std::filesystem::exists(item)) {
        return item;
      }
    }
  }
  return target;
}

// Whether there is nothing left to do. A file that must not be there is told before any work is done.
bool isDone(const std::filesystem::path& target, const ConvertOptions& options, Outcome& outcome) {
  outcome.target = target;
  if (options.force) {
    return false;
  }
  outcome.target = presentOutput(target, options.object);
  if (!std::filesystem::exists(outcome.target)) {
    return false;
  }
  if (!options.resume) {
    throw std::system_error(EEXIST, std::generic_category(), outcome.target.string());
  }
  outcome.skipped = true;  // It got its name when it was whole.
  return true;
}

void makeFolderOf(const std::filesystem::path& target) {
  if (target.has_parent_path()) {
    std::filesystem::create_directories(target.parent_path());
  }
}

void writeWhole(const std::filesystem::path& target, const std::string& text, bool replace) {
  AtomicFile file(target);
  file.write(text);
  file.commit(replace);
}

std::unique_ptr<Reproducible> reproducibleRun(const Input& input, IStream* file, const ConvertOptions& options) {
  return options.reproducible ? std::make_unique<Reproducible>(input, file) : nullptr;
}

constexpr struct {
  char letter;
  MimeFlag flag;
} kMaildirFlags[] = {{'S', MimeFlag::Read},     {'D', MimeFlag::Draft},   {'P', MimeFlag::Forwarded},
                     {'R', MimeFlag::Answered}, {'F', MimeFlag::Flagged}, {'T', MimeFlag::Deleted}};

std::set<ULONG> flagsOf(const std::string& letters) {
  std::set<ULONG> flags;
  for (const auto& row : kMaildirFlags) {
    if (letters.find(row.letter) != std::string::npos) {
      flags.insert(static_cast<ULONG>(row.flag));
    }
  }
  return flags;
}

}  // namespace

Outcome toMime(const Input& input, const std::filesystem::path& target, const ConvertOptions& options) {
  const bool toOutput = target == "-";
  Outcome outcome;
  if (!toOutput && isDone(target, options, outcome)) {
    return outcome;
  }
  const auto context = std::make_shared<host::HostContext>();
  const ComPtr<IStream> file = input.open();
  const std::unique_ptr<Reproducible> reproducible = reproducibleRun(input, file.get(), options);
  const ComPtr<host::MemoryMessage> message = host::readMsg(file.get(), context, &outcome.warnings);
  outcome.messageClass = host::messageClassOf(*message);
  host::MailFile mail = host::writeMail(message.get(), options.form, nullptr);
  std::move(mail.warnings.begin(), mail.warnings.end(), std::back_inserter(outcome.warnings));
  if (options.form == host::MailForm::Wire) {
    mail.mail = host::withoutXMapi(mail.mail);
  }
  const std::optional<host::ItemText> item =
      options.object == ObjectFile::None ? std::nullopt : host::itemTextOf(message.get());
  const bool itemOnly = item && options.object == ObjectFile::Only;
  if (toOutput) {
    outcome.output = itemOnly ? item->text : contentOf(mail.mail.get());
    return outcome;
  }
  makeFolderOf(target);
  if (itemOnly) {
    outcome.target = besideOf(target, item->extension);
    writeWhole(outcome.target, item->text, options.force || options.resume);
    return outcome;
  }
  // The mail comes last: a run that was killed may have left one of those beside it.
  const bool replace = options.force || options.resume;
  if (mail.annotations) {
    writeWhole(besideOf(target, kAnnotationsSuffix), host::annotationsToJson(*mail.annotations), replace);
    writeWhole(besideOf(target, kFlagsSuffix), host::flagsToJson(*mail.flags), replace);
  }
  if (item) {
    writeWhole(besideOf(target, item->extension), item->text, replace);
  }
  AtomicFile written(target);
  written.write(mail.mail.get());
  written.commit(options.force);
  return outcome;
}

Outcome toMapi(const Input& input, const std::filesystem::path& planned, const ConvertOptions& options) {
  const bool toOutput = planned == "-";
  Outcome outcome;
  if (!toOutput && isDone(planned, options, outcome)) {
    return outcome;
  }
  const auto context = std::make_shared<host::HostContext>();
  host::MailFile mail{input.open()};
  const std::unique_ptr<Reproducible> reproducible = reproducibleRun(input, mail.mail.get(), options);
  if (!input.isStandardInput() && !input.part && !input.wrapped) {
    if (const auto beside = besideOf(input.path, kAnnotationsSuffix); std::filesystem::exists(beside)) {
      mail.annotations = host::annotationsFromJson(contentOf(beside));
    }
    if (const auto beside = besideOf(input.path, kFlagsSuffix); std::filesystem::exists(beside)) {
      mail.flags = host::flagsFromJson(contentOf(beside), context);
    }
  }
  if (input.maildirFlags) {
    mail.mailboxFlags = flagsOf(*input.maildirFlags);
  }
  const ComPtr<host::MemoryMessage> message =
      host::readMail(mail, context, options.reproducible ? momentOf(input) : input.modified(), options.trustXMapi, nullptr,
                     &outcome.warnings);
  host::warnOfChangedSeries(mail.mail.get(), context, outcome.warnings);
  outcome.messageClass = host::messageClassOf(*message);
  // A message file is not written from its start to its end, so that standard output gets it from a file without a name.
  const std::filesystem::path target = toOutput ? std::filesystem::temp_directory_path() / "message.msg" : planned;
  makeFolderOf(target);
  AtomicFile written(target);
  host::writeMsg(message.get(), written.path());
  if (toOutput) {
    outcome.output = contentOf(written.path());
  } else {
    written.commit(options.force);
  }
  return outcome;
}

}  // namespace nalvo::tool

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include "diagnostics/hresult_exception.h"
#include "host/msg_file.h"
#include "host/wire_form.h"
#include "tool/atomic_file.h"
#include "tool/commands.h"

namespace nalvo::tool {
namespace {

constexpr const char* kAnnotationsSuffix = ".annotations.json";
constexpr const char* kFlagsSuffix = ".flags.json";

// Where the conversion of an input goes: beside it, into the folder that is named, or to the file that is.
std::filesystem::path targetOf(const Input& input, const ConvertOptions& options, const char* extension) {
  const std::filesystem::path named = options.output;
  std::filesystem::path own = input.standardInput ? std::filesystem::path("message") : input.path;
  own.replace_extension(extension);
  if (options.output.empty()) {
    return input.standardInput ? own.filename() : own;
  }
  if (options.manyInputs || options.output.ends_with('/') || std::filesystem::is_directory(named)) {
    std::filesystem::create_directories(named);
    return named / own.filename();
  }
  return named;
}

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

// A file that must not be there is told before any work is done.
void refuseExisting(const std::filesystem::path& target, bool force) {
  if (!force && std::filesystem::exists(target)) {
    throw std::system_error(EEXIST, std::generic_category(), target.string());
  }
}

}  // namespace

Outcome toMime(const Input& input, const ConvertOptions& options) {
  const auto context = std::make_shared<host::HostContext>();
  Outcome outcome;
  const ComPtr<IStream> file = input.open();
  const ComPtr<host::MemoryMessage> message = host::readMsg(file.get(), context, &outcome.warnings);
  host::MailFile mail = host::writeMail(message.get(), options.form, nullptr);
  std::move(mail.warnings.begin(), mail.warnings.end(), std::back_inserter(outcome.warnings));
  if (options.form == host::MailForm::Wire) {
    mail.mail = host::withoutXMapi(mail.mail);
  }
  if (options.output == "-") {
    outcome.output = contentOf(mail.mail.get());
    return outcome;
  }
  const std::filesystem::path target = targetOf(input, options, ".eml");
  refuseExisting(target, options.force);
  if (mail.annotations) {
    AtomicFile annotations(besideOf(target, kAnnotationsSuffix));
    annotations.write(host::annotationsToJson(*mail.annotations));
    annotations.commit(options.force);
    AtomicFile flags(besideOf(target, kFlagsSuffix));
    flags.write(host::flagsToJson(*mail.flags));
    flags.commit(options.force);
  }
  AtomicFile written(target);
  written.write(mail.mail.get());
  written.commit(options.force);
  return outcome;
}

Outcome toMapi(const Input& input, const ConvertOptions& options) {
  const auto context = std::make_shared<host::HostContext>();
  const bool toOutput = options.output == "-";
  // A message file is not written from its start to its end, so that standard output gets it from a file without a name.
  const std::filesystem::path target =
      toOutput ? std::filesystem::temp_directory_path() / "message.msg" : targetOf(input, options, ".msg");
  refuseExisting(target, options.force || toOutput);
  host::MailFile mail{input.open()};
  if (!input.standardInput) {
    if (const auto beside = besideOf(input.path, kAnnotationsSuffix); std::filesystem::exists(beside)) {
      mail.annotations = host::annotationsFromJson(contentOf(beside));
    }
    if (const auto beside = besideOf(input.path, kFlagsSuffix); std::filesystem::exists(beside)) {
      mail.flags = host::flagsFromJson(contentOf(beside), context);
    }
  }
  Outcome outcome;
  const ComPtr<host::MemoryMessage> message =
      host::readMail(mail, context, input.modified(), options.trustXMapi, nullptr, &outcome.warnings);
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

#include "tool/inputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <stdexcept>

#include "diagnostics/hresult_exception.h"
#include "host/file_stream.h"
#include "platform/text/text.h"
#include "platform/time/clock.h"
#include "platform/time/file_time.h"
#include "tool/wrapped_objects.h"

namespace nalvo::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMboxExtensions[] = {".mbox", ".mbx", ".mbs"};
constexpr std::string_view kObjectExtensions[] = {".ics", ".vcs", ".vcf"};

template <typename Range>
bool hasExtension(const fs::path& path, const Range& extensions) {
  const std::string own = path.extension().string();
  return std::any_of(std::begin(extensions), std::end(extensions),
                     [&own](const auto& extension) { return equalsIgnoreCase(own, extension); });
}

bool isMaildir(const fs::path& folder) {
  std::error_code ignored;
  return fs::is_directory(folder / "cur", ignored) && fs::is_directory(folder / "new", ignored);
}

class Collector {
 public:
  explicit Collector(const InputKinds& kinds) : kinds_(kinds) {}

  void add(const std::string& argument) {
    if (argument == "-") {
      inputs_.list.push_back({"-", {}, "message"});
      return;
    }
    const fs::path path(argument);
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
      inputs_.areMany = true;
      addFolder(path, {});
    } else {
      addFile(path, {}, isMailbox(path));
    }
  }

  Inputs take() && {
    inputs_.areMany = inputs_.areMany || inputs_.list.size() > 1;
    return std::move(inputs_);
  }

 private:
  bool isMailbox(const fs::path& path) const {
    return kinds_.mailboxes && (hasExtension(path, kMboxExtensions) || (!path.has_extension() && host::isMbox(path)));
  }

  // `below` is the folder's place below the one that was named.
  void addFolder(const fs::path& folder, const fs::path& below) {
    std::error_code error;
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator(); entry.increment(error)) {
      entries.push_back(*entry);
    }
    if (error) {
      addFailure(folder, error.message());
    }
    std::sort(entries.begin(), entries.end());
    const bool maildir = kinds_.mailboxes && isMaildir(folder);
    for (const fs::directory_entry& entry : entries) {
      const fs::path name = entry.path().filename();
      if (entry.is_symlink(error) && entry.is_directory(error)) {
        continue;  // It could lead back here.
      }
      if (entry.is_directory(error)) {
        const bool holdsMails = maildir && (name == "cur" || name == "new");
        if (holdsMails) {
          addMaildir(entry.path(), below);
        } else if (!maildir || name != "tmp") {
          addFolder(entry.path(), below / name);
        }
      } else if (entry.is_regular_file(error)) {
        const bool mailbox = isMailbox(entry.path());
        if (mailbox || hasExtension(entry.path(), kinds_.extensions)) {
          addFile(entry.path(), below, mailbox);
        }
      }
    }
  }

  void addMaildir(const fs::path& folder, const fs::path& below) {
    std::error_code error;
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator(); entry.increment(error)) {
      if (entry->is_regular_file(error) && !entry->path().filename().string().starts_with('.')) {
        files.push_back(entry->path());
      }
    }
    if (error) {
      addFailure(folder, error.message());
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
      // "1204.M3.host:2,FS"
      const std::string name = file.filename().string();
      const std::size_t info = name.find(":2,");
      Input input{file.string(), file, below / name.substr(0, info)};
      input.maildirFlags = info == std::string::npos ? std::string() : name.substr(info + 3);
      inputs_.list.push_back(std::move(input));
    }
  }

  void addFile(const fs::path& path, const fs::path& below, bool mailbox) {
    const fs::path stem = below / path.stem();
    if (mailbox) {
      addMbox(path, path.has_extension() ? stem : fs::path(stem).concat(".messages"));
    } else if (kinds_.objects && hasExtension(path, kObjectExtensions)) {
      addObjects(path, stem);
    } else {
      inputs_.list.push_back({path.string(), path, stem});
    }
  }

  void addMbox(const fs::path& path, const fs::path& stem) {
    inputs_.areMany = true;
    try {
      std::size_t number = 0;
      for (const host::MboxMessage& message : host::scanMbox(path)) {
        const std::string text = std::to_string(++number);
        Input input{path.string() + "#" + text, path,
                    stem / (std::string(6 - std::min<std::size_t>(6, text.size()), '0') + text)};
        input.part = message;
        inputs_.list.push_back(std::move(input));
      }
    } catch (const HResultException&) {
      inputs_.list.push_back({path.string(), path, stem});
    }
  }

  void addObjects(const fs::path& path, const fs::path& stem) {
    std::vector<std::string> mails;
    try {
      mails = wrapObjects(host::openFile(path).get());
    } catch (const HResultException&) {
      inputs_.list.push_back({path.string(), path, stem});
      return;
    }
    if (mails.empty()) {
      addFailure(path, "no event, task, journal entry or card in it");
    }
    for (std::size_t i = 0; i < mails.size(); ++i) {
      const std::string number = mails.size() == 1 ? std::string() : std::to_string(i + 1);
      Input input{path.string() + (number.empty() ? "" : "#") + number, path,
                  number.empty() ? stem : fs::path(stem).concat("-").concat(number)};
      input.wrapped = std::make_shared<const std::string>(std::move(mails[i]));
      inputs_.list.push_back(std::move(input));
    }
  }

  void addFailure(const fs::path& path, const std::string& what) {
    Input input{path.string(), path, path.stem()};
    input.failure = what;
    inputs_.list.push_back(std::move(input));
  }

  const InputKinds& kinds_;
  Inputs inputs_;
};

}  // namespace

ComPtr<IStream> Input::open() const {
  if (!failure.empty()) {
    throw std::runtime_error(failure);
  }
  return wrapped            ? host::textStream(*wrapped)
         : path.empty()     ? host::readStandardInput()
         : part.has_value() ? host::openMboxMessage(path, *part)
                            : host::openFile(path);
}

FILETIME Input::modified() const {
  struct stat status {};
  if (path.empty() || stat(path.c_str(), &status) != 0) {
    return currentFileTime();
  }
  return fileTimeOfUnix(status.st_mtime).value_or(currentFileTime());
}

std::uint64_t Input::bytes() const {
  std::error_code error;
  const std::uint64_t size = part      ? part->size
                             : wrapped ? wrapped->size()
                                       : static_cast<std::uint64_t>(path.empty() ? 0 : fs::file_size(path, error));
  return error ? 0 : size;
}

Inputs collectInputs(const std::vector<std::string>& arguments, const InputKinds& kinds) {
  Collector collector(kinds);
  for (const std::string& argument : arguments) {
    collector.add(argument);
  }
  return std::move(collector).take();
}

}  // namespace nalvo::tool

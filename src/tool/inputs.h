// What the command line names: files, folders, mailboxes, calendars and cards, and standard input.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/mbox.h"
#include "nalvo/com.h"
#include "platform/com/com_ptr.h"

namespace nalvo::tool {

// One message, object or text to work on.
struct Input {
  std::string name;            // as messages and output show it
  std::filesystem::path path;  // the file that it is or lies in; empty for standard input
  // Where its output goes below the output folder: the tree of the folders that were named, without an extension.
  std::filesystem::path stem = {};

  std::optional<host::MboxMessage> part = {};       // of a mailbox in one file
  std::shared_ptr<const std::string> wrapped = {};  // a mail that was made for an object of a calendar or a card
  std::optional<std::string> maildirFlags = {};     // the letters of a mailbox's folder
  std::string failure = {};                         // it can't even be opened

  bool isStandardInput() const { return path.empty() && !wrapped; }
  // At offset 0. Throws the HRESULT of the system's error, and std::runtime_error for a failure that is known.
  ComPtr<IStream> open() const;
  // When the file was last changed, UTC; now for standard input.
  FILETIME modified() const;
  // Of what is read, as far as that is known.
  std::uint64_t bytes() const;
};

// What a verb takes.
struct InputKinds {
  std::vector<std::string> extensions;  // of files that are found in folders, ".eml"
  bool mailboxes = false;               // mboxes and Maildirs are taken apart
  bool objects = false;                 // calendars and cards become mails, one each
};

struct Inputs {
  std::vector<Input> list;
  bool areMany = false;  // a folder or mailbox was named, or more than one file: outputs go into a folder
};

// The inputs that the arguments name, in their order; a folder gives what is in it and in its folders, in order of their
// paths, without following links to folders. What doesn't exist or can't be read stays an input, and fails when it is
// opened.
Inputs collectInputs(const std::vector<std::string>& arguments, const InputKinds& kinds);

}  // namespace nalvo::tool

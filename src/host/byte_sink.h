// Where a writer puts the bytes of a file, one after the other.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "nalvo/com.h"
#include "platform/process/unique_fd.h"

namespace nalvo::host {

class ByteSink {
 public:
  virtual void append(std::string_view bytes) = 0;
  // Replaces the first bytes, which must have been written. To be called last.
  virtual void replaceStart(std::string_view bytes) = 0;

 protected:
  ~ByteSink() = default;
};

// A new file, or an emptied one. Everything throws the HRESULT of the system's error.
class FileSink final : public ByteSink {
 public:
  explicit FileSink(const std::filesystem::path& file);

  void append(std::string_view bytes) override;
  void replaceStart(std::string_view bytes) override;
  // Hands all to the system; without it the end of the file is missing.
  void close();

 private:
  void flush();

  UniqueFd file_;
  std::string buffer_;
};

// A stream, from its present position on, which must be its start.
class StreamSink final : public ByteSink {
 public:
  explicit StreamSink(IStream* stream) : stream_(stream) {}

  void append(std::string_view bytes) override;
  void replaceStart(std::string_view bytes) override;

 private:
  IStream* stream_;
};

}  // namespace nalvo::host

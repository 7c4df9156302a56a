// What the library says of a failure.
#pragma once

#include <string>

#include "diagnostics/hresult_exception.h"
#include "host/caller_objects.h"
#include "platform/text/text.h"

namespace nalvo::host {

// Hears what the library says of a failure where the caller has no log, so that the exception can say it too.
class FailureListener {
 public:
  FailureListener(ILog* log, const HostContextPtr& context)
      : own_(makeCom<MemoryLog>(context)), log_(log == nullptr ? own_.get() : log) {}

  ILog* log() const { return log_; }
  void check(HRESULT hr, const SourceLocation& location) const {
    if (failed(hr)) {
      throwHResult(hr, location, lastWords(hr).c_str());
    }
  }

 private:
  // What stands behind the code of the failure.
  std::string lastWords(HRESULT hr) const {
    const std::string text = own_->entries().empty() ? std::string() : wideToUtf8(own_->entries().back().text);
    const std::string code = hresultText(hr) + ": ";
    const std::size_t at = text.rfind(code);
    return at == std::string::npos ? std::string() : text.substr(at + code.size());
  }

  ComPtr<MemoryLog> own_;
  ILog* log_;
};

}  // namespace nalvo::host

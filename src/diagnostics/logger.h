// Writing a failure to the caller's log.
#pragma once

#include <exception>

#include "diagnostics/hresult_exception.h"
#include "nalvo/interfaces.h"
#include "platform/com/com_ptr.h"

namespace nalvo {

// Lives for the handling of one failure, and knows the log's level as it was then.
class Logger {
 public:
  // Throws E_INVALIDARG for a null log, and the code of a log that fails to tell its settings.
  explicit Logger(ILog* log);

  // Whether errors are to be written: at level 2 and below, compared with sign.
  bool isEnabled() const { return level_ <= 2; }

  // The result of the log.
  HRESULT write(const std::u16string& text) const;

 private:
  void loadConfiguration();

  ComPtr<ILog> log_;
  std::int32_t level_ = 0;
};

// Writes one entry: place, the exception's text, `text`. The result of the log, at which nobody needs to look.
//   In .\Exports:120 (mapiToMime)
//   Exception of class HResultException: ...
//   Conversion has failed.
// `exception` may be null: then there is no text of it; so may `text`, and the file and function of `where`.
HRESULT logException(const char* text, const std::exception* exception, const SourceLocation& where, const Logger& logger);

// For the catch block of an export: writes the exception in flight to `log`, which may be null, if that wants errors.
// Returns the HRESULT of the exception, whatever happens to the log.
HRESULT reportFailure(ILog* log, const SourceLocation& where) noexcept;

}  // namespace nalvo

#include "diagnostics/logger.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "diagnostics/boundary.h"
#include "platform/text/text.h"

namespace nalvo {
namespace {

constexpr SourceFile kSource{".\\Logger"};

constexpr ULONG kErrorLevel = 2;
constexpr ULONG kCategory = 0x2000;

std::string className(const std::exception& exception) {
  const char* mangled = typeid(exception).name();
  const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(mangled, nullptr, nullptr, nullptr), &std::free);
  return std::string("class ") + (name ? name.get() : mangled);
}

// A line feed behind a text that does not end in one; nothing for an empty text.
void appendLine(std::string_view piece, std::string& out) {
  out += piece;
  if (!piece.empty() && piece.back() != '\n') {
    out += '\n';
  }
}

std::string exceptionText(const std::exception& exception) {
  if (dynamic_cast<const HResultException*>(&exception) != nullptr) {
    return std::string(exception.what()) + "\n";
  }
  return "Exception of " + className(exception) + ":\n" + exception.what() + "\n";
}

}  // namespace

Logger::Logger(ILog* log) : log_(ComPtr<ILog>::retain(log)) {
  if (!log_) {
    throwHResult(E_INVALIDARG, kSource.at("Logger::Logger"));
  }
  loadConfiguration();
}

void Logger::loadConfiguration() {
  const char* function = "Logger::loadConfiguration";
  ComPtr<ILogSettings> settings;
  checkHResult(log_->getSettings(settings.put()), kSource.at(function));
  if (!settings) {
    throwHResult(E_POINTER, kSource.at(function));
  }
  std::int32_t second = 0;
  checkHResult(settings->getLogLevels(&level_, &second), kSource.at(function));
}

HRESULT Logger::write(const std::u16string& text) const { return log_->writeLog(kErrorLevel, kCategory, text.c_str()); }

HRESULT logException(const char* text, const std::exception* exception, const SourceLocation& where, const Logger& logger) {
  std::string entry = "In ";
  entry += where.file != nullptr ? shortFileName(where.file) : std::string();
  entry += ':' + std::to_string(where.line);
  if (where.function != nullptr) {
    entry += std::string(" (") + where.function + ")";
  }
  entry += '\n';
  appendLine(exception != nullptr ? exceptionText(*exception) : std::string(), entry);
  appendLine(text != nullptr ? text : "", entry);
  return logger.write(ansiToWide(entry));
}

HRESULT reportFailure(ILog* log, const SourceLocation& where) noexcept {
  const HRESULT result = currentExceptionHResult();
  const std::exception* exception = currentStdException();
  if (log != nullptr) {
    // A log that fails must not hide the failure that the caller waits for.
    (void)atBoundary([&] {
      const Logger logger(log);
      if (logger.isEnabled()) {
        (void)logException("Conversion has failed.", exception, where, logger);
      }
    });
  }
  return result;
}

}  // namespace nalvo

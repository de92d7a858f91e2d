#include "support/log_capture.h"

#include <dravix/algolog.h>

#include <cstdarg>
#include <mutex>
#include <utility>

#include "algolog/formatted.h"

namespace dravix::test {
namespace {

std::mutex& Mutex() {
  static std::mutex mutex;
  return mutex;
}
LogCapture*& Innermost() {
  static LogCapture* capture = nullptr;
  return capture;
}

DRAVIX_FORMATS(2)
void Record(LogLevel level, const char* format, std::va_list values) {
  // Without a capture no memory is asked for: tests that take it away look at the library alone.
  const std::lock_guard lock(Mutex());
  LogCapture* const capture = Innermost();
  if (capture != nullptr) capture->Add({level, algolog::Formatted(format, values)}, format);
}

}  // namespace

LogCapture::LogCapture() {
  const std::lock_guard lock(Mutex());
  outer_ = Innermost();
  Innermost() = this;
}

LogCapture::~LogCapture() {
  const std::lock_guard lock(Mutex());
  Innermost() = outer_;
}

std::vector<LogLine> LogCapture::Lines() const {
  const std::lock_guard lock(Mutex());
  return lines_;
}

std::vector<std::string> LogCapture::Formats() const {
  const std::lock_guard lock(Mutex());
  return formats_;
}

void LogCapture::Clear() {
  const std::lock_guard lock(Mutex());
  lines_.clear();
  formats_.clear();
}

void LogCapture::Add(LogLine line, std::string format) {
  lines_.push_back(std::move(line));
  formats_.push_back(std::move(format));
}

std::vector<std::string> LogCapture::Texts(LogLevel level) const {
  std::vector<std::string> texts;
  for (const LogLine& line : Lines()) {
    if (line.level == level) texts.push_back(line.text);
  }
  return texts;
}

}  // namespace dravix::test

#define DRAVIX_RECORDING_FUNCTION(name, severity)                           \
  void name(const char* format, ...) {                                      \
    std::va_list values;                                                    \
    va_start(values, format);                                               \
    dravix::test::Record(dravix::test::LogLevel::severity, format, values); \
    va_end(values);                                                         \
  }

DRAVIX_RECORDING_FUNCTION(AlgoLogError, kError)
DRAVIX_RECORDING_FUNCTION(AlgoLogWarn, kWarn)
DRAVIX_RECORDING_FUNCTION(AlgoLogInfo, kInfo)
DRAVIX_RECORDING_FUNCTION(AlgoLogDebug, kDebug)

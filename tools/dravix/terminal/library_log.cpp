#include "terminal/library_log.h"

#include <dravix/algolog.h>

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <mutex>
#include <utility>

#include "algolog/formatted.h"
#include "base/one_line.h"

namespace dravix::tool {
namespace {

struct Log {
  std::mutex mutex;
  bool shown = false;
  std::string lastError;
};

Log& TheLog() {
  static Log log;
  return log;
}

DRAVIX_FORMATS(3)
void Add(const char* level, bool isError, const char* format, std::va_list values) noexcept {
  try {
    const std::string line = base::OneLine(algolog::Formatted(format, values));
    Log& log = TheLog();
    const std::lock_guard lock(log.mutex);
    if (isError) log.lastError = line;
    if (log.shown) std::fprintf(stderr, "[%s] %s\n", level, line.c_str());
  } catch (const std::exception&) {
    std::fputs("dravix: a log line was lost\n", stderr);
  }
}

}  // namespace

void ShowLibraryLog(bool on) {
  const std::lock_guard lock(TheLog().mutex);
  TheLog().shown = on;
}

std::string TakeLibraryError() {
  const std::lock_guard lock(TheLog().mutex);
  return std::exchange(TheLog().lastError, {});
}

}  // namespace dravix::tool

// The four functions differ in their level only. Their variable arguments cannot be passed on to
// one another, so a macro writes them.
#define DRAVIX_TOOL_LOG(name, level, isError)          \
  void name(const char* format, ...) {                 \
    std::va_list values;                               \
    va_start(values, format);                          \
    dravix::tool::Add(level, isError, format, values); \
    va_end(values);                                    \
  }

DRAVIX_TOOL_LOG(AlgoLogError, "error", true)
DRAVIX_TOOL_LOG(AlgoLogWarn, "warning", false)
DRAVIX_TOOL_LOG(AlgoLogInfo, "info", false)
DRAVIX_TOOL_LOG(AlgoLogDebug, "debug", false)

#include <dravix/algolog.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "algolog/formatted.h"

namespace {

spdlog::logger& Logger() {
  // The level stays spdlog's own, info: debug lines are only for support.
  static spdlog::logger logger("dravix", std::make_shared<spdlog::sinks::stderr_sink_mt>());
  return logger;
}

/// Writes one line. A line that cannot be written must not make anything else fail.
DRAVIX_FORMATS(2)
void Log(spdlog::level::level_enum level, const char* format, std::va_list values) noexcept {
  try {
    Logger().log(level, "{}", dravix::algolog::Formatted(format, values));
  } catch (const std::exception&) {
    std::fputs("dravix: a log line was lost\n", stderr);
  }
}

}  // namespace

// The four functions differ only in their level. A macro makes them, because a function cannot pass
// on its variable arguments.
#define DRAVIX_LOG_FUNCTION(name, severity)       \
  void name(const char* format, ...) {            \
    std::va_list values;                          \
    va_start(values, format);                     \
    Log(spdlog::level::severity, format, values); \
    va_end(values);                               \
  }

DRAVIX_LOG_FUNCTION(AlgoLogError, err)
DRAVIX_LOG_FUNCTION(AlgoLogWarn, warn)
DRAVIX_LOG_FUNCTION(AlgoLogInfo, info)
DRAVIX_LOG_FUNCTION(AlgoLogDebug, debug)

// The AlgoLog functions of the fuzz targets. They print nothing, but format every line, so that the
// sanitizers see what a logging library would read, and check what it may rely on.
#include <dravix/algolog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "fuzz/target.h"

namespace {

#if defined(__GNUC__)
__attribute__((format(printf, 1, 0)))
#endif
void Check(const char* format, std::va_list values) {
  std::array<char, 4096> line{};
  dravix::fuzz::Require(std::vsnprintf(line.data(), line.size(), format, values) >= 0,
                        "a log line can be formatted");
  dravix::fuzz::Require(std::strpbrk(line.data(), "\r\n") == nullptr,
                        "a call of the log makes one line");
}

}  // namespace

// Variable arguments cannot be passed on from one function to another.
#define DRAVIX_FUZZ_LOG(name)          \
  void name(const char* format, ...) { \
    std::va_list values;               \
    va_start(values, format);          \
    Check(format, values);             \
    va_end(values);                    \
  }

DRAVIX_FUZZ_LOG(AlgoLogError)
DRAVIX_FUZZ_LOG(AlgoLogWarn)
DRAVIX_FUZZ_LOG(AlgoLogInfo)
DRAVIX_FUZZ_LOG(AlgoLogDebug)

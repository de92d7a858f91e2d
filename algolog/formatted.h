/// Turns a printf-style format and its values into text, for implementations of the AlgoLog
/// functions.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#if defined(__GNUC__)
#define DRAVIX_FORMATS(at) __attribute__((format(printf, at, 0)))
#else
#define DRAVIX_FORMATS(at)
#endif

namespace dravix::algolog {

/// The whole line, however long it is. When the values cannot be formatted, it is the format
/// itself.
DRAVIX_FORMATS(1)
inline std::string Formatted(const char* format, std::va_list values) {
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return format;
  std::string line(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(line.data(), line.size() + 1, format, values);
  return line;
}

}  // namespace dravix::algolog

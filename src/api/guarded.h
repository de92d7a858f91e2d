/// The exception barrier that every exported function has.
#pragma once

#include <dravix/algolog.h>
#include <dravix/dravix.h>

#include <cstdint>
#include <exception>
#include <opencv2/core.hpp>
#include <utility>

#include "base/one_line.h"

namespace dravix::api {

/// Logs one error line. Where there is no memory for a copy without control characters, it is the
/// text up to the first of them.
inline void Log(const char* exportName, const char* what) noexcept {
  try {
    AlgoLogError("%s: %s", exportName, base::OneLine(what).c_str());
  } catch (const std::exception&) {
    int length = 0;
    while (static_cast<unsigned char>(what[length]) >= ' ') ++length;
    AlgoLogError("%s: %.*s", exportName, length, what);
  }
}

/// Runs an export's body; whatever it throws becomes one error line that names the export, and 9.
template <class Body>
std::int32_t Guarded(const char* exportName, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const cv::Exception& e) {
    Log(exportName, e.err.c_str());  // its what() also names the library's source files
  } catch (const std::exception& e) {
    Log(exportName, e.what());
  } catch (...) {
    Log(exportName, "unknown error");
  }
  return DRAVIX_BAD_ARGUMENT;
}

}  // namespace dravix::api

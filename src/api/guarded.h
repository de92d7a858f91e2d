/// The one exception barrier around the exported functions.
#pragma once

#include <dravix/algolog.h>
#include <dravix/dravix.h>

#include <cstdint>
#include <exception>
#include <opencv2/core.hpp>
#include <utility>

namespace dravix::api {

/// Runs an export's body; whatever it throws becomes one error line that names the export, and 9.
template <class Body>
std::int32_t Guarded(const char* exportName, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const cv::Exception& e) {  // its what() has several lines
    AlgoLogError("%s: %s", exportName, e.err.c_str());
  } catch (const std::exception& e) {
    AlgoLogError("%s: %s", exportName, e.what());
  } catch (...) {
    AlgoLogError("%s: unknown error", exportName);
  }
  return DRAVIX_BAD_ARGUMENT;
}

}  // namespace dravix::api

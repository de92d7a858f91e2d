/// The photograph as the checks see it: one plane of 16-bit samples, and the sensor's range.
#pragma once

#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "lab/check/outline.h"

namespace dravix::lab {

struct Samples {
  cv::Mat plane;  ///< CV_16UC1; of several channels their largest sample, of floats a scaled copy
  bool exact = true;  ///< whether the plane holds the photograph's own numbers
  int bits = 0;       ///< of a sample by the camera's type; 0: not known
  double top = 0;     ///< largest sample that the sensor has; see SensorTop
};

/// Samples that are not finite, or below 0, count as 0.
[[nodiscard]] Samples SamplesOf(const Shot& shot);

/// How often each value occurs inside the outline; in the whole plane without one.
[[nodiscard]] std::vector<std::uint32_t> HistogramOf(const cv::Mat& plane, const Outline* outline);

}  // namespace dravix::lab

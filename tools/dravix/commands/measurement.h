/// Measuring one photograph as its options say: the one way from files to luminances.
#pragma once

#include <dravix/lab/check.h>
#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "commands/arguments/measurement_options.h"
#include "photographs/photograph.h"

namespace dravix::tool {

struct Measurement {
  Photograph photograph;
  cv::Mat luminances;              ///< CV_32FC1, one for each LED
  std::vector<cv::Point> corners;  ///< of the lit area, top-left first and clockwise
  int copied = 0;                  ///< rows and columns on each side that are copies
  double seconds = 0;              ///< that the measurement itself took
  /// What `dravix check` says of the photograph, and how many LEDs are copies.
  std::vector<lab::Finding> findings;
};

/// Measures, then writes the result and the pictures that the options name. Call CheckUsage before.
/// The result also stays in the process's handle. Fails with one line.
[[nodiscard]] Measurement Measure(const MeasurementOptions& options);

/// The bytes of the result's file, of what was measured last.
[[nodiscard]] std::string ResultBytes();

/// Fails as wrong usage where Measure would, because options and photographs do not suit each
/// other. Reads no more of the photographs than it needs to know that, and measures nothing.
void Rehearse(const MeasurementOptions& options);

}  // namespace dravix::tool

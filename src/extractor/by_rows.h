/// The automatic pipeline's two halves, location and luminance, on a working image that never
/// exists: its rows are made when they are needed, and made again when they are needed again. That
/// costs less than the memory for them. Results have the bits of AutoBlurLocate and CalLum.
///
/// Work is divided with cv::parallel_for_, so that the host's cv::setNumThreads rules: the search
/// into strips of rows, the measurement into ranges of columns. No sum depends on the division.
#pragma once

#include <opencv2/core.hpp>
#include <optional>

#include "extractor/lit_columns.h"
#include "kernels/smoothing/gaussian.h"
#include "kernels/warp/cubic_warp.h"
#include "kernels/warp/eight_bit_scale.h"

namespace dravix::extractor {

/// What the search for the lit area needs to know.
struct SearchSettings {
  kernels::EightBitScale eightBitScale;
  kernels::Gaussian blur;  ///< melts single LEDs into one area
  int cleaningSide;        ///< of the square that closes and opens the area, pixels, odd
};

/// Finds the largest lit area, or nothing when nothing is lit. Logs what AutoBlurLocate logs.
[[nodiscard]] std::optional<LitColumns> Locate(const kernels::CubicWarp& rows,
                                               const SearchSettings& settings);

/// Resamples every column's run to `ledRows` values: CV_32FC1, ledRows x area.runs.size(). Every
/// run has a length of 1 or more.
[[nodiscard]] cv::Mat Measure(const kernels::CubicWarp& rows, const LitColumns& area, int ledRows);

}  // namespace dravix::extractor

/// The luminances of a checkerboard's cells from a working image that never exists: its rows are
/// made when they are needed. Results have the bits of resampling each cell of the whole image.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "extractor/resample.h"
#include "kernels/warp/cubic_warp.h"

namespace dravix::extractor {

/// One block of the checkerboard as it is measured.
struct Cell {
  cv::Rect rect;                ///< in the working image
  std::vector<ColumnRun> runs;  ///< rows that are averaged in each column, counted from rect's top
  cv::Rect leds;                ///< place of its LEDs in the result
};

/// Measures the cells of one row of blocks into their places in `lum` (CV_32FC1). Every cell lies
/// in the working image, every run has a length of 1 or more, and every place lies in `lum`.
/// Several rows of blocks may be measured at the same time.
void MeasureCells(const kernels::CubicWarp& rows, const std::vector<Cell>& cells, cv::Mat& lum);

}  // namespace dravix::extractor

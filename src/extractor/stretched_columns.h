/// Columns of an area that has more LED rows than pixel rows, a strip of LED rows at a time.
#pragma once

#include <functional>
#include <opencv2/core.hpp>
#include <vector>

#include "extractor/resample.h"

namespace dravix::extractor {

/// What ResampleColumns gives for an area whose every run is shorter than the number of LED rows,
/// in strips: all rows at once would take memory for LED rows times pixel columns, however small
/// the photograph.
///
/// The matrix library averages only where several pixels belong to one row; elsewhere its area
/// averaging is an interpolation between the two nearest pixels of a column. Here each LED row is
/// computed by itself, with the library's own places and weights and in its order: both products
/// are rounded to single precision before they are added. So the bits are those of the library.
class StretchedColumns {
 public:
  /// `image` (one channel, any depth) has one column per run; `rows` is the number of LED rows. No
  /// run is empty, and all are shorter than `rows`.
  StretchedColumns(const cv::Mat& image, const std::vector<ColumnRun>& runs, int rows);

  /// LED rows `rows.start` to `rows.end` - 1 of all columns, CV_32FC1.
  [[nodiscard]] cv::Mat Strip(cv::Range rows) const;

 private:
  /// Neighboring columns with the same run.
  struct Group {
    int begin = 0;
    int end = 0;
    ColumnRun run;
  };

  cv::Mat samples_;  ///< CV_32FC1
  std::vector<Group> groups_;
  int rows_;
};

/// Calls `use` with what ResampleColumns gives, from the top down: the number of a strip's first
/// LED row, and the strip, CV_32FC1. There is one strip with all rows, unless there are more LED
/// rows than the image has rows: then strips have a few megabytes each.
void ForEachStrip(const cv::Mat& image, const std::vector<ColumnRun>& runs, int rows,
                  const std::function<void(int first, const cv::Mat& strip)>& use);

}  // namespace dravix::extractor

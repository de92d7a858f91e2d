/// Area resampling of many columns or rows in one call.
///
/// Each column of an area is averaged to one value per LED row, each row to one value per LED. The
/// plain way is one library call per column and row; here adjacent columns and rows that need the
/// same weights share a call. The results are the same to the last bit.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::extractor {

/// The first run of non-zero pixels of a column from the top: rows start to start + length - 1.
struct ColumnRun {
  int start = 0;
  int length = 0;  ///< 0 when the column has none
  bool operator==(const ColumnRun&) const = default;
};

/// One run per column of `mask` (CV_8UC1).
[[nodiscard]] std::vector<ColumnRun> FirstRuns(const cv::Mat& mask);

/// True when every run has a pixel. Otherwise the area cannot be measured, and one error line,
/// which both ways of measuring share, says so.
[[nodiscard]] bool EveryColumnHasMask(const std::vector<ColumnRun>& runs);

/// Resamples rows runs[x] of each column x of `image` to `rows` 32-bit float values by area
/// averaging. `image` has one channel of any depth and as many columns as there are runs; every run
/// has a length of 1 or more. Throws cv::Exception otherwise.
[[nodiscard]] cv::Mat ResampleColumns(const cv::Mat& image, const std::vector<ColumnRun>& runs,
                                      int rows);

/// Resamples every row of `source` (CV_32FC1) to as many values as `target` (CV_32FC1, of as many
/// rows) has columns, by area averaging, and writes them there.
void ResampleRows(const cv::Mat& source, cv::Mat target);

}  // namespace dravix::extractor

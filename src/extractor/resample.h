/// Area resampling of many columns or rows at once, with the very bits of one at a time.
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

/// Resamples column x of `image` (one channel, any depth, runs.size() columns), rows runs[x], to
/// `rows` 32-bit float values by area averaging. Every run has a length of 1 or more.
[[nodiscard]] cv::Mat ResampleColumns(const cv::Mat& image, const std::vector<ColumnRun>& runs,
                                      int rows);

/// Resamples every row of `source` (CV_32FC1) to `columns` values by area averaging.
[[nodiscard]] cv::Mat ResampleRows(const cv::Mat& source, int columns);

}  // namespace dravix::extractor

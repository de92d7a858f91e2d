#include "extractor/resample.h"

#include <dravix/algolog.h>

#include <algorithm>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <utility>

namespace dravix::extractor {
namespace {

/// Follows the first run of each column down the mask.
class RunTracker {
 public:
  explicit RunTracker(int columns) : runs_(static_cast<std::size_t>(columns)) {}

  void Row(const uchar* mask, int y) {
    for (std::size_t x = 0; x < runs_.size(); ++x) {
      ColumnRun& run = runs_[x];
      if (mask[x] != 0 && run.length == 0) {
        run = {y, kOpen};
      } else if (mask[x] == 0 && run.length == kOpen) {
        run.length = y - run.start;
      }
    }
  }
  std::vector<ColumnRun> Finish(int rows) && {
    for (ColumnRun& run : runs_) {
      if (run.length == kOpen) run.length = rows - run.start;
    }
    return std::move(runs_);
  }

 private:
  static constexpr int kOpen = -1;
  std::vector<ColumnRun> runs_;
};

/// The most columns that are resampled in one call: enough to fill the vector registers, few enough
/// that the samples stay in the processor's cache.
constexpr int kMostColumns = 256;

/// The column behind the last of those, from `begin` on, that have the same run as `begin`.
int EndOfSameRun(const std::vector<ColumnRun>& runs, int begin) {
  const int limit = std::min(static_cast<int>(runs.size()), begin + kMostColumns);
  int end = begin + 1;
  while (end < limit &&
         runs[static_cast<std::size_t>(end)] == runs[static_cast<std::size_t>(begin)]) {
    ++end;
  }
  return end;
}

}  // namespace

std::vector<ColumnRun> FirstRuns(const cv::Mat& mask) {
  RunTracker tracker(mask.cols);
  const auto bytes = static_cast<std::size_t>(mask.cols);
  for (int y = 0; y < mask.rows; ++y) {
    // A run begins or ends only where a row differs from the one above, which few rows do.
    if (y > 0 && std::memcmp(mask.ptr(y), mask.ptr(y - 1), bytes) == 0) continue;
    tracker.Row(mask.ptr(y), y);
  }
  return std::move(tracker).Finish(mask.rows);
}

bool EveryColumnHasMask(const std::vector<ColumnRun>& runs) {
  if (std::none_of(runs.begin(), runs.end(), [](const ColumnRun& run) { return run.length < 1; })) {
    return true;
  }
  AlgoLogError("Dravix::CalLum--Error ::  height is error !!.");
  return false;
}

cv::Mat ResampleColumns(const cv::Mat& image, const std::vector<ColumnRun>& runs, int rows) {
  CV_Assert(image.channels() == 1 && image.cols == static_cast<int>(runs.size()));
  cv::Mat result = cv::Mat::zeros(rows, image.cols, CV_32FC1);
  cv::Mat samples;
  for (int begin = 0; begin < image.cols;) {
    const ColumnRun run = runs[static_cast<std::size_t>(begin)];
    // Averaging treats columns one by one, so columns with the same rows give the same bits in one
    // call as alone. With fewer pixels than LEDs the library interpolates instead, and a neighbor
    // that is not finite would spoil the column: then columns are resampled one at a time.
    const int end = run.length >= rows ? EndOfSameRun(runs, begin) : begin + 1;
    image(cv::Range(run.start, run.start + run.length), cv::Range(begin, end))
        .convertTo(samples, CV_32F);
    cv::Mat target = result.colRange(begin, end);
    cv::resize(samples, target, target.size(), 0, 0, cv::INTER_AREA);
    begin = end;
  }
  return result;
}

void ResampleRows(const cv::Mat& source, cv::Mat target) {
  CV_Assert(target.type() == CV_32FC1 && target.rows == source.rows);
  if (source.cols >= target.cols) {
    cv::resize(source, target, target.size(), 0, 0, cv::INTER_AREA);
    return;
  }
  for (int y = 0; y < source.rows; ++y) {
    cv::Mat row = target.row(y);
    cv::resize(source.row(y), row, row.size(), 0, 0, cv::INTER_AREA);
  }
}

}  // namespace dravix::extractor

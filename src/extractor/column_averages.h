/// Area resampling of columns whose rows arrive one after the other, with the bits of
/// ResampleColumns but without an image that holds them all.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <opencv2/core.hpp>
#include <span>
#include <vector>

#include "extractor/resample.h"
#include "kernels/weighted_sums.h"

namespace dravix::extractor {

/// Averages the rows of each column's run into equal cells, from top to bottom. A row that lies in
/// two cells counts in both by its shares. The shares and the order of sums are those of cv::resize
/// with INTER_AREA: per cell from its first to its last row, each product rounded before it is
/// added; whole-numbered cells add plainly and divide once at the end. Runs that are shorter than
/// the number of cells are kept as they come and handed to the library, which interpolates there.
class ColumnAverages {
 public:
  /// `target` (CV_32FC1, one row per cell, one column per run) receives the averages.
  ColumnAverages(std::span<const ColumnRun> runs, cv::Mat target);

  /// Adds row y; samples[i] belongs to runs[i]. Rows come in ascending order.
  void Add(int y, const std::uint16_t* samples);
  /// To be called after the last row.
  void Finish();

 private:
  static constexpr int kNone = -1;
  struct Share {
    int cell = kNone;
    float weight = 0;
  };
  /// How runs of one length are divided.
  struct Plan {
    std::vector<std::array<Share, 2>> shares;  ///< of each row of the run
    float factor = 1;                          ///< of the finished sums
  };
  /// Neighboring columns with the same run.
  struct Group {
    int begin = 0;
    int count = 0;
    ColumnRun run;
    const Plan* plan = nullptr;  ///< null where samples are kept instead
    int lastCell = kNone;        ///< that has a sum already
    cv::Mat kept;                ///< CV_16UC1, the run's rows
  };
  /// False where the library interpolates, or where sums of 16-bit samples in cells that are added
  /// plainly could need rounding: their order would then matter.
  static bool CanAdd(int length, int cells);
  static Plan PlanFor(int length, int cells);
  [[nodiscard]] Group MakeGroup(const ColumnRun& run, std::size_t begin, std::size_t end);

  cv::Mat target_;
  std::map<int, Plan> plans_;  ///< by length
  std::vector<Group> groups_;
  std::vector<kernels::WeightedRow> pending_;  ///< of one row; kept for its memory
};

}  // namespace dravix::extractor

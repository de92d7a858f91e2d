/// How much an assembled matrix steps where partitions meet.
#pragma once

#include <dravix/lab/assembly.h>

#include <vector>

#include "lab/assembly/borders.h"

namespace dravix::lab {

struct PartitionBorders {
  std::vector<cv::Rect> partitions;  ///< each once
  std::vector<Border> borders;
};
[[nodiscard]] PartitionBorders PartitionBordersOf(const std::vector<PlacedResult>& results);

/// Root of the mean square of the steps; NaN without a step.
[[nodiscard]] double SeamRmsOf(const cv::Mat1f& values, const PartitionBorders& partitions);

}  // namespace dravix::lab

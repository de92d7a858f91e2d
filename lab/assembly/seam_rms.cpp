#include "lab/assembly/seam_rms.h"

#include <algorithm>
#include <cmath>

#include "lab/analysis/figures.h"
#include "lab/assembly/limits.h"

namespace dravix::lab {
namespace {

double MeanOf(const cv::Mat1f& values, const cv::Rect& part) {
  Mean all;
  for (int y = part.y; y < part.br().y; ++y) {
    const float* row = values[y];
    Mean mean;
    for (int x = part.x; x < part.br().x; ++x) mean.Add(static_cast<double>(row[x]));
    all.Add(mean);
  }
  return all.Value();
}

double StepAt(const cv::Mat1f& values, const Border& border, const cv::Rect& partitionBefore,
              const cv::Rect& partitionBehind) {
  const int length = border.end - border.begin;
  cv::Rect before;
  cv::Rect behind;
  if (border.vertical) {
    const int lines = std::min({kMostBorderLines, partitionBefore.width, partitionBehind.width});
    before = cv::Rect(border.at - lines, border.begin, lines, length);
    behind = before + cv::Point(lines, 0);
  } else {
    const int lines = std::min({kMostBorderLines, partitionBefore.height, partitionBehind.height});
    before = cv::Rect(border.begin, border.at - lines, length, lines);
    behind = before + cv::Point(0, lines);
  }
  const double meanBefore = MeanOf(values, before);
  const double meanBehind = MeanOf(values, behind);
  return Quotient(meanBehind - meanBefore, (meanBehind + meanBefore) / 2);
}

}  // namespace

PartitionBorders PartitionBordersOf(const std::vector<PlacedResult>& results) {
  std::vector<cv::Rect> partitions;
  partitions.reserve(results.size());
  for (const PlacedResult& result : results) partitions.push_back(result.placement.partition);
  partitions = Distinct(std::move(partitions));
  std::vector<Border> borders = BordersOf(partitions, kMostPairs);
  return {std::move(partitions), std::move(borders)};
}

double SeamRmsOf(const cv::Mat1f& values, const PartitionBorders& partitions) {
  Mean square;
  for (const Border& border : partitions.borders) {
    const double step = StepAt(values, border, partitions.partitions[border.before],
                               partitions.partitions[border.behind]);
    square.Add(step * step);
  }
  return std::sqrt(square.Value());
}

}  // namespace dravix::lab

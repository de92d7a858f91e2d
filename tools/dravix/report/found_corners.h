/// The four corners that a measurement finds in a region, or why it finds none.
#pragma once

#include <dravix/region.h>

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::tool {

struct FoundCorners {
  /// Top-left, top-right, bottom-right, bottom-left, in photograph pixels. Empty when there are
  /// none.
  std::vector<cv::Point> corners;
  std::string whyNot;  ///< without corners: the reason and what to do, as one phrase
};

[[nodiscard]] FoundCorners FindCorners(const RegionOI& region);

}  // namespace dravix::tool

/// The last step of both searches for the lit area: among several, the largest.
#pragma once

#include <opencv2/core.hpp>
#include <optional>

namespace dravix::extractor {

struct LitArea {
  cv::Mat mask;   ///< CV_8UC1, 255 inside, holes filled
  cv::Rect rect;  ///< the area's bounding rectangle
};

/// The largest white area of a black-and-white picture (CV_8UC1), or nothing when all is black.
/// Logs an error line for none, and one for several.
[[nodiscard]] std::optional<LitArea> LargestArea(const cv::Mat& lit);

}  // namespace dravix::extractor

/// Which parts of a screen were not measured.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// Disjoint rectangles that cover the zeros exactly, the largest first; of more than `most`, the
/// largest ones.
[[nodiscard]] std::vector<cv::Rect> LargestGaps(const cv::Mat1b& counts, std::size_t most);

}  // namespace dravix::lab

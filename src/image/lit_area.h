/// The last steps of every search for a lit area: the outlines, the largest of them, its filled
/// mask.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::image {

/// One outline: all of its pixels, in image pixels.
using Contour = std::vector<cv::Point>;
using Contours = std::vector<Contour>;

/// The outer outlines of a CV_8UC1 image, in the order cv::findContours gives them.
[[nodiscard]] Contours OuterContours(const cv::Mat& binary);

/// The index of the outline whose rotated bounding rectangle is the largest. The first counts where
/// several are equally large, and 0 is the answer where all are flat. Areas are compared in single
/// precision, which decides ties. `contours` must not be empty.
[[nodiscard]] std::size_t LargestByMinAreaRect(const Contours& contours);

/// A CV_8UC1 image of that size with 255 on and inside one outline and 0 elsewhere.
[[nodiscard]] cv::Mat Filled(const Contours& contours, std::size_t index, cv::Size size);

}  // namespace dravix::image

/// The steps every search for a lit area ends in: outlines, the largest of them, its filled mask.
#pragma once

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::image {

/// One outline, every pixel of it, in image pixels.
using Contour = std::vector<cv::Point>;
using Contours = std::vector<Contour>;

/// The outer outlines of a CV_8UC1 image, in the order cv::findContours gives them.
[[nodiscard]] Contours OuterContours(const cv::Mat& binary);

/// Index of the outline whose rotated bounding rectangle is the largest; of equal ones the first,
/// and 0 when all are flat. Areas are compared in single precision. A single outline needs no
/// rectangle. `contours` is not empty.
[[nodiscard]] std::size_t LargestByMinAreaRect(const Contours& contours);

/// CV_8UC1 image of that size, 255 on and inside one outline, 0 elsewhere.
[[nodiscard]] cv::Mat Filled(const Contours& contours, std::size_t index, cv::Size size);

}  // namespace dravix::image

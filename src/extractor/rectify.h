/// The step from the photograph to the working image, the same in both pipelines.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <vector>

namespace dravix::extractor {

/// Size of the working image, each side truncated.
[[nodiscard]] cv::Size WorkingSize(cv::Size photo, double warpScale);

/// The 3 x 3 CV_64F perspective that maps photograph pixels to working pixels. Four corners each,
/// as top-left, top-right, bottom-right, bottom-left.
[[nodiscard]] cv::Mat WorkingFromPhoto(const std::vector<cv::Point>& photoCorners,
                                       const std::array<cv::Point2f, 4>& workingCorners);

/// True when the perspective is not determined: three of the four corners lie on one line.
[[nodiscard]] bool AnyThreeOnALine(const std::vector<cv::Point>& corners);

/// The photograph warped into the working image; cubic, 0 outside.
[[nodiscard]] cv::Mat Rectify(const cv::Mat& photo, const cv::Mat& workingFromPhoto, cv::Size size);

}  // namespace dravix::extractor

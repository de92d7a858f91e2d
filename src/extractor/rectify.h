/// The step from the photograph to the working image, which both pipelines share.
#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <vector>

#include "kernels/warp/cubic_warp.h"

namespace dravix::extractor {

/// Size of the working image in pixels: `photo` times `warpScale`, each side truncated.
[[nodiscard]] cv::Size WorkingSize(cv::Size photo, double warpScale);

/// The 3 x 3 CV_64F perspective matrix that maps photograph pixels to working-image pixels. Both
/// lists hold four corners: top-left, top-right, bottom-right, bottom-left.
[[nodiscard]] cv::Mat WorkingFromPhoto(const std::vector<cv::Point>& photoCorners,
                                       const std::array<cv::Point2f, 4>& workingCorners);

/// True when three of the four corners lie on one line: no perspective matrix maps such corners to
/// a rectangle.
[[nodiscard]] bool AnyThreeOnALine(const std::vector<cv::Point>& corners);

/// Warps a photograph into a working image that is measured: bicubic interpolation, 0 beyond the
/// photograph's border. No light was seen there, and no luminance may be made from it; the
/// detector, which only looks for edges, repeats the border pixels instead, because a jump to 0
/// would be an edge.
[[nodiscard]] cv::Mat WarpToWorkingImage(const cv::Mat& photo, const cv::Mat& workingFromPhoto,
                                         cv::Size size);

/// The same from the rows that the kernels make, in less time.
[[nodiscard]] cv::Mat WholeWorkingImage(const kernels::CubicWarp& rows);

}  // namespace dravix::extractor

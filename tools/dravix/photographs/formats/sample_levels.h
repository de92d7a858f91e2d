/// Operations on samples before a plane is chosen.
#pragma once

#include <opencv2/core.hpp>

#include "photographs/formats/camera_picture.h"

namespace dravix::tool {

/// Takes the black level off, rounded to whole numbers; what falls below 0 becomes 0. A level of
/// one value holds for all planes.
[[nodiscard]] cv::Mat WithoutBlack(const cv::Mat& samples, const BlackLevel& black);

/// 8-bit samples stretched to 16 bits, 0 to 65535: in proportion, or along sRGB's curve to linear
/// light.
[[nodiscard]] cv::Mat Stretched(const cv::Mat& samples, bool linear);

/// The mean of three planes, rounded.
[[nodiscard]] cv::Mat MeanOfPlanes(const cv::Mat& samples);

}  // namespace dravix::tool

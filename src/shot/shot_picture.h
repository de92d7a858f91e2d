/// A shot as an 8-bit picture, scaled by the largest sample of its camera.
#pragma once

#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/core.hpp>

namespace dravix::shot {

/// The largest sample of the shot's camera; -1, which stands for "not known", without a device.
[[nodiscard]] std::int32_t FullScale(const Shot& shot);

/// The shot's image as CV_8UC1; three planes are taken as red, green and blue.
[[nodiscard]] cv::Mat ToGrayPicture(const Shot& shot);

/// The shot's image as CV_8UC3 in the order BGR, which OpenCV's writers want. A single plane goes
/// into the channels of the shot's `color`, and into all three when that is missing or 0.
[[nodiscard]] cv::Mat ToColorPicture(const Shot& shot);

}  // namespace dravix::shot

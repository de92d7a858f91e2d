/// A shot as an 8-bit picture, scaled by its camera.
#pragma once

#include <dravix/shot.h>

#include <cstdint>
#include <opencv2/core.hpp>

namespace dravix::shot {

/// FullScale of the shot's camera; -1, which is "not known", without a device.
[[nodiscard]] std::int32_t FullScale(const Shot& shot);

/// The shot's image as CV_8UC1; planes are taken as red, green, blue.
[[nodiscard]] cv::Mat ToGrayPicture(const Shot& shot);

/// The shot's image as CV_8UC3, BGR as OpenCV writes it. A single plane stands in the channels of
/// the shot's `color`, in all three when that is missing or 0.
[[nodiscard]] cv::Mat ToColorPicture(const Shot& shot);

}  // namespace dravix::shot

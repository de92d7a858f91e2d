/// How samples become an 8-bit picture: the one conversion that every export and every search for
/// the lit area uses.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

namespace dravix::image {

/// The largest sample of a camera. The last two decimal digits of its type are the bits of a
/// sample, so 120016 gives 65535 and 320012 gives 4095; 0 bits give 0. Only the low five bits of
/// that number count, so that the 32-bit shift is defined for every type.
[[nodiscard]] std::int32_t FullScale(std::int32_t camType);

/// `source` in 8 bits, of the same size. Samples are scaled by 255 / maxValue, in single precision,
/// when maxValue is above 0, and otherwise so that the largest absolute sample becomes 255; they
/// saturate. Then a color picture (BGR) is made gray for `channels` 1, and a gray one is given
/// three equal channels for 3.
[[nodiscard]] cv::Mat ToImage(const cv::Mat& source, std::int32_t maxValue, int channels);

/// A three-channel picture with `gray` (CV_8UC1) in the channels whose bit is set in `color` (bit 0
/// is channel 0), zeros in the others.
[[nodiscard]] cv::Mat InChannels(const cv::Mat& gray, std::int32_t color);

}  // namespace dravix::image

/// How samples become an 8-bit picture: the one conversion behind every export, the search for the
/// LED area and the region's gray source.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

namespace dravix::image {

/// Largest sample of a camera: its type ends in the sensor's bits in two decimal digits, so 120016
/// gives 65535 and 320012 gives 4095. 0 when they say 0. In 32-bit arithmetic, the shift taken from
/// the low five bits: every number is answered.
[[nodiscard]] std::int32_t FullScale(std::int32_t camType);

/// `source` in 8 bits, of its size: scaled by 255 / maxValue in single precision when maxValue is
/// above 0, else so that the largest absolute sample becomes 255; saturating. Then, for `channels`
/// 1, a colour picture (BGR) is made grey, and for 3 a grey one is given three equal channels.
[[nodiscard]] cv::Mat ToImage(const cv::Mat& source, std::int32_t maxValue, int channels);

/// A three-channel picture with `gray` (CV_8UC1) in the channels whose bit is set in `color` (bit 0
/// is channel 0), zeros in the others.
[[nodiscard]] cv::Mat InChannels(const cv::Mat& gray, std::int32_t color);

}  // namespace dravix::image

/// From samples to the 8-bit values of a picture.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dravix::kernels {

/// Replaces each sample by sample * scale, rounded half to even and at most 255: the values of
/// cv::Mat::convertTo(CV_8U, scale). They stay in 16-bit places, where the smoothing wants them.
/// Whole vectors are converted: up to 63 values after the last one must be readable and writable.
void ToEightBits(std::uint16_t* samples, std::size_t count, float scale);

}  // namespace dravix::kernels

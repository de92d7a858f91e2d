/// From samples to the 8-bit values of a picture.
#pragma once

#include <cstdint>

namespace dravix::kernels {

/// The conversion of cv::Mat::convertTo(CV_8U, 255 / fullScale): sample * factor in single
/// precision, rounded half to even and at most 255. With it comes what tells that a rounding error
/// in a sum of taps cannot change a value (see cubic_eight_bits-inl.h).
struct EightBitScale {
  /// `fullScale` is the sensor's largest sample, 1 or more.
  explicit EightBitScale(std::int32_t fullScale);

  float factor;
  std::int32_t largestValue;    ///< of a 16-bit sample
  std::int32_t aboveFullScale;  ///< bits that no sample up to full scale has
  float certainSample;          ///< sums so far from their sample round to it in any order
  float certainValue;           ///< samples so far from their value may be one off
};

}  // namespace dravix::kernels

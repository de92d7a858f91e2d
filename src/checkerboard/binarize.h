/// Lit or dark: several ways, from the most robust to the plainest.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/rectified.h"

namespace dravix::checkerboard {

enum class Binarization {
  kQuotient,  ///< one level for the checkerboard divided by the measured picture
  kLocal,     ///< the middle between the darkest and the brightest around, in the quotient
  kPlain,     ///< one level for the checkerboard itself
};
constexpr Binarization kBinarizations[] = {Binarization::kQuotient, Binarization::kLocal,
                                           Binarization::kPlain};

/// The checkerboard divided by the measured picture, CV_8UC1, an average lit block near 160: what
/// both pictures share (vignetting, LEDs of different brightness, modules) falls out. 0 outside
/// `mask`. Stands in `scratch` when that is CV_8UC1 of the pictures' size.
[[nodiscard]] cv::Mat Quotient(const Rectified& pictures, const cv::Mat& mask,
                               cv::Mat scratch = {});

/// CV_8UC1, 255 where a block is lit. `quotient` as Quotient gives it. Stands in `scratch` when
/// that is of its size.
[[nodiscard]] cv::Mat Binarized(Binarization way, const Rectified& pictures,
                                const cv::Mat& quotient, const RectifyParams& params,
                                const cv::Mat& scratch = {});

}  // namespace dravix::checkerboard

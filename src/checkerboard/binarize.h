/// Which pixels of the checkerboard are lit and which are dark, decided in three ways.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/rectified.h"

namespace dravix::checkerboard {

/// The ways to binarize.
enum class Binarization {
  kQuotient,  ///< one threshold for the quotient of both pictures
  kLocal,     ///< for the same quotient, a threshold at each place from the extremes around it
  kPlain,     ///< one threshold for the checkerboard itself
};
/// In the order in which they are tried: the one that suits most screens first; then the one for
/// lit blocks of very different levels; last the one that does not look at the measured picture.
constexpr Binarization kBinarizations[] = {Binarization::kQuotient, Binarization::kLocal,
                                           Binarization::kPlain};

/// The checkerboard divided by the measured picture, CV_8UC1, scaled so that an average lit block
/// is near 160. What both pictures share falls out: vignetting, LEDs and modules of different
/// brightness. 0 outside `mask`. The result stands in `scratch` when that is CV_8UC1 of the
/// pictures' size.
[[nodiscard]] cv::Mat Quotient(const Rectified& pictures, const cv::Mat& mask,
                               cv::Mat scratch = {});

/// CV_8UC1, 255 where a block is lit and 0 elsewhere. `quotient` is as Quotient gives it. The
/// result may stand in `scratch` when that is of its size.
[[nodiscard]] cv::Mat Binarized(Binarization way, const Rectified& pictures,
                                const cv::Mat& quotient, const RectifyParams& params,
                                cv::Mat scratch = {});

}  // namespace dravix::checkerboard

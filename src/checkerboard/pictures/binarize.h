/// Which pixels of the checkerboard are lit and which are dark, decided in three ways.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/pictures/quotient.h"
#include "checkerboard/pictures/rectified.h"
#include "kernels/bits/bit_picture.h"

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

/// White where a block is lit.
[[nodiscard]] kernels::BitPicture Binarized(Binarization way, const Rectified& pictures,
                                            const Quotient& quotient, const RectifyParams& params);

}  // namespace dravix::checkerboard

/// The checkerboard divided by the measured picture.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/pictures/rectified.h"
#include "kernels/bits/bit_picture.h"

namespace dravix::checkerboard {

/// The quotient in 8 bits, scaled so that an average lit block is near 160. What both pictures
/// share falls out: vignetting, LEDs and modules of different brightness. 0 outside the mask. Its
/// rows are computed each time they are needed, which costs less than the memory for them. Refers
/// to the mask, which has the size of the pictures; both are stored as a whole.
class Quotient {
 public:
  Quotient(const Rectified& pictures, const kernels::BitPicture& mask);

  /// The whole of it, CV_8UC1.
  [[nodiscard]] cv::Mat Picture() const;
  /// White where it is above Otsu's level.
  [[nodiscard]] kernels::BitPicture AboveOtsu() const;

 private:
  template <class Work>
  void ForEachRow(int begin, int end, Work&& work) const;
  [[nodiscard]] int OtsuLevel() const;

  cv::Mat board_;
  cv::Mat measured_;
  const kernels::BitPicture& mask_;
  float scale_;
};

}  // namespace dravix::checkerboard

/// Black-and-white pictures: the global threshold that makes them and the cleaning that follows.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::image {

/// Sets `binary` to 255 where `gray` (CV_8UC1) is above Otsu's level and to 0 elsewhere. The level
/// is the one that splits the histogram into the two classes with the largest variance between them
/// (N. Otsu, "A threshold selection method from gray-level histograms", IEEE Transactions on
/// Systems, Man, and Cybernetics 9, 1979). `binary` may be `gray` itself, and keeps its memory
/// when that has the right size.
void BinarizeByOtsu(const cv::Mat& gray, cv::Mat& binary);

/// Closes and then opens `binary` (CV_8UC1) in place with a square of `side` pixels. The closing
/// comes first so that gaps between LEDs are bridged before the opening removes what is narrower
/// than the square. Throws cv::Exception for a side below 1.
void CloseThenOpen(cv::Mat& binary, int side);

}  // namespace dravix::image

/// Pictures of 8- or 16-bit samples, looked at as if their largest sample had been made 255.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

#include "kernels/bits/bit_picture.h"
#include "kernels/bits/histogram.h"

namespace dravix::kernels {

// `picture` is CV_8UC1 or CV_16UC1 and need not be continuous. Rows are divided among the threads.

/// What the samples are multiplied by to make `largest` 255, as the matrix library computes it; 0
/// for 0.
[[nodiscard]] float ScaleToWhite(int largest);

/// The largest sample whose 8-bit value is at most `level`, which is 0 or more.
[[nodiscard]] int LargestSampleUpTo(int level, float scale);

/// White where a sample is above `level`.
[[nodiscard]] BitPicture Above(const cv::Mat& picture, int level);

/// Otsu's level of a picture in 8 bits, as a sample: white is what is above it.
[[nodiscard]] int OtsuSample(const SampleCounter& counted);
[[nodiscard]] int OtsuSample(const cv::Mat& picture);

}  // namespace dravix::kernels

/// The columns of the lit area, found in a picture with one bit per pixel. Where the picture holds
/// a single area without holes, as it mostly does, its columns' runs are read off and no mask is
/// drawn.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "extractor/locate.h"
#include "extractor/resample.h"
#include "kernels/bits/bit_picture.h"

namespace dravix::extractor {

/// Neighboring columns of the working image and the run of the lit area in each.
struct LitColumns {
  int left = 0;
  std::vector<ColumnRun> runs;  ///< of column left, left + 1, ...
};

/// Closes and opens the lit pixels with a square of that odd side and finds the largest area, or
/// nothing when nothing is lit. Logs what AutoBlurLocate logs.
[[nodiscard]] std::optional<LitColumns> LargestLitColumns(kernels::BitPicture lit,
                                                          int cleaningSide);

/// The columns of the area that LocateLitArea finds, and what that logs and throws.
[[nodiscard]] std::optional<LitColumns> LocateLitColumns(const cv::Mat& image,
                                                         std::int32_t fullScale,
                                                         const Melting& melting);

}  // namespace dravix::extractor

/// The search for the lit area in a defocused photograph, at full size.
#pragma once

#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <optional>

namespace dravix::region {

/// The bounding rectangle of a lit area, in photograph pixels, and its mask in there (CV_8UC1, 255
/// inside).
struct LitArea {
  cv::Rect rect;
  cv::Mat mask;
};

/// Lengths are in photograph pixels.
struct DefocusSettings {
  float blurSigma = 0;   ///< of the 5 x 5 smoothing that comes first
  int cleaningSide = 0;  ///< of the square that closes and opens the area's mask
};

/// The lit area with the largest rotated bounding box, or nothing when nothing is lit. Throws
/// cv::Exception for pixels that cannot be shown and for settings that the matrix library refuses.
[[nodiscard]] std::optional<LitArea> FindDefocused(const Shot& shot,
                                                   const DefocusSettings& settings);

}  // namespace dravix::region

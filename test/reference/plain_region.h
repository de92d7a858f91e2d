/// The searches for a region and its corners written down plainly, with one library call for each
/// step on whole pictures. They are slow, and every optimization must give the same bits.
#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

namespace dravix::reference {

struct RegionSettings {
  int kernel = 5;        ///< pixels
  float sigma = 0;       ///< pixels
  float quality = 0;     ///< of the weakest corner, as a share of the strongest's
  int refineWindow = 0;  ///< pixels, half of its side
};

struct FoundRegion {
  cv::Rect rect;
  cv::Mat mask;
};

/// Search at half size in a photograph of any depth with 1 or 3 channels; empty when nothing is
/// lit. `camType` is the camera type code, or empty when the shot has no device.
std::optional<FoundRegion> AutoSet(const cv::Mat& photo, std::optional<int> camType,
                                   const RegionSettings& settings);

/// Search at full size in a defocused photograph; empty when nothing is lit.
std::optional<FoundRegion> ComputeBlur(const cv::Mat& photo, std::optional<int> camType,
                                       const RegionSettings& settings);

/// The refined corners of a mask in its frame, rounded to pixels, in the order in which the
/// detector finds them; empty when they are not four.
std::vector<cv::Point> Corners(cv::Size frame, const FoundRegion& region,
                               const RegionSettings& settings);

}  // namespace dravix::reference

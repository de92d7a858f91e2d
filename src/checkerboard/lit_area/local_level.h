/// How bright the screen is around a place.
#pragma once

#include <opencv2/core.hpp>

#include "kernels/bits/bit_picture.h"

namespace dravix::checkerboard {

/// Levels in a picture that is `shrink` times smaller than the working image, since they change
/// slowly.
struct LevelMap {
  cv::Mat small;     ///< CV_32FC1; 0 where nothing of the screen is near
  int shrink = 1;    ///< side of the square of working-image pixels that is one pixel of the map
  cv::Point origin;  ///< of the map, in the working image

  /// The levels of a part of the working image, CV_32FC1, of its size; 0 outside the map.
  [[nodiscard]] cv::Mat In(const cv::Rect& part) const;
  /// The level at one pixel of the working image; 0 outside the map.
  [[nodiscard]] double At(cv::Point place) const;
};

/// The area of a mask without the strip along its outline in which a defocused edge is still
/// rising, in a picture that is `shrink` times smaller.
struct InnerArea {
  cv::Mat small;     ///< CV_8UC1, 255 inside
  int shrink = 1;    ///< side of the square of working-image pixels that is one pixel of `small`
  cv::Point origin;  ///< of `small`, in the working image
};

/// `box` is the mask's bounding rectangle and `cell` the expected size of a block.
[[nodiscard]] InnerArea InnerOf(const kernels::BitPicture& mask, const cv::Rect& box,
                                cv::Size2d cell);

/// The mean of `picture` inside the area over a window of the size of a block.
[[nodiscard]] LevelMap LocalLevel(const cv::Mat& picture, const InnerArea& inner, cv::Size2d cell);

/// A rectangle of the working image that lies in the area, as large as its shape allows. Empty when
/// the area has holes or is too small.
[[nodiscard]] cv::Rect RectangleInside(const InnerArea& inner);

}  // namespace dravix::checkerboard

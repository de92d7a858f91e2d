/// The simplest screen: evenly lit, upright and where the detector expects it.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/lit_area_share.h"
#include "checkerboard/rectified.h"

namespace dravix::checkerboard {

/// A working image of that size that is the photograph itself, with a grid of 4 x 3 blocks.
inline RectifyParams ParamsFor(cv::Size size) {
  RectifyParams params;
  params.transform = cv::Mat::eye(3, 3, CV_64FC1);
  params.imageSize = size;
  params.areaScale = kLitAreaShare;
  params.kernel = 5;
  params.cell = {size.width * kLitAreaShare / 4, size.height * kLitAreaShare / 3};
  return params;
}

/// A screen of one level where it is expected, in a dark picture of 400 x 300 pixels.
inline cv::Mat Screen(double level) {
  cv::Mat picture = cv::Mat::zeros(300, 400, CV_16UC1);
  picture(cv::Rect(30, 23, 340, 254)).setTo(level);
  return picture;
}

}  // namespace dravix::checkerboard

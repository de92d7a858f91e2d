/// The simplest screen: evenly lit, upright and where the detector expects it.
#pragma once

#include <opencv2/core.hpp>

#include "checkerboard/checkerboard.h"
#include "checkerboard/pictures/rectified.h"

namespace dravix::checkerboard {

/// A working image of that size that is the photograph itself, with a grid of 4 x 3 blocks.
inline RectifyParams ParamsFor(cv::Size size) {
  const CheckerboardDetector defaults;
  RectifyParams params;
  params.transform = cv::Mat::eye(3, 3, CV_64FC1);
  params.imageSize = size;
  params.areaScale = defaults.areaScale;
  params.blurSigma = defaults.blurSigma;
  params.kernel = 5;
  params.edgeLevelPercent = defaults.edgeLevelPercent;
  params.cell = {size.width * params.areaScale / 4, size.height * params.areaScale / 3};
  return params;
}

/// A screen of one level where it is expected, in a dark picture of 400 x 300 pixels.
inline cv::Mat Screen(double level) {
  cv::Mat picture = cv::Mat::zeros(300, 400, CV_16UC1);
  picture(cv::Rect(30, 23, 340, 254)).setTo(level);
  return picture;
}

}  // namespace dravix::checkerboard

/// Both photographs in the working image, and where the LEDs are in it.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::checkerboard {

/// Lengths in working-image pixels.
struct RectifyParams {
  cv::Mat transform;        ///< 3 x 3, working image from photograph
  cv::Size imageSize;       ///< of the working image
  double areaScale = 0.85;  ///< share of its width and height that the LEDs should cover
  float blurSigma = 10.0F;
  int kernel = 11;  ///< side of the square that closes gaps and removes specks; odd
  int edgeLevelPercent = 50;
  cv::Size2d cell;  ///< expected size of a block
};

/// Two pictures of the same size and depth, one channel each, smoothed.
struct Rectified {
  cv::Mat board;     ///< the checkerboard
  cv::Mat measured;  ///< all LEDs lit
};

/// Warps both photographs and smooths them. 16-bit samples are kept; anything else becomes 8 bits
/// by its largest sample.
[[nodiscard]] Rectified Rectify(const cv::Mat& board, const cv::Mat& measured,
                                const RectifyParams& params);

/// In 8 bits by the largest sample; one channel.
[[nodiscard]] cv::Mat EightBits(const cv::Mat& picture);

/// The lit part of an 8-bit picture by one level for all of it, gaps closed, specks removed; black
/// outside the place where the LEDs are expected.
[[nodiscard]] cv::Mat LitParts(const cv::Mat& grey, const RectifyParams& params);

struct Area {
  cv::Mat mask;        ///< CV_8UC1; empty when nothing is lit
  cv::Point2d excess;  ///< pixels that its outline lies too far out: sides; top and bottom
};

/// The LED area: the largest lit outline, filled.
[[nodiscard]] Area LedArea(const cv::Mat& measured, const RectifyParams& params);

}  // namespace dravix::checkerboard

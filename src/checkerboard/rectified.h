/// Both photographs in the working image, and what of them is lit.
#pragma once

#include <array>
#include <opencv2/core.hpp>

namespace dravix::checkerboard {

/// Lengths in working-image pixels.
struct RectifyParams {
  cv::Mat transform;     ///< 3 x 3, working image from photograph
  cv::Size imageSize;    ///< of the working image
  double areaScale = 0;  ///< share of its width and height that the lit area takes; to be set
  float blurSigma = 10.0F;
  int kernel = 11;  ///< side of the square that closes gaps and removes specks; odd
  int edgeLevelPercent = 50;
  cv::Size2d cell;  ///< expected size of a block
};

/// Two pictures of the same size and depth, one channel each, smoothed.
struct Rectified {
  cv::Mat board;            ///< the checkerboard
  cv::Mat measured;         ///< all LEDs lit
  cv::Mat warpBuffer = {};  ///< memory that is no longer needed

  /// Two 8-bit pictures of their size, in the warpBuffer memory where that is large enough: to
  /// touch new memory costs as much as to threshold a picture. They live as long as it does.
  [[nodiscard]] std::array<cv::Mat, 2> Scratch() const;
  /// Both without what lies outside `part`; nothing is copied.
  [[nodiscard]] Rectified Part(const cv::Rect& part) const {
    return {board(part), measured(part), {}};
  }
};

/// Warps both photographs and smooths them. 16-bit samples are kept; anything else becomes 8 bits
/// by its largest sample.
[[nodiscard]] Rectified WarpForDetection(const cv::Mat& board, const cv::Mat& measured,
                                         const RectifyParams& params);

/// In 8 bits by the largest sample; one channel.
[[nodiscard]] cv::Mat EightBits(const cv::Mat& picture);

/// Where LEDs may be: the expected rectangle in the middle and a margin around it.
[[nodiscard]] cv::Rect ExpectedArea(const RectifyParams& params);

/// Grown by `by` pixels on each side, as far as the picture goes.
[[nodiscard]] cv::Rect GrownInside(const cv::Rect& r, cv::Size by, cv::Size picture);

/// How far closing and opening look, so that the middle of a part comes out as it would of the
/// whole picture.
[[nodiscard]] inline cv::Size CleaningReach(int kernel) { return {2 * kernel, 2 * kernel}; }

/// The lit part of an 8-bit picture by one level for all of it, gaps closed, specks removed; only
/// the expected area, of its size. `grey` becomes scratch.
[[nodiscard]] cv::Mat LitParts(cv::Mat& grey, const RectifyParams& params);

/// Whether LitParts has any; `scratch` is a picture for reuse, or empty.
[[nodiscard]] bool AnythingLit(const cv::Mat& grey, const RectifyParams& params, cv::Mat& scratch);

}  // namespace dravix::checkerboard

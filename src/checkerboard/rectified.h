/// Both photographs in the working image, and which parts of it are lit.
#pragma once

#include <array>
#include <opencv2/core.hpp>

namespace dravix::checkerboard {

/// What the steps of one detection share. The detector sets all of them; there are no values here,
/// so that its defaults stand in one place. Lengths are in working-image pixels.
struct RectifyParams {
  cv::Mat transform;         ///< 3 x 3, working image from photograph
  cv::Size imageSize;        ///< of the working image
  double areaScale = 0;      ///< share of its width and height that the lit area takes
  float blurSigma = 0;       ///< of the Gaussian that smooths the warped photographs
  int kernel = 0;            ///< side of the square that closes gaps and removes specks; odd
  int edgeLevelPercent = 0;  ///< where between dark and lit a local threshold lies
  cv::Size2d cell;           ///< expected size of a block
};

/// Two pictures of the same size and depth, with one channel each, smoothed.
struct Rectified {
  cv::Mat board;            ///< the checkerboard
  cv::Mat measured;         ///< all LEDs lit
  cv::Mat warpBuffer = {};  ///< what the photographs were warped into; free to be overwritten

  /// Two 8-bit pictures of their size, which stand in the warp buffer where that is large enough
  /// and live as long as it does: to touch new memory costs as much as to threshold a picture.
  [[nodiscard]] std::array<cv::Mat, 2> Scratch() const;
  /// Both without what lies outside `part`; nothing is copied.
  [[nodiscard]] Rectified Part(const cv::Rect& part) const {
    return {board(part), measured(part), {}};
  }
};

/// Warps both photographs into the working image and smooths them, to find blocks in them. 16-bit
/// samples are kept; anything else becomes 8 bits by its largest sample.
///
/// Beyond the photograph's frame, the outermost pixels are repeated. A black border, as the image
/// that luminances are measured in has it, would draw a sharp edge along the frame, which bicubic
/// interpolation and smoothing carry into the picture, and where the screen reaches the frame, the
/// search would take it for the outline of the lit area.
[[nodiscard]] Rectified WarpForDetection(const cv::Mat& board, const cv::Mat& measured,
                                         const RectifyParams& params);

/// A picture in 8 bits by its largest sample, with one channel.
[[nodiscard]] cv::Mat EightBits(const cv::Mat& picture);

/// The part of the working image in which LEDs may be: the centered rectangle that the lit area is
/// mapped to, with a margin around it.
[[nodiscard]] cv::Rect ExpectedArea(const RectifyParams& params);

/// The rectangle grown by `by` pixels on each side, as far as the picture goes.
[[nodiscard]] cv::Rect GrownInside(const cv::Rect& r, cv::Size by, cv::Size picture);

/// How many pixels around a part closing and opening look at, so that the part comes out as it
/// would of the whole picture.
[[nodiscard]] inline cv::Size CleaningReach(int kernel) { return {2 * kernel, 2 * kernel}; }

/// The lit part of an 8-bit picture by one threshold for all of it, with gaps closed and specks
/// removed: CV_8UC1, 255 where lit, of the expected area's size. `gray` is overwritten.
[[nodiscard]] cv::Mat LitParts(cv::Mat& gray, const RectifyParams& params);

/// Whether LitParts would find any. `scratch` is an 8-bit picture of that size for reuse, or empty.
[[nodiscard]] bool AnythingLit(const cv::Mat& gray, const RectifyParams& params, cv::Mat& scratch);

}  // namespace dravix::checkerboard

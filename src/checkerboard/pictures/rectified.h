/// Both photographs in the working image, and which parts of it are lit.
#pragma once

#include <opencv2/core.hpp>
#include <utility>

#include "checkerboard/pictures/partial_picture.h"
#include "kernels/bits/bit_picture.h"

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
  bool byRows = true;        ///< warp row by row with the kernels where they can do it
};

/// Two pictures of the same size and depth, with one channel each, smoothed.
struct Rectified {
  PartialPicture board;     ///< the checkerboard
  PartialPicture measured;  ///< all LEDs lit

  /// Both without what lies outside `part`, as pictures of their own; nothing is copied.
  [[nodiscard]] Rectified Part(const cv::Rect& part) const { return {board(part), measured(part)}; }
};

/// A photograph in the working image, smoothed, with one channel of 8 or 16 bits.
struct WorkingPicture {
  WorkingPicture() = default;
  /// Looks for the level.
  explicit WorkingPicture(const cv::Mat& picture);
  WorkingPicture(PartialPicture picture, int otsuSample)
      : samples(std::move(picture)), level(otsuSample) {}

  PartialPicture samples;
  int level = 0;  ///< Otsu's for the whole picture in 8 bits, as a sample: above it, all is lit
};

/// What of a warped photograph is stored.
enum class Extent {
  kWhole,
  kSearched  ///< the expected area with its surroundings
};

/// What becomes of the samples of a photograph.
enum class Samples {
  kKept,      ///< CV_16UC1 stays what it is
  kEightBits  ///< anything becomes 8 bits by its largest sample
};

/// Samples are kept where both photographs are CV_16UC1: pictures are compared with each other.
[[nodiscard]] Samples SamplesFor(const cv::Mat& board, const cv::Mat& measured);

/// Warps a photograph into the working image and smooths it, to find blocks in it.
///
/// Beyond the photograph's frame, the outermost pixels are repeated. A black border, as the image
/// that luminances are measured in has it, would draw a sharp edge along the frame, which bicubic
/// interpolation and smoothing carry into the picture, and where the screen reaches the frame, the
/// search would take it for the outline of the lit area.
///
/// Where the kernels cannot do it, the whole is stored whatever `extent` is.
[[nodiscard]] WorkingPicture WarpForDetection(const cv::Mat& photo, Samples samples,
                                              const RectifyParams& params,
                                              Extent extent = Extent::kWhole);

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

/// A part of the working image with what cleaning looks at around it.
[[nodiscard]] cv::Rect WithSurroundings(const cv::Rect& part, const RectifyParams& params);

/// The lit part of a picture by one threshold for all of it, with gaps closed and specks removed,
/// of the expected area's size.
[[nodiscard]] kernels::BitPicture LitParts(const WorkingPicture& picture,
                                           const RectifyParams& params);

/// Whether LitParts would find any.
[[nodiscard]] bool AnythingLit(const WorkingPicture& picture, const RectifyParams& params);

}  // namespace dravix::checkerboard

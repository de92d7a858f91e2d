// The input is both photographs in the working image: the checkerboard, and the same screen with
// all LEDs lit. Their quotient is near a constant in lit blocks and near 0 in dark ones, whatever
// the LEDs' own brightness, so that a single threshold (Otsu's) usually parts the two. Where lit
// blocks differ too much for that, each place gets the middle between the darkest and the brightest
// pixel of a window around it, as J. Bernsen does in "Dynamic thresholding of grey-level images",
// ICPR 1986. The output is a black-and-white picture. It does not place edges: its outlines lie too
// far out around bright blocks and too far in around dim ones, by a few pixels.
#include "checkerboard/pictures/binarize.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "checkerboard/pictures/shrink.h"
#include "kernels/bits/bit_parts.h"
#include "kernels/bits/sample_levels.h"

namespace dravix::checkerboard {
namespace {

/// Side of the local window, in blocks. Above 1, it holds both colors wherever it stands; much
/// above, it also holds blocks farther away, whose level does not matter here. A window without
/// both colors would put its threshold into the noise of one block.
constexpr double kWindow = 1.3;
/// Pixels that a block's shorter side keeps in the smaller picture that the local threshold is
/// computed in. With much fewer, hardly any pixel would lie in one block alone, and the extremes
/// would be those of mixtures.
constexpr double kShrunkenCell = 8;

/// Lit where the quotient is above the middle between the extremes of the window around. The
/// extremes are taken in a smaller picture, since a window of a block's size is slow in a large
/// one, and the thresholds are smoothed, because they jump where an extreme leaves the window.
cv::Mat AboveLocalMiddle(const cv::Mat& quotient, const RectifyParams& params) {
  const int shrink = ShrinkFor(params.cell, kShrunkenCell);
  const cv::Size small(std::max(1, quotient.cols / shrink), std::max(1, quotient.rows / shrink));
  cv::Mat low;
  cv::resize(quotient, low, small, 0, 0, cv::INTER_AREA);
  const auto side = [&](double length) { return static_cast<int>(kWindow * length / shrink) | 1; };
  const cv::Size window(side(params.cell.width), side(params.cell.height));
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, window);
  cv::Mat high;
  cv::dilate(low, high, element);
  cv::erode(low, low, element);
  const double share = params.edgeLevelPercent / 100.0;
  cv::Mat middle;
  cv::addWeighted(low, 1 - share, high, share, 0, middle);
  cv::blur(middle, middle, window);
  cv::resize(middle, middle, quotient.size(), 0, 0, cv::INTER_LINEAR);
  return quotient > middle;
}

}  // namespace

kernels::BitPicture Binarized(Binarization way, const Rectified& pictures, const Quotient& quotient,
                              const RectifyParams& params) {
  switch (way) {
    case Binarization::kLocal:
      return kernels::BitsOf(AboveLocalMiddle(quotient.Picture(), params));
    case Binarization::kPlain:
      return kernels::Above(pictures.board.Whole(), kernels::OtsuSample(pictures.board.Whole()));
    default:
      return quotient.AboveOtsu();
  }
}

}  // namespace dravix::checkerboard

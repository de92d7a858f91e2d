#include "checkerboard/binarize.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "image/binary.h"

namespace dravix::checkerboard {
namespace {

constexpr double kMeanQuotient = 80;  // half the blocks are lit: those come near 160
/// A window a little larger than a block and its neighbour's edge holds both colours wherever it
/// stands, whatever the level of the blocks farther away.
constexpr double kWindow = 1.3;  // blocks
constexpr int kLargestShrink = 8;
constexpr double kShrunkenCell = 8;  // pixels of a block in the smaller picture

/// Enough for a mean over all LEDs; a view.
cv::Mat EveryFourthRow(const cv::Mat& picture) {
  constexpr int kEvery = 4;
  const int rows = (picture.rows + kEvery - 1) / kEvery;
  return {rows, picture.cols, picture.type(), picture.data, kEvery * picture.step[0]};
}

cv::Mat Otsu(const cv::Mat& grey, cv::Mat lit) {
  image::BinarizeByOtsu(grey, lit);
  return lit;
}

/// Lit where the picture is above the middle between the extremes of a window around (after
/// J. Bernsen, "Dynamic thresholding of grey-level images", ICPR 1986).
cv::Mat AboveLocalMiddle(const cv::Mat& quotient, const RectifyParams& params) {
  const double room = std::min(params.cell.width, params.cell.height) / kShrunkenCell;
  const int shrink = std::clamp(static_cast<int>(room), 1, kLargestShrink);
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

cv::Mat Quotient(const Rectified& pictures, const cv::Mat& mask, cv::Mat scratch) {
  const cv::Mat some = EveryFourthRow(mask);
  const double board = cv::mean(EveryFourthRow(pictures.board), some)[0];
  const double measured = cv::mean(EveryFourthRow(pictures.measured), some)[0];
  const double scale = board > 0 ? kMeanQuotient * measured / board : 0.0;
  cv::divide(pictures.board, pictures.measured, scratch, scale, CV_8U);
  scratch &= mask;
  return scratch;
}

cv::Mat Binarized(Binarization way, const Rectified& pictures, const cv::Mat& quotient,
                  const RectifyParams& params, const cv::Mat& scratch) {
  switch (way) {
    case Binarization::kLocal:
      return AboveLocalMiddle(quotient, params);
    case Binarization::kPlain:
      return Otsu(EightBits(pictures.board), scratch);
    case Binarization::kQuotient:
      break;
  }
  return Otsu(quotient, scratch);
}

}  // namespace dravix::checkerboard

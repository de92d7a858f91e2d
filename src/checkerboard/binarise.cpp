#include "checkerboard/binarise.h"

#include <algorithm>
#include <array>
#include <opencv2/imgproc.hpp>

namespace dravix::checkerboard {
namespace {

constexpr double kMeanQuotient = 80;  // half the blocks are lit: those come near 160
/// A window a little larger than a block and its neighbour's edge holds both colours wherever it
/// stands, whatever the level of the blocks farther away.
constexpr double kWindow = 1.3;        // blocks
constexpr double kSurroundings = 0.3;  // blocks around a block where its level counts
constexpr int kLargestShrink = 8;
constexpr double kShrunkenCell = 8;  // pixels of a block in the smaller picture

cv::Mat Otsu(const cv::Mat& grey) {
  cv::Mat lit;
  cv::threshold(grey, lit, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
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

/// Mean of the middle of a block, clear of its edges.
double CoreLevel(const cv::Mat& quotient, const cv::Rect& block) {
  const cv::Rect core(block.x + block.width / 4, block.y + block.height / 4,
                      std::max(1, block.width / 2), std::max(1, block.height / 2));
  const cv::Rect inside = core & cv::Rect(0, 0, quotient.cols, quotient.rows);
  return inside.empty() ? 0.0 : cv::mean(quotient(inside))[0];
}

double MeanCoreLevel(const cv::Mat& quotient, const std::vector<cv::Rect>& blocks) {
  double sum = 0;
  for (const cv::Rect& block : blocks) sum += CoreLevel(quotient, block);
  return blocks.empty() ? 0.0 : sum / static_cast<double>(blocks.size());
}

/// The block grown sideways, up to where the next one's middle is; near its corners not at all, for
/// there the next lit block begins.
std::array<cv::Rect, 3> Surroundings(const cv::Rect& r, cv::Size2d cell) {
  const int dx = static_cast<int>(kSurroundings * cell.width);
  const int dy = static_cast<int>(kSurroundings * cell.height);
  return {r,
          cv::Rect(r.x - dx, r.y + r.height / 5, r.width + 2 * dx, r.height - 2 * (r.height / 5)),
          cv::Rect(r.x + r.width / 5, r.y - dy, r.width - 2 * (r.width / 5), r.height + 2 * dy)};
}

}  // namespace

cv::Mat AtBlockLevels(const cv::Mat& quotient, const std::vector<cv::Rect>& lit,
                      const std::vector<cv::Rect>& dark, const RectifyParams& params) {
  const double below = MeanCoreLevel(quotient, dark);
  cv::Mat threshold(quotient.size(), CV_8UC1, cv::Scalar(255));
  const cv::Rect all(0, 0, quotient.cols, quotient.rows);
  for (const cv::Rect& block : lit) {
    const double above = CoreLevel(quotient, block);
    const double middle = below + (above - below) * params.edgeLevelPercent / 100.0;
    for (const cv::Rect& part : Surroundings(block, params.cell)) {
      threshold(part & all).setTo(middle);
    }
  }
  return quotient > threshold;
}

double LevelRatio(const cv::Mat& quotient, const std::vector<cv::Rect>& lit) {
  double low = 255;
  double high = 1;
  for (const cv::Rect& block : lit) {
    const double level = CoreLevel(quotient, block);
    low = std::min(low, level);
    high = std::max(high, level);
  }
  return lit.empty() ? 1.0 : high / std::max(1.0, low);
}

cv::Mat Quotient(const Rectified& pictures, const cv::Mat& mask) {
  const double board = cv::mean(pictures.board, mask)[0];
  const double measured = cv::mean(pictures.measured, mask)[0];
  const double scale = board > 0 ? kMeanQuotient * measured / board : 0.0;
  cv::Mat quotient;
  cv::divide(pictures.board, pictures.measured, quotient, scale, CV_8U);
  cv::Mat inside = cv::Mat::zeros(quotient.size(), CV_8UC1);
  quotient.copyTo(inside, mask);
  return inside;
}

cv::Mat Binarised(Level level, const Rectified& pictures, const cv::Mat& quotient,
                  const RectifyParams& params) {
  switch (level) {
    case Level::kLocal:
      return AboveLocalMiddle(quotient, params);
    case Level::kPlain:
      return Otsu(EightBits(pictures.board));
    case Level::kQuotient:
      break;
  }
  return Otsu(quotient);
}

}  // namespace dravix::checkerboard

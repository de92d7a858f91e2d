// How the lit area of the measured photograph is found; see checkerboard/led_area.cpp.
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "checkerboard/lit_area/local_level.h"
#include "checkerboard/lit_area/outline_profile.h"
#include "checkerboard/pictures/shrink.h"
#include "image/binary.h"
#include "image/lit_area.h"
#include "image/picture.h"
#include "kernels/bits/bit_parts.h"
#include "reference/plain_detector.h"

namespace dravix::reference {
namespace {

using checkerboard::CleaningReach;
using checkerboard::ExpectedArea;
using checkerboard::GrownInside;
using checkerboard::InnerArea;
using checkerboard::LevelMap;
using checkerboard::RectifyParams;

cv::Mat WarpedAndSmoothed(const cv::Mat& image, const RectifyParams& params, bool wide) {
  cv::Mat warped;
  cv::warpPerspective(image, warped, params.transform, params.imageSize, cv::INTER_CUBIC,
                      cv::BORDER_REPLICATE);
  if (!wide) warped = EightBits(warped);
  cv::Mat smooth;
  cv::GaussianBlur(warped, smooth, {5, 5}, static_cast<double>(params.blurSigma), 0);
  return smooth;
}

cv::Rect FillLargest(const cv::Mat& lit, cv::Point at, cv::Mat& mask) {
  const image::Contours outlines = image::OuterContours(lit);
  if (outlines.empty()) return {};
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  mask.setTo(0);
  cv::drawContours(mask, outlines, static_cast<int>(largest), cv::Scalar(255), cv::FILLED,
                   cv::LINE_8, cv::noArray(), INT_MAX, at);
  return cv::boundingRect(outlines[largest]) + at;
}

cv::Mat ShrunkenTo(const cv::Mat& picture, cv::Point origin, cv::Size small, int shrink) {
  cv::Mat shrunken;
  cv::resize(picture(cv::Rect(origin, small * shrink)), shrunken, small, 0, 0, cv::INTER_AREA);
  return shrunken;
}

InnerArea PlainInner(const cv::Mat& mask, const cv::Rect& box, cv::Size2d cell) {
  const int shrink = std::min({checkerboard::ShrinkFor(cell, 6), mask.cols, mask.rows});
  const cv::Size window(static_cast<int>(cell.width) + shrink,
                        static_cast<int>(cell.height) + shrink);
  cv::Rect part = GrownInside(box, window, mask.size());
  part.width -= part.width % shrink;
  part.height -= part.height % shrink;
  InnerArea inner{ShrunkenTo(mask, part.tl(), part.size() / shrink, shrink), shrink, part.tl()};
  cv::threshold(inner.small, inner.small, 254, 255, cv::THRESH_BINARY);
  const auto side = [&](double length) { return 2 * static_cast<int>(0.2 * length / shrink) + 1; };
  cv::erode(inner.small, inner.small,
            cv::getStructuringElement(cv::MORPH_RECT, {side(cell.width), side(cell.height)}));
  return inner;
}

LevelMap PlainLevel(const cv::Mat& picture, const InnerArea& inner, cv::Size2d cell) {
  const int shrink = inner.shrink;
  cv::Mat inside;
  ShrunkenTo(picture, inner.origin, inner.small.size(), shrink).copyTo(inside, inner.small);
  inside.convertTo(inside, CV_32F);
  cv::Mat weight;
  inner.small.convertTo(weight, CV_32F, 1.0 / 255);
  const auto side = [&](double length) { return static_cast<int>(length / shrink) | 1; };
  const cv::Size window(side(cell.width), side(cell.height));
  cv::boxFilter(inside, inside, -1, window, {-1, -1}, true, cv::BORDER_CONSTANT);
  cv::boxFilter(weight, weight, -1, window, {-1, -1}, true, cv::BORDER_CONSTANT);
  LevelMap level{{}, shrink, inner.origin};
  cv::divide(inside, weight, level.small);
  level.small.setTo(0, weight < 0.02);
  return level;
}

/// What is brighter than a share of the level around, between a core that is lit for sure and a
/// whole outside of which nothing is; closed and opened.
class AboveShare {
 public:
  AboveShare(const cv::Mat& measured, const LevelMap& level, double share, cv::Mat& lit)
      : measured_(measured), level_(level), share_(share), lit_(lit) {}

  void FillIn(const cv::Rect& whole, const cv::Rect& core, int kernel) {
    if (core.empty()) {
      Compare(whole);
      cv::Mat all = lit_(whole);
      image::CloseThenOpen(all, kernel);
      return;
    }
    lit_(core).setTo(255);
    const cv::Point end = whole.br();
    const cv::Point coreEnd = core.br();
    const std::array<cv::Rect, 4> strips{
        cv::Rect(whole.x, whole.y, whole.width, core.y - whole.y),
        cv::Rect(whole.x, coreEnd.y, whole.width, end.y - coreEnd.y),
        cv::Rect(whole.x, core.y, core.x - whole.x, core.height),
        cv::Rect(coreEnd.x, core.y, end.x - coreEnd.x, core.height)};
    for (const cv::Rect& strip : strips) Compare(strip);
    std::array<cv::Mat, 4> clean;
    for (std::size_t i = 0; i < 4; ++i) clean[i] = Cleaned(strips[i], whole, kernel);
    for (std::size_t i = 0; i < 4; ++i) {
      if (!strips[i].empty()) clean[i].copyTo(lit_(strips[i]));
    }
  }

 private:
  void Compare(const cv::Rect& part) {
    if (part.empty()) return;
    const cv::Mat level = level_.In(part);
    cv::Mat threshold;
    level.convertTo(threshold, measured_.type(), share_);
    cv::Mat lit = lit_(part);
    cv::compare(measured_(part), threshold, lit, cv::CMP_GT);
    lit.setTo(0, level <= 0);
  }

  cv::Mat Cleaned(const cv::Rect& strip, const cv::Rect& whole, int kernel) const {
    if (strip.empty()) return {};
    const cv::Size reach = CleaningReach(kernel);
    const cv::Rect around =
        cv::Rect(strip.tl() - cv::Point(reach), strip.br() + cv::Point(reach)) & whole;
    cv::Mat part = lit_(around).clone();
    image::CloseThenOpen(part, kernel);
    return part(strip - around.tl());
  }

  const cv::Mat& measured_;
  const LevelMap& level_;
  double share_;
  cv::Mat& lit_;
};

}  // namespace

PlainPictures WarpForDetection(const cv::Mat& board, const cv::Mat& measured,
                               const RectifyParams& params) {
  const bool wide = board.type() == CV_16UC1 && measured.type() == CV_16UC1;
  return {WarpedAndSmoothed(board, params, wide), WarpedAndSmoothed(measured, params, wide)};
}

cv::Mat EightBits(const cv::Mat& picture) { return image::ToImage(picture, 0, 1); }

cv::Mat LitParts(const cv::Mat& picture, const RectifyParams& params, cv::Mat& lit) {
  lit = EightBits(picture);
  image::BinarizeByOtsu(lit, lit);
  const cv::Rect area = ExpectedArea(params);
  cv::Mat around = lit(GrownInside(area, CleaningReach(params.kernel), lit.size()));
  image::CloseThenOpen(around, params.kernel);
  return lit(area);
}

PlainArea LedArea(const cv::Mat& measured, const RectifyParams& params) {
  PlainArea area{cv::Mat::zeros(measured.size(), CV_8UC1), {}, {}};
  const cv::Rect expected = ExpectedArea(params);
  cv::Mat lit;  // is looked at again beyond the surroundings of the first search's area
  const cv::Rect first =
      FillLargest(reference::LitParts(measured, params, lit), expected.tl(), area.mask);
  if (first.empty()) return {};
  const InnerArea inner = PlainInner(area.mask, first, params.cell);
  const LevelMap level = PlainLevel(measured, inner, params.cell);
  const kernels::BitPicture firstMask = kernels::BitsOf(area.mask);
  const checkerboard::OutlineInput outline{measured, firstMask, first, level, params.cell};
  const double rise = MeasuredRise(outline);
  const double share = MeasuredOutline(outline, rise).share;

  const cv::Size window(static_cast<int>(params.cell.width), static_cast<int>(params.cell.height));
  const cv::Rect whole = GrownInside(first, window, measured.size()) &
                         GrownInside(expected, CleaningReach(params.kernel), measured.size());
  AboveShare(measured, level, share, lit)
      .FillIn(whole, RectangleInside(inner) & whole, params.kernel);
  const cv::Rect seen = whole & expected;
  area.box = FillLargest(lit(seen), seen.tl(), area.mask);
  if (area.box.empty()) {
    area.box = first;
    return area;
  }
  area.excess = checkerboard::MeasuredOutline(
                    {measured, kernels::BitsOf(area.mask), area.box, level, params.cell}, rise)
                    .excess;
  return area;
}

}  // namespace dravix::reference

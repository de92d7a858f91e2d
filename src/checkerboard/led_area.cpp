// The input is the working image of the screen with all LEDs lit. A first search takes the largest
// outline above one threshold (Otsu's). Vignetting and gradients shift such an outline, so in a
// second step the outline is cut where the light falls to a share of the level inside around there;
// the profile across the first outline says which share. The output is the mask of the area,
// filled, its bounding rectangle and how far its outline still lies too far out. Only the
// surroundings of the first outline are looked at again: a part of the screen that is more than a
// block away from it is not found, and neither is one outside the expected rectangle.
#include "checkerboard/led_area.h"

#include <array>
#include <climits>
#include <opencv2/imgproc.hpp>

#include "checkerboard/local_level.h"
#include "checkerboard/outline_profile.h"
#include "image/binary.h"
#include "image/lit_area.h"
#include "image/picture.h"

namespace dravix::checkerboard {
namespace {

/// Fills the largest outline of `lit` into `mask`, in which `lit` stands at `at`. Its bounding
/// rectangle; when there is no outline, this is empty and the mask stays as it was.
cv::Rect FillLargest(const cv::Mat& lit, cv::Point at, cv::Mat& mask) {
  const image::Contours outlines = image::OuterContours(lit);
  if (outlines.empty()) return {};
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  mask.setTo(0);
  cv::drawContours(mask, outlines, static_cast<int>(largest), cv::Scalar(255), cv::FILLED,
                   cv::LINE_8, cv::noArray(), INT_MAX, at);
  return cv::boundingRect(outlines[largest]) + at;
}

/// `whole` without `core`, as the strips above, below, left and right of it.
std::array<cv::Rect, 4> Around(const cv::Rect& whole, const cv::Rect& core) {
  const cv::Point end = whole.br();
  const cv::Point coreEnd = core.br();
  return {cv::Rect(whole.x, whole.y, whole.width, core.y - whole.y),
          cv::Rect(whole.x, coreEnd.y, whole.width, end.y - coreEnd.y),
          cv::Rect(whole.x, core.y, core.x - whole.x, core.height),
          cv::Rect(coreEnd.x, core.y, end.x - coreEnd.x, core.height)};
}

/// Finds what is brighter than a share of the level around, closes its gaps and removes specks.
class AboveShare {
 public:
  /// The result is written into `lit`.
  AboveShare(const cv::Mat& measured, const LevelMap& level, double share, cv::Mat& lit)
      : measured_(measured), level_(level), share_(share), lit_(lit) {}

  /// Looks only between `core`, which is lit for sure, and `whole`, outside of which nothing is.
  void FillIn(const cv::Rect& whole, const cv::Rect& core, int kernel) {
    if (core.empty()) {
      Compare(whole);
      cv::Mat all = lit_(whole);
      image::CloseThenOpen(all, kernel);
      return;
    }
    lit_(core).setTo(255);
    const std::array<cv::Rect, 4> strips = Around(whole, core);
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

  /// A strip as it would be had the whole picture been cleaned.
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

/// The area of a first search, whose bounding rectangle is `first`, with its outline moved to where
/// the light falls to a share of the level around there.
Area AtLocalLevel(const cv::Mat& measured, const cv::Rect& first, const RectifyParams& params,
                  cv::Mat& mask, cv::Mat& scratch) {
  const InnerArea inner = InnerOf(mask, first, params.cell);
  const LevelMap level = LocalLevel(measured, inner, params.cell);
  const OutlineInput outline{measured, mask, first, level, params.cell};
  const double rise = MeasuredRise(outline);
  const double share = MeasuredOutline(outline, rise).share;

  const cv::Size window(static_cast<int>(params.cell.width), static_cast<int>(params.cell.height));
  const cv::Rect expected = ExpectedArea(params);
  const cv::Rect whole = GrownInside(first, window, mask.size()) &
                         GrownInside(expected, CleaningReach(params.kernel), mask.size());
  scratch.create(mask.size(), CV_8UC1);
  AboveShare(measured, level, share, scratch)
      .FillIn(whole, RectangleInside(inner) & whole, params.kernel);
  const cv::Rect seen = whole & expected;
  const cv::Rect box = FillLargest(scratch(seen), seen.tl(), mask);
  if (box.empty()) return {first, {}};
  // The excess that is left comes from the closing, which bridges the gaps between the outermost
  // LEDs.
  return {box, MeasuredOutline({measured, mask, box, level, params.cell}, rise).excess};
}

}  // namespace

Area LedArea(const cv::Mat& measured, const RectifyParams& params, cv::Mat& mask,
             cv::Mat& scratch) {
  cv::normalize(measured, scratch, 255, 0, cv::NORM_INF, CV_8U);
  const cv::Rect first = FillLargest(LitParts(scratch, params), ExpectedArea(params).tl(), mask);
  if (first.empty()) return {};
  return AtLocalLevel(measured, first, params, mask, scratch);
}

}  // namespace dravix::checkerboard

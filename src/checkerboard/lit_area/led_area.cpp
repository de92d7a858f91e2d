// The input is the working image of the screen with all LEDs lit. A first search takes the largest
// outline above one threshold (Otsu's). Vignetting and gradients shift such an outline, so in a
// second step the outline is cut where the light falls to a share of the level inside around there;
// the profile across the first outline says which share. The output is the mask of the area,
// filled, its bounding rectangle and how far its outline still lies too far out. Only the
// surroundings of the first outline are looked at again: a part of the screen that is more than a
// block away from it is not found, and neither is one outside the expected rectangle.
#include "checkerboard/lit_area/led_area.h"

#include <array>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "checkerboard/lit_area/local_level.h"
#include "checkerboard/lit_area/outline_profile.h"
#include "image/binary.h"
#include "image/large_mat.h"
#include "image/lit_area.h"
#include "image/picture.h"
#include "kernels/bits/areas.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

using kernels::BitPicture;

/// A white area of a black-and-white picture, with its holes filled.
struct Filled {
  BitPicture mask;
  cv::Rect box;
};

/// The largest area of `lit`, or nothing where all is black.
std::optional<Filled> Largest(BitPicture lit) {
  const kernels::Topology topology = kernels::TopologyOf(lit);
  if (topology.areas == 0) return std::nullopt;
  if (topology.areas == 1 && topology.holes == 0) {
    const cv::Rect box = kernels::BoundsOf(lit);
    return Filled{std::move(lit), box};
  }
  // Several areas or holes: the outlines decide.
  const image::Contours outlines = image::OuterContours(lit.ToMat());
  const std::size_t largest = image::LargestByMinAreaRect(outlines);
  return Filled{kernels::BitsOf(image::Filled(outlines, largest, lit.Size())),
                cv::boundingRect(outlines[largest])};
}

/// The same area in the working image of that size, in which it stands at `at`.
Filled InWorkingImage(const Filled& area, cv::Point at, cv::Size size) {
  BitPicture mask(size);
  kernels::Paste(area.mask, at, mask);
  return {std::move(mask), area.box + at};
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
  AboveShare(const cv::Mat& measured, const LevelMap& level, double share)
      : measured_(measured), level_(level), share_(share) {}

  /// What is found in `whole`, of its size. `core` is lit for sure and not looked at.
  [[nodiscard]] BitPicture In(const cv::Rect& whole, const cv::Rect& core, int kernel) const {
    BitPicture lit(whole.size());
    kernels::Fill(core - whole.tl(), lit);
    for (const cv::Rect& strip : Around(whole, core)) {
      if (strip.empty()) continue;
      kernels::Paste(kernels::BitsOf(Compared(strip)), strip.tl() - whole.tl(), lit);
    }
    kernels::CloseThenOpen(lit, kernel);
    kernels::Fill(core - whole.tl(), lit);  // a core as thin as a speck stays, too
    return lit;
  }
  /// The same where nothing is known to be lit. `before` holds what an earlier search left of the
  /// working image; the cleaning looks at it beyond `whole`.
  [[nodiscard]] BitPicture In(const cv::Rect& whole, const cv::Mat& before, int kernel) const {
    cv::Mat lit = before(whole);
    Compared(whole).copyTo(lit);
    image::CloseThenOpen(lit, kernel);
    return kernels::BitsOf(lit);
  }

 private:
  [[nodiscard]] cv::Mat Compared(const cv::Rect& part) const {
    const cv::Mat level = level_.In(part);
    // Such memory goes back to the system at once, which the pictures to come need.
    cv::Mat threshold = image::LargeZeros(part.size(), measured_.type());
    level.convertTo(threshold, measured_.type(), share_);
    cv::Mat lit = image::LargeZeros(part.size(), CV_8UC1);
    cv::compare(measured_(part), threshold, lit, cv::CMP_GT);
    cv::Mat unknown = image::LargeZeros(part.size(), CV_8UC1);
    cv::compare(level, 0, unknown, cv::CMP_LE);
    lit.setTo(0, unknown);
    return lit;
  }

  const cv::Mat& measured_;
  const LevelMap& level_;
  double share_;
};

/// The whole working image after the first search: binarized, and cleaned around the expected area.
cv::Mat FirstSearch(const cv::Mat& measured, const RectifyParams& params) {
  cv::Mat lit = EightBits(measured);
  image::BinarizeByOtsu(lit, lit);
  cv::Mat around = lit(GrownInside(ExpectedArea(params), CleaningReach(params.kernel), lit.size()));
  image::CloseThenOpen(around, params.kernel);
  return lit;
}

/// The area of a first search with its outline moved to where the light falls to a share of the
/// level around there.
Area AtLocalLevel(const cv::Mat& measured, Filled first, const RectifyParams& params) {
  const InnerArea inner = InnerOf(first.mask, first.box, params.cell);
  const LevelMap level = LocalLevel(measured, inner, params.cell);
  const OutlineInput outline{measured, first.mask, first.box, level, params.cell};
  const double rise = MeasuredRise(outline);
  const AboveShare aboveShare(measured, level, MeasuredOutline(outline, rise).share);

  const cv::Size window(static_cast<int>(params.cell.width), static_cast<int>(params.cell.height));
  const cv::Rect expected = ExpectedArea(params);
  const cv::Rect whole = GrownInside(first.box, window, measured.size()) &
                         GrownInside(expected, CleaningReach(params.kernel), measured.size());
  const cv::Rect core = RectangleInside(inner) & whole;
  const BitPicture lit = core.empty()
                             ? aboveShare.In(whole, FirstSearch(measured, params), params.kernel)
                             : aboveShare.In(whole, core, params.kernel);
  const cv::Rect seen = whole & expected;
  const std::optional<Filled> found = Largest(kernels::Cut(lit, seen - whole.tl()));
  if (!found) return {std::move(first.mask), first.box, {}};
  Filled second = InWorkingImage(*found, seen.tl(), measured.size());
  // The excess that is left comes from the closing, which bridges the gaps between the outermost
  // LEDs.
  const OutlineInput moved{measured, second.mask, second.box, level, params.cell};
  const Sides excess = MeasuredOutline(moved, rise).excess;
  return {std::move(second.mask), second.box, excess};
}

}  // namespace

std::optional<Area> LedArea(const WorkingPicture& measured, const RectifyParams& params) {
  const std::optional<Filled> first = Largest(LitParts(measured, params));
  if (!first) return std::nullopt;
  const cv::Mat picture = measured.samples.Whole();
  return AtLocalLevel(picture, InWorkingImage(*first, ExpectedArea(params).tl(), picture.size()),
                      params);
}

}  // namespace dravix::checkerboard

// The input is a black-and-white picture of the checkerboard and the mask of the lit area. Blocks
// of one color touch at their corners and would form a single outline, so the lit blocks, and
// separately the dark ones, are eroded until they fall apart. The outer outline of each remainder
// gives a bounding rectangle, which is grown by what erosion took. The output is these rectangles
// in no order, and those that were refused, with the reason. It looks at every outline alone:
// whether the rectangles form a grid is not its question, and blocks narrower than twice the square
// are lost.
#include "checkerboard/cell_search.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "image/lit_area.h"
#include "kernels/bits/areas.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

using kernels::BitPicture;

/// Share of its bounding rectangle that an outline must fill. Blocks that hang together at a corner
/// fill about half of theirs; a block by itself fills nearly all of it.
constexpr double kFill = 0.6;
/// How far blocks are dilated between two searches, in pixels on each side. Dilating all the way
/// back would join diagonal neighbors again.
constexpr int kDilation = 1;

cv::Rect Grown(const cv::Rect& r, int by) {
  return {r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by};
}

/// The bounding rectangles of the outer outlines, in the order of cv::findContours.
std::vector<cv::Rect> OutlineBoxes(const BitPicture& apart) {
  if (auto boxes = kernels::BoxesWithoutHoles(apart)) return std::move(*boxes);
  std::vector<cv::Rect> boxes;
  for (const image::Contour& outline : image::OuterContours(apart.ToMat())) {
    boxes.push_back(cv::boundingRect(outline));
  }
  return boxes;
}

/// Rectangles of the outlines of `apart`, whose blocks are smaller by `taken` pixels on every side.
/// The upper limit is for what is seen, the lower one for what it stands for, since a narrow last
/// block may lose most of itself to erosion.
void Collect(const BitPicture& apart, int taken, const SearchParams& params,
             std::vector<cv::Rect>& blocks, FoundBlocks& found) {
  for (const cv::Rect& seen : OutlineBoxes(apart)) {
    const cv::Rect whole = Grown(seen, taken);
    if (static_cast<double>(whole.area()) < params.minArea) {
      found.rejected.push_back({whole, "too small"});
    } else if (static_cast<double>(seen.area()) > params.maxArea) {
      found.rejected.push_back({whole, "too large"});
    } else if (kernels::WhitePixels(apart, seen) < kFill * static_cast<double>(seen.area())) {
      found.rejected.push_back({whole, "no rectangle"});
    } else {
      blocks.push_back(whole);
    }
  }
}

// Two erosions in a row, with squares of n and n pixels, remove the same pixels as one with a
// square of 2 n - 1 pixels, which takes one pass less. A square of n pixels reaches n / 2 to each
// side.

/// The lit blocks without their outermost pixels: closed and eroded, cut off at the mask, eroded
/// again.
BitPicture LitApart(BitPicture blocks, const BitPicture& mask, int kernel) {
  BitPicture scratch(blocks.Size());
  blocks.Dilate(kernel / 2, scratch);
  kernels::Erode(kernel - 1, blocks, scratch);  // ends the closing and erodes
  kernels::Intersect(blocks, mask);
  kernels::Erode(kernel / 2, blocks, scratch);
  return blocks;
}

/// The dark blocks without their outermost pixels: closed, opened and eroded inside the mask.
BitPicture DarkApart(const BitPicture& lit, const BitPicture& mask, int kernel) {
  BitPicture blocks = kernels::Without(mask, lit);
  BitPicture scratch(blocks.Size());
  blocks.Dilate(kernel / 2, scratch);
  kernels::Erode(kernel - 1, blocks, scratch);  // ends the closing and begins the opening
  blocks.Dilate(kernel / 2, scratch);
  // One erosion, but as far as the two that the lit blocks get, so that the edges of both colors
  // lie alike.
  kernels::Erode(kernel - 1, blocks, scratch);
  return blocks;
}

}  // namespace

CellSearch::CellSearch(const BitPicture& lit, const BitPicture& mask, const SearchParams& params)
    : params_(params),
      lit_(LitApart(lit, mask, params.kernel)),
      dark_(DarkApart(lit, mask, params.kernel)),
      taken_(params.kernel - 1) {}

FoundBlocks CellSearch::Next() {
  if (begun_) {
    BitPicture scratch(lit_.Size());
    lit_.Dilate(kDilation, scratch);
    dark_.Dilate(kDilation, scratch);
    taken_ = std::max(0, taken_ - kDilation);
  }
  begun_ = true;
  FoundBlocks found;
  Collect(lit_, taken_, params_, found.lit, found);
  Collect(dark_, taken_, params_, found.dark, found);
  return found;
}

}  // namespace dravix::checkerboard

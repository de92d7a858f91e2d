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

#include "image/lit_area.h"

namespace dravix::checkerboard {
namespace {

/// Share of its bounding rectangle that an outline must fill. Blocks that hang together at a corner
/// fill about half of theirs; a block by itself fills nearly all of it.
constexpr double kFill = 0.6;
/// Side of the square that dilates between two searches, in pixels: one pixel on each side.
/// Dilating all the way back would join diagonal neighbors again.
constexpr int kDilation = 3;

cv::Mat Square(int side) { return cv::getStructuringElement(cv::MORPH_RECT, {side, side}); }

cv::Rect Grown(const cv::Rect& r, int by) {
  return {r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by};
}

/// Rectangles of the outlines of `apart`, whose blocks are smaller by `taken` pixels on every side.
/// The upper limit is for what is seen, the lower one for what it stands for, since a narrow last
/// block may lose most of itself to erosion.
void Collect(const cv::Mat& apart, int taken, const SearchParams& params,
             std::vector<cv::Rect>& blocks, FoundBlocks& found) {
  for (const image::Contour& outline : image::OuterContours(apart)) {
    const cv::Rect seen = cv::boundingRect(outline);
    const cv::Rect whole = Grown(seen, taken);
    if (static_cast<double>(whole.area()) < params.minArea) {
      found.rejected.push_back({whole, "too small"});
    } else if (static_cast<double>(seen.area()) > params.maxArea) {
      found.rejected.push_back({whole, "too large"});
    } else if (cv::countNonZero(apart(seen)) < kFill * static_cast<double>(seen.area())) {
      found.rejected.push_back({whole, "no rectangle"});
    } else {
      blocks.push_back(whole);
    }
  }
}

// Two erosions in a row, with squares of n and n pixels, remove the same pixels as one with a
// square of 2 n - 1 pixels, which takes one pass less.

/// The lit blocks without their outermost pixels: closed and eroded, cut off at the mask, eroded
/// again.
cv::Mat LitApart(const cv::Mat& lit, const cv::Mat& mask, int kernel) {
  cv::Mat blocks;
  cv::dilate(lit, blocks, Square(kernel));
  cv::erode(blocks, blocks, Square(2 * kernel - 1));  // ends the closing and erodes
  blocks &= mask;
  cv::erode(blocks, blocks, Square(kernel));
  return blocks;
}

/// The dark blocks without their outermost pixels: closed, opened and eroded inside the mask.
cv::Mat DarkApart(const cv::Mat& lit, const cv::Mat& mask, int kernel) {
  cv::Mat blocks;
  cv::subtract(mask, lit, blocks);  // 255 - lit inside the mask
  cv::dilate(blocks, blocks, Square(kernel));
  cv::erode(blocks, blocks, Square(2 * kernel - 1));  // ends the closing and begins the opening
  cv::dilate(blocks, blocks, Square(kernel));
  // One erosion, but as far as the two that the lit blocks get, so that the edges of both colors
  // lie alike.
  cv::erode(blocks, blocks, Square(2 * kernel - 1));
  return blocks;
}

}  // namespace

CellSearch::CellSearch(const cv::Mat& lit, const cv::Mat& mask, const SearchParams& params)
    : params_(params),
      lit_(LitApart(lit, mask, params.kernel)),
      dark_(DarkApart(lit, mask, params.kernel)),
      taken_(params.kernel - 1) {}

FoundBlocks CellSearch::Next() {
  if (begun_) {
    const cv::Mat back = Square(kDilation);
    cv::dilate(lit_, lit_, back);
    cv::dilate(dark_, dark_, back);
    taken_ = std::max(0, taken_ - kDilation / 2);
  }
  begun_ = true;
  FoundBlocks found;
  Collect(lit_, taken_, params_, found.lit, found);
  Collect(dark_, taken_, params_, found.dark, found);
  return found;
}

}  // namespace dravix::checkerboard

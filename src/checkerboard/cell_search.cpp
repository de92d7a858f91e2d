#include "checkerboard/cell_search.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "image/lit_area.h"

namespace dravix::checkerboard {
namespace {

/// Of its rectangle, that a block must fill: blocks that hang together at their corners fill
/// about half.
constexpr double kFill = 0.6;
constexpr int kDilation = 3;  // side; all the way back would join diagonal neighbours again

cv::Mat Square(int side) { return cv::getStructuringElement(cv::MORPH_RECT, {side, side}); }

cv::Rect Grown(const cv::Rect& r, int by) {
  return {r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by};
}

/// Rectangles of the outlines of `apart`, which is `taken` pixels smaller than the blocks all
/// around. The upper limit holds for what was seen, the lower for what it stands for: a narrow last
/// block may lose most of itself to erosion.
void Collect(const cv::Mat& apart, int taken, const SearchParams& params,
             std::vector<cv::Rect>& cells, FoundBlocks& found) {
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
      cells.push_back(whole);
    }
  }
}

// Two erosions in a row are done as one with the larger square: the same pixels, one pass less.

cv::Mat LitApart(const cv::Mat& lit, const cv::Mat& mask, int kernel) {
  cv::Mat cells;
  cv::dilate(lit, cells, Square(kernel));
  cv::erode(cells, cells, Square(2 * kernel - 1));  // closed, then eroded
  cells &= mask;
  cv::erode(cells, cells, Square(kernel));
  return cells;
}

cv::Mat DarkApart(const cv::Mat& lit, const cv::Mat& mask, int kernel) {
  cv::Mat cells;
  cv::subtract(mask, lit, cells);  // 255 - lit inside the mask
  cv::dilate(cells, cells, Square(kernel));
  cv::erode(cells, cells, Square(2 * kernel - 1));  // closed; eroded to be opened
  cv::dilate(cells, cells, Square(kernel));
  // As much as the lit ones lose in two steps, so that edges of both colours are alike.
  cv::erode(cells, cells, Square(2 * kernel - 1));
  return cells;
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

#include "checkerboard/cell_search.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "shot/lit_area.h"

namespace dravix::checkerboard {
namespace {

constexpr int kSearches = 3;
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
             std::vector<cv::Rect>& cells, Found& found) {
  for (const shot::Contour& outline : shot::OuterContours(apart)) {
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

cv::Mat LitApart(const cv::Mat& lit, const cv::Mat& mask, const cv::Mat& square) {
  cv::Mat cells;
  cv::morphologyEx(lit, cells, cv::MORPH_CLOSE, square);
  cv::erode(cells, cells, square);
  cells &= mask;
  cv::erode(cells, cells, square);
  return cells;
}

cv::Mat DarkApart(const cv::Mat& lit, const cv::Mat& mask, const cv::Mat& square, int kernel) {
  cv::Mat cells = 255 - lit;
  cells &= mask;
  cv::morphologyEx(cells, cells, cv::MORPH_CLOSE, square);
  cv::morphologyEx(cells, cells, cv::MORPH_OPEN, square);
  // As much as the lit ones lose in two steps, so that edges of both colours are alike.
  cv::erode(cells, cells, Square(2 * kernel - 1));
  return cells;
}

}  // namespace

std::vector<Found> SearchCells(const cv::Mat& lit, const cv::Mat& mask,
                               const SearchParams& params) {
  const cv::Mat square = Square(params.kernel);
  const cv::Mat back = Square(kDilation);
  cv::Mat litCells = LitApart(lit, mask, square);
  cv::Mat darkCells = DarkApart(lit, mask, square, params.kernel);
  int taken = params.kernel - 1;
  std::vector<Found> searches(kSearches);
  for (Found& found : searches) {
    Collect(litCells, taken, params, found.lit, found);
    Collect(darkCells, taken, params, found.dark, found);
    cv::dilate(litCells, litCells, back);
    cv::dilate(darkCells, darkCells, back);
    taken = std::max(0, taken - kDilation / 2);
  }
  return searches;
}

}  // namespace dravix::checkerboard

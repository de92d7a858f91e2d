// How the blocks of the checkerboard are found; see checkerboard/checkerboard.cpp.
#include "reference/plain_detector.h"

#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <utility>

#include "checkerboard/block_edges.h"
#include "checkerboard/cell_placing.h"
#include "checkerboard/grid.h"
#include "checkerboard/grid_view.h"
#include "checkerboard/pictures/shrink.h"
#include "image/binary.h"
#include "image/lit_area.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::reference {
namespace {

using checkerboard::Binarization;
using checkerboard::FoundBlocks;
using checkerboard::RectifyParams;
using checkerboard::SearchParams;

cv::Mat Square(int side) { return cv::getStructuringElement(cv::MORPH_RECT, {side, side}); }

cv::Mat EveryFourthRow(const cv::Mat& picture) {
  return {(picture.rows + 3) / 4, picture.cols, picture.type(), picture.data, 4 * picture.step[0]};
}

cv::Mat AboveLocalMiddle(const cv::Mat& quotient, const RectifyParams& params) {
  const int shrink = checkerboard::ShrinkFor(params.cell, 8);
  const cv::Size small(std::max(1, quotient.cols / shrink), std::max(1, quotient.rows / shrink));
  cv::Mat low;
  cv::resize(quotient, low, small, 0, 0, cv::INTER_AREA);
  const auto side = [&](double length) { return static_cast<int>(1.3 * length / shrink) | 1; };
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

void Collect(const cv::Mat& apart, int taken, const SearchParams& params,
             std::vector<cv::Rect>& blocks, FoundBlocks& found) {
  for (const image::Contour& outline : image::OuterContours(apart)) {
    const cv::Rect seen = cv::boundingRect(outline);
    const cv::Rect whole(seen.x - taken, seen.y - taken, seen.width + 2 * taken,
                         seen.height + 2 * taken);
    if (static_cast<double>(whole.area()) < params.minArea) {
      found.rejected.push_back({whole, "too small"});
    } else if (static_cast<double>(seen.area()) > params.maxArea) {
      found.rejected.push_back({whole, "too large"});
    } else if (cv::countNonZero(apart(seen)) < 0.6 * static_cast<double>(seen.area())) {
      found.rejected.push_back({whole, "no rectangle"});
    } else {
      blocks.push_back(whole);
    }
  }
}

struct Attempt {
  std::vector<cv::Rect> rects;
  std::size_t litCount = 0;
  checkerboard::Placement placement;
  std::vector<CheckerboardDetector::Rejected> rejected;
};

std::optional<Attempt> Placed(const FoundBlocks& found, const CheckerboardDetector& d,
                              const RectifyParams& params) {
  Attempt attempt{found.lit, found.lit.size(), {}, found.rejected};
  attempt.rects.insert(attempt.rects.end(), found.dark.begin(), found.dark.end());
  auto placement =
      checkerboard::PlaceInGrid(attempt.rects, attempt.litCount, {d.gridColumns, d.gridRows},
                                params.cell, kernels::BitsOf(d.mask));
  if (!placement) return std::nullopt;
  attempt.placement = std::move(*placement);
  for (const std::size_t i : attempt.placement.wrongColor) {
    attempt.rejected.push_back({attempt.rects[i], "no place"});
  }
  for (const std::size_t i : attempt.placement.beaten) {
    attempt.rejected.push_back({attempt.rects[i], "twice"});
  }
  return attempt;
}

/// The sides of the squares that erode: the full one, and the smallest one where that is another.
std::vector<int> Kernels(const RectifyParams& params) {
  if (params.kernel > 3) return {params.kernel, 3};
  return {params.kernel};
}

/// Tries every way to binarize and both erosions. `part` holds the lit area and its surroundings.
std::optional<Attempt> Best(const CheckerboardDetector& d, const PlainPictures& pictures,
                            const RectifyParams& params, const cv::Rect& part,
                            FoundBlocks& firstFound) {
  const PlainPictures parts{pictures.board(part), pictures.measured(part)};
  const cv::Mat mask = d.mask(part);
  const cv::Mat quotient = reference::Quotient(parts, mask);
  std::optional<Attempt> best;
  bool seen = false;
  for (const Binarization way : checkerboard::kBinarizations) {
    const cv::Mat lit = reference::Binarized(way, parts, quotient, params);
    for (const int kernel : Kernels(params)) {
      for (FoundBlocks& found : Searches(lit, mask, {kernel, d.minCellArea, d.maxCellArea})) {
        for (cv::Rect& r : found.lit) r += part.tl();
        for (cv::Rect& r : found.dark) r += part.tl();
        for (CheckerboardDetector::Rejected& r : found.rejected) r.rect += part.tl();
        if (!seen) firstFound = found;
        seen = true;
        auto attempt = Placed(found, d, params);
        if (attempt && (!best || attempt->placement.missing < best->placement.missing)) {
          best = std::move(attempt);
        }
        if (best && best->placement.missing == 0) return best;
      }
    }
  }
  return best;
}

RectifyParams ParamsOf(const CheckerboardDetector& d) {
  const cv::Size2d cell(d.imageSize.width * d.areaScale / d.gridColumns,
                        d.imageSize.height * d.areaScale / d.gridRows);
  const int odd = 2 * static_cast<int>(0.15 * std::min(cell.width, cell.height) / 2) + 1;
  const int kernel = std::clamp(odd, 3, std::max(3, d.kernelSize | 1));
  return {d.transform, d.imageSize, d.areaScale, d.blurSigma, kernel, d.edgeLevelPercent, cell};
}

}  // namespace

cv::Mat Quotient(const PlainPictures& pictures, const cv::Mat& mask) {
  const cv::Mat some = EveryFourthRow(mask);
  const double board = cv::mean(EveryFourthRow(pictures.board), some)[0];
  const double measured = cv::mean(EveryFourthRow(pictures.measured), some)[0];
  const double scale = board > 0 ? 80 * measured / board : 0.0;
  cv::Mat quotient;
  cv::divide(pictures.board, pictures.measured, quotient, scale, CV_8U);
  quotient &= mask;
  return quotient;
}

cv::Mat Binarized(Binarization way, const PlainPictures& pictures, const cv::Mat& quotient,
                  const RectifyParams& params) {
  if (way == Binarization::kLocal) return AboveLocalMiddle(quotient, params);
  cv::Mat lit;
  image::BinarizeByOtsu(way == Binarization::kPlain ? EightBits(pictures.board) : quotient, lit);
  return lit;
}

std::vector<FoundBlocks> Searches(const cv::Mat& lit, const cv::Mat& mask,
                                  const SearchParams& params) {
  const cv::Mat one = Square(params.kernel);
  const cv::Mat two = Square(2 * params.kernel - 1);
  cv::Mat bright;
  cv::dilate(lit, bright, one);
  cv::erode(bright, bright, two);
  bright &= mask;
  cv::erode(bright, bright, one);
  cv::Mat dark;
  cv::subtract(mask, lit, dark);
  cv::dilate(dark, dark, one);
  cv::erode(dark, dark, two);
  cv::dilate(dark, dark, one);
  cv::erode(dark, dark, two);

  std::vector<FoundBlocks> searches(3);
  int taken = params.kernel - 1;
  for (FoundBlocks& found : searches) {
    Collect(bright, taken, params, found.lit, found);
    Collect(dark, taken, params, found.dark, found);
    cv::dilate(bright, bright, Square(3));
    cv::dilate(dark, dark, Square(3));
    taken = std::max(0, taken - 1);
  }
  return searches;
}

std::int32_t Detect(CheckerboardDetector& d) {
  d.contourRectangles.clear();
  d.rejected.clear();
  d.inferredFrom = 0;
  std::fill(d.cellIndex.begin(), d.cellIndex.end(), -1);
  const cv::Size grid(d.gridColumns, d.gridRows);
  const RectifyParams params = ParamsOf(d);
  const PlainPictures pictures =
      reference::WarpForDetection(d.checkerboardShot->image, d.shot->image, params);
  d.rectified = reference::EightBits(pictures.board);
  cv::Mat lit;
  if (cv::countNonZero(reference::LitParts(d.rectified, params, lit)) == 0) {
    return DRAVIX_NO_LED_AREA;
  }
  const PlainArea area = reference::LedArea(pictures.measured, params);
  if (area.box.empty()) return DRAVIX_NO_LED_AREA;
  d.mask = area.mask;
  d.outlineExcess = area.excess;

  FoundBlocks firstFound;
  auto best = Best(
      d, pictures, params,
      checkerboard::GrownInside(area.box, checkerboard::CleaningReach(params.kernel), d.imageSize),
      firstFound);
  if (!best) {
    d.contourRectangles = firstFound.lit;
    d.contourRectangles.insert(d.contourRectangles.end(), firstFound.dark.begin(),
                               firstFound.dark.end());
    d.rejected = firstFound.rejected;
    return DRAVIX_NO_GRID;
  }
  d.contourRectangles = best->rects;
  d.rejected = best->rejected;
  d.inferredFrom = best->rects.size();
  std::vector<std::int32_t>& index = best->placement.index;
  checkerboard::InferMissing(grid, d.contourRectangles, index);
  checkerboard::PlaceEdges({pictures.board, pictures.measured}, grid, index, d.contourRectangles);
  std::copy(index.begin(), index.end(), d.cellIndex.begin());

  const cv::Size reach(std::max(3, static_cast<int>(0.2 * params.cell.width)),
                       std::max(3, static_cast<int>(0.2 * params.cell.height)));
  d.cells = checkerboard::PlacedCells({grid, d.contourRectangles, d.cellIndex}, reach, d.mask,
                                      d.outlineExcess);
  for (int row = 0; row < grid.height; ++row) {
    for (int column = 0; column < grid.width; ++column) {
      if (!checkerboard::IsBorder(grid, column, row)) continue;
      checkerboard::FillEmptyColumns(d.cells[checkerboard::GridIndex(column, row, grid.width)],
                                     d.mask);
    }
  }
  return DRAVIX_OK;
}

}  // namespace dravix::reference

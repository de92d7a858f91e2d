// The input is a rectangle for every block, each found on its own and therefore a little too large
// or too small, and the mask of the lit area. Neighbors share their edges, so an inner bound is the
// mean of four edges whose errors cancel. The outer bounds have no neighbor: they come from the
// mask's outline beside each block, and a robust line through the bounds of one side corrects those
// that a dead LED shifted. The output is one cell for each block, in whole pixels. Blocks without a
// rectangle must be inferred before, and an outline that is wrong along a whole side is not
// noticed.
#include "checkerboard/cell_placing.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <utility>

#include "checkerboard/geometry/robust_line.h"
#include "checkerboard/geometry/statistics.h"

namespace dravix::checkerboard {
namespace {

constexpr double kOneOfFour = 0.25;
/// How many reaches the outline is followed past either end of a border block. The narrowest last
/// block holds so few LEDs that a dead one would decide its bound alone; farther off, the bend of
/// the lens shifts the outline.
constexpr int kReachesBeside = 2;

/// The edge between the blocks at along - 1 and along, as the mean of where the later one begins
/// and the earlier one ends, in this line of the grid and in its two neighbors.
///
///     before   . . . | B . .
///     across   . . C | A . .
///     after    . . D | . . .
///
/// A and C are this row's pair. A threshold that is too low makes lit blocks larger and dark ones
/// smaller, so A and C err the same way; in a neighboring row the colors are swapped, so that a
/// pair from there errs the other way. B comes from the row before and D from the row after, so
/// that an edge that runs aslant through the rows, as the lens draws it, is met at this row's
/// middle. An outer row has one neighbor, which then gives both.
double EdgeBetween(const GridAlong& grid, int along, int across) {
  const int last = grid.BlocksAcross() - 1;
  const int before = across > 0 ? across - 1 : std::min(1, last);
  const int after = across < last ? across + 1 : std::max(0, last - 1);
  const int sum = grid.SpanAt(along, across).begin + grid.SpanAt(along - 1, across).end +
                  grid.SpanAt(along, before).begin + grid.SpanAt(along - 1, after).end;
  return sum * kOneOfFour;
}

Span EstimatedSpan(const GridAlong& grid, int along, int across) {
  const Span own = grid.SpanAt(along, across);
  const double begin = along > 0 ? EdgeBetween(grid, along, across) : own.begin;
  const double end =
      along + 1 < grid.BlocksAlong() ? EdgeBetween(grid, along + 1, across) : own.end;
  return {static_cast<int>(std::min(begin, end)), static_cast<int>(std::max(begin, end))};
}

/// For each row that holds mask pixels, the first one's place, or one past the last one's.
std::vector<double> EdgesOfRows(const cv::Mat& mask, End end) {
  std::vector<double> edges;
  for (int y = 0; y < mask.rows; ++y) {
    const uchar* row = mask.ptr(y);
    int first = 0;
    int past = mask.cols;
    while (past > 0 && row[past - 1] == 0) --past;
    while (first < past && row[first] == 0) ++first;
    if (past > 0) edges.push_back(end == End::kFirst ? first : past);
  }
  return edges;
}

/// One side of the grid: the left and the right lie on the x axis, the top and the bottom on the y
/// axis.
struct OuterSide {
  Axis axis;
  End end;
  double excess;  ///< pixels that the mask's outline lies too far out
};

/// Where to look for a block's outer bound: in its half on that side and `reach` beyond it, and
/// some way past both of its ends.
cv::Rect WindowFor(const cv::Rect& block, cv::Size reach, const OuterSide& side) {
  const Span along = SpanOf(block, side.axis);
  const Span across = SpanOf(block, Other(side.axis));
  const int half = along.Length() / 2;
  const int beyond = Along(reach, side.axis);
  const int beside = kReachesBeside * Along(reach, Other(side.axis));
  const int begin = side.end == End::kFirst ? along.begin - beyond : along.begin + half;
  return RectOf(side.axis, {begin, begin + beyond + half},
                {across.begin - beside, across.end + beside});
}

/// Where the mask begins or ends inside `window`; empty where it does not reach into it. This is
/// the middle mean of the outline's places: the outline of a screen that is only a little defocused
/// goes in and out with every LED, by up to 3 pixels, and the outermost pixel would be that of one
/// LED.
std::optional<double> MaskBound(const cv::Mat& mask, const cv::Rect& window,
                                const OuterSide& side) {
  const cv::Rect inside = window & cv::Rect({}, mask.size());
  if (inside.empty()) return std::nullopt;
  cv::Mat part = mask(inside);
  if (side.axis == Axis::kY) part = part.t();
  std::vector<double> edges = EdgesOfRows(part, side.end);
  if (edges.empty()) return std::nullopt;
  return SpanOf(inside, side.axis).begin + MiddleMean(std::move(edges));
}

void SetBound(int bound, const OuterSide& side, cv::Rect& cell) {
  Span span = SpanOf(cell, side.axis);
  (side.end == End::kFirst ? span.begin : span.end) = bound;
  SetSpan(cell, side.axis, {std::min(span.begin, span.end), std::max(span.begin, span.end)});
}

/// Moves the outer bounds of the blocks at one side to the mask's outline.
void PlaceSide(const OuterSide& side, cv::Size grid, cv::Size reach, const cv::Mat& mask,
               std::vector<cv::Rect>& cells) {
  const std::vector<std::size_t> blocks = OuterBlocks(grid, side.axis, side.end);
  std::vector<LinePoint> points;
  points.reserve(blocks.size());
  for (const std::size_t block : blocks) {
    points.push_back({SpanOf(cells[block], Other(side.axis)),
                      MaskBound(mask, WindowFor(cells[block], reach, side), side)});
  }
  const double inward = side.end == End::kFirst ? side.excess : -side.excess;
  const std::vector<double> bounds = WithoutOutliers(points);
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    // Truncated, because the inner bounds are.
    SetBound(static_cast<int>(bounds[i] + inward), side, cells[blocks[i]]);
  }
}

}  // namespace

cv::Rect EstimatedCell(const Grid& grid, int column, int row) {
  return RectOf(Axis::kX, EstimatedSpan(GridAlong(grid, Axis::kX), column, row),
                EstimatedSpan(GridAlong(grid, Axis::kY), row, column));
}

std::vector<cv::Rect> PlacedCells(const Grid& grid, cv::Size reach, const cv::Mat& mask,
                                  const Sides& excess) {
  std::vector<cv::Rect> cells;
  for (int row = 0; row < grid.size.height; ++row) {
    for (int column = 0; column < grid.size.width; ++column) {
      cells.push_back(EstimatedCell(grid, column, row));
    }
  }
  for (const OuterSide& side :
       {OuterSide{Axis::kX, End::kFirst, excess.left},
        OuterSide{Axis::kX, End::kLast, excess.right}, OuterSide{Axis::kY, End::kFirst, excess.top},
        OuterSide{Axis::kY, End::kLast, excess.bottom}}) {
    PlaceSide(side, grid.size, reach, mask, cells);
  }
  return cells;
}

void FillEmptyColumns(const cv::Rect& cell, cv::Mat& mask) {
  if (cell.empty() || (cell & cv::Rect(0, 0, mask.cols, mask.rows)) != cell) return;
  const cv::Mat inside = mask(cell);
  cv::Mat most;
  cv::reduce(inside, most, 0, cv::REDUCE_MAX);
  std::vector<int> filled;
  for (int x = 0; x < cell.width; ++x) {
    if (most.at<uchar>(0, x) != 0) filled.push_back(x);
  }
  if (filled.empty()) return;
  std::size_t nearest = 0;
  for (int x = 0; x < cell.width; ++x) {
    while (nearest + 1 < filled.size() &&
           std::abs(filled[nearest + 1] - x) < std::abs(filled[nearest] - x)) {
      ++nearest;
    }
    if (filled[nearest] != x) inside.col(filled[nearest]).copyTo(inside.col(x));
  }
}

}  // namespace dravix::checkerboard

#include "checkerboard/cell_placing.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <numeric>
#include <optional>

#include "checkerboard/robust_line.h"

namespace dravix::checkerboard {
namespace {

constexpr double kOneOfFour = 0.25;
constexpr double kHalf = 0.5;
constexpr int kLinesBeyond = 2;  // reaches to either side of a border block

/// Along one axis: where a rectangle begins and ends.
struct Span {
  int begin, end;
};

/// Reads a grid along x or, turned, along y, so that one rule serves left and right, top and
/// bottom.
class Axis {
 public:
  Axis(const Grid& grid, bool turned) : grid_(grid), turned_(turned) {}

  int Length() const { return turned_ ? grid_.size.height : grid_.size.width; }
  int Width() const { return turned_ ? grid_.size.width : grid_.size.height; }
  /// `along`: place on the axis; `across`: which row (or, turned, column).
  Span At(int along, int across) const {
    const cv::Rect& r = turned_ ? grid_.At(across, along) : grid_.At(along, across);
    return turned_ ? Span{r.y, r.y + r.height} : Span{r.x, r.x + r.width};
  }

 private:
  const Grid& grid_;
  bool turned_;
};

/// The edge between the blocks at along - 1 and along: where the later one begins and the earlier
/// one ends, here and in the neighbouring rows.
///
///      . . . | B . .      A, C: this row's pair; a level that is too low makes lit blocks larger
///      . . C | A . .      and dark ones smaller, so A and C err the same way, and a neighbouring
///      . . D | . . .      row's pair the other way.
///
/// B from the row before and D from the row after: an edge that runs aslant through the rows (lens
/// distortion) is then met at this row's middle. Outer rows have one neighbour and take both there.
double EdgeBetween(const Axis& axis, int along, int across) {
  const int last = axis.Width() - 1;
  const int before = across > 0 ? across - 1 : std::min(1, last);
  const int after = across < last ? across + 1 : std::max(0, last - 1);
  const int sum = axis.At(along, across).begin + axis.At(along - 1, across).end +
                  axis.At(along, before).begin + axis.At(along - 1, after).end;
  return sum * kOneOfFour;
}

Span Estimated(const Axis& axis, int along, int across) {
  const Span own = axis.At(along, across);
  const double begin = along > 0 ? EdgeBetween(axis, along, across) : own.begin;
  const double end = along + 1 < axis.Length() ? EdgeBetween(axis, along + 1, across) : own.end;
  return {static_cast<int>(std::min(begin, end)), static_cast<int>(std::max(begin, end))};
}

enum class End { kFirst, kLast };

/// For each row that holds mask pixels, the first one's place, or one past the last one's.
std::vector<int> EdgesOfRows(const cv::Mat& mask, End end) {
  std::vector<int> edges;
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

/// Mean of the middle half. The outermost pixel would be that of a single LED: the outline of a
/// screen that is only a little defocused goes in and out with every LED, by up to 3 pixels.
double MiddleMean(std::vector<int> edges) {
  std::sort(edges.begin(), edges.end());
  const auto quarter = static_cast<std::ptrdiff_t>(edges.size() / 4);
  const auto first = edges.begin() + quarter;
  const auto last = edges.end() - quarter;
  return std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
}

/// One side of the grid. Upright ones are the top and the bottom, whose bounds lie along y.
struct OuterSide {
  bool upright;
  End end;
  double excess;
};

/// Where to look for a block's bound: its half on that side and `reach` beyond it, and some way
/// into the next blocks; a dead LED at the edge of a narrow block must not decide.
cv::Rect WindowFor(const cv::Rect& block, cv::Size reach, const OuterSide& side) {
  const cv::Point beside = kLinesBeyond * cv::Point(reach);
  const bool first = side.end == End::kFirst;
  if (side.upright) {
    const int y = first ? block.y - reach.height : block.y + block.height / 2;
    return {block.x - beside.x, y, block.width + 2 * beside.x, reach.height + block.height / 2};
  }
  const int x = first ? block.x - reach.width : block.x + block.width / 2;
  return {x, block.y - beside.y, reach.width + block.width / 2, block.height + 2 * beside.y};
}

/// Where the mask begins or ends inside `window`; empty where it does not reach into it.
std::optional<double> MaskBound(const cv::Mat& mask, const cv::Rect& window,
                                const OuterSide& side) {
  const cv::Rect inside = window & cv::Rect({}, mask.size());
  if (inside.empty()) return std::nullopt;
  cv::Mat part = mask(inside);
  if (side.upright) part = part.t();
  const std::vector<int> edges = EdgesOfRows(part, side.end);
  if (edges.empty()) return std::nullopt;
  return (side.upright ? inside.y : inside.x) + MiddleMean(edges);
}

/// Places in the grid of that side's blocks.
std::vector<std::size_t> BlocksOf(const OuterSide& side, cv::Size grid) {
  const auto columns = static_cast<std::size_t>(grid.width);
  const auto rows = static_cast<std::size_t>(grid.height);
  const bool first = side.end == End::kFirst;
  std::vector<std::size_t> places(side.upright ? columns : rows);
  for (std::size_t i = 0; i < places.size(); ++i) {
    places[i] = side.upright ? (first ? 0 : rows - 1) * columns + i
                             : i * columns + (first ? 0 : columns - 1);
  }
  return places;
}

void SetBound(int bound, const OuterSide& side, cv::Rect& cell) {
  cv::Point first = cell.tl();
  cv::Point past = cell.br();
  cv::Point& corner = side.end == End::kFirst ? first : past;
  (side.upright ? corner.y : corner.x) = bound;
  cell = {first, past};
}

void PlaceSide(const OuterSide& side, cv::Size grid, cv::Size reach, const cv::Mat& mask,
               std::vector<cv::Rect>& cells) {
  const std::vector<std::size_t> places = BlocksOf(side, grid);
  std::vector<LinePoint> points;
  points.reserve(places.size());
  for (const std::size_t place : places) {
    const cv::Rect& cell = cells[place];
    const int begin = side.upright ? cell.x : cell.y;
    const int length = side.upright ? cell.width : cell.height;
    points.push_back({begin + length * kHalf, MaskBound(mask, WindowFor(cell, reach, side), side),
                      std::max(1.0, 1.0 * length)});
  }
  const double inwards = side.end == End::kFirst ? side.excess : -side.excess;
  const std::vector<double> bounds = WithoutOutliers(points);
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    // Truncated as the inner bounds are.
    SetBound(static_cast<int>(bounds[i] + inwards), side, cells[places[i]]);
  }
}

}  // namespace

cv::Rect EstimatedCell(const Grid& grid, int column, int row) {
  const Span x = Estimated(Axis(grid, false), column, row);
  const Span y = Estimated(Axis(grid, true), row, column);
  return {x.begin, y.begin, x.end - x.begin, y.end - y.begin};
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
       {OuterSide{false, End::kFirst, excess.left}, OuterSide{false, End::kLast, excess.right},
        OuterSide{true, End::kFirst, excess.top}, OuterSide{true, End::kLast, excess.bottom}}) {
    PlaceSide(side, grid.size, reach, mask, cells);
  }
  return cells;
}

void FillEmptyColumns(const cv::Rect& block, cv::Mat& mask) {
  if (block.empty() || (block & cv::Rect(0, 0, mask.cols, mask.rows)) != block) return;
  const cv::Mat inside = mask(block);
  cv::Mat most;
  cv::reduce(inside, most, 0, cv::REDUCE_MAX);
  std::vector<int> filled;
  for (int x = 0; x < block.width; ++x) {
    if (most.at<uchar>(0, x) != 0) filled.push_back(x);
  }
  if (filled.empty()) return;
  std::size_t nearest = 0;
  for (int x = 0; x < block.width; ++x) {
    while (nearest + 1 < filled.size() &&
           std::abs(filled[nearest + 1] - x) < std::abs(filled[nearest] - x)) {
      ++nearest;
    }
    if (filled[nearest] != x) inside.col(filled[nearest]).copyTo(inside.col(x));
  }
}

}  // namespace dravix::checkerboard

// The input is a list of rectangles in no order, those of lit blocks first, and the size of the
// grid that they should form. Their centers are clustered along x and along y: every cluster is a
// column or a row, and the two numbers of a rectangle are its place. The output is the rectangle of
// each block, or nothing when the counts, the alternating colors or the mask's edges contradict the
// grid. It refuses rather than guesses, since a wrong grid would assign every luminance to a wrong
// LED: a row that was not seen at all is a contradiction, while single missing blocks are inferred
// from the others. It needs a working image that is nearly upright: a row that the lens or a wrong
// perspective bends until less than a quarter of a block is left between it and the next one merges
// with that one.
#include "checkerboard/grid.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "checkerboard/grid_view.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

/// Gap between sorted centers, in blocks, that begins a new column or row. Within one, the centers
/// differ by what the lens bends, which is less; between two, they differ by half a block at least,
/// even where the last one is narrow.
constexpr double kGap = 0.25;
/// One block in this many may be missing. A dead block may take its four neighbors with it, so that
/// a small grid could not lose a single one with a stricter rule; with a looser one, the rest would
/// no longer prove the grid.
constexpr int kMissingOneIn = 4;
/// How far an outer block may end from the mask's edge: this share of a block and some pixels for
/// noise. A narrow last column that was not seen leaves a wider strip of the mask.
constexpr double kOuterGap = 0.15;
constexpr double kOuterGapPixels = 2;

/// The number of the cluster of each value, counted from the smallest. Values farther apart than
/// `gap` belong to different ones. Also gives the number of clusters.
std::pair<std::vector<int>, int> Clusters(const std::vector<double>& values, double gap) {
  std::vector<std::size_t> order(values.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return values[a] < values[b]; });
  std::vector<int> cluster(values.size(), 0);
  int current = 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i > 0 && values[order[i]] - values[order[i - 1]] > gap) ++current;
    cluster[order[i]] = current;
  }
  return {cluster, values.empty() ? 0 : current + 1};
}

/// The columns (along x) or rows (along y) that the rectangles stand in, and how many there are.
std::pair<std::vector<int>, int> LinesAlong(Axis axis, const std::vector<cv::Rect>& rects,
                                            cv::Size2d cell) {
  std::vector<double> centers;
  centers.reserve(rects.size());
  for (const cv::Rect& r : rects) centers.push_back(SpanOf(r, axis).Middle());
  return Clusters(centers, kGap * Along(cell, axis));
}

/// Gives each block the largest rectangle at its place. A smaller one is a speck beside it.
void Assign(const std::vector<cv::Rect>& rects, const std::vector<int>& column,
            const std::vector<int>& row, int columns, Placement& placement) {
  for (std::size_t i = 0; i < rects.size(); ++i) {
    std::int32_t& at = placement.index[GridIndex(column[i], row[i], columns)];
    const auto mine = static_cast<std::int32_t>(i);
    if (at < 0) {
      at = mine;
      continue;
    }
    const auto other = static_cast<std::size_t>(at);
    const bool larger = rects[i].area() > rects[other].area();
    placement.beaten.push_back(larger ? other : i);
    if (larger) at = mine;
  }
}

/// Takes away the rectangles whose color is wrong for their place. Whether the first block of the
/// grid is lit is not known beforehand: every rectangle says what it would have to be, and the
/// majority decides.
void DropWrongColors(std::size_t litCount, cv::Size grid, Placement& placement) {
  const auto saysFirstIsLit = [&](std::size_t block) {
    const auto columns = static_cast<std::size_t>(grid.width);
    const bool likeTheFirst = (block / columns + block % columns) % 2 == 0;
    return likeTheFirst == (static_cast<std::size_t>(placement.index[block]) < litCount);
  };
  std::ptrdiff_t votes = 0;
  for (std::size_t i = 0; i < placement.index.size(); ++i) {
    if (placement.index[i] >= 0) votes += saysFirstIsLit(i) ? 1 : -1;
  }
  for (std::size_t i = 0; i < placement.index.size(); ++i) {
    if (placement.index[i] < 0 || saysFirstIsLit(i) == (votes > 0)) continue;
    placement.wrongColor.push_back(static_cast<std::size_t>(placement.index[i]));
    placement.index[i] = -1;
  }
}

/// How many mask pixels follow each other from `from` on along `step`.
int RunTo(const kernels::BitPicture& mask, cv::Point from, cv::Point step) {
  const cv::Rect all({}, mask.Size());
  int run = 0;
  for (cv::Point p = from; all.contains(p) && kernels::IsWhite(mask, p); p += step) ++run;
  return run;
}

/// Whether the blocks at one side of the grid end where the mask does: most of those that were
/// found, because a dead LED may dent the mask beside a few.
bool EndsWithMask(const std::vector<cv::Rect>& rects, const Placement& placement,
                  const std::vector<std::size_t>& blocks, cv::Point outward, double allowed,
                  const kernels::BitPicture& mask) {
  int near = 0;
  int count = 0;
  for (const std::size_t block : blocks) {
    if (placement.index[block] < 0) continue;
    const cv::Rect& r = rects[static_cast<std::size_t>(placement.index[block])];
    const cv::Point middle(r.x + r.width / 2, r.y + r.height / 2);
    const int half = outward.x != 0 ? r.width / 2 : r.height / 2;
    const cv::Point edge = middle + outward * half;
    ++count;
    near += RunTo(mask, edge, outward) <= allowed ? 1 : 0;
  }
  return 2 * near > count;
}

bool AllSidesEndWithMask(const std::vector<cv::Rect>& rects, const Placement& placement,
                         cv::Size grid, cv::Size2d cell, const kernels::BitPicture& mask) {
  const struct {
    Axis axis;
    End end;
    cv::Point outward;
  } sides[] = {{Axis::kX, End::kFirst, {-1, 0}},
               {Axis::kX, End::kLast, {1, 0}},
               {Axis::kY, End::kFirst, {0, -1}},
               {Axis::kY, End::kLast, {0, 1}}};
  return std::all_of(std::begin(sides), std::end(sides), [&](const auto& side) {
    const double allowed = kOuterGapPixels + kOuterGap * Along(cell, side.axis);
    return EndsWithMask(rects, placement, OuterBlocks(grid, side.axis, side.end), side.outward,
                        allowed, mask);
  });
}

/// The rectangle of the nearest block that was found, along an axis from `block` (column, row): of
/// the same color, which is an even number of steps away, before the other one. Null when there is
/// none.
const cv::Rect* Nearest(const std::vector<cv::Rect>& rects, const std::vector<std::int32_t>& index,
                        cv::Size grid, cv::Point block, Axis axis) {
  const cv::Point step = axis == Axis::kX ? cv::Point(1, 0) : cv::Point(0, 1);
  const cv::Rect whole({}, grid);
  for (const int first : {2, 1}) {
    for (int d = first; d < Along(grid, axis); d += 2) {
      for (const cv::Point at : {block - d * step, block + d * step}) {
        if (!whole.contains(at)) continue;
        const std::int32_t i = index[GridIndex(at.x, at.y, grid.width)];
        if (i >= 0) return &rects[static_cast<std::size_t>(i)];
      }
    }
  }
  return nullptr;
}

/// Whether every row and every column has a block left to take edges from.
bool NoneEmpty(const Placement& placement, cv::Size grid) {
  std::vector<bool> column(static_cast<std::size_t>(grid.width), false);
  std::vector<bool> row(static_cast<std::size_t>(grid.height), false);
  for (std::size_t i = 0; i < placement.index.size(); ++i) {
    if (placement.index[i] < 0) continue;
    column[i % column.size()] = true;
    row[i / column.size()] = true;
  }
  const auto all = [](const std::vector<bool>& seen) {
    return std::find(seen.begin(), seen.end(), false) == seen.end();
  };
  return all(column) && all(row);
}

}  // namespace

std::optional<Placement> PlaceInGrid(const std::vector<cv::Rect>& rects, std::size_t litCount,
                                     cv::Size grid, cv::Size2d cell,
                                     const kernels::BitPicture& mask) {
  const auto [column, columns] = LinesAlong(Axis::kX, rects, cell);
  const auto [row, rows] = LinesAlong(Axis::kY, rects, cell);
  if (columns != grid.width || rows != grid.height) return std::nullopt;

  Placement placement;
  placement.index.assign(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows), -1);
  Assign(rects, column, row, columns, placement);
  DropWrongColors(litCount, grid, placement);
  placement.missing =
      static_cast<int>(std::count(placement.index.begin(), placement.index.end(), -1));
  if (placement.missing * kMissingOneIn > columns * rows || !NoneEmpty(placement, grid)) {
    return std::nullopt;
  }
  if (!AllSidesEndWithMask(rects, placement, grid, cell, mask)) return std::nullopt;
  return placement;
}

void InferMissing(cv::Size grid, std::vector<cv::Rect>& rects, std::vector<std::int32_t>& index) {
  const std::vector<std::int32_t> found = index;
  for (int row = 0; row < grid.height; ++row) {
    for (int column = 0; column < grid.width; ++column) {
      const std::size_t block = GridIndex(column, row, grid.width);
      if (found[block] >= 0) continue;
      const cv::Rect* inColumn = Nearest(rects, found, grid, {column, row}, Axis::kY);
      const cv::Rect* inRow = Nearest(rects, found, grid, {column, row}, Axis::kX);
      const Span x = inColumn != nullptr ? SpanOf(*inColumn, Axis::kX) : Span{};
      const Span y = inRow != nullptr ? SpanOf(*inRow, Axis::kY) : Span{};
      index[block] = static_cast<std::int32_t>(rects.size());
      rects.push_back(RectOf(Axis::kX, x, y));
    }
  }
}

}  // namespace dravix::checkerboard

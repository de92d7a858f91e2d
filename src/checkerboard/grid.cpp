#include "checkerboard/grid.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace dravix::checkerboard {
namespace {

/// Centres of one row or column differ by what the lens bends, those of two by half a block at
/// least.
constexpr double kGap = 0.25;  // blocks
/// A quarter of the blocks may be missing: a dead block takes its four neighbours with it.
constexpr int kMissingOneIn = 4;
/// How far an outer block may be from the mask's edge: a narrow last column that was not seen
/// leaves more than this.
constexpr double kOuterGap = 0.15;     // blocks
constexpr double kOuterGapPixels = 2;  // and this much for noise

/// Number of the cluster of each value; values farther apart than `gap` belong to different ones.
/// Also gives the number of clusters.
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

std::pair<std::vector<int>, int> Columns(const std::vector<cv::Rect>& rects, double gap) {
  std::vector<double> centres;
  centres.reserve(rects.size());
  for (const cv::Rect& r : rects) centres.push_back(r.x + 0.5 * r.width);
  return Clusters(centres, gap);
}

std::pair<std::vector<int>, int> Rows(const std::vector<cv::Rect>& rects, double gap) {
  std::vector<double> centres;
  centres.reserve(rects.size());
  for (const cv::Rect& r : rects) centres.push_back(r.y + 0.5 * r.height);
  return Clusters(centres, gap);
}

/// Each position's largest rectangle.
void Assign(const std::vector<cv::Rect>& rects, const std::vector<int>& column,
            const std::vector<int>& row, int columns, Placement& placement) {
  for (std::size_t i = 0; i < rects.size(); ++i) {
    std::int32_t& at =
        placement.index[static_cast<std::size_t>(row[i]) * static_cast<std::size_t>(columns) +
                        static_cast<std::size_t>(column[i])];
    const auto mine = static_cast<std::int32_t>(i);
    if (at < 0) {
      at = mine;
      continue;
    }
    const auto other = static_cast<std::size_t>(at);
    const bool larger = rects[i].area() > rects[other].area();
    placement.twice.push_back(larger ? other : i);
    if (larger) at = mine;
  }
}

/// Takes away what has the wrong colour for its place; the majority says whether the first is lit.
void DropWrongColours(std::size_t litCount, cv::Size grid, Placement& placement) {
  const auto firstLit = [&](std::size_t place) {
    const auto columns = static_cast<std::size_t>(grid.width);
    const bool even = (place / columns + place % columns) % 2 == 0;
    return even == (static_cast<std::size_t>(placement.index[place]) < litCount);
  };
  std::ptrdiff_t votes = 0;
  for (std::size_t i = 0; i < placement.index.size(); ++i) {
    if (placement.index[i] >= 0) votes += firstLit(i) ? 1 : -1;
  }
  for (std::size_t i = 0; i < placement.index.size(); ++i) {
    if (placement.index[i] < 0 || firstLit(i) == (votes > 0)) continue;
    placement.noPlace.push_back(static_cast<std::size_t>(placement.index[i]));
    placement.index[i] = -1;
  }
}

/// Mask pixels from `from` on along `step` until the mask ends.
int RunTo(const cv::Mat& mask, cv::Point from, cv::Point step) {
  const cv::Rect all(0, 0, mask.cols, mask.rows);
  int run = 0;
  for (cv::Point p = from; all.contains(p) && mask.at<uchar>(p) != 0; p += step) ++run;
  return run;
}

/// Whether the blocks of one outer row or column, given as places, end where the mask does: most of
/// those that are there.
bool EndsWithMask(const std::vector<cv::Rect>& rects, const Placement& placement,
                  const std::vector<std::size_t>& places, cv::Point outwards, double allowed,
                  const cv::Mat& mask) {
  int near = 0;
  int count = 0;
  for (const std::size_t place : places) {
    if (placement.index[place] < 0) continue;
    const cv::Rect& r = rects[static_cast<std::size_t>(placement.index[place])];
    const cv::Point middle(r.x + r.width / 2, r.y + r.height / 2);
    const int half = outwards.x != 0 ? r.width / 2 : r.height / 2;
    const cv::Point edge = middle + outwards * half;
    ++count;
    near += RunTo(mask, edge, outwards) <= allowed ? 1 : 0;
  }
  return 2 * near > count;
}

bool AllSidesEndWithMask(const std::vector<cv::Rect>& rects, const Placement& placement,
                         cv::Size grid, cv::Size2d cell, const cv::Mat& mask) {
  std::array<std::vector<std::size_t>, 4> sides;  // left, right, top, bottom
  const auto columns = static_cast<std::size_t>(grid.width);
  const auto rows = static_cast<std::size_t>(grid.height);
  for (std::size_t r = 0; r < rows; ++r) {
    sides[0].push_back(r * columns);
    sides[1].push_back(r * columns + columns - 1);
  }
  for (std::size_t c = 0; c < columns; ++c) {
    sides[2].push_back(c);
    sides[3].push_back((rows - 1) * columns + c);
  }
  const cv::Point outwards[4] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}};
  for (std::size_t side = 0; side < 4; ++side) {
    const double allowed = kOuterGapPixels + kOuterGap * (side < 2 ? cell.width : cell.height);
    if (!EndsWithMask(rects, placement, sides[side], outwards[side], allowed, mask)) return false;
  }
  return true;
}

/// Rectangle of the nearest found position along a step from `place`, of the colour asked for first
/// (an even number of steps), then of the other.
const cv::Rect* Nearest(const std::vector<cv::Rect>& rects, const std::vector<std::int32_t>& index,
                        int place, int step, int position, int count) {
  for (const int first : {2, 1}) {
    for (int d = first; d < count; d += 2) {
      for (const int way : {-d, d}) {
        if (position + way < 0 || position + way >= count) continue;
        const std::int32_t i =
            index[static_cast<std::size_t>(std::int64_t{place} + std::int64_t{way} * step)];
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
                                     cv::Size grid, cv::Size2d cell, const cv::Mat& mask) {
  const auto [column, columns] = Columns(rects, kGap * cell.width);
  const auto [row, rows] = Rows(rects, kGap * cell.height);
  if (columns != grid.width || rows != grid.height) return std::nullopt;

  Placement placement;
  placement.index.assign(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows), -1);
  Assign(rects, column, row, columns, placement);
  DropWrongColours(litCount, grid, placement);
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
  for (int r = 0; r < grid.height; ++r) {
    for (int c = 0; c < grid.width; ++c) {
      const int place = r * grid.width + c;
      if (found[static_cast<std::size_t>(place)] >= 0) continue;
      const cv::Rect* above = Nearest(rects, found, place, grid.width, r, grid.height);
      const cv::Rect* beside = Nearest(rects, found, place, 1, c, grid.width);
      cv::Rect inferred;
      if (above != nullptr) {
        inferred.x = above->x;
        inferred.width = above->width;
      }
      if (beside != nullptr) {
        inferred.y = beside->y;
        inferred.height = beside->height;
      }
      index[static_cast<std::size_t>(place)] = static_cast<std::int32_t>(rects.size());
      rects.push_back(inferred);
    }
  }
}

}  // namespace dravix::checkerboard

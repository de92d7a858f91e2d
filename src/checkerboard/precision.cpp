#include "checkerboard/precision.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <numeric>

namespace dravix::checkerboard {
namespace {

constexpr double kOneOfFour = 0.25;
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

double Inwards(End end, double excess) { return end == End::kFirst ? excess : -excess; }

/// Where the mask begins or ends along x inside `window`, truncated as the inner bounds are;
/// `otherwise` where it does not reach into it.
int BoundAlongX(const cv::Mat& mask, const cv::Rect& window, End end, double excess,
                int otherwise) {
  const cv::Rect inside = window & cv::Rect(0, 0, mask.cols, mask.rows);
  if (inside.empty()) return otherwise;
  const std::vector<int> edges = EdgesOfRows(mask(inside), end);
  return edges.empty() ? otherwise
                       : static_cast<int>(inside.x + MiddleMean(edges) + Inwards(end, excess));
}

int BoundAlongY(const cv::Mat& mask, const cv::Rect& window, End end, double excess,
                int otherwise) {
  const cv::Rect inside = window & cv::Rect(0, 0, mask.cols, mask.rows);
  if (inside.empty()) return otherwise;
  cv::Mat turned;
  cv::transpose(mask(inside), turned);
  const std::vector<int> edges = EdgesOfRows(turned, end);
  return edges.empty() ? otherwise
                       : static_cast<int>(inside.y + MiddleMean(edges) + Inwards(end, excess));
}

}  // namespace

cv::Rect EstimatedCell(const Grid& grid, int column, int row) {
  const Span x = Estimated(Axis(grid, false), column, row);
  const Span y = Estimated(Axis(grid, true), row, column);
  return {x.begin, y.begin, x.end - x.begin, y.end - y.begin};
}

cv::Rect PlacedAtBorder(const Grid& grid, int column, int row, const cv::Rect& estimate,
                        cv::Size reach, const cv::Mat& mask, cv::Point2d excess) {
  // Each side is looked for in the block's half on that side and `reach` beyond it, and some way
  // into the next blocks: a dead LED at the edge of a narrow block must not decide.
  const cv::Size beside(kLinesBeyond * reach.width, kLinesBeyond * reach.height);
  const cv::Size wide(reach.width + estimate.width / 2, estimate.height + 2 * beside.height);
  const cv::Size high(estimate.width + 2 * beside.width, reach.height + estimate.height / 2);
  const cv::Point corner = estimate.tl() - cv::Point(beside);
  const cv::Point middle = estimate.tl() + cv::Point(estimate.width / 2, estimate.height / 2);
  cv::Point first = estimate.tl();
  cv::Point past = estimate.br();
  if (column == 0) {
    const cv::Rect window({estimate.x - reach.width, corner.y}, wide);
    first.x = BoundAlongX(mask, window, End::kFirst, excess.x, first.x);
  }
  if (column == grid.size.width - 1) {
    past.x = BoundAlongX(mask, {{middle.x, corner.y}, wide}, End::kLast, excess.x, past.x);
  }
  if (row == 0) {
    const cv::Rect window({corner.x, estimate.y - reach.height}, high);
    first.y = BoundAlongY(mask, window, End::kFirst, excess.y, first.y);
  }
  if (row == grid.size.height - 1) {
    past.y = BoundAlongY(mask, {{corner.x, middle.y}, high}, End::kLast, excess.y, past.y);
  }
  return {first, past};
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

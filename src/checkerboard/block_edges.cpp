// The input is both photographs in the working image and a rectangle for every block. Across each
// pair of neighbors runs a strip in which the light of the checkerboard, divided by that of the
// measured picture, rises or falls from one block's level to the other's; the edge lies where it is
// halfway. So every pair has a threshold of its own, and blocks may be brighter or dimmer than
// others. The output is the rectangles with their inner edges moved there, by a robust line through
// all edges of one line of the grid, which also gives the edges that were not seen. Outer edges
// have no neighbor and stay. Where the blur is wider than a third of a block, no part of a block
// shows its own level any more, and its edges become uncertain.
#include "checkerboard/block_edges.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>

#include "checkerboard/geometry/robust_line.h"
#include "checkerboard/geometry/statistics.h"
#include "checkerboard/grid_view.h"
#include "kernels/bits/padded_rows.h"
#include "kernels/row_sums.h"

namespace dravix::checkerboard {
namespace {

/// Share of a block at either end of the edge that is left out: at its corners the light of the
/// diagonal neighbors comes in.
constexpr double kCorner = 0.25;
/// The shares of a block between which its level is measured. A blur of a third of a block reaches
/// a sixth of it inward on either side and leaves this middle alone; a narrower one would rest on
/// too few LEDs.
constexpr double kMiddleBegins = 0.375;
constexpr double kMiddleEnds = 0.625;
/// A block of the first or last row or column has only one neighbor, and the last ones may be
/// narrower than the blur. Their level is measured in the half away from that neighbor, up to this
/// share of the block from the outer edge, where the light of the screen itself falls off.
constexpr double kOuterEdge = 0.125;
/// The most lines of pixels that are summed up across the strip. They hold eight LEDs and more, and
/// more of them would only take longer.
constexpr int kMostLines = 96;
/// Rows of the pictures that are fetched ahead of the sums: those of a strip are short and lie far
/// apart, so that the processor does not guess the next one.
constexpr int kRowsAhead = 8;
/// An edge is seen when the two blocks differ by more than this share of the median difference. Lit
/// blocks that differ by a factor of 3 stay far above it, and what noise and stray light make of a
/// dead block stays below.
constexpr double kLeastContrast = 0.1;
/// The cell's bound becomes the truncated mean of four edges. One that begins at floor(x + 1/2) and
/// one that ends at floor(x) have the sum floor(2x), so that the truncated mean is floor(x) where
/// all four agree. x is the place plus this half: it makes the truncation round to the nearest.
constexpr double kRounding = 0.5;
constexpr double kHalf = 0.5;

/// The place at a share of a span.
int PlaceAt(const Span& span, double share) {
  return span.begin + static_cast<int>(share * span.Length());
}

/// Light against the place on one axis, summed up across.
struct Profile {
  int begin;
  std::vector<double> light;

  double Mean(const Span& span) const {
    double sum = 0;
    for (int x = span.begin; x < span.end; ++x) sum += light[static_cast<std::size_t>(x - begin)];
    return sum / span.Length();
  }
};

/// For each place on the axis, the sum across `part`, which has at most kMostLines lines.
std::vector<double> Sums(const PartialPicture& picture, const cv::Rect& part, Axis axis) {
  const cv::Mat samples = picture(part);
  kernels::PaddedRows rows(samples);
  std::vector<std::uint32_t> columns(axis == Axis::kX ? rows.PaddedCount() : 0);
  std::vector<double> sums;
  for (int y = 0; y < part.height; ++y) {
    rows.Fetch(y + kRowsAhead);
    if (axis == Axis::kX) {
      kernels::AddTo(columns.data(), rows.At(y), part.width);
    } else {
      sums.push_back(static_cast<double>(kernels::SumOf(rows.At(y), part.width)));
    }
  }
  if (axis == Axis::kX) sums.assign(columns.begin(), columns.begin() + part.width);
  return sums;
}

/// What is seen between two neighboring blocks.
struct Meeting {
  double before = 0, after = 0;  ///< levels of the two blocks
  double place = 0;              ///< where the light is in the middle between them

  double Contrast() const { return std::abs(before - after); }
};

/// Where the profile crosses the middle between two levels. Single LEDs may make three crossings of
/// one edge, so this is the mean of the first and the last.
std::optional<double> Crossing(const Profile& profile, double before, double after) {
  const double middle = kHalf * (before + after);
  const double sign = before < after ? 1 : -1;
  const auto above = [&](std::size_t i) { return sign * (profile.light[i] - middle) >= 0; };
  const auto betweenThisAndTheOneBefore = [&](std::size_t i) {
    const double step = profile.light[i] - profile.light[i - 1];
    return static_cast<double>(i) - (profile.light[i] - middle) / step;
  };
  const std::size_t count = profile.light.size();
  std::size_t first = 0;
  while (first < count && !above(first)) ++first;
  std::size_t last = count;
  while (last > 0 && above(last - 1)) --last;
  if (first == 0 || last == count || first == count || last == 0) return std::nullopt;
  return profile.begin +
         kHalf * (betweenThisAndTheOneBefore(first) + betweenThisAndTheOneBefore(last));
}

/// Sees and places the edges along one axis of the grid.
class EdgesAlong {
 public:
  EdgesAlong(const Rectified& pictures, const GridAlong& grid, std::vector<cv::Rect>& rects)
      : pictures_(pictures), grid_(grid), axis_(grid.Direction()), rects_(rects) {}

  int BlocksAlong() const { return grid_.BlocksAlong(); }
  int BlocksAcross() const { return grid_.BlocksAcross(); }

  /// What is seen between the blocks at along - 1 and along; empty where the strip leaves the
  /// picture or the light does not cross the middle.
  std::optional<Meeting> Seen(int along, int across) const {
    const Span before = grid_.SpanAt(along - 1, across);
    const Span after = grid_.SpanAt(along, across);
    const Span beside = SharedMiddle(Across(along - 1, across), Across(along, across));
    const bool first = along == 1;
    const bool last = along + 1 == BlocksAlong();
    const Span strip{PlaceAt(before, first ? kOuterEdge : kMiddleBegins),
                     PlaceAt(after, last ? 1 - kOuterEdge : kMiddleEnds)};
    const cv::Rect part = RectOf(axis_, strip, beside);
    if (part.empty() || (part & cv::Rect({}, pictures_.board.Size())) != part) return std::nullopt;
    const Span middleBefore{strip.begin, PlaceAt(before, first ? kHalf : kMiddleEnds)};
    const Span middleAfter{PlaceAt(after, last ? kHalf : kMiddleBegins), strip.end};
    if (middleBefore.Length() < 1 || middleAfter.Length() < 1 || middleBefore.end > strip.end ||
        middleAfter.begin < strip.begin) {
      return std::nullopt;
    }
    const Profile profile = Quotient(part, strip.begin);
    Meeting meeting;
    meeting.before = profile.Mean(middleBefore);
    meeting.after = profile.Mean(middleAfter);
    const auto place = Crossing(profile, meeting.before, meeting.after);
    if (!place) return std::nullopt;
    meeting.place = *place;
    return meeting;
  }

  /// The block's extent across the axis.
  Span Across(int along, int across) const { return SpanOf(grid_.At(along, across), Other(axis_)); }

  /// Ends the block at along - 1 and begins the one at along at `place`.
  void Place(int along, int across, double place) {
    const double x = place + kRounding;
    const int end = static_cast<int>(std::floor(x));
    const int begin = static_cast<int>(std::floor(x + kHalf));
    Move(along - 1, across, {grid_.SpanAt(along - 1, across).begin, end});
    Move(along, across, {begin, grid_.SpanAt(along, across).end});
  }

 private:
  void Move(int along, int across, Span span) {
    span.end = std::max(span.begin, span.end);
    SetSpan(rects_[grid_.RectIndex(along, across)], axis_, span);
  }
  /// What two blocks share across the axis, without the corners; its middle where that is long.
  static Span SharedMiddle(Span a, Span b) {
    const Span both{std::max(a.begin, b.begin), std::min(a.end, b.end)};
    const Span inner{PlaceAt(both, kCorner), PlaceAt(both, 1 - kCorner)};
    const int tooMany = std::max(0, inner.Length() - kMostLines);
    const int begin = inner.begin + tooMany / 2;
    return {begin, begin + inner.Length() - tooMany};
  }
  Profile Quotient(const cv::Rect& part, int begin) const {
    Profile profile{begin, Sums(pictures_.board, part, axis_)};
    const std::vector<double> whole = Sums(pictures_.measured, part, axis_);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      profile.light[i] = whole[i] > 0 ? profile.light[i] / whole[i] : 0.0;
    }
    return profile;
  }

  const Rectified& pictures_;
  GridAlong grid_;  // reads rects_
  Axis axis_;
  std::vector<cv::Rect>& rects_;
};

using Meetings = std::vector<std::optional<Meeting>>;

double MedianContrast(const Meetings& meetings) {
  std::vector<double> contrasts;
  for (const auto& meeting : meetings) {
    if (meeting) contrasts.push_back(meeting->Contrast());
  }
  return Median(std::move(contrasts));
}

/// Places all edges along one axis. All of them are seen before the first is moved, because a moved
/// edge would shift the strips of its neighbors.
void PlaceAlong(EdgesAlong edges) {
  std::vector<Meetings> seen;
  Meetings all;
  for (int along = 1; along < edges.BlocksAlong(); ++along) {
    Meetings line;
    for (int across = 0; across < edges.BlocksAcross(); ++across) {
      line.push_back(edges.Seen(along, across));
    }
    all.insert(all.end(), line.begin(), line.end());
    seen.push_back(std::move(line));
  }
  const double least = kLeastContrast * MedianContrast(all);
  for (int along = 1; along < edges.BlocksAlong(); ++along) {
    std::vector<LinePoint> points;
    for (int across = 0; across < edges.BlocksAcross(); ++across) {
      const auto& meeting =
          seen[static_cast<std::size_t>(along) - 1][static_cast<std::size_t>(across)];
      LinePoint point{edges.Across(along, across), std::nullopt};
      if (meeting && meeting->Contrast() > least) point.place = meeting->place;
      points.push_back(point);
    }
    const std::vector<double> places = WithoutOutliers(points);
    for (std::size_t i = 0; i < places.size(); ++i) {
      edges.Place(along, static_cast<int>(i), places[i]);
    }
  }
}

}  // namespace

void PlaceEdges(const Rectified& pictures, cv::Size grid, const std::vector<std::int32_t>& index,
                std::vector<cv::Rect>& rects) {
  const Grid blocks{grid, rects, index};
  PlaceAlong(EdgesAlong(pictures, GridAlong(blocks, Axis::kX), rects));
  PlaceAlong(EdgesAlong(pictures, GridAlong(blocks, Axis::kY), rects));
}

}  // namespace dravix::checkerboard

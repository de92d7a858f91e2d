#include "checkerboard/block_edges.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>

#include "checkerboard/robust_line.h"

namespace dravix::checkerboard {
namespace {

/// Shares of a block. Its corners, where the light of the diagonal neighbours comes in, are left
/// out; its level is that around its middle, which a blur of a third of a block leaves alone.
constexpr double kCorner = 0.25;
constexpr double kMiddleBegins = 0.375;
constexpr double kMiddleEnds = 0.625;
/// Of an outer block the outer half counts, which is farther from its only neighbour: it may be
/// narrower than the blur.
constexpr double kOuterEdge = 0.125;
constexpr int kMostLines = 96;  // that are summed up: eight LEDs and more
/// Of the median difference of two blocks, that there must be to see an edge; lit blocks may differ
/// by a factor of 3, and dead ones show nothing.
constexpr double kLeastContrast = 0.1;
/// The mean of four edges is truncated. One that begins at floor(x + 1/2), the one that ends there
/// at floor(x): their sum is floor(2x), and the truncated mean floor(x) where all four agree. x is
/// the place plus a half, for rounding, and a little for the truncation where they do not.
constexpr double kRounding = 0.5;
constexpr double kHalf = 0.5;

/// A block's place on one axis.
struct Span {
  int begin, end;
  int Length() const { return end - begin; }
  int At(double share) const { return begin + static_cast<int>(share * Length()); }
};

/// Light against the place on one axis, summed across.
struct Profile {
  int begin;
  std::vector<double> light;

  double Mean(int from, int past) const {
    double sum = 0;
    for (int x = from; x < past; ++x) sum += light[static_cast<std::size_t>(x - begin)];
    return sum / (past - from);
  }
};

/// cv::reduce takes five times as long along rows as a plain sum.
template <class Sample>
std::vector<double> SumsOfRows(const cv::Mat& part) {
  std::vector<double> sums;
  sums.reserve(static_cast<std::size_t>(part.rows));
  for (int y = 0; y < part.rows; ++y) {
    const Sample* row = part.ptr<Sample>(y);
    sums.push_back(std::accumulate(row, row + part.cols, std::uint32_t{0}));
  }
  return sums;
}

std::vector<double> Sums(const cv::Mat& picture, const cv::Rect& part, bool turned) {
  if (turned) {
    return picture.depth() == CV_16U ? SumsOfRows<std::uint16_t>(picture(part))
                                     : SumsOfRows<uchar>(picture(part));
  }
  cv::Mat sums;  // exact: kMostLines 16-bit samples are less than 2^24
  cv::reduce(picture(part), sums, 0, cv::REDUCE_SUM, CV_32F);
  return {sums.begin<float>(), sums.end<float>()};
}

/// What is seen between two blocks.
struct Meeting {
  double before = 0, after = 0;  ///< levels of the two
  double place = 0;              ///< where the light is in the middle of them

  double Contrast() const { return std::abs(before - after); }
};

/// The mean of the first and the last crossing of the middle level, which a single LED may make
/// three of.
std::optional<double> Crossing(const Profile& profile, double before, double after) {
  const double middle = kHalf * (before + after);
  const double sign = before < after ? 1 : -1;
  const auto above = [&](std::size_t i) { return sign * (profile.light[i] - middle) >= 0; };
  const auto between = [&](std::size_t i) {  // i - 1 and i
    const double step = profile.light[i] - profile.light[i - 1];
    return static_cast<double>(i) - (profile.light[i] - middle) / step;
  };
  const std::size_t count = profile.light.size();
  std::size_t first = 0;
  while (first < count && !above(first)) ++first;
  std::size_t last = count;
  while (last > 0 && above(last - 1)) --last;
  if (first == 0 || last == count || first == count || last == 0) return std::nullopt;
  return profile.begin + kHalf * (between(first) + between(last));
}

/// Reads and writes the grid along x or, turned, along y.
class Lines {
 public:
  Lines(const Rectified& pictures, cv::Size grid, const std::vector<std::int32_t>& index,
        std::vector<cv::Rect>& rects, bool turned)
      : pictures_(pictures), grid_(grid), index_(index), rects_(rects), turned_(turned) {}

  int Length() const { return turned_ ? grid_.height : grid_.width; }
  int Width() const { return turned_ ? grid_.width : grid_.height; }

  std::optional<Meeting> Seen(int along, int across) const {
    const cv::Rect& a = Block(along - 1, across);
    const cv::Rect& b = Block(along, across);
    const Span before = Of(a, turned_);
    const Span after = Of(b, turned_);
    const Span beside = Shared(Of(a, !turned_), Of(b, !turned_));
    const bool first = along == 1;
    const bool last = along + 1 == Length();
    const int begin = before.At(first ? kOuterEdge : kMiddleBegins);
    const int past = after.At(last ? 1 - kOuterEdge : kMiddleEnds);
    const cv::Rect part = turned_ ? cv::Rect(beside.begin, begin, beside.Length(), past - begin)
                                  : cv::Rect(begin, beside.begin, past - begin, beside.Length());
    if (part.empty() || (part & cv::Rect({}, pictures_.board.size())) != part) return std::nullopt;
    const Span middleBefore{begin, before.At(first ? kHalf : kMiddleEnds)};
    const Span middleAfter{after.At(last ? kHalf : kMiddleBegins), past};
    if (middleBefore.Length() < 1 || middleAfter.Length() < 1 || middleBefore.end > past ||
        middleAfter.begin < begin) {
      return std::nullopt;
    }
    const Profile profile = Quotient(part, begin);
    Meeting meeting;
    meeting.before = profile.Mean(middleBefore.begin, middleBefore.end);
    meeting.after = profile.Mean(middleAfter.begin, middleAfter.end);
    const auto place = Crossing(profile, meeting.before, meeting.after);
    if (!place) return std::nullopt;
    meeting.place = *place;
    return meeting;
  }

  /// The block's place across the axis.
  Span Across(int along, int across) const { return Of(Block(along, across), !turned_); }

  void Place(int along, int across, double place) {
    const double x = place + kRounding;
    const int end = static_cast<int>(std::floor(x));
    const int begin = static_cast<int>(std::floor(x + kHalf));
    SetSpan(along - 1, across, {Of(Block(along - 1, across), turned_).begin, end});
    SetSpan(along, across, {begin, Of(Block(along, across), turned_).end});
  }

 private:
  cv::Rect& Block(int along, int across) const {
    const int column = turned_ ? across : along;
    const int row = turned_ ? along : across;
    const auto place = static_cast<std::size_t>(row) * static_cast<std::size_t>(grid_.width) +
                       static_cast<std::size_t>(column);
    return rects_[static_cast<std::size_t>(index_[place])];
  }
  static Span Of(const cv::Rect& r, bool turned) {
    return turned ? Span{r.y, r.y + r.height} : Span{r.x, r.x + r.width};
  }
  void SetSpan(int along, int across, Span span) {
    cv::Rect& r = Block(along, across);
    (turned_ ? r.y : r.x) = span.begin;
    (turned_ ? r.height : r.width) = std::max(0, span.Length());
  }
  /// What both have, without the corners.
  static Span Shared(Span a, Span b) {
    const Span both{std::max(a.begin, b.begin), std::min(a.end, b.end)};
    const Span inner{both.At(kCorner), both.At(1 - kCorner)};
    const int tooMany = std::max(0, inner.Length() - kMostLines);
    return {inner.begin + tooMany / 2, inner.begin + tooMany / 2 + inner.Length() - tooMany};
  }
  Profile Quotient(const cv::Rect& part, int begin) const {
    Profile profile{begin, Sums(pictures_.board, part, turned_)};
    const std::vector<double> whole = Sums(pictures_.measured, part, turned_);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      profile.light[i] = whole[i] > 0 ? profile.light[i] / whole[i] : 0.0;
    }
    return profile;
  }

  const Rectified& pictures_;
  cv::Size grid_;
  const std::vector<std::int32_t>& index_;
  std::vector<cv::Rect>& rects_;
  bool turned_;
};

using Meetings = std::vector<std::optional<Meeting>>;

/// Half of all meetings that are seen have more.
double MedianContrast(const Meetings& meetings) {
  std::vector<double> contrasts;
  for (const auto& meeting : meetings) {
    if (meeting) contrasts.push_back(meeting->Contrast());
  }
  if (contrasts.empty()) return 0;
  const auto middle = contrasts.begin() + static_cast<std::ptrdiff_t>(contrasts.size() / 2);
  std::nth_element(contrasts.begin(), middle, contrasts.end());
  return *middle;
}

/// All edges along one axis. They are seen before the first is moved.
void PlaceAlong(Lines lines) {
  std::vector<Meetings> seen;
  Meetings all;
  for (int along = 1; along < lines.Length(); ++along) {
    Meetings line;
    for (int across = 0; across < lines.Width(); ++across)
      line.push_back(lines.Seen(along, across));
    all.insert(all.end(), line.begin(), line.end());
    seen.push_back(std::move(line));
  }
  const double least = kLeastContrast * MedianContrast(all);
  for (int along = 1; along < lines.Length(); ++along) {
    std::vector<LinePoint> points;
    for (int across = 0; across < lines.Width(); ++across) {
      const auto& meeting =
          seen[static_cast<std::size_t>(along) - 1][static_cast<std::size_t>(across)];
      const Span span = lines.Across(along, across);
      LinePoint point{kHalf * (span.begin + span.end), std::nullopt,
                      std::max(1.0, 1.0 * span.Length())};
      if (meeting && meeting->Contrast() > least) point.place = meeting->place;
      points.push_back(point);
    }
    const std::vector<double> places = WithoutOutliers(points);
    for (std::size_t i = 0; i < places.size(); ++i)
      lines.Place(along, static_cast<int>(i), places[i]);
  }
}

}  // namespace

void PlaceEdges(const Rectified& pictures, cv::Size grid, const std::vector<std::int32_t>& index,
                std::vector<cv::Rect>& rects) {
  PlaceAlong(Lines(pictures, grid, index, rects, false));
  PlaceAlong(Lines(pictures, grid, index, rects, true));
}

}  // namespace dravix::checkerboard

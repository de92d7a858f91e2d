#include "checkerboard/edge_share.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <vector>

namespace dravix::checkerboard {
namespace {

constexpr double kHalf = 0.5;
/// In distances from half the level to three quarters: 2.7 sigma of a Gaussian, twice a disk's
/// reach.
constexpr double kDepth = 4;
constexpr int kSmoothing = 6;    // pixels that earlier steps add
constexpr int kLeastDepth = 10;  // pixels
constexpr int kMostDepth = 200;
constexpr int kLongestPiece = 128;
constexpr int kLeastColumns = 4;
constexpr std::size_t kLeastPieces = 4;
constexpr double kLeastShare = 0.35;
constexpr double kLargestShare = 0.65;

/// One side of the outline, turned so that the screen lies below it.
struct Strip {
  cv::Mat light, mask, level;
};

/// How far the outline is looked at, in pixels.
struct Reach {
  int depth;  ///< outside, and inside until the edge has risen
  int flat;   ///< farther inside, where the level is measured

  int Inside() const { return depth + flat; }
};

/// What a piece of the outline says.
struct Piece {
  double share;
  double excess;
};

/// Light against the distance from the mask's outline, inwards positive, averaged over columns.
class Profile {
 public:
  explicit Profile(Reach reach)
      : reach_(reach),
        sum_(static_cast<std::size_t>(reach.depth) + static_cast<std::size_t>(reach.Inside()),
             0.0) {}

  void Add(const Strip& strip, int column) {
    int edge = 0;
    while (edge < strip.mask.rows && strip.mask.at<uchar>(edge, column) == 0) ++edge;
    if (edge < reach_.depth || edge + reach_.Inside() > strip.mask.rows) return;
    for (int d = -reach_.depth; d < reach_.Inside(); ++d) {
      sum_[Index(d)] += static_cast<double>(strip.light.at<float>(edge + d, column));
    }
    level_ += static_cast<double>(strip.level.at<float>(edge, column));
    ++columns_;
  }

  /// Where the outline that keeps all the light lies, and the light's share of the level there.
  std::optional<Piece> Measured() const {
    if (columns_ < kLeastColumns || level_ <= 0) return std::nullopt;
    const double dark = *std::min_element(sum_.begin(), sum_.begin() + reach_.depth);
    const Line inside = LevelInside();
    double filled = 0;  // by the light
    double room = 0;    // that an edge at 0 would fill
    for (int d = -reach_.depth; d < reach_.Inside(); ++d) {
      const double level = inside.at + inside.slope * d - dark;
      if (level <= 0) return std::nullopt;
      filled += Fade(d) * (sum_[Index(d)] - dark) / level;
      room += d >= 0 ? Fade(d) : 0.0;
    }
    return Piece{At(room - filled) / level_, room - filled};
  }

 private:
  struct Line {
    double at, slope;
  };

  std::size_t Index(int d) const {
    return static_cast<std::size_t>(std::ptrdiff_t{d} + reach_.depth);
  }
  /// 0 to 1 across the flat part.
  double Flat(int d) const { return (d + 0.5 - reach_.depth) / reach_.flat; }
  /// 1 up to the flat part, then gently to 0, so that it does not matter whether the sum ends on an
  /// LED or between two.
  double Fade(int d) const {
    const double t = std::clamp(Flat(d), 0.0, 1.0);
    return 1 - t * t * (3 - 2 * t);
  }
  /// Straight line through the flat part; its ends count little, for the same reason.
  Line LevelInside() const {
    double w = 0, wx = 0, wxx = 0, wy = 0, wxy = 0;
    for (int d = reach_.depth; d < reach_.Inside(); ++d) {
      const double t = Flat(d);
      const double weight = t * t * (1 - t) * (1 - t);
      const double y = sum_[Index(d)];
      w += weight;
      wx += weight * d;
      wxx += weight * d * d;
      wy += weight * y;
      wxy += weight * d * y;
    }
    const double spread = w * wxx - wx * wx;
    const double slope = spread > 0 ? (w * wxy - wx * wy) / spread : 0.0;
    return {(wy - slope * wx) / w, slope};
  }
  /// Between samples: the edge before pixel d lies at d, the pixel's middle half a pixel later.
  double At(double edge) const {
    const double place = std::clamp(edge - 0.5, -1.0 * reach_.depth, reach_.depth - 1.0);
    const int before = static_cast<int>(std::floor(place));
    const double rest = place - before;
    return (1 - rest) * sum_[Index(before)] + rest * sum_[Index(before + 1)];
  }

  Reach reach_;
  std::vector<double> sum_;
  double level_ = 0;
  int columns_ = 0;
};

void AddPieces(const Strip& strip, int piece, Reach reach, std::vector<Piece>& pieces) {
  // Around the corners light is lost to two sides.
  for (int from = reach.depth; from + piece <= strip.mask.cols - reach.depth; from += piece) {
    Profile profile(reach);
    for (int x = from; x < from + piece; ++x) profile.Add(strip, x);
    if (const auto measured = profile.Measured()) pieces.push_back(*measured);
  }
}

/// The part of all three along one side, turned.
Strip Cut(const cv::Mat& light, const cv::Mat& mask, const cv::Mat& level, const cv::Rect& part,
          bool transposed, bool flipped) {
  const cv::Rect inside = part & cv::Rect(0, 0, mask.cols, mask.rows);
  Strip strip;
  light(inside).convertTo(strip.light, CV_32F);
  strip.mask = mask(inside).clone();
  strip.level = level(inside).clone();
  for (cv::Mat* m : {&strip.light, &strip.mask, &strip.level}) {
    if (transposed) cv::transpose(*m, *m);
    if (flipped) cv::flip(*m, *m, 0);
  }
  return strip;
}

double MedianOf(const std::vector<Piece>& pieces, double Piece::*value, double otherwise) {
  if (pieces.size() < kLeastPieces) return otherwise;
  std::vector<double> values;
  values.reserve(pieces.size());
  for (const Piece& piece : pieces) values.push_back(piece.*value);
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

Outline MeasuredOutline(const cv::Mat& light, const cv::Mat& mask, const cv::Mat& level,
                        cv::Size2d cell, double rise) {
  const cv::Rect box = cv::boundingRect(mask);
  const cv::Point past = box.br();
  const double side = std::min(cell.width, cell.height);
  const int wanted =
      std::clamp(static_cast<int>(kDepth * rise) + kSmoothing, kLeastDepth, kMostDepth);
  const int piece = std::clamp(static_cast<int>(side), kLeastDepth, kLongestPiece);
  std::vector<Piece> beside;
  std::vector<Piece> aboveBelow;
  // Each strip begins `depth` outside and has room for the outline to bend.
  const auto add = [&](int outside, bool upright, bool far) {
    const Reach reach{std::min(wanted, outside), piece};
    if (reach.depth < kLeastDepth / 2) return;
    const int length = 2 * reach.depth + reach.Inside();
    const int first = far ? reach.depth - length : -reach.depth;
    const cv::Rect part = upright
                              ? cv::Rect(box.x, (far ? past.y : box.y) + first, box.width, length)
                              : cv::Rect((far ? past.x : box.x) + first, box.y, length, box.height);
    AddPieces(Cut(light, mask, level, part, !upright, far), piece, reach,
              upright ? aboveBelow : beside);
  };
  add(box.y, true, false);
  add(mask.rows - past.y, true, true);
  add(box.x, false, false);
  add(mask.cols - past.x, false, true);
  Outline outline;
  outline.excess = {MedianOf(beside, &Piece::excess, 0.0),
                    MedianOf(aboveBelow, &Piece::excess, 0.0)};
  beside.insert(beside.end(), aboveBelow.begin(), aboveBelow.end());
  outline.share = std::clamp(MedianOf(beside, &Piece::share, kHalf), kLeastShare, kLargestShare);
  return outline;
}

}  // namespace dravix::checkerboard

#include "checkerboard/outline_profile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <utility>
#include <vector>

namespace dravix::checkerboard {
namespace {

constexpr double kHalf = 0.5;
constexpr double kThreeQuarters = 0.75;
/// In distances from half the level to three quarters: 2.7 sigma of a Gaussian, twice a disk's
/// reach.
constexpr double kDepth = 4;
constexpr int kSmoothing = 6;    // pixels that earlier steps add
constexpr int kLeastDepth = 10;  // pixels
constexpr int kMostDepth = 200;
constexpr double kRising = 0.3;  // blocks that the edge may rise over, with some room
constexpr int kLongestPiece = 128;
constexpr int kLeastLines = 4;
constexpr std::size_t kLeastPieces = 4;
constexpr int kWantedPieces = 8;  // of a side: twice as many as must be
constexpr double kLeastShare = 0.35;
constexpr double kLargestShare = 0.65;

/// One side of the outline, turned so that each row crosses it; the screen lies to the right or,
/// flipped, to the left.
struct Strip {
  cv::Mat light;  // CV_16UC1
  cv::Mat mask;
  const LevelMap& level;
  cv::Rect part;  // of the working image
  bool transposed, flipped;

  /// Column of the strip's part that many pixels inwards.
  int Inwards(int distance) const { return flipped ? mask.cols - 1 - distance : distance; }
  double LevelAt(int row, int distance) const {
    const int column = Inwards(distance);
    return level.At(part.tl() + (transposed ? cv::Point(row, column) : cv::Point(column, row)));
  }
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
  double rise;
};

/// Light against the distance from the mask's outline, inwards positive, averaged over lines.
class Profile {
 public:
  explicit Profile(Reach reach)
      : reach_(reach),
        sum_(static_cast<std::size_t>(reach.depth) + static_cast<std::size_t>(reach.Inside()),
             0.0) {}

  void Add(const Strip& strip, int row) {
    const uchar* mask = strip.mask.ptr(row);
    int edge = 0;
    while (edge < strip.mask.cols && mask[strip.Inwards(edge)] == 0) ++edge;
    if (edge < reach_.depth || edge + reach_.Inside() > strip.mask.cols) return;
    const std::ptrdiff_t step = strip.flipped ? -1 : 1;
    const auto* light = strip.light.ptr<std::uint16_t>(row) + strip.Inwards(edge - reach_.depth);
    for (std::size_t i = 0; i < sum_.size(); ++i) {
      sum_[i] += light[step * static_cast<std::ptrdiff_t>(i)];
    }
    level_ += strip.LevelAt(row, edge);
    ++lines_;
  }

  bool Usable() const { return lines_ >= kLeastLines && level_ > 0; }

  /// Of the level inside, inwards, per pixel and relative to the level.
  double Slope() const {
    const Line flat = LevelInside();
    const double level = flat.At((reach_.depth + reach_.Inside()) / 2.0);
    return level > 0 ? flat.slope / level : 0.0;
  }

  /// Where the outline that keeps all the light lies, and the light's share of the level there.
  /// `slope` of the level, as Slope gives it.
  std::optional<Piece> Measured(double slope) const {
    if (!Usable()) return std::nullopt;
    const double dark = *std::min_element(sum_.begin(), sum_.begin() + reach_.depth);
    const Line flat = LevelInside();
    const double middle = (reach_.depth + reach_.Inside()) / 2.0;
    const double there = flat.At(middle);
    const Line inside{there * (1 - slope * middle), there * slope};
    double filled = 0;  // by the light
    double room = 0;    // that an edge at 0 would fill
    for (int d = -reach_.depth; d < reach_.Inside(); ++d) {
      const double level = inside.At(d) - dark;
      if (level <= 0) return std::nullopt;
      filled += Fade(d) * (sum_[Index(d)] - dark) / level;
      room += d >= 0 ? Fade(d) : 0.0;
    }
    return Piece{At(room - filled) / level_, room - filled, Rise(dark)};
  }

 private:
  struct Line {
    double at, slope;
    double At(double d) const { return at + slope * d; }
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

  /// From half the level to three quarters.
  double Rise(double dark) const { return Crossing(dark, kThreeQuarters) - Crossing(dark, kHalf); }
  /// Where the light first reaches a share of the level, from outside.
  double Crossing(double dark, double share) const {
    const double wanted = dark + share * (level_ - dark);
    double before = dark;
    for (std::size_t i = 0; i < sum_.size(); ++i) {
      if (sum_[i] >= wanted) {
        const double step = sum_[i] - before;
        return static_cast<double>(i) - (step > 0 ? (sum_[i] - wanted) / step : 0.0);
      }
      before = sum_[i];
    }
    return static_cast<double>(sum_.size());
  }

  Reach reach_;
  std::vector<double> sum_;
  double level_ = 0;
  int lines_ = 0;
};

/// Mean of the middle half: as deaf to a few dead LEDs as the median, and steadier.
double MiddleMean(std::vector<double> values, double otherwise) {
  if (values.size() < kLeastPieces) return otherwise;
  std::sort(values.begin(), values.end());
  const auto quarter = static_cast<std::ptrdiff_t>(values.size() / 4);
  const double sum = std::accumulate(values.begin() + quarter, values.end() - quarter, 0.0);
  return sum / static_cast<double>(static_cast<std::ptrdiff_t>(values.size()) - 2 * quarter);
}

void AddPieces(const Strip& strip, int longest, Reach reach, std::vector<Piece>& pieces) {
  // Around the corners light is lost to two sides.
  const int length = strip.mask.rows - 2 * reach.depth;
  const int piece = std::clamp(length / kWantedPieces, kLeastDepth, longest);
  std::vector<Profile> profiles;
  std::vector<double> slopes;
  for (int from = reach.depth; from + piece <= strip.mask.rows - reach.depth; from += piece) {
    Profile profile(reach);
    for (int x = from; x < from + piece; ++x) profile.Add(strip, x);
    if (!profile.Usable()) continue;
    slopes.push_back(profile.Slope());
    profiles.push_back(std::move(profile));
  }
  // One slope for the side: that of a single piece says more about its LEDs than about the lens,
  // and is drawn out to the outline.
  const double slope = MiddleMean(std::move(slopes), 0.0);
  for (const Profile& profile : profiles) {
    if (const auto measured = profile.Measured(slope)) pieces.push_back(*measured);
  }
}

/// The part along one side; `upright` ones are the top and the bottom, `far` ones the right and
/// the bottom.
Strip Cut(const OutlineInput& input, const cv::Rect& part, bool upright, bool far) {
  const cv::Rect inside = part & cv::Rect({}, input.mask.size());
  Strip strip{input.light(inside), input.mask(inside), input.level, inside, upright, far};
  if (strip.light.depth() != CV_16U) strip.light.convertTo(strip.light, CV_16U);
  if (upright) {
    strip.light = cv::Mat(strip.light.t());
    strip.mask = cv::Mat(strip.mask.t());
  }
  return strip;
}

double MiddleOf(const std::vector<Piece>& pieces, double Piece::*value, double otherwise) {
  std::vector<double> values;
  values.reserve(pieces.size());
  for (const Piece& piece : pieces) values.push_back(piece.*value);
  return MiddleMean(std::move(values), otherwise);
}

/// Of the four sides.
struct Pieces {
  std::vector<Piece> left, right, top, bottom;

  static std::vector<Piece> Both(std::vector<Piece> one, const std::vector<Piece>& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
  }
  std::vector<Piece> Beside() const { return Both(left, right); }
  std::vector<Piece> AboveBelow() const { return Both(top, bottom); }
  std::vector<Piece> All() const { return Both(Beside(), AboveBelow()); }
};

/// All four sides, each looked at `wanted` pixels outside where the picture has as much.
Pieces MeasuredPieces(const OutlineInput& input, int wanted) {
  const cv::Rect& box = input.box;
  const cv::Point past = box.br();
  const int flat = std::clamp(static_cast<int>(std::min(input.cell.width, input.cell.height)),
                              kLeastDepth, kLongestPiece);
  // Each strip begins `depth` outside and has room for the outline to bend.
  const auto side = [&](int outside, bool upright, bool far) {
    std::vector<Piece> measured;
    const Reach reach{std::min(wanted, outside), flat};
    if (reach.depth < kLeastDepth / 2) return measured;
    const int length = 2 * reach.depth + reach.Inside();
    const int first = far ? reach.depth - length : -reach.depth;
    const cv::Rect part = upright
                              ? cv::Rect(box.x, (far ? past.y : box.y) + first, box.width, length)
                              : cv::Rect((far ? past.x : box.x) + first, box.y, length, box.height);
    AddPieces(Cut(input, part, upright, far), flat, reach, measured);
    return measured;
  };
  return {side(box.x, false, false), side(input.mask.cols - past.x, false, true),
          side(box.y, true, false), side(input.mask.rows - past.y, true, true)};
}

}  // namespace

double MeasuredRise(const OutlineInput& input) {
  const double side = std::min(input.cell.width, input.cell.height);
  const int depth = std::clamp(static_cast<int>(kRising * side), kLeastDepth, kMostDepth);
  return MiddleOf(MeasuredPieces(input, depth).All(), &Piece::rise, 0.0);
}

OutlineProfile MeasuredOutline(const OutlineInput& input, double rise) {
  const int wanted =
      std::clamp(static_cast<int>(kDepth * rise) + kSmoothing, kLeastDepth, kMostDepth);
  const Pieces pieces = MeasuredPieces(input, wanted);
  OutlineProfile outline;
  const auto excess = [](const std::vector<Piece>& side, const std::vector<Piece>& bothSides) {
    const double both = MiddleOf(bothSides, &Piece::excess, 0.0);
    return kHalf * (both + MiddleOf(side, &Piece::excess, both));
  };
  outline.excess = {excess(pieces.left, pieces.Beside()), excess(pieces.right, pieces.Beside()),
                    excess(pieces.top, pieces.AboveBelow()),
                    excess(pieces.bottom, pieces.AboveBelow())};
  outline.share =
      std::clamp(MiddleOf(pieces.All(), &Piece::share, kHalf), kLeastShare, kLargestShare);
  return outline;
}

}  // namespace dravix::checkerboard

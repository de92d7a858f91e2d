// The input is a picture of the lit area, a mask of it and the level of the light inside. Defocus
// moves light across the outline but loses none, so the light on a line across the outline, counted
// in units of the level inside, is as long as the way from the true outline to the end of the
// count. The difference to the mask is the excess, and the light at that place is the share of the
// level at which the outline must be cut: half for a Gaussian spot, up to 0.57 for a disk about as
// wide as the LEDs are apart, whose outline at half the level lies 1 to 2 pixels too far out. The
// output is one share and the excess of each side, as middle means over pieces of the outline. It
// needs a dark surround and a level that changes steadily: light of another source beside the
// screen counts as its own, and a side with too few pieces, or too close to the frame, says
// nothing.
#include "checkerboard/lit_area/outline_profile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "checkerboard/geometry/span.h"
#include "checkerboard/geometry/statistics.h"
#include "kernels/bits/bit_parts.h"
#include "kernels/row_sums.h"

namespace dravix::checkerboard {
namespace {

constexpr double kHalf = 0.5;
constexpr double kThreeQuarters = 0.75;
/// How far out the light is counted, in distances from half the level to three quarters: this
/// is 2.7 sigma of a Gaussian and 1.6 times the radius of a disk. Less would leave light uncounted,
/// which moves the outline inward; more would count stray light.
constexpr double kDepth = 4;
constexpr int kSmoothing = 6;  // pixels that the smoothing and the mask's cleaning add to that
/// Bounds of the depth, in pixels. The lower one is what a sharp edge spreads over once it is
/// smoothed; beyond the upper one the count would only take longer.
constexpr int kLeastDepth = 10;
constexpr int kMostDepth = 200;
/// The depth to measure the rise by, in blocks. Blurs are up to a third of a block wide, so the
/// edge rises within half of that on either side; this leaves room.
constexpr double kRising = 0.3;
/// Largest length of a piece along the outline, and of the flat part, in pixels: enough for a mean
/// over several LEDs.
constexpr int kLongestPiece = 128;
constexpr int kLeastLines = 4;  // lines of pixels that a piece must have
/// Pieces that there must be for a middle mean; with fewer, a single dead LED would move it.
constexpr std::size_t kLeastPieces = 4;
/// Pieces that a side is cut into where it is short: twice as many as there must be.
constexpr int kWantedPieces = 8;
/// Bounds of the share. Lenses give 0.5 to 0.57; what lies farther off was measured on noise.
constexpr double kLeastShare = 0.35;
constexpr double kLargestShare = 0.65;

/// Some lines of pixels across one side of the outline, turned so that each row is one of them. The
/// screen lies to the right or, flipped, to the left.
struct Strip {
  cv::Mat light;  // CV_16UC1
  cv::Mat mask;
  const LevelMap& level;
  cv::Rect part;  // of the working image
  bool transposed, flipped;

  /// The column of the strip that lies that many pixels inward from its outer end.
  int Inward(int distance) const { return flipped ? mask.cols - 1 - distance : distance; }
  double LevelAt(int row, int distance) const {
    const int column = Inward(distance);
    return level.At(part.tl() + (transposed ? cv::Point(row, column) : cv::Point(column, row)));
  }
};

cv::Mat Transposed(const cv::Mat& picture) {
  cv::Mat transposed;
  cv::transpose(picture, transposed);
  return transposed;
}

/// The surroundings of one side of the outline.
struct Surroundings {
  const OutlineInput& input;
  cv::Rect part;  // of the working image
  Axis axis;      // across the outline
  End end;        // of the axis where the side lies

  /// Pixels along the outline.
  int Length() const { return Along(part.size(), Other(axis)); }
  /// Lines first to last - 1. Few of them stay near while they are turned and looked at.
  Strip Lines(int first, int last) const {
    const int begin = SpanOf(part, Other(axis)).begin;
    cv::Rect lines = part;
    SetSpan(lines, Other(axis), {begin + first, begin + last});
    Strip strip{input.light(lines), kernels::CutMat(input.mask, lines),
                input.level,        lines,
                axis == Axis::kY,   end == End::kLast};
    if (strip.light.depth() != CV_16U) strip.light.convertTo(strip.light, CV_16U);
    if (strip.transposed) {
      strip.light = Transposed(strip.light);
      strip.mask = Transposed(strip.mask);
    }
    return strip;
  }
};

/// How far to either side of the outline the light is looked at, in pixels.
struct Reach {
  int depth;  ///< outside, and as far inside, where the edge is still rising
  int flat;   ///< farther inside, where the level is measured

  int Inside() const { return depth + flat; }
};

/// What one piece of the outline says.
struct Piece {
  double share;   ///< as in OutlineProfile
  double excess;  ///< pixels by which the mask lies too far out here
  double rise;    ///< pixels from half the level to three quarters
};

/// The light against the distance from the mask's outline, which is positive inward, summed up over
/// the lines of one piece.
class Profile {
 public:
  /// Sums up the lines of the strip, but for those on which it ends too close to the outline.
  Profile(Reach reach, const Strip& strip) : reach_(reach) {
    // At most kLongestPiece lines of 16 bits: the sums fit.
    std::vector<std::uint32_t> sums(static_cast<std::size_t>(reach.depth) +
                                    static_cast<std::size_t>(reach.Inside()));
    for (int row = 0; row < strip.mask.rows; ++row) Add(strip, row, sums);
    sum_.assign(sums.begin(), sums.end());
    if (strip.flipped) std::reverse(sum_.begin(), sum_.end());
  }

  bool Usable() const { return lines_ >= kLeastLines && level_ > 0; }

  /// Change of the level per pixel inward, as a share of the level.
  double Slope() const {
    const Line flat = LevelInside();
    const double level = flat.At((reach_.depth + reach_.Inside()) / 2.0);
    return level > 0 ? flat.slope / level : 0.0;
  }

  /// Where the outline lies that accounts for all the light, and the light's share of the level
  /// there. `slope` is that of the level, as Slope gives it. Empty where there is too little light.
  std::optional<Piece> Measured(double slope) const {
    if (!Usable()) return std::nullopt;
    const double dark = *std::min_element(sum_.begin(), sum_.begin() + reach_.depth);
    const Line flat = LevelInside();
    const double middle = (reach_.depth + reach_.Inside()) / 2.0;
    const double there = flat.At(middle);
    const Line inside{there * (1 - slope * middle), there * slope};
    double filled = 0;  // pixels that the light would fill at the full level
    double room = 0;    // pixels that it would fill if the mask's outline were the true one
    for (int d = -reach_.depth; d < reach_.Inside(); ++d) {
      const double level = inside.At(d) - dark;
      if (level <= 0) return std::nullopt;
      filled += Fade(d) * (sum_[Index(d)] - dark) / level;
      room += d >= 0 ? Fade(d) : 0.0;
    }
    return Piece{At(room - filled) / level_, room - filled, Rise(dark)};
  }

 private:
  /// Adds one line to sums that go from left to right, like the strip.
  void Add(const Strip& strip, int row, std::vector<std::uint32_t>& sums) {
    const uchar* mask = strip.mask.ptr(row);
    int edge = 0;
    while (edge < strip.mask.cols && mask[strip.Inward(edge)] == 0) ++edge;
    if (edge < reach_.depth || edge + reach_.Inside() > strip.mask.cols) return;
    const int left = strip.Inward(strip.flipped ? edge + reach_.Inside() - 1 : edge - reach_.depth);
    kernels::AddTo(sums.data(), strip.light.ptr<std::uint16_t>(row) + left,
                   static_cast<int>(sums.size()));
    level_ += strip.LevelAt(row, edge);
    ++lines_;
  }

  struct Line {
    double at, slope;
    double At(double d) const { return at + slope * d; }
  };

  std::size_t Index(int d) const {
    return static_cast<std::size_t>(std::ptrdiff_t{d} + reach_.depth);
  }
  /// The place in the flat part, 0 at its beginning to 1 at its end.
  double Flat(int d) const { return (d + 0.5 - reach_.depth) / reach_.flat; }
  /// Weight of a pixel in the count: 1 up to the flat part, then gently down to 0, so that it does
  /// not matter whether the count ends on an LED or between two.
  double Fade(int d) const {
    const double t = std::clamp(Flat(d), 0.0, 1.0);
    return 1 - t * t * (3 - 2 * t);
  }
  /// The straight line through the flat part. Its ends count little, for the same reason.
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
  /// The light at a place between the samples. The edge before pixel d lies at d, and the center of
  /// the pixel half a pixel farther.
  double At(double edge) const {
    const double place = std::clamp(edge - 0.5, -1.0 * reach_.depth, reach_.depth - 1.0);
    const int before = static_cast<int>(std::floor(place));
    const double rest = place - before;
    return (1 - rest) * sum_[Index(before)] + rest * sum_[Index(before + 1)];
  }

  /// The way from half the level to three quarters.
  double Rise(double dark) const { return Crossing(dark, kThreeQuarters) - Crossing(dark, kHalf); }
  /// Where the light, coming from outside, first reaches a share of the level.
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

/// The middle mean of enough values, else `otherwise`.
double MiddleMeanOr(double otherwise, std::vector<double> values) {
  return values.size() < kLeastPieces ? otherwise : MiddleMean(std::move(values));
}

/// Cuts one side into pieces of up to `longest` pixels and adds what each of them says.
void AddPieces(const Surroundings& side, int longest, Reach reach, std::vector<Piece>& pieces) {
  // The corners are left out, because there the light is lost to two sides.
  const int length = side.Length() - 2 * reach.depth;
  const int piece = std::clamp(length / kWantedPieces, kLeastDepth, longest);
  std::vector<Profile> profiles;
  std::vector<double> slopes;
  for (int from = reach.depth; from + piece <= side.Length() - reach.depth; from += piece) {
    Profile profile(reach, side.Lines(from, from + piece));
    if (!profile.Usable()) continue;
    slopes.push_back(profile.Slope());
    profiles.push_back(std::move(profile));
  }
  // One slope serves the whole side: that of a single piece says more about its LEDs than about the
  // lens, and it would be continued to the outline, where its error is largest.
  const double slope = MiddleMeanOr(0.0, std::move(slopes));
  for (const Profile& profile : profiles) {
    if (const auto measured = profile.Measured(slope)) pieces.push_back(*measured);
  }
}

/// The middle mean of one value of the pieces, or `otherwise` where they are too few.
double MiddleOf(const std::vector<Piece>& pieces, double Piece::*value, double otherwise) {
  std::vector<double> values;
  values.reserve(pieces.size());
  for (const Piece& piece : pieces) values.push_back(piece.*value);
  return MiddleMeanOr(otherwise, std::move(values));
}

/// The pieces of the four sides.
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

/// The pieces of all four sides. The light is counted from `wanted` pixels outside on, or from the
/// picture's border where that is nearer.
Pieces MeasuredPieces(const OutlineInput& input, int wanted) {
  const int flat = std::clamp(static_cast<int>(std::min(input.cell.width, input.cell.height)),
                              kLeastDepth, kLongestPiece);
  // A strip begins `depth` outside the mask's bounding rectangle. It is longer than the reach by
  // another `depth`, so that the outline may bend inward.
  const auto side = [&](Axis axis, End end) {
    std::vector<Piece> measured;
    const Span box = SpanOf(input.box, axis);
    const bool last = end == End::kLast;
    const int outside = last ? Along(input.light.size(), axis) - box.end : box.begin;
    const Reach reach{std::min(wanted, outside), flat};
    if (reach.depth < kLeastDepth / 2) return measured;
    const int length = 2 * reach.depth + reach.Inside();
    const int begin = last ? box.end + reach.depth - length : box.begin - reach.depth;
    const cv::Rect part = RectOf(axis, {begin, begin + length}, SpanOf(input.box, Other(axis)));
    AddPieces({input, part & cv::Rect({}, input.light.size()), axis, end}, flat, reach, measured);
    return measured;
  };
  return {side(Axis::kX, End::kFirst), side(Axis::kX, End::kLast), side(Axis::kY, End::kFirst),
          side(Axis::kY, End::kLast)};
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
  // The mean of what the side itself says and of what it says together with the opposite one. Both
  // see the same lens, so together they are steadier; a difference between them is still followed
  // half-way.
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

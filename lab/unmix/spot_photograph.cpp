// A sparse photograph is searched in the same way as the one that is un-mixed, with LEDs that lie
// on every so many places of its grid, and a checkerboard with dark LEDs among them. What the
// search's equations say at their end goes along with the spot, so that the other photograph can
// weigh it against its own.
#include "dravix/lab/spot_photograph.h"

#include <cmath>
#include <limits>
#include <stdexcept>

#include "lab/base/rounded_text.h"
#include "lab/base/size_text.h"
#include "lab/unmix/arguments.h"
#include "lab/unmix/refusals.h"
#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/estimate.h"

namespace dravix::lab {
namespace {

constexpr int kFewestAcross = 4;
constexpr double kMostLeftOver = 2.0;  // times the sensor's noise
constexpr double kMostMove = 0.3;      // pitches
constexpr double kMostClipped = 1e-3;  // of the samples of lit LEDs' places

/// Lit LEDs as places on the screen: from `first`, one of every `step`, `count` of them.
struct Lit {
  cv::Point first, step;
  cv::Size count;
};

Lit LitOf(const Shot& shot, bool hasPartitions) {
  const Shot::Pattern& p = *shot.pattern;
  cv::Point first(p.loc_x, p.loc_y);
  if (hasPartitions) first += cv::Point(shot.partition->x, shot.partition->y);
  return {first, {p.interval_x, p.interval_y}, {p.lighted_led_w, p.lighted_led_h}};
}

/// The lit LEDs of a sparse photograph among those of another one.
struct Among {
  cv::Point2d first;  ///< place of the first one: (0, 0) is the other's first LED
  cv::Point2d step;   ///< from one to the next
  cv::Size count;
};

void RequireSparse(const Lit& sparse, const Lit& all) {
  if (sparse.step.x < 1 || sparse.step.y < 1 || all.step.x < 1 || all.step.y < 1) {
    throw std::invalid_argument("has a pattern with an interval below 1");
  }
  if (1.0 * sparse.step.x * sparse.step.y <= 1.0 * all.step.x * all.step.y) {
    throw std::invalid_argument("has a pattern with an interval of " +
                                SizeText(cv::Size(sparse.step)) + ", expected more than the " +
                                SizeText(cv::Size(all.step)) +
                                " of the photograph that is un-mixed: its spots must lie apart");
  }
  if (sparse.count.width < kFewestAcross || sparse.count.height < kFewestAcross) {
    throw std::invalid_argument("has a pattern of " + SizeText(sparse.count) +
                                " LEDs, expected at least " +
                                SizeText({kFewestAcross, kFewestAcross}));
  }
}

Among AmongLedsOf(const Shot& photo, const Shot& sparse) {
  if (!sparse.pattern || !photo.pattern) {
    throw std::invalid_argument("has no pattern, expected one that says which LEDs are lit");
  }
  const bool hasPartitions = sparse.partition && photo.partition;
  const Lit own = LitOf(sparse, hasPartitions);
  const Lit all = LitOf(photo, hasPartitions);
  RequireSparse(own, all);
  const auto at = [](int place, int first, int step) {
    return static_cast<double>(place - first) / step;
  };
  const Among among = {
      {at(own.first.x, all.first.x, all.step.x), at(own.first.y, all.first.y, all.step.y)},
      {at(own.step.x, 0, all.step.x), at(own.step.y, 0, all.step.y)},
      own.count};
  const cv::Point2d last = among.first + cv::Point2d(among.step.x * (among.count.width - 1),
                                                     among.step.y * (among.count.height - 1));
  // Where one of several is lit in both, the outer ones need not be the same.
  if (!(among.first.x > -1 && among.first.y > -1 && last.x < all.count.width &&
        last.y < all.count.height)) {
    throw std::invalid_argument(
        "has lit LEDs outside of the part of the screen that the photograph to be un-mixed shows");
  }
  return among;
}

PhotographedSpot NoSpot(const std::string& reason) {
  constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
  return {std::nullopt, kUnknown, kUnknown, reason};
}

std::string WhyNoSpot(const unmix::SpotEstimate& found, double pitch) {
  const double ratio = found.residual / found.noise;
  if (!(ratio <= kMostLeftOver)) {
    return "the fitted spots leave over " + RoundedText(ratio) +
           " times the sensor's noise, expected at most " + RoundedText(kMostLeftOver) +
           ": it shows no spots of these LEDs, or its samples were scaled or compressed";
  }
  const double move = found.move / pitch;
  if (!(move <= kMostMove)) {
    return "found LEDs " + RoundedText(move) +
           " pitches from where the photograph that is un-mixed puts them, expected at most " +
           RoundedText(kMostMove) + ": both must be taken from one place";
  }
  return "";
}

/// A photograph that shows spots of some of the LEDs.
struct SpotsShown {
  const cv::Mat& image;
  Among among;
  cv::Mat1b lit;       ///< as in unmix::SpotEstimateOf
  double areaPerSpot;  ///< of the lit area, in places of LEDs; the dark between spots says nothing
};

PhotographedSpot SpotIn(const SpotsShown& shown, const Shot& photo, const UnmixOptions& options) {
  const unmix::Grid given =
      unmix::ExpectedGrid(unmix::Grid(options.corners, options.leds), options.places);
  const double pitch = unmix::PitchOf(given, options.interval);
  const unmix::Resolutions samples = unmix::ResolutionsOf(shown.image, pitch);
  const double clipped = unmix::SaturationOf(samples.fine, options).share * shown.areaPerSpot;
  if (!(clipped <= kMostClipped)) {
    return NoSpot("found " + RoundedText(100 * clipped) +
                  " % of the lit LEDs' samples saturated, expected at most " +
                  RoundedText(100 * kMostClipped) + " %: expose less");
  }
  cv::Mat1f measured;
  photo.image.convertTo(measured, CV_32F);
  unmix::Outlined outlined = unmix::OutlinedOf(measured, given);
  outlined.background = unmix::BackgroundOf(samples.fine, outlined.grid);
  outlined.grid = outlined.grid.Sparse(shown.among.first, shown.among.step, shown.among.count);
  const std::optional<unmix::SpotEstimate> found =
      unmix::SpotEstimateOf(samples, outlined, pitch, shown.lit);
  if (!found) return NoSpot("the LEDs are no brighter than their surroundings: expose more");
  const std::string refused = WhyNoSpot(*found, pitch);
  if (!refused.empty()) return NoSpot(refused);
  return {found->known, found->spot.Sigma() / pitch, found->spot.Radius() / pitch, ""};
}

void CheckImages(const Shot& other, const Shot& photo, const UnmixOptions& options) {
  unmix::CheckArguments(photo.image, options);
  unmix::CheckArguments(other.image, options);
  if (other.image.size() == photo.image.size()) return;
  throw std::invalid_argument("has " + SizeText(other.image.size()) + " pixels, expected " +
                              SizeText(photo.image.size()));
}

}  // namespace

PhotographedSpot SpotOf(const Shot& sparse, const Shot& photo, const UnmixOptions& options) {
  CheckImages(sparse, photo, options);
  const Among among = AmongLedsOf(photo, sparse);
  const SpotsShown shown{sparse.image, among, {}, among.step.x * among.step.y};
  return SpotIn(shown, photo, options);
}

PhotographedSpot SpotOfBoard(const Shot& board, const cv::Mat1b& lit, const Shot& photo,
                             const UnmixOptions& options) {
  CheckImages(board, photo, options);
  const int lights = lit.empty() ? 0 : cv::countNonZero(lit);
  const int all = options.leds.area();
  if (lit.size() != options.leds || lights == 0 || lights == all) {
    throw std::invalid_argument("found " + std::to_string(lights) + " lit LEDs among " +
                                SizeText(lit.size()) + ", expected some of " +
                                SizeText(options.leds));
  }
  const SpotsShown shown{
      board.image, {{0, 0}, {1, 1}, options.leds}, cv::Mat1b(lit != 0), 1.0 * all / lights};
  return SpotIn(shown, photo, options);
}

}  // namespace dravix::lab

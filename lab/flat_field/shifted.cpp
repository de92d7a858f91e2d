// The same LEDs give the same light in both photographs, so that the logarithm of the ratio of
// their levels holds the lens alone: F(r1) - F(r2), and a constant for the exposure. F is linear in
// its coefficients, and least squares over groups of LEDs gives them with their uncertainty. LEDs
// may differ as they like, and a screen that is darker at its edges stays so.
#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <vector>

#include "lab/base/rounded_text.h"
#include "lab/check/lit_area.h"
#include "lab/check/samples.h"
#include "lab/flat_field/area.h"
#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/cholesky.h"
#include "lab/unmix/search/outline.h"

namespace dravix::lab {
namespace {

constexpr int kEdge = 4;           ///< outer LEDs that mix with the dark outside
constexpr int kGroupsAcross = 24;  ///< along the shorter side, where there are LEDs enough
constexpr double kMostDeviation = 3e-3;
/// Half diagonals. Below it what other things than the lens do, such as an LED's light that differs
/// with the direction, counts for too much.
constexpr double kLeastShift = 0.02;
constexpr double kMostDisagreement = 0.01;
constexpr double kMostReach = 1.05;  ///< times the radius that the shifted photographs reach
constexpr int kTerms = 4;            ///< the constant and three coefficients of F

/// A screen in one photograph.
struct Seen {
  cv::Mat1d levels;  ///< cell means over the dark
  unmix::Centers places;
};

/// What one group of LEDs says.
struct Group {
  double logRatio;       ///< of its levels
  double first, second;  ///< squares of its distances from the middle, half diagonals
};

FlatFieldRefused NoArea(const char* which) {
  return {FlatFieldRefusal::kNoArea,
          std::string("the ") + which +
              " of the shifted photographs shows no whole lit area with four corners: show the "
              "whole screen in both",
          {}};
}

/// Corners of the largest lit area; none where it is cut off or no quadrilateral.
std::optional<Corners> FoundCorners(const Shot& shot, cv::Size leds) {
  const LitAreas found = FindLitAreas(SamplesOf(shot).plane, leds);
  if (found.areas.empty()) return std::nullopt;
  const LitArea& area = found.areas.front();
  if (!area.isQuad || area.touches) return std::nullopt;
  return area.outline.corners;
}

Seen SeenIn(const cv::Mat1f& samples, const Corners& corners, cv::Size leds) {
  unmix::Grid grid(corners, leds);
  unmix::AlignOutline(samples, unmix::BackgroundOf(samples, grid), grid);
  Seen seen;
  seen.places = unmix::CentersOf(grid);
  seen.levels = unmix::CellMeans(samples, seen.places) - unmix::BackgroundOf(samples, grid);
  return seen;
}

double SquaredRadius(const Seen& seen, const cv::Rect& leds, cv::Size photo) {
  const double x = cv::mean(seen.places.x(leds))[0] - 0.5 * (photo.width - 1);
  const double y = cv::mean(seen.places.y(leds))[0] - 0.5 * (photo.height - 1);
  return 4 * (x * x + y * y) /
         (static_cast<double>(photo.width) * photo.width +
          static_cast<double>(photo.height) * photo.height);
}

std::vector<Group> GroupsOf(const Seen& first, const Seen& second, cv::Size photo) {
  const cv::Size inner = first.levels.size() - cv::Size(2 * kEdge, 2 * kEdge);
  const int side = std::max(2, std::min(inner.width, inner.height) / kGroupsAcross);
  std::vector<Group> groups;
  for (int y = 0; y + side <= inner.height; y += side) {
    for (int x = 0; x + side <= inner.width; x += side) {
      const cv::Rect leds(kEdge + x, kEdge + y, side, side);
      const double ratio = cv::sum(first.levels(leds))[0] / cv::sum(second.levels(leds))[0];
      if (!(ratio > 0) || !std::isfinite(ratio)) continue;
      groups.push_back(
          {std::log(ratio), SquaredRadius(first, leds, photo), SquaredRadius(second, leds, photo)});
    }
  }
  return groups;
}

cv::Vec3d PowersOf(double squared) { return {squared, squared * squared, std::pow(squared, 3)}; }

struct ShiftedFit {
  cv::Vec3d coefficients;
  cv::Matx33d covariance;
  double scatter = 0;  ///< root mean square of what groups depart by
};

cv::Matx<double, 1, kTerms> TermsOf(const Group& group) {
  const cv::Vec3d d = PowersOf(group.first) - PowersOf(group.second);
  return {1.0, d[0], d[1], d[2]};
}

/// The inverse of the normal equations' matrix times the groups' variance, without the constant.
cv::Matx33d CovarianceOf(const cv::Mat1d& normal, double variance) {
  cv::Mat1d inverse;
  // Without a shift all terms are 0; a matrix without an inverse then leaves everything uncertain.
  if (cv::invert(normal, inverse, cv::DECOMP_CHOLESKY) == 0) return cv::Matx33d::eye() * 1e6;
  return cv::Matx33d(cv::Mat1d(inverse(cv::Rect(1, 1, 3, 3)) * variance));
}

/// Groups that depart far, as those on a broken module of one photograph, count less.
ShiftedFit LensFitOf(const std::vector<Group>& groups) {
  ShiftedFit fit;
  std::vector<double> departures(groups.size(), 0.0);
  for (int round = 0; round < 5; ++round) {
    cv::Mat1d normal(kTerms, kTerms, 0.0);
    cv::Mat1d right(1, kTerms, 0.0);
    for (std::size_t k = 0; k < groups.size(); ++k) {
      const double off = round == 0 ? 0.0 : departures[k] / (3.0 * fit.scatter + 1e-9);
      const double weight = 1.0 / (1.0 + off * off);
      const auto terms = TermsOf(groups[k]);
      normal += cv::Mat(terms.t() * terms * weight);
      right += cv::Mat(terms * (weight * groups[k].logRatio));
    }
    const cv::Mat1d found = unmix::Cholesky(normal).SolveRows(right);
    double squares = 0;
    for (std::size_t k = 0; k < groups.size(); ++k) {
      departures[k] = groups[k].logRatio - cv::Mat1d(TermsOf(groups[k])).dot(found);
      squares += departures[k] * departures[k];
    }
    fit.scatter = std::sqrt(squares / static_cast<double>(groups.size() - kTerms));
    fit.coefficients = {found(0, 1), found(0, 2), found(0, 3)};
    fit.covariance = CovarianceOf(normal, fit.scatter * fit.scatter);
  }
  return fit;
}

/// Squares of the distances of LEDs all over the area from the picture's middle, half diagonals.
std::vector<double> SquaredRadii(const unmix::Grid& grid, cv::Size photo) {
  constexpr int kSteps = 16;
  std::vector<double> radii;
  const double w = photo.width;
  const double h = photo.height;
  for (int i = 0; i <= kSteps; ++i) {
    for (int j = 0; j <= kSteps; ++j) {
      const cv::Point2d at =
          grid.At(1.0 * grid.Leds().width * i / kSteps, 1.0 * grid.Leds().height * j / kSteps) -
          cv::Point2d(0.5 * (w - 1), 0.5 * (h - 1));
      radii.push_back(4 * at.dot(at) / (w * w + h * h));
    }
  }
  return radii;
}

/// Root mean square, over the area, of the deviation of F from its own mean: one common gain does
/// not matter.
double DeviationOf(const ShiftedFit& fit, const std::vector<double>& radii) {
  cv::Vec3d mean;
  for (const double r : radii) mean += PowersOf(r) / static_cast<double>(radii.size());
  double sum = 0;
  for (const double r : radii) {
    const cv::Vec3d d = PowersOf(r) - mean;
    sum += d.dot(fit.covariance * d);
  }
  return std::sqrt(sum / static_cast<double>(radii.size()));
}

/// How far from the middle the outermost LED of a photograph lies, half diagonals.
double FarthestOf(const Seen& seen, cv::Size photo) {
  double farthest = 0;
  const int right = seen.levels.cols - 1;
  const int bottom = seen.levels.rows - 1;
  for (const cv::Point led :
       {cv::Point(0, 0), cv::Point(right, 0), cv::Point(right, bottom), cv::Point(0, bottom)}) {
    farthest = std::max(farthest, SquaredRadius(seen, {led, cv::Size(1, 1)}, photo));
  }
  return std::sqrt(farthest);
}

/// Mean distance between the places of an LED in the two photographs, half diagonals.
double ShiftOf(const Seen& first, const Seen& second, cv::Size photo) {
  cv::Mat1d distance;
  cv::magnitude(first.places.x - second.places.x, first.places.y - second.places.y, distance);
  return 2 * cv::mean(distance)[0] / std::hypot(photo.width, photo.height);
}

std::optional<FlatFieldRefused> ClippedIn(const Shot& shot, const cv::Mat1f& samples,
                                          const Corners& corners, const char* which) {
  const unmix::Saturation clipped = flat_field::ClippedOf(shot, samples, corners);
  if (!unmix::IsTooMuch(clipped)) return std::nullopt;
  return FlatFieldRefused{FlatFieldRefusal::kClipped,
                          std::string("the ") + which + " of the shifted photographs is clipped: " +
                              RoundedPercent(clipped.share) +
                              " of its lit area's samples are at the top, expected at most 0.1 %: "
                              "expose less",
                          {{"share", clipped.share}, {"top", clipped.top}}};
}

std::optional<FlatFieldRefused> DoubtAbout(const ShiftedFit& fit, double deviation, double shift) {
  if (!(fit.scatter <= kMostDisagreement)) {
    return FlatFieldRefused{FlatFieldRefusal::kDisagree,
                            "the shifted photographs disagree by " + RoundedPercent(fit.scatter) +
                                " beyond what a lens does, expected at most " +
                                RoundedPercent(kMostDisagreement) +
                                ": show the same picture in both, the same way up, and change "
                                "nothing but the direction",
                            {{"scatter", fit.scatter}}};
  }
  if (!(deviation <= kMostDeviation) || !(shift >= kLeastShift)) {
    return FlatFieldRefused{
        FlatFieldRefusal::kShift,
        "the screen moves by " + RoundedPercent(shift) +
            " of the picture's half diagonal between the shifted photographs, which leaves the "
            "loss of light uncertain by " +
            RoundedPercent(deviation) + ", expected at least " + RoundedPercent(kLeastShift) +
            " and at most " + RoundedPercent(kMostDeviation) + ": move it farther",
        {{"deviation", deviation}, {"shift", shift}}};
  }
  return std::nullopt;
}

std::optional<FlatFieldRefused> TooFarOut(double needed, double seen) {
  if (needed <= kMostReach * seen) return std::nullopt;
  return FlatFieldRefused{
      FlatFieldRefusal::kReach,
      "the photograph's LEDs reach " + RoundedPercent(needed) +
          " of the way to the picture's corners, those of the shifted photographs only " +
          RoundedPercent(seen) + ": move the screen farther outside there",
      {{"needed", needed}, {"seen", seen}}};
}

cv::Mat1f GainsOf(const ShiftedFit& fit, cv::Size photo) {
  constexpr int kLongest = 512;
  const double factor = std::max(1.0, std::max(photo.width, photo.height) / (1.0 * kLongest));
  cv::Mat1f gains(std::max(2, cvRound(photo.height / factor)),
                  std::max(2, cvRound(photo.width / factor)));
  const double unit = std::hypot(photo.width, photo.height);
  for (int y = 0; y < gains.rows; ++y) {
    for (int x = 0; x < gains.cols; ++x) {
      const double dx = ((x + 0.5) / gains.cols - 0.5) * photo.width;
      const double dy = ((y + 0.5) / gains.rows - 0.5) * photo.height;
      const double squared = 4 * (dx * dx + dy * dy) / (unit * unit);
      gains(y, x) = static_cast<float>(std::exp(fit.coefficients.dot(PowersOf(squared))));
    }
  }
  return gains;
}

}  // namespace

FlatField FlatFieldFromShifted(const Shot& first, const Shot& second, const FlatFieldArea& area) {
  const unmix::Grid grid = flat_field::GridOf(area);
  const cv::Mat1f a = flat_field::SamplesOf(first);
  const cv::Mat1f b = flat_field::SamplesOf(second);
  if (a.size() != b.size()) {
    throw std::invalid_argument("flat field: expected two photographs of one size");
  }
  constexpr int kFewestLeds = 2 * kEdge + 8;
  if (std::min(area.leds.width, area.leds.height) < kFewestLeds) {
    throw std::invalid_argument("flat field: expected at least " + std::to_string(kFewestLeds) +
                                " LEDs across and down");
  }
  FlatField field;
  field.photo = a.size();
  const auto cornersA = FoundCorners(first, area.leds);
  const auto cornersB = FoundCorners(second, area.leds);
  if (!cornersA || !cornersB) {
    field.refused = NoArea(cornersA ? "second" : "first");
    return field;
  }
  field.refused = ClippedIn(first, a, *cornersA, "first");
  if (!field.refused) field.refused = ClippedIn(second, b, *cornersB, "second");
  if (field.refused) return field;

  const Seen seenA = SeenIn(a, *cornersA, area.leds);
  const Seen seenB = SeenIn(b, *cornersB, area.leds);
  const std::vector<Group> groups = GroupsOf(seenA, seenB, field.photo);
  constexpr std::size_t kFewestGroups = 12;
  if (groups.size() < kFewestGroups) {
    field.refused = NoArea("first");
    return field;
  }
  const std::vector<double> radii = SquaredRadii(grid, field.photo);
  field.refused =
      TooFarOut(std::sqrt(*std::max_element(radii.begin(), radii.end())),
                std::max(FarthestOf(seenA, field.photo), FarthestOf(seenB, field.photo)));
  if (field.refused) return field;
  const ShiftedFit fit = LensFitOf(groups);
  const double deviation = DeviationOf(fit, radii);
  field.refused = DoubtAbout(fit, deviation, ShiftOf(seenA, seenB, field.photo));
  if (field.refused) return field;
  field.gains = GainsOf(fit, field.photo);
  field.deviation = deviation;
  flat_field::Normalize(grid, field);
  return field;
}

}  // namespace dravix::lab

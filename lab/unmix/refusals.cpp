#include "lab/unmix/refusals.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "lab/base/rounded_text.h"
#include "lab/unmix/search/outline.h"

namespace dravix::lab::unmix {
namespace {

constexpr double kMostNoiseGain = 6.0;
constexpr double kMostResidual = 2.0;  // times the sensor's noise
constexpr double kFarthestMove = 0.3;  // pitches
constexpr double kMostSaturated = 1e-3;

constexpr int kStrip = 128;  ///< rows that are looked at together, so few that they stay near

int StripsOf(const cv::Mat1f& photo) { return (photo.rows + kStrip - 1) / kStrip; }

/// Where some of the photograph's rows show the lit area.
cv::Mat1b LitMask(int columns, const cv::Range& rows, const UnmixOptions& options) {
  std::vector<cv::Point> outline(options.corners.begin(), options.corners.end());
  for (cv::Point& corner : outline) corner.y -= rows.start;
  cv::Mat1b mask(rows.size(), columns, std::uint8_t{0});
  cv::fillConvexPoly(mask, outline, 255);
  return mask;
}

/// Calls `visit(strip, samples, lit)` for strips of the photograph, on several threads.
template <class Visit>
void ForEachStrip(const cv::Mat1f& photo, const UnmixOptions& options, Visit visit) {
  cv::parallel_for_(cv::Range(0, StripsOf(photo)), [&](const cv::Range& strips) {
    for (int i = strips.start; i < strips.end; ++i) {
      const cv::Range rows(i * kStrip, std::min((i + 1) * kStrip, photo.rows));
      visit(static_cast<std::size_t>(i), cv::Mat1f(photo.rowRange(rows)),
            LitMask(photo.cols, rows, options));
    }
  });
}

/// How far a place on the screen lies from where another grid puts it, pitches along an axis.
double MoveOf(const Grid& from, const Grid& to, cv::Point2d place) {
  const cv::Point2d move = to.At(place.x, place.y) - from.At(place.x, place.y);
  return std::max(std::abs(move.x), std::abs(move.y)) / std::sqrt(from.CellArea(place.x, place.y));
}

/// The refusal of LEDs that are not where they should be. A screen's LEDs look alike, so one that
/// is not where several signs put it may be its neighbor.
std::optional<UnmixRefused> GridRefusal(const Moves& moves) {
  const auto refused = [](const std::string& found, double move, const std::string& advice) {
    return UnmixRefused{
        UnmixRefusal::kGrid,
        "found " + found + ", expected at most " + RoundedText(kFarthestMove) + advice,
        {{"move", move}}};
  };
  if (!(moves.corners <= kFarthestMove)) {
    return refused(
        "LEDs " + RoundedText(moves.corners) + " pitches from where the corners put them",
        moves.corners, ": give better corners");
  }
  if (!(moves.blocks <= kFarthestMove)) {
    return refused(
        "LEDs " + RoundedText(moves.blocks) + " pitches from where the lit area's sides put them",
        moves.blocks, ": they cannot be told from their neighbors");
  }
  if (std::isnan(moves.outline)) {
    return UnmixRefused{
        UnmixRefusal::kGrid,
        "found two opposite sides of the lit area without dark beside them, expected "
        "at least one of them to show where the LEDs end",
        {}};
  }
  if (!(moves.outline <= kFarthestMove)) {
    return refused("a side of the lit area " + RoundedText(moves.outline) +
                       " pitches from where its LEDs were found",
                   moves.outline, ": they cannot be told from their neighbors");
  }
  return std::nullopt;
}

/// Standard deviation of a spot along an axis, emitter and lens together; pixels.
double WidthOf(double variance, double emitter) {
  return std::sqrt(variance + emitter * emitter / 12.0);
}

}  // namespace

Saturation SaturationOf(const cv::Mat1f& photo, const UnmixOptions& options) {
  const auto strips = static_cast<std::size_t>(StripsOf(photo));
  Saturation saturation{options.sensorTop, 0};
  if (saturation.top <= 0) {
    std::vector<double> tops(strips, 0.0);
    ForEachStrip(photo, options,
                 [&](std::size_t i, const cv::Mat1f& samples, const cv::Mat1b& lit) {
                   cv::minMaxLoc(samples, nullptr, &tops[i], nullptr, nullptr, lit);
                 });
    saturation.top = *std::max_element(tops.begin(), tops.end());
  }
  std::vector<int> full(strips);
  std::vector<int> all(strips);
  ForEachStrip(photo, options, [&](std::size_t i, const cv::Mat1f& samples, const cv::Mat1b& lit) {
    cv::Mat1b both;
    cv::bitwise_and(samples >= saturation.top, lit, both);
    full[i] = cv::countNonZero(both);
    all[i] = cv::countNonZero(lit);
  });
  const double lit = std::accumulate(all.begin(), all.end(), 0.0);
  saturation.share = std::accumulate(full.begin(), full.end(), 0.0) / std::max(1.0, lit);
  return saturation;
}

bool IsTooMuch(const Saturation& saturation) { return !(saturation.share <= kMostSaturated); }

Moves MovesOf(const cv::Mat1f& photo, const Grid& given, const Estimate& estimate) {
  Moves moves;
  const double w = given.Leds().width;
  const double h = given.Leds().height;
  for (const cv::Point2d corner :
       {cv::Point2d(0, 0), cv::Point2d(w, 0), cv::Point2d(w, h), cv::Point2d(0, h)}) {
    moves.corners = std::max(moves.corners, MoveOf(given, estimate.grid, corner));
  }
  for (const Block& block : SpreadBlocks(given.Leds())) {
    moves.blocks = std::max(moves.blocks, MoveOf(estimate.outlined, estimate.grid, block.Middle()));
  }
  moves.outline = OutlineMiss(photo, estimate.background, estimate.grid);
  return moves;
}

std::optional<UnmixRefused> KnownSpotRefusal(const Estimate& alone, const Estimate& with,
                                             const KnownSpot& known) {
  constexpr double kMostLost = 20.0;   // times what is worth a step of the search
  constexpr double kMostWider = 0.02;  // relative
  const double lost = alone.freedom * (std::pow(with.residual / alone.residual, 2) - 1.0);
  const double wider =
      WidthOf(known.variance, known.emitter) / WidthOf(alone.spot.variance, alone.emitter) - 1.0;
  if (lost <= kMostLost * alone.smallestGain || std::abs(wider) <= kMostWider) return std::nullopt;
  return UnmixRefused{
      UnmixRefusal::kResidual,
      "the known spot is " + RoundedPercent(std::abs(wider)) +
          (wider > 0 ? " wider" : " narrower") + " than that of the photograph, expected at most " +
          RoundedPercent(kMostWider) + ": both photographs must be taken with the same focus",
      {{"wider", wider}}};
}

std::optional<UnmixRefused> RefusalOf(const Unmixed& unmixed, const Misfit& misfit,
                                      const Saturation& saturation, const Moves& moves) {
  const double ratio = misfit.residual / misfit.noise;
  // Conditions are written so that a number that is NaN is refused as well.
  if (IsTooMuch(saturation)) {
    return UnmixRefused{UnmixRefusal::kSaturated,
                        "found " + RoundedPercent(saturation.share) +
                            " of the lit area's samples saturated, expected at most " +
                            RoundedPercent(kMostSaturated) + ": expose less",
                        {{"share", saturation.share}, {"top", saturation.top}}};
  }
  if (std::optional<UnmixRefused> refused = GridRefusal(moves)) return refused;
  if (!(ratio <= kMostResidual)) {
    return UnmixRefused{UnmixRefusal::kResidual,
                        "the fitted spots leave over " + RoundedText(ratio) +
                            " times the sensor's noise, expected at most " +
                            RoundedText(kMostResidual) +
                            ": the photograph is no sum of spots that change smoothly, or its "
                            "samples were scaled or compressed",
                        {{"ratio", ratio}, {"residual", misfit.residual}, {"noise", misfit.noise}}};
  }
  if (!(unmixed.noiseGain <= kMostNoiseGain)) {
    return UnmixRefused{UnmixRefusal::kNoiseGain,
                        "found a noise gain of " + RoundedText(unmixed.noiseGain) +
                            ", expected at most " + RoundedText(kMostNoiseGain) +
                            ": the spots overlap too much; focus better",
                        {{"noise_gain", unmixed.noiseGain}}};
  }
  if (!(unmixed.sigma < unmixed.plainError)) {
    return UnmixRefused{UnmixRefusal::kNoGain,
                        "the expected error of " + RoundedPercent(unmixed.sigma) +
                            " is no better than that of cell means, " +
                            RoundedPercent(unmixed.plainError) + ": measure the plain way",
                        {{"sigma", unmixed.sigma}, {"plain_error", unmixed.plainError}}};
  }
  return std::nullopt;
}

}  // namespace dravix::lab::unmix

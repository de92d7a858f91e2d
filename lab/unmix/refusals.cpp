#include "lab/unmix/refusals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace dravix::lab::unmix {
namespace {

constexpr double kMostNoiseGain = 6.0;
constexpr double kMostResidual = 2.0;  // times the sensor's noise
constexpr double kFarthestMove = 0.3;  // pitches
constexpr double kMostSaturated = 1e-3;

std::string Text(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

std::string Percent(double share) { return Text(100 * share) + " %"; }

cv::Mat1b LitMask(cv::Size photo, const UnmixOptions& options) {
  std::vector<cv::Point> outline(options.corners.begin(), options.corners.end());
  cv::Mat1b mask(photo, std::uint8_t{0});
  cv::fillConvexPoly(mask, outline, 255);
  return mask;
}

}  // namespace

Saturation SaturationOf(const cv::Mat1f& photo, const UnmixOptions& options) {
  const cv::Mat1b lit = LitMask(photo.size(), options);
  Saturation saturation{options.sensorTop, 0};
  if (saturation.top <= 0) cv::minMaxLoc(photo, nullptr, &saturation.top, nullptr, nullptr, lit);
  cv::Mat full;
  cv::bitwise_and(photo >= saturation.top, lit, full);
  saturation.share =
      cv::countNonZero(full) / std::max(1.0, static_cast<double>(cv::countNonZero(lit)));
  return saturation;
}

bool IsTooMuch(const Saturation& saturation) { return !(saturation.share <= kMostSaturated); }

double FarthestMove(const Grid& given, const Grid& found) {
  double farthest = 0;
  for (const Block& block : SpreadBlocks(given.Leds())) {
    const cv::Point2d middle = block.Middle();
    const cv::Point2d move = found.At(middle.x, middle.y) - given.At(middle.x, middle.y);
    const double pitch = std::sqrt(given.CellArea(middle.x, middle.y));
    farthest = std::max({farthest, std::abs(move.x) / pitch, std::abs(move.y) / pitch});
  }
  return farthest;
}

std::optional<UnmixRefused> RefusalOf(const Unmixed& unmixed, const Misfit& misfit,
                                      const Saturation& saturation, double farthestMove) {
  const double ratio = misfit.residual / misfit.noise;
  // Conditions are written so that a number that is NaN is refused as well.
  if (IsTooMuch(saturation)) {
    return UnmixRefused{UnmixRefusal::kSaturated,
                        "found " + Percent(saturation.share) +
                            " of the lit area's samples saturated, expected at most " +
                            Percent(kMostSaturated) + ": expose less",
                        {{"share", saturation.share}, {"top", saturation.top}}};
  }
  if (!(farthestMove <= kFarthestMove)) {
    return UnmixRefused{UnmixRefusal::kGrid,
                        "found LEDs " + Text(farthestMove) +
                            " pitches from where the corners put them, expected at most " +
                            Text(kFarthestMove) + ": give better corners",
                        {{"move", farthestMove}}};
  }
  if (!(ratio <= kMostResidual)) {
    return UnmixRefused{
        UnmixRefusal::kResidual,
        "the fitted spots leave over " + Text(ratio) +
            " times the sensor's noise, expected at most " + Text(kMostResidual) +
            ": the photograph is no sum of equal spots, or its samples were scaled or compressed",
        {{"ratio", ratio}, {"residual", misfit.residual}, {"noise", misfit.noise}}};
  }
  if (!(unmixed.noiseGain <= kMostNoiseGain)) {
    return UnmixRefused{UnmixRefusal::kNoiseGain,
                        "found a noise gain of " + Text(unmixed.noiseGain) + ", expected at most " +
                            Text(kMostNoiseGain) + ": the spots overlap too much; focus better",
                        {{"noise_gain", unmixed.noiseGain}}};
  }
  if (!(unmixed.sigma < unmixed.plainError)) {
    return UnmixRefused{UnmixRefusal::kNoGain,
                        "the expected error of " + Percent(unmixed.sigma) +
                            " is no better than that of cell means, " +
                            Percent(unmixed.plainError) + ": measure the plain way",
                        {{"sigma", unmixed.sigma}, {"plain_error", unmixed.plainError}}};
  }
  return std::nullopt;
}

}  // namespace dravix::lab::unmix

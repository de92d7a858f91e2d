// Un-mixing in three steps: spot and grid are estimated on a few blocks of the photograph, all
// luminances are solved for at once, and the numbers that came up decide whether they may be given.
#include "dravix/lab/unmix.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/core/utility.hpp>

#include "lab/unmix/arguments.h"
#include "lab/unmix/refusals.h"
#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/search/estimate.h"
#include "lab/unmix/solution/solve.h"

namespace dravix::lab {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

/// Whether the photograph shows the whole cell of an LED, and no sample of it is saturated.
bool IsShown(const cv::Mat1f& photo, cv::Point2d center, double side, double top) {
  const int left = cvFloor(center.x - 0.5 * side + 0.5);
  const int right = cvCeil(center.x + 0.5 * side - 0.5);
  const int above = cvFloor(center.y - 0.5 * side + 0.5);
  const int below = cvCeil(center.y + 0.5 * side - 0.5);
  if (left < 0 || above < 0 || right >= photo.cols || below >= photo.rows) return false;
  for (int y = above; y <= below; ++y) {
    const float* row = photo[y];
    if (std::any_of(row + left, row + right + 1,
                    [&](float v) { return static_cast<double>(v) >= top; })) {
      return false;
    }
  }
  return true;
}

/// Blanks the LEDs that cannot be known, in both matrices.
void BlankUnknown(const cv::Mat1f& photo, const unmix::Centers& centers, double top,
                  Unmixed& result) {
  cv::parallel_for_(cv::Range(0, result.leds.height), [&](const cv::Range& rows) {
    for (int y = rows.start; y < rows.end; ++y) {
      for (int x = 0; x < result.leds.width; ++x) {
        const double side = std::sqrt(static_cast<double>(centers.area(y, x)));
        if (IsShown(photo, {centers.x(y, x), centers.y(y, x)}, side, top)) continue;
        result.luminances(y, x) = result.deviations(y, x) = std::numeric_limits<float>::quiet_NaN();
      }
    }
  });
}

/// What the model's faults add to the deviation: the part of the residual that is no noise, which
/// un-mixing amplifies as it does noise. It does not average out over a spot as noise does; about a
/// tenth of it reaches a luminance.
double ModelDeviation(const unmix::Estimate& estimate, double noiseGain) {
  constexpr double kReaching = 0.1;
  const double squares = estimate.residual * estimate.residual - estimate.noise * estimate.noise;
  return kReaching * noiseGain * std::sqrt(std::max(squares, 0.0));
}

/// Deviations by LED: a smaller cell collects less light.
cv::Mat1f DeviationsOf(const unmix::Centers& centers, const cv::Mat1f& relative, double pitch,
                       double deviation) {
  cv::Mat1f deviations(centers.area.size());
  for (int y = 0; y < deviations.rows; ++y) {
    for (int x = 0; x < deviations.cols; ++x) {
      const double side = std::sqrt(static_cast<double>(centers.area(y, x)));
      deviations(y, x) = relative(y, x) * static_cast<float>(deviation * pitch / side);
    }
  }
  return deviations;
}

cv::Mat2f PlacesOf(const unmix::Centers& centers) {
  cv::Mat merged;
  cv::merge(std::vector<cv::Mat>{centers.x, centers.y}, merged);
  cv::Mat2f places;
  merged.convertTo(places, CV_32F);
  return places;
}

cv::Point2d MeanShift(const unmix::Grid& given, const unmix::Grid& found) {
  cv::Point2d sum;
  double count = 0;
  for (const unmix::Block& block : unmix::SpreadBlocks(given.Leds())) {
    const cv::Point2d middle = block.Middle();
    sum += found.At(middle.x, middle.y) - given.At(middle.x, middle.y);
    count += 1;
  }
  return sum / (count * given.Pitch());
}

/// The answer before it is asked whether it may be given.
Unmixed AnswerOf(const cv::Mat1f& photo, const unmix::Grid& byCorners,
                 const unmix::Estimate& estimate, const unmix::Centers& centers) {
  const unmix::Solution solution = unmix::SolutionOf(photo, estimate, centers);
  const double pitch = byCorners.Pitch();
  const double deviation =
      std::hypot(solution.deviation, ModelDeviation(estimate, solution.noiseGain));
  Unmixed answer;
  answer.leds = byCorners.Leds();
  answer.luminances = solution.luminances;
  answer.deviations = DeviationsOf(centers, solution.relative, estimate.grid.Pitch(), deviation);
  answer.places = PlacesOf(centers);
  answer.mean = solution.mean;
  answer.spotSigma = estimate.spot.Sigma() / pitch;
  answer.spotDisk = estimate.spot.Radius() / pitch;
  answer.shift = MeanShift(byCorners, estimate.grid);
  answer.noiseGain = solution.noiseGain;
  answer.contrastSeen = solution.contrastSeen;
  answer.plainError = solution.plainError / solution.mean;
  answer.sigma = cv::norm(answer.deviations) / std::sqrt(answer.deviations.total()) / solution.mean;
  return answer;
}

/// Nothing is known of a photograph that is saturated or dark.
Unmixed UnknownAnswer(const UnmixOptions& options, const unmix::Saturation& saturation) {
  Unmixed answer;
  answer.leds = options.leds;
  answer.mean = answer.spotSigma = answer.spotDisk = kUnknown;
  answer.shift = {kUnknown, kUnknown};
  answer.noiseGain = answer.contrastSeen = answer.plainError = answer.sigma = kUnknown;
  if (unmix::IsTooMuch(saturation)) {
    answer.refused = unmix::RefusalOf(answer, {}, saturation, {});
  } else {
    answer.refused = UnmixRefused{UnmixRefusal::kNoGain,
                                  "the lit area is no brighter than its surroundings, expected "
                                  "light above the noise: expose more, or give other corners",
                                  {}};
  }
  return answer;
}

}  // namespace

const char* NameOf(UnmixRefusal refusal) {
  switch (refusal) {
    case UnmixRefusal::kNoiseGain:
      return "noise-gain";
    case UnmixRefusal::kResidual:
      return "residual";
    case UnmixRefusal::kGrid:
      return "grid";
    case UnmixRefusal::kSaturated:
      return "saturated";
    case UnmixRefusal::kNoGain:
      return "no-gain";
  }
  return "";
}

Unmixed Unmix(const cv::Mat& photo, const UnmixOptions& options) {
  unmix::CheckArguments(photo, options);
  const unmix::Grid byCorners(options.corners, options.leds);
  const unmix::Grid given = unmix::ExpectedGrid(byCorners, options.places);
  const unmix::Resolutions samples =
      unmix::ResolutionsOf(photo, unmix::PitchOf(byCorners, options.interval));
  const unmix::Saturation saturation = unmix::SaturationOf(samples.fine, options);
  if (unmix::IsTooMuch(saturation)) return UnknownAnswer(options, saturation);

  const unmix::Expectation expected{given, unmix::PitchOf(given, options.interval), options.spot};
  const std::optional<unmix::Estimate> estimate = unmix::EstimateOf(samples, expected);
  if (!estimate) return UnknownAnswer(options, saturation);
  const unmix::Centers centers = unmix::CentersOf(estimate->grid);
  Unmixed answer = AnswerOf(samples.fine, byCorners, *estimate, centers);
  if (expected.spot) {
    const auto alone = unmix::EstimateOf(samples, {expected.grid, expected.pitch, {}});
    if (alone) answer.refused = unmix::KnownSpotRefusal(*alone, *estimate, *expected.spot);
  }
  if (!answer.refused) {
    answer.refused = unmix::RefusalOf(answer, {estimate->residual, estimate->noise}, saturation,
                                      unmix::MovesOf(samples.fine, given, *estimate));
  }
  if (answer.refused) {
    answer.luminances.release();
    answer.deviations.release();
    answer.places.release();
  } else {
    BlankUnknown(samples.fine, centers, saturation.top, answer);
  }
  return answer;
}

}  // namespace dravix::lab

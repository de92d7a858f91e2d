// The photograph is a sum of spots, one per LED. The luminances are those that fit the photograph
// best when each LED is also drawn toward the smoothed level about it, the more so the noisier the
// photograph and the more alike the LEDs (the maximum of the posterior probability for normal noise
// and normally scattered LEDs). They solve (G + lambda) z = H'(p - b) - G L0 for the departure z
// from the smoothed level L0, where G holds the overlaps of the spots. G has few elements in a row
// and is well-conditioned wherever the answer is of use, so conjugate gradients need some ten
// rounds.
#include "lab/unmix/solution/solve.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core/utility.hpp>
#include <vector>

#include "lab/unmix/search/cell_means.h"
#include "lab/unmix/solution/overlap_operator.h"
#include "lab/unmix/solution/spot_sums.h"

namespace dravix::lab::unmix {
namespace {

constexpr double kSmoothing = 2.0;  ///< LEDs: sigma of the smoothed level

/// Sums over all LEDs in double precision, row by row, so that they do not depend on threads.
double Dot(const cv::Mat1f& a, const cv::Mat1f& b) {
  double sum = 0;
  for (int y = 0; y < a.rows; ++y) {
    double row = 0;
    for (int x = 0; x < a.cols; ++x)
      row += static_cast<double>(a(y, x)) * static_cast<double>(b(y, x));
    sum += row;
  }
  return sum;
}

/// to += factor * from
void AddScaled(double factor, const cv::Mat1f& from, cv::Mat1f& to) {
  cv::scaleAdd(from, factor, to, to);
}

/// Conjugate gradients for (overlaps + lambda) z = right, lambda one per LED.
cv::Mat1f ConjugateGradients(const OverlapOperator& overlaps, const cv::Mat1f& lambda,
                             const cv::Mat1f& right, const cv::Mat1f& start) {
  constexpr double kTolerance = 1e-4;  // of the right side's norm
  constexpr int kMostRounds = 60;
  const auto apply = [&](const cv::Mat1f& values) {
    cv::Mat1f product;
    overlaps.Apply(values, product);
    product += lambda.mul(values);
    return product;
  };
  cv::Mat1f z = start.clone();
  cv::Mat1f residual(right - apply(z));
  cv::Mat1f direction = residual.clone();
  double squares = Dot(residual, residual);
  const double enough = kTolerance * kTolerance * Dot(right, right);
  for (int round = 0; round < kMostRounds && squares > enough; ++round) {
    const cv::Mat1f product = apply(direction);
    const double step = squares / Dot(direction, product);
    AddScaled(step, direction, z);
    AddScaled(-step, product, residual);
    const double next = Dot(residual, residual);
    cv::scaleAdd(direction, next / squares, residual, direction);
    squares = next;
  }
  return z;
}

/// Standard deviation of the LEDs about the smoothed level, from what cell means show of it. The
/// outer LEDs are left out, because their cells show the dark beside the screen.
double ScatterOf(const cv::Mat1d& departures, double noiseVariance, double shown, double mean) {
  constexpr int kOuter = 6;
  constexpr double kClipped = 0.002;  // the share on either side that may be dead or hot LEDs
  const cv::Size size = departures.size();
  const bool roomy = std::min(size.width, size.height) > 20;
  const cv::Rect inner(kOuter, kOuter, size.width - 2 * kOuter, size.height - 2 * kOuter);
  const cv::Mat1d some = roomy ? departures(inner) : departures;
  std::vector<double> sorted(some.begin(), some.end());
  std::sort(sorted.begin(), sorted.end());
  const auto at = [&](double share) {
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
  };
  const double low = at(kClipped);
  const double high = at(1 - kClipped);
  double squares = 0;
  for (const double value : sorted) squares += std::pow(std::clamp(value, low, high), 2);
  const double variance =
      std::max(squares / static_cast<double>(sorted.size()) - noiseVariance, 0.0);
  // No screen is evener than the lower bound, and beyond the upper one LEDs are simply free.
  return std::clamp(std::sqrt(variance / shown), 0.0005 * mean, 0.2 * mean);
}

/// What cell means make of scattered LEDs.
struct PlainMixing {
  double shown;  ///< share of their variance that cell means have
  double lost;   ///< variance of cell mean minus own luminance, over their variance
};

PlainMixing PlainMixingOf(const cv::Mat1d& response) {
  const double squares = response.dot(response);
  const double own = response(response.rows / 2, response.cols / 2);
  return {squares, squares - 2 * own + 1};
}

/// The operator's eigenvalues where this is an LED's row: those of waves over the LEDs.
cv::Mat1d SpectrumOf(const cv::Mat1d& row) {
  constexpr int kWaves = 64;
  cv::Mat2d wrapped(kWaves, kWaves, cv::Vec2d(0, 0));
  const int reach = row.rows / 2;
  for (int y = -reach; y <= reach; ++y) {
    for (int x = -reach; x <= reach; ++x) {
      wrapped((y + kWaves) % kWaves, (x + kWaves) % kWaves)[0] += row(y + reach, x + reach);
    }
  }
  cv::dft(wrapped, wrapped);
  cv::Mat1d real;
  cv::extractChannel(wrapped, real, 0);
  return cv::Mat1d(cv::max(real, 1e-12));
}

/// Mean of a function over the spectrum.
template <class Function>
double Over(const cv::Mat1d& spectrum, Function function) {
  double sum = 0;
  for (const double s : spectrum) sum += function(s);
  return sum / static_cast<double>(spectrum.total());
}

/// What the spectrum at some place of the screen says of the answer there.
struct Outlook {
  double noiseGain, contrastSeen, deviation;
};

Outlook OutlookAt(const cv::Mat1d& spectrum, double lambda, double noise, double pitch) {
  return {pitch * std::sqrt(Over(spectrum, [&](double e) { return e / std::pow(e + lambda, 2); })),
          Over(spectrum, [&](double e) { return e / (e + lambda); }),
          noise * std::sqrt(Over(spectrum, [&](double e) { return 1.0 / (e + lambda); }))};
}

/// A row of the operator where all spots are as wide as the model's.
cv::Mat1d EvenRow(const SpotModel& model, double pitch, int reach) {
  const ByDistance overlap = model.Overlap();
  cv::Mat1d row(2 * reach + 1, 2 * reach + 1);
  for (int y = -reach; y <= reach; ++y) {
    for (int x = -reach; x <= reach; ++x) {
      row(y + reach, x + reach) =
          std::pow(pitch, 4) * static_cast<double>(overlap.At(x * pitch, y * pitch));
    }
  }
  return row;
}

/// What is known at the screen's middle, for a screen whose spots change: the noise gain of the
/// widest spots, which limits the answer, means of the rest, and the deviation by LED.
void TakeInField(const SpotFamily& spots, double lambda, double noise, double pitch, int reach,
                 Solution& s) {
  std::vector<Outlook> outlooks;
  for (const SpotModel& model : spots.models) {
    outlooks.push_back(OutlookAt(SpectrumOf(EvenRow(model, pitch, reach)), lambda, noise, pitch));
    s.noiseGain = std::max(s.noiseGain, outlooks.back().noiseGain);
  }
  s.relative = cv::Mat1f(spots.positions.size());
  double contrast = 0;
  for (int y = 0; y < s.relative.rows; ++y) {
    for (int x = 0; x < s.relative.cols; ++x) {
      const Between at = BetweenOf(spots.positions(y, x), outlooks.size());
      const Outlook& before = outlooks[at.first];
      const Outlook& after = outlooks[at.first + 1];
      const auto share = static_cast<double>(at.share);
      const double own = before.deviation + share * (after.deviation - before.deviation);
      s.relative(y, x) = static_cast<float>(own / s.deviation);
      contrast += before.contrastSeen + share * (after.contrastSeen - before.contrastSeen);
    }
  }
  s.contrastSeen = contrast / static_cast<double>(s.relative.total());
}

}  // namespace

Solution SolutionOf(const cv::Mat1f& photo, const Estimate& estimate, const Centers& centers) {
  const SpotModel model(estimate.spot, estimate.emitter);
  const double pitch = estimate.grid.Pitch();
  const cv::Mat1d response = model.CellResponse(pitch);
  const cv::Mat1d cells = CoveredLevels(CellMeans(photo, centers), estimate.background, response);
  const cv::Mat1d smooth = Smoothed(cells, kSmoothing);
  const SpotFamily spots = FamilyOf(estimate.spot, estimate.emitter, estimate.field, estimate.grid);
  const OverlapOperator overlaps(centers, spots);

  const double noise = estimate.litNoise;
  const double cellNoise = noise / pitch;
  const PlainMixing plain = PlainMixingOf(response);
  Solution s;
  s.mean = cv::mean(cells)[0];
  s.scatter = ScatterOf(cv::Mat1d(cells - smooth), cellNoise * cellNoise, plain.shown, s.mean);
  const double lambda = std::pow(noise / s.scatter, 2);

  cv::Mat1f level;
  smooth.convertTo(level, CV_32F);
  cv::Mat1f start;
  cv::Mat1d(cells - smooth).convertTo(start, CV_32F);
  cv::Mat1f ofLevel;
  overlaps.Apply(level, ofLevel);
  const cv::Mat1f right(SpotSums(photo, estimate.background, centers, spots) - ofLevel);
  const cv::Mat1f lambdas(level.size(), static_cast<float>(lambda));
  s.luminances = cv::Mat1f(level + ConjugateGradients(overlaps, lambdas, right, start));

  const cv::Mat1d row = overlaps.RowOf({overlaps.Leds().width / 2, overlaps.Leds().height / 2});
  const Outlook outlook = OutlookAt(SpectrumOf(row), lambda, noise, pitch);
  s.noiseGain = outlook.noiseGain;
  s.contrastSeen = outlook.contrastSeen;
  s.deviation = outlook.deviation;
  s.relative = cv::Mat1f(cells.size(), 1.0F);
  if (spots.models.size() > 1) TakeInField(spots, lambda, noise, pitch, row.rows / 2, s);
  s.plainError =
      std::sqrt(std::pow(s.scatter, 2) * std::max(plain.lost, 0.0) + cellNoise * cellNoise);
  return s;
}

}  // namespace dravix::lab::unmix

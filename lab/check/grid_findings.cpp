/// Findings on the LED grid: does it have the pattern's counts, is it too sharp, too soft, or does
/// it beat with the camera's pixels?
///
/// Beats. A measurement interpolates the photograph and takes the mean over each LED's cell. Pixels
/// sample the grid's k-th wave, and the m-th alias of it is seen by the mean over a cell as
/// strongly as by the product of three frequency responses: of the cell, of the share that a pixel
/// on the cell's edge has in it, and of the interpolation. What passes moves from LED to LED as the
/// pixels move against the grid, and looks like luminances that differ.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "lab/base/size_text.h"
#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

constexpr double kMostMiscount = 0.02;   // of the pattern's count
constexpr double kLeastMiscount = 0.75;  // LEDs: counts are whole, and a soft outline is a bit wide
constexpr double kDotsApart = 1.1;       // modulation of LEDs that stand apart as dots
constexpr double kMostBeat = 0.01;       // RMS that sampling alone would add, over the mean
constexpr double kSeen = 5;              // times the noise, for a wave to count
constexpr double kSeenBeat = 0.02;       // amplitude of slow bands in the photograph, over the mean
constexpr double kWidestSpot = 0.8;      // pitches
constexpr double kSlow = 0.7;            // waves per LED: bands that are wider than LEDs
constexpr double kMostClipped = 0.4;     // of the samples; sharp LEDs may clip up to their own area
// A spot that wide leaves less modulation than this, whether it is a Gaussian or a disk.
constexpr double kModulationOfWide = 0.06;

double Sinc(double x) { return std::abs(x) < 1e-9 ? 1.0 : std::sin(CV_PI * x) / (CV_PI * x); }

/// Frequency response of the cubic interpolation of a measurement, at waves per pixel.
double CubicResponse(double frequency) {
  constexpr double kA = -0.75;
  constexpr int kSteps = 200;
  double sum = 0;
  for (int i = 0; i < kSteps; ++i) {
    const double x = 2.0 * (i + 0.5) / kSteps;
    const double weight = x < 1 ? ((kA + 2) * x - (kA + 3)) * x * x + 1
                                : ((kA * x - 5 * kA) * x + 8 * kA) * x - 4 * kA;
    sum += weight * std::cos(2 * CV_PI * frequency * x);
  }
  return 2 * sum * 2.0 / kSteps;
}

/// RMS over the mean that sampling adds to luminances, from the waves along one axis.
double BeatError(const Modulation& m) {
  double squares = 0;
  for (int k = 1; k <= kHarmonics; ++k) {
    for (int order = 1; order <= 2; ++order) {
      const double perPixel = order - k / m.pitch;
      const double passes = Sinc(order * m.pitch - k) * Sinc(perPixel) * CubicResponse(perPixel);
      const auto i = static_cast<std::size_t>(k - 1);
      if (m.amplitude.at(i) < kSeen * m.noise.at(i)) continue;
      const double amplitude = m.amplitude.at(i) * passes;
      squares += amplitude * amplitude / 2;
    }
  }
  return std::sqrt(squares);
}

/// The strongest alias that is slower than the grid's own wave.
struct SlowBeat {
  double amplitude = 0;  ///< over the mean, in the photograph
  double period = 0;     ///< pixels
};

SlowBeat SlowBeatOf(const Modulation& m) {
  SlowBeat beat;
  for (int k = 1; k <= kHarmonics; ++k) {
    const auto i = static_cast<std::size_t>(k - 1);
    const bool isSlow = m.alias.at(i) < kSlow / m.pitch;
    const bool isSeen = m.amplitude.at(i) > kSeen * m.noise.at(i);
    if (!isSlow || !isSeen || m.amplitude.at(i) <= beat.amplitude) continue;
    beat = {m.amplitude.at(i), 1 / std::max(m.alias.at(i), 1e-3)};
  }
  return beat;
}

/// Whether both periods belong to one grid of LEDs. The same round spot blurs both ways, so that
/// both waves are about as strong; and LEDs, or every so many of them, lie on squares.
bool IsOneGrid(const Subject& subject, const std::array<SeenPeriod, 2>& seen) {
  if (!seen[0].isSeen || !seen[1].isSeen) return false;
  constexpr double kAlike = 6;     // a disk of defocus may weaken one wave more than the other
  constexpr double kSquare = 1.2;  // tilt shortens one direction
  const double strength = std::abs(std::log(seen[0].amplitude / seen[1].amplitude));
  if (strength > std::log(kAlike)) return false;
  const cv::Size2d sides = MeanSides(subject.outline->corners);
  const double ratio = (sides.width / seen[0].count) / std::max(1e-9, sides.height / seen[1].count);
  const auto near = [&](double other) {
    return other > 0 && std::abs(std::log(ratio / other)) < std::log(kSquare);
  };
  const auto& pattern = subject.photo.pattern;
  const double intervals = pattern && pattern->interval_x > 0 && pattern->interval_y > 0
                               ? static_cast<double>(pattern->interval_x) / pattern->interval_y
                               : 1.0;
  return near(1) || near(intervals);
}

void CheckCount(const Subject& subject, const std::array<SeenPeriod, 2>& seen, Findings& findings) {
  const auto differs = [](const SeenPeriod& period, int leds) {
    const double most = std::max(kMostMiscount * leds, kLeastMiscount);
    return period.isSeen && leds > 0 && std::abs(period.count - leds) > most;
  };
  if (!differs(seen[0], subject.leds.width) && !differs(seen[1], subject.leds.height)) return;
  if (!IsOneGrid(subject, seen)) return;
  const cv::Size2d counts(seen[0].count, seen[1].count);
  Add(findings, "led-count",
      "the lit area shows a grid of " + Text(counts, 1) + " LEDs, but the pattern says " +
          SizeText(subject.leds) +
          ": correct the pattern's counts of lit LEDs (or its intervals), or check that the "
          "outline holds the whole screen",
      {{"seen", Pair(counts)}, {"pattern", Pair(subject.leds)}});
}

/// The counts to go on with: the pattern's, or what is seen where that differs.
cv::Size CountsFor(const Subject& subject, const std::array<SeenPeriod, 2>& seen,
                   bool isMiscounted) {
  cv::Size leds = subject.leds;
  if (leds.empty() || isMiscounted) {
    if (seen[0].isSeen) leds.width = cvRound(seen[0].count);
    if (seen[1].isSeen) leds.height = cvRound(seen[1].count);
  }
  return leds;
}

void CheckSharpness(const std::array<Modulation, 2>& waves, Findings& findings) {
  double strongest = 0;
  for (const Modulation& m : waves) {
    // Without the share that the pixels themselves take.
    const double pixel = std::max(0.1, Sinc(std::min(1.0, 1 / m.pitch)));
    strongest = std::max(strongest, m.amplitude[0] / pixel);
  }
  const double beat = std::hypot(BeatError(waves[0]), BeatError(waves[1]));
  if (strongest <= kDotsApart && beat <= kMostBeat) return;
  Add(findings, "too-sharp",
      "the LED grid's wave is " + Percent(strongest) +
          " of the mean light, so the luminances beat with the camera's sampling, by about " +
          Percent(beat) +
          " RMS: defocus until the light of one LED spreads to about half the "
          "distance to the next",
      {{"modulation", strongest},
       {"beat_rms", beat},
       {"pixels_per_led", std::vector<double>{waves[0].pitch, waves[1].pitch}}});
}

void CheckMoire(const std::array<Modulation, 2>& waves, Findings& findings) {
  const SlowBeat across = SlowBeatOf(waves[0]);
  const SlowBeat down = SlowBeatOf(waves[1]);
  const SlowBeat& beat = across.amplitude >= down.amplitude ? across : down;
  if (beat.amplitude <= kSeenBeat) return;
  Add(findings, "moire",
      "bands of " + Percent(beat.amplitude) + " of the mean light, about " + Text(beat.period, 0) +
          " pixels apart, show where the LED grid beats with the camera's pixels: defocus a "
          "little, or change the distance so that an LED covers more pixels",
      {{"amplitude", beat.amplitude},
       {"period", beat.period},
       {"pixels_per_led", std::vector<double>{waves[0].pitch, waves[1].pitch}}});
}

void CheckBlur(const Subject& subject, cv::Size leds, const std::array<Modulation, 2>& waves,
               Findings& findings) {
  if (std::max(waves[0].amplitude[0], waves[1].amplitude[0]) > kModulationOfWide) return;
  const double sigma = SpotSigma(subject.samples.plane, *subject.outline, leds);
  if (sigma <= kWidestSpot) return;
  Add(findings, "too-blurred",
      "the light of one LED spreads with a sigma of " + Text(sigma) +
          " of the distance to the next, above 0.8, so neighbors mix beyond use: focus better, to "
          "a sigma of 0.3 to 0.6",
      {{"sigma", sigma}});
}

}  // namespace

void CheckGrid(Subject& subject, Findings& findings) {
  if (!subject.isLit || !subject.isWhole || !subject.outline) return;
  // Parts of a screen have other counts, and clipped light has waves of its own.
  if (Has(findings, "several-areas") || subject.clipped > kMostClipped) return;
  const std::array<SeenPeriod, 2> seen =
      SeePeriods(subject.samples.plane, *subject.outline, subject.leds, subject.darkLevel);
  CheckCount(subject, seen, findings);
  subject.counts = CountsFor(subject, seen, Has(findings, "led-count"));
  const cv::Size leds = subject.counts;
  if (leds.empty()) return;
  const std::array<Modulation, 2> waves =
      ModulationOf(subject.samples.plane, *subject.outline, leds, subject.darkLevel);
  CheckSharpness(waves, findings);
  CheckMoire(waves, findings);
  CheckBlur(subject, leds, waves, findings);
}

}  // namespace dravix::lab

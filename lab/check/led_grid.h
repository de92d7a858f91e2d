/// The LED grid as it shows in the photograph: its period, its modulation, and the spread of light.
#pragma once

#include <array>
#include <opencv2/core.hpp>

#include "lab/check/outline.h"

namespace dravix::lab {

/// A period along one axis of the outline.
struct SeenPeriod {
  bool isSeen = false;
  double count = 0;      ///< periods from one side of the outline to the other
  double amplitude = 0;  ///< of the grid's wave over the mean, in the rectified photograph
};

/// Looks for the grid's period across and down. `leds` are the counts that the pattern gives; 0
/// where there is none. `dark` is the level without light.
[[nodiscard]] std::array<SeenPeriod, 2> SeePeriods(const cv::Mat& plane, const Outline& outline,
                                                   cv::Size leds, double dark);

constexpr int kHarmonics = 8;

/// The light along one axis as waves of the grid: amplitude of the k-th over the mean, at k - 1. 0
/// where the sampling hides a wave behind another.
struct Modulation {
  double pitch = 0;                            ///< pixels from LED to LED along the axis
  std::array<double, kHarmonics> amplitude{};  ///< as the sensor's pixels see it
  std::array<double, kHarmonics> noise{};      ///< what the same sums give without a wave
  std::array<double, kHarmonics> alias{};      ///< waves per pixel at which the sensor sees it
};

/// Sums over the photograph's own pixels, which see harmonics above half the sampling frequency
/// too. Across and down.
[[nodiscard]] std::array<Modulation, 2> ModulationOf(const cv::Mat& plane, const Outline& outline,
                                                     cv::Size leds, double dark);

/// Standard deviation of one LED's spot of light along one axis, in pitches, from how wide the
/// sides of the lit area are; 0 where no side could be looked at.
[[nodiscard]] double SpotSigma(const cv::Mat& plane, const Outline& outline, cv::Size leds);

}  // namespace dravix::lab

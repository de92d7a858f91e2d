/// How well a measurement repeats: several results of one screen from one pose.
///
/// Results are never the same twice: the sensor is noisy, and the screen's level drifts. A
/// difference between two measurements means something only when it is larger than what such
/// repetitions show.
#ifndef DRAVIX_LAB_REPEATABILITY_H_
#define DRAVIX_LAB_REPEATABILITY_H_

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::lab {

/// How sure a difference must be: 19 of 20 equal LEDs differ by less.
inline constexpr double kRepeatabilityConfidence = 0.95;

/// The smallest differences that are real, as fractions of the mean. Two measurements whose
/// standard deviation is s differ by less than t s sqrt(2) with that confidence, two means of n by
/// less than t s sqrt(2 / n); t is Student's factor for `freedom` degrees (ISO 5725-6 with a known
/// t).
struct RealDifference {
  double deviation = 0;  ///< s of one measurement of one LED, as a fraction of the mean
  double freedom = 0;    ///< degrees of freedom of s
  double single = 0;     ///< between two single measurements
  double means = 0;      ///< between two means of as many measurements as there are results
  /// Between two single measurements anywhere on the screen: a screen without any change shows no
  /// LED beyond it with that confidence (Bonferroni's bound over all LEDs).
  double anywhere = 0;
};

struct Repeatability {
  cv::Size size;  ///< LEDs
  int results = 0;
  cv::Mat1f means;       ///< of the finite values of each LED; NaN where there are none
  cv::Mat1f deviations;  ///< their standard deviation (n - 1); NaN for fewer than two values
  double mean = 0;       ///< of `means`
  /// Mean of each result over its LEDs that are finite in all results, over the mean of these.
  std::vector<double> levels;
  double levelDeviation = 0;  ///< standard deviation (n - 1) of the levels
  RealDifference asMeasured;  ///< of values as they are; the drift of the level counts
  RealDifference leveled;     ///< after each result is divided by its level
  int unmeasured = 0;         ///< LEDs without a finite value
  int partly = 0;             ///< LEDs that are finite in some results only
};

/// Mean and standard deviation of each LED, and what difference is real. `results` are matrices of
/// one size, CV_32FC1 or CV_64FC1. LEDs with fewer than two finite values count in no deviation.
///
/// The deviation over all LEDs is pooled: the root of the sum of squared departures from each LED's
/// mean over the sum of the degrees of freedom. A drift of the level is common to all LEDs of a
/// result, so that `asMeasured` has only as many degrees of freedom as there are results, less one.
/// Figures that would divide by zero are NaN. Throws std::invalid_argument for fewer than two
/// results, other types, sizes that differ and results without any LED finite in all.
[[nodiscard]] Repeatability RepeatabilityOf(const std::vector<cv::Mat>& results);

/// The half width of Student's distribution that holds the share `confidence` (above 0, below 1)
/// for so many whole degrees of freedom, at least 1.
[[nodiscard]] double StudentFactor(double confidence, double freedom);

/// The object that `dravix repeat --json` prints, two spaces for each level.
[[nodiscard]] std::string ToJson(const Repeatability& repeatability);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_REPEATABILITY_H_

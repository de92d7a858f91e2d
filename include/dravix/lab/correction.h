/// Gains that make a screen even by dimming LEDs.
///
/// An LED cannot be driven above what it gives, so that a correction only takes light away: every
/// LED is dimmed to a target, and those below the target stay as they are. A low target makes the
/// screen more even and darker; what a correction costs is part of the answer.
#ifndef DRAVIX_LAB_CORRECTION_H_
#define DRAVIX_LAB_CORRECTION_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::lab {

/// What LEDs are dimmed to.
struct CorrectionTarget {
  enum class Kind {
    kPercentile,  ///< of the good values, interpolated between order statistics at p (n - 1)
    kLevel,       ///< a luminance
    kMean,        ///< of the good values
  };
  Kind kind = Kind::kPercentile;
  double value = 10;  ///< the percentile, 0 to 100, or the level, above 0
};

struct CorrectionOptions {
  CorrectionTarget target;
  /// Side of the square, in LEDs, over which the level is smoothed to find the gradient that is
  /// kept; odd. 0 keeps none: every LED has the same target.
  int keepGradient = 0;
  int bits = 14;  ///< of integer gains, 1 to 16
};

/// What a correction does and costs. Shares, sums and deviations are over good LEDs.
struct CorrectionFigures {
  std::string file;       ///< what the answer calls the plane
  double target = 0;      ///< a luminance; with a gradient kept, the mean of the LEDs' targets
  double clipped = 0;     ///< share of LEDs below their target, which they cannot reach
  double lightLost = 0;   ///< 1 - sum(gain value) / sum(value)
  double cvBefore = 0;    ///< standard deviation of the population over the mean
  double cvExpected = 0;  ///< the same of gain x value
  std::int64_t good = 0;  ///< LEDs that are finite, above 0 and not dead
  std::vector<cv::Point> dead;  ///< LEDs not above 0 or dead by the analysis; by row, then column
};

struct Correction {
  cv::Mat1f gains;         ///< 0 to 1; 1 for LEDs that are not good
  cv::Mat1w integerGains;  ///< floor(gain (2^bits - 1) + 0.5), from the gain in double precision
  CorrectionFigures figures;
};

/// Computes the gain min(1, target / value) of every good LED of a plane, CV_32FC1 or CV_64FC1, in
/// double precision. With a gradient kept, the target of an LED is target S / mean of S over good
/// LEDs, where S is the mean of the good LEDs in the square around it as far as on the matrix.
///
/// Where no LED is good, figures.good is 0, all gains are 1 and the other figures NaN. Throws
/// std::invalid_argument for an empty matrix or another type, and for options out of range.
[[nodiscard]] Correction Correct(const cv::Mat& values, const CorrectionOptions& options = {});

/// Throws std::invalid_argument, as Correct does, for options out of range: "bits: found 17,
/// expected 1 to 16". The name before the colon is that of the tool's option without its dashes.
void Check(const CorrectionOptions& options);

/// The object that `dravix correct --json` prints, two spaces for each level.
[[nodiscard]] std::string ToJson(const std::vector<CorrectionFigures>& planes);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_CORRECTION_H_

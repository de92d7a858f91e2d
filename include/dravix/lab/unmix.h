/// Each LED's own light, beyond what a cell's mean can tell.
///
/// A defocused lens spreads an LED's light over its neighbors, so that the mean over an LED's cell
/// is a mixture. Un-mixing fits the whole photograph as a sum of spots, one per LED, whose shape
/// and places are estimated from the photograph itself, and so finds what each LED contributes.
/// Where the photograph does not allow that, it refuses and says why.
#ifndef DRAVIX_LAB_UNMIX_H_
#define DRAVIX_LAB_UNMIX_H_

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace dravix::lab {

/// Why a photograph cannot be un-mixed.
enum class UnmixRefusal {
  kNoiseGain,  ///< the spots overlap so much that noise would be amplified more than 6 times
  kResidual,   ///< the fit leaves over more than twice the sensor's noise
  kGrid,       ///< the LEDs lie more than 0.3 pitches away from where the corners put them
  kSaturated,  ///< more than 0.1 % of the lit area's samples are at the sensor's top
  kNoGain,     ///< the result would be no better than cell means
};

/// "noise-gain", "residual", "grid", "saturated" or "no-gain".
[[nodiscard]] const char* NameOf(UnmixRefusal refusal);

struct UnmixRefused {
  UnmixRefusal id = UnmixRefusal::kNoGain;
  std::string message;                                 ///< what was found and what was expected
  std::vector<std::pair<std::string, double>> values;  ///< the numbers of the message, by name
};

/// Where a place of the screen lies in the photograph.
struct KnownPlace {
  cv::Point2d led;    ///< in LEDs; the center of LED (column, row) is at (column + 0.5, row + 0.5)
  cv::Point2d photo;  ///< photograph pixels, whose centers are at integers
};

/// What is known of the spots from elsewhere, such as from another photograph of the same pose (see
/// spot_photograph.h). Lengths are in pixels of the photograph that is un-mixed.
struct KnownSpot {
  /// The numbers that describe a spot: variance, diskSquared, emitter and the terms of widening.
  static constexpr int kNumbers = 8;

  double variance = 0;     ///< of disk and Gaussian together, along an axis; pixels^2
  double diskSquared = 0;  ///< the square of the disk's variance; pixels^4
  double emitter = 0;      ///< side of the square emitter, pixels
  /// How disk and Gaussian grow over the screen: by 1 plus the sum of these terms times products of
  /// Legendre polynomials of degree 1 and 2, whose arguments go from -1 to 1 over the screen: down,
  /// down twice, across, across and down, across twice. All 0: the spot is the same everywhere.
  std::array<double, 5> widening{};
  /// How certain that is: the inverse of the covariance matrix of the eight numbers.
  cv::Matx<double, kNumbers, kNumbers> information = {};
};

/// What is known of the photograph beside its samples.
struct UnmixOptions {
  /// Corners of the lit LEDs' area in photograph pixels, whose centers are at integers: top-left,
  /// top-right, bottom-right, bottom-left, half a pitch outside the outer LEDs' centers. They may
  /// be off by up to 0.3 pitches, unless `places` are given.
  std::array<cv::Point2d, 4> corners;
  cv::Size leds;  ///< lit LEDs across and down; at least 8 x 8
  /// The sensor's largest sample; 0 where it is unknown: then many samples at the photograph's
  /// maximum count as saturated.
  double sensorTop = 0;
  /// Places that are known from elsewhere, such as the corners of a checkerboard's blocks: none, or
  /// at least 16 that are spread over the screen. The search for the LEDs begins there instead of
  /// where the corners alone put them, so that a lens may bend the screen by many pitches.
  std::vector<KnownPlace> places;
  /// One LED of this many, across and down, is lit: the others between them are dark. Both are 1 or
  /// more. What an LED's emitter and spot may be follows from the distance of LEDs, lit or not.
  cv::Size interval = {1, 1};
  /// The spot, where it is known: the search begins with it, and what the photograph itself says is
  /// weighed against it.
  std::optional<KnownSpot> spot;
};

/// The answer. Where it was refused, all matrices are empty, and numbers that are not known are
/// NaN. All lengths are in pitches, the root of the area of the LED cell in the screen's middle.
struct Unmixed {
  cv::Size leds;
  /// Rows x columns; over the photograph's dark level, as an even screen of that luminance would
  /// look, in units of the photograph's samples. NaN where the photograph does not show the LED's
  /// cell or shows it saturated.
  cv::Mat1f luminances;
  cv::Mat1f deviations;  ///< standard deviation of each luminance, in the same units
  cv::Mat2f places;      ///< center of each LED, photograph pixels
  double mean = 0;       ///< of all cells over the dark level, in units of the photograph's samples
  /// The spot is the screen's mean one, where it changes over the photograph.
  double spotSigma = 0;  ///< of the spot's Gaussian part, pitches
  double spotDisk = 0;   ///< radius of the spot's disk, pitches
  cv::Point2d shift;     ///< mean move of the LEDs from where the corners put them, pitches
  /// Standard deviation of a luminance's noise over that of a cell mean's, where spots are widest.
  double noiseGain = 0;
  double contrastSeen = 0;  ///< share of the LEDs' differences that the photograph shows, 0 to 1
  double plainError = 0;    ///< predicted RMS error of cell means, as a fraction of the mean
  double sigma = 0;         ///< RMS of `deviations`, as a fraction of the mean
  std::optional<UnmixRefused> refused;
};

/// Un-mixes a photograph of one plane, CV_8UC1, CV_16UC1 or CV_32FC1.
///
/// The result is the same for any number of threads. Throws std::invalid_argument for another
/// image, for fewer LEDs, and for corners that are not finite or do not go around clockwise,
/// or too few or unusable places.
[[nodiscard]] Unmixed Unmix(const cv::Mat& photo, const UnmixOptions& options);

/// The object that `dravix unmix --json` prints, two spaces for each level.
[[nodiscard]] std::string ToJson(const Unmixed& unmixed);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_UNMIX_H_

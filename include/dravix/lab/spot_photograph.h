/// The spot of an LED, from a photograph in which few LEDs are lit.
///
/// Where one LED of every so many is lit, spots lie apart and show their whole shape. Spots of the
/// same pose, lens, focus and plane are the same with all LEDs lit, where they overlap so much that
/// neither their shape nor the single LED can be seen.
#ifndef DRAVIX_LAB_SPOT_PHOTOGRAPH_H_
#define DRAVIX_LAB_SPOT_PHOTOGRAPH_H_

#include <dravix/lab/unmix.h>
#include <dravix/shot.h>

#include <opencv2/core.hpp>
#include <optional>
#include <string>

namespace dravix::lab {

/// The answer. Where it was refused, `spot` is empty, and numbers that are not known are NaN.
struct PhotographedSpot {
  std::optional<KnownSpot> spot;  ///< for UnmixOptions::spot
  double sigma = 0;               ///< of the spot's Gaussian part, pitches from LED to LED
  double disk = 0;                ///< radius of the spot's disk, the same
  std::string refused;            ///< why there is no spot: what was found and expected
};

/// Finds the spot in `sparse`, a photograph of the same pose as `photo`, which `options` belong to.
///
/// Which LEDs are lit follows from the pattern and the partition of both shots; without partitions
/// both show the same part of the screen. Where the LEDs lie follows from the outline of `photo`,
/// so that its corners need not be better than for Unmix.
///
/// It is refused where the photograph is dark, where more than 0.1 % of the lit LEDs' samples are
/// at the sensor's top, where the spots are no such spots (over twice the sensor's noise is left),
/// and where they lie more than 0.3 pitches from where they should be. Throws
/// std::invalid_argument where Unmix does, for photographs of different sizes, for a pattern that
/// is missing, is no sparser than that of `photo`, lights fewer than 4 x 4 LEDs or others than
/// those of `photo`'s part of the screen.
[[nodiscard]] PhotographedSpot SpotOf(const Shot& sparse, const Shot& photo,
                                      const UnmixOptions& options);

/// The same from a photograph `board` of the same pose in which blocks of LEDs are lit and dark by
/// turns. `lit` is not 0 where LEDs are lit, of the rows and columns of `options.leds`
/// (BoardPlaces::lit). Throws std::invalid_argument also where all or none are.
[[nodiscard]] PhotographedSpot SpotOfBoard(const Shot& board, const cv::Mat1b& lit,
                                           const Shot& photo, const UnmixOptions& options);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_SPOT_PHOTOGRAPH_H_

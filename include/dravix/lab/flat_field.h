/// How much light the lens loses where, and a result without that loss.
///
/// A lens passes less light toward the corners of the picture, so that a photograph makes an even
/// screen look darker there. The loss belongs to the lens, not to the screen, and must be measured
/// on something else than the result: on a photograph of an evenly lit surface, or on two
/// photographs of one screen in different parts of the picture. A smooth curve through the result
/// itself would also take out what the screen really does at its edges.
#ifndef DRAVIX_LAB_FLAT_FIELD_H_
#define DRAVIX_LAB_FLAT_FIELD_H_

#include <dravix/lab/unmix.h>
#include <dravix/shot.h>

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace dravix::lab {

/// Why photographs do not tell the loss of light.
enum class FlatFieldRefusal {
  kClipped,     ///< more than 0.1 % of the samples are at the sensor's top
  kDark,        ///< too little light in more than 0.1 % of the area
  kStructured,  ///< a blank shows more than a lens does
  kNoArea,      ///< no lit area with four corners in a shifted photograph
  kShift,       ///< shifted too little: the loss stays uncertain
  kDisagree,    ///< two photographs differ by more than a lens explains
  kReach,       ///< the corrected LEDs lie farther outside than those of the shifted photographs
};

/// "clipped", "dark", "structured", "no-area", "shift", "disagree" or "reach".
[[nodiscard]] const char* NameOf(FlatFieldRefusal refusal);

struct FlatFieldRefused {
  FlatFieldRefusal id = FlatFieldRefusal::kNoArea;
  std::string message;                                 ///< what was found and what was expected
  std::vector<std::pair<std::string, double>> values;  ///< the numbers of the message, by name
};

/// The share of light that arrives at each place of a photograph. Its mean over the lit area is 1,
/// so that the mean of a result stays what it was.
struct FlatField {
  cv::Size photo;        ///< pixels of the photographs that it holds for
  cv::Mat1f gains;       ///< the whole photograph, coarser; empty where it was refused
  double lost = 0;       ///< 1 - smallest / largest gain in the lit area
  double deviation = 0;  ///< standard deviation of a gain in the lit area, relative
  std::optional<FlatFieldRefused> refused;

  /// The gain at a place in photograph pixels, between those of `gains`.
  [[nodiscard]] double At(cv::Point2d place) const;
};

/// The lit area of the photograph that is to be corrected.
struct FlatFieldArea {
  std::array<cv::Point2d, 4> corners;  ///< as in UnmixOptions
  cv::Size leds;
};

/// From a photograph of an evenly lit surface, a blank, taken with the same lens, aperture and
/// focus as `photo`.
///
/// The blank is smoothed by a Gaussian of one pitch, over the dark level of `photo` beside the
/// screen. It is refused where its lit area's surroundings of 3 LEDs are clipped; where less light
/// than 5 % of the sensor's range, or than a fifth of its brightest place, or so little that noise
/// makes more than 0.3 % is left; and where more than 1 % of it departs by more than 1 % from what
/// a lens does: even polynomials of the distance from the picture's middle up to degree 6, and a
/// gradient of up to 5 %. Throws std::invalid_argument where sizes or types of the images differ or
/// are none that Unmix takes, or where the corners cannot be used.
[[nodiscard]] FlatField FlatFieldFromBlank(const Shot& blank, const Shot& photo,
                                           const FlatFieldArea& area);

/// From two photographs of one screen in different parts of the picture, `first` and `second`.
///
/// For the same LEDs, ln(level in first / level in second) = c + F(r1) - F(r2) with
/// F(r) = a r^2 + b r^4 + d r^6, r the distance from the picture's middle in half diagonals. The
/// lit areas are searched for; levels are means over groups of LEDs, without the outer 4. It is
/// refused where F stays uncertain by more than 0.3 % over the lit area or the screen moves by less
/// than 2 % of the half diagonal, where single groups depart from it by more than 1 %, and where
/// the area reaches farther outside than theirs.
/// Throws std::invalid_argument as above.
[[nodiscard]] FlatField FlatFieldFromShifted(const Shot& first, const Shot& second,
                                             const FlatFieldArea& area);

/// The result without the loss of light: luminances and their deviations over the gain at each
/// LED's place; the gain's own deviation is added to theirs. `mean` and `sigma` follow.
///
/// This is the same as dividing the photograph's light by the gain before un-mixing, because a gain
/// hardly changes over one spot, but the photograph's noise and its saturated samples stay what
/// they are. A refused result or a refused flat field changes nothing.
[[nodiscard]] Unmixed Flattened(const Unmixed& unmixed, const FlatField& field);

/// {"lost", "deviation"}, two spaces for each level.
[[nodiscard]] std::string ToJson(const FlatField& field);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_FLAT_FIELD_H_

/// Where a checkerboard's blocks lie in the photograph, as places of the screen for un-mixing.
///
/// The corners alone cannot say how the lens bends the screen between them. The edges between lit
/// and dark blocks can, all over the screen.
#ifndef DRAVIX_LAB_BOARD_PLACES_H_
#define DRAVIX_LAB_BOARD_PLACES_H_

#include <dravix/lab/unmix.h>
#include <dravix/shot.h>

#include <array>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dravix::lab {

/// The checkerboard that was shown.
struct BoardGrid {
  std::array<cv::Point2d, 4> corners;  ///< of the lit area, as in UnmixOptions
  cv::Size leds;                       ///< lit LEDs across and down
  cv::Size blocks;                     ///< across and down, 2 or more each
  /// LEDs across the last column's blocks and down the last row's where they are narrower; else -1.
  cv::Size last = {-1, -1};
};

struct BoardPlaces {
  std::vector<KnownPlace> places;  ///< spread over the screen; empty where it was refused
  cv::Mat1b
      lit;  ///< 255 for LEDs in lit blocks, 0 for others: leds.height rows, leds.width columns
  double scatter = 0;   ///< RMS of what the edges depart from a smooth screen by, pitches
  std::string refused;  ///< why there are no places: what was found and expected
};

/// Finds the edges of a checkerboard's blocks: along each, the light is averaged over one pitch,
/// and the edge lies where it crosses the middle of the levels on both sides. A cubic polynomial
/// goes through all edges, so that dead LEDs and blocks do not matter.
///
/// It is refused where lit and dark blocks do not alternate as expected, where an eighth of the
/// edges cannot be found, and where edges depart from the polynomial by more than 0.3 pitches.
/// Corners may be off, and the lens may bend the screen, by up to a third of a block. Throws
/// std::invalid_argument for other images than Unmix takes, for corners that cannot be used and for
/// blocks that do not divide the LEDs.
[[nodiscard]] BoardPlaces BoardPlacesOf(const Shot& shot, const BoardGrid& grid);

}  // namespace dravix::lab

#endif  // DRAVIX_LAB_BOARD_PLACES_H_

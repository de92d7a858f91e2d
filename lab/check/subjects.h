/// The groups of findings. Each looks at one side of a photograph and adds what it finds.
#pragma once

#include <dravix/lab/check.h>

#include <opencv2/core.hpp>
#include <optional>

#include "lab/check/finding.h"
#include "lab/check/led_grid.h"
#include "lab/check/lit_area.h"
#include "lab/check/outline.h"
#include "lab/check/samples.h"

namespace dravix::lab {

/// What the groups look at: the photograph, and what has been seen of it so far.
struct Subject {
  const Shot& photo;
  const CheckOptions& options;
  Samples samples;
  Samples board;   ///< of the checkerboard; an empty plane without one of the photograph's size
  cv::Size leds;   ///< by the pattern; 0 x 0 where there is none to use
  LitAreas areas;  ///< found in the photograph, or in both photographs together
  std::optional<Corners> given;    ///< corners of the options or of their region
  std::optional<Outline> outline;  ///< of the lit area: found, or given where none was found
  bool isLit = false;              ///< whether an area was found
  bool isLitInside = false;        ///< whether none was, but what is inside the corners is lit
  bool isWhole = false;            ///< whether its whole outline is in the photograph
  double litLevel = 0;             ///< samples: the area's median, the LEDs melted together
  double darkLevel = 0;            ///< samples: the surroundings
  double clipped = 0;              ///< share of the lit area's samples at the sensor's top
  cv::Size counts;  ///< LEDs in the area: what is seen where the pattern is missing or wrong
};

/// pattern, frame, and mosaic as far as the shot's type says it.
void CheckMetadata(const Subject& subject, Findings& findings);
/// no-area, several-areas, area-cut, tilt.
void CheckArea(const Subject& subject, Findings& findings);
/// saturated, too-dark, bit-depth. Fills in `clipped`.
void CheckExposure(Subject& subject, Findings& findings);
/// mosaic by the samples.
void CheckMosaic(const Subject& subject, Findings& findings);
/// blocks.
void CheckBlocks(const Subject& subject, Findings& findings);
/// led-count, too-sharp, too-blurred, moire. Fills in `counts`.
void CheckGrid(Subject& subject, Findings& findings);
/// corners-off, in LEDs of `counts`.
void CheckCorners(const Subject& subject, Findings& findings);
/// resolution; after the last two, which may find that pattern or corners are not the screen's.
void CheckResolution(const Subject& subject, Findings& findings);

/// The corners that a measurement with this region would use, or nothing.
[[nodiscard]] std::optional<Corners> CornersOf(const RegionOI& region);

}  // namespace dravix::lab

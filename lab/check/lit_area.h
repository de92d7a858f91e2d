/// The search for lit areas, tolerant of what the checks are there to find.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "lab/check/outline.h"

namespace dravix::lab {

struct LitArea {
  Outline outline;
  double size = 0;       ///< square pixels of the photograph
  bool isQuad = false;   ///< whether its outline has four corners
  bool touches = false;  ///< whether it reaches the photograph's border
};

struct LitAreas {
  std::vector<LitArea> areas;  ///< from the largest to a tenth of it; empty where nothing is lit
  double dark = 0;             ///< level of the surroundings, samples
  double lit = 0;              ///< level of what is lit, the LEDs melted together
};

/// `plane` is CV_16UC1. `leds` are the lit LEDs across and down where they are known, else 0: they
/// tell how far the LEDs have to be melted.
[[nodiscard]] LitAreas FindLitAreas(const cv::Mat& plane, cv::Size leds);

/// Whether light stands out of the dark inside given corners and falls where their sides are, as
/// far as a screen can that shows a picture or a chart: its dark parts have no sides to be seen.
[[nodiscard]] bool IsLitInside(const cv::Mat& plane, const Corners& corners, cv::Size leds);

}  // namespace dravix::lab

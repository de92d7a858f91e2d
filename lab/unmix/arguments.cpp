#include "lab/unmix/arguments.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "lab/base/size_text.h"

namespace dravix::lab::unmix {
namespace {

constexpr int kFewestLedsAcross = 8;
constexpr std::size_t kFewestPlaces = 16;

/// Twice the signed area; positive when the corners go around clockwise, y pointing down.
double TwiceArea(const std::array<cv::Point2d, 4>& c) { return (c[2] - c[0]).cross(c[3] - c[1]); }

}  // namespace

void CheckArguments(const cv::Mat& photo, const UnmixOptions& options) {
  const int type = photo.type();
  if (photo.empty() || photo.dims != 2 ||
      (type != CV_8UC1 && type != CV_16UC1 && type != CV_32FC1)) {
    throw std::invalid_argument(
        "Unmix: expected a photograph of one plane of 8-bit, 16-bit or float samples");
  }
  if (options.leds.width < kFewestLedsAcross || options.leds.height < kFewestLedsAcross) {
    throw std::invalid_argument("Unmix: found " + SizeText(options.leds) +
                                " LEDs, expected at least " +
                                SizeText({kFewestLedsAcross, kFewestLedsAcross}));
  }
  if (options.interval.width < 1 || options.interval.height < 1) {
    throw std::invalid_argument("Unmix: found an interval of " + SizeText(options.interval) +
                                ", expected at least 1 x 1");
  }
  const double area = TwiceArea(options.corners);
  const double smallest = 2.0 * options.leds.width * options.leds.height;  // a pixel per LED
  if (!std::isfinite(area) || area < smallest) {
    throw std::invalid_argument(
        "Unmix: expected corners top-left, top-right, bottom-right, bottom-left around an area of "
        "at least one pixel per LED");
  }
  for (const cv::Point2d& corner : options.corners) {
    if (corner.x >= 0 && corner.y >= 0 && corner.x <= photo.cols - 1 &&
        corner.y <= photo.rows - 1) {
      return;
    }
  }
  throw std::invalid_argument("Unmix: all corners lie outside the photograph of " +
                              SizeText(photo.size()) + " pixels");
}

Grid ExpectedGrid(const Grid& byCorners, const std::vector<KnownPlace>& places) {
  Grid grid = byCorners;
  if (places.empty()) return grid;
  const bool finite = std::all_of(places.begin(), places.end(), [](const KnownPlace& p) {
    return std::isfinite(p.led.x + p.led.y + p.photo.x + p.photo.y);
  });
  if (places.size() < kFewestPlaces || !finite || !grid.Bend(places)) {
    throw std::invalid_argument("Unmix: found " + std::to_string(places.size()) +
                                " known places, expected at least " +
                                std::to_string(kFewestPlaces) + " that are spread over the screen");
  }
  return grid;
}

double PitchOf(const Grid& grid, cv::Size interval) {
  return grid.Pitch() / std::sqrt(static_cast<double>(interval.area()));
}

}  // namespace dravix::lab::unmix

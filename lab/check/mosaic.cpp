/// A color sensor's filters alternate from pixel to pixel, so that the mean light of the four
/// places in 2 x 2 pixels differs all over the lit area. A sharp LED grid of an even whole number
/// of pixels can do the same, which is why more is asked for where LEDs stand apart.
#include <algorithm>
#include <array>
#include <string>

#include "lab/check/subjects.h"

namespace dravix::lab {
namespace {

/// Mean light of the places (0, 0), (1, 0), (0, 1), (1, 1) of 2 x 2 pixels.
std::array<double, 4> PlaceMeans(const cv::Mat& plane, const cv::Rect& part, double dark) {
  std::array<double, 4> sums{};
  for (int y = part.y; y < part.y + part.height; ++y) {
    const auto* row = plane.ptr<std::uint16_t>(y);
    double even = 0;
    double odd = 0;
    for (int x = part.x; x + 1 < part.x + part.width; x += 2) {
      even += row[x];
      odd += row[x + 1];
    }
    const auto first = static_cast<std::size_t>(2 * (y & 1));
    const bool startsOdd = (part.x & 1) != 0;
    sums.at(first) += startsOdd ? odd : even;
    sums.at(first + 1) += startsOdd ? even : odd;
  }
  const double count = (part.width / 2) * (part.height / 2);
  for (double& sum : sums) sum = sum / std::max(1.0, count) - dark;
  return sums;
}

/// The middle of the outline: even in size, and at most so large that it is quickly summed.
cv::Rect MiddleOf(const Outline& outline, cv::Size photo) {
  const cv::Size2d sides = MeanSides(outline.corners);
  constexpr double kMost = 1200;  // pixels
  const cv::Point2d middle = Mapped(PhotoFromUnit(outline.corners), {0.5, 0.5});
  const int width = static_cast<int>(std::min(kMost, 0.6 * sides.width)) / 2 * 2;
  const int height = static_cast<int>(std::min(kMost, 0.6 * sides.height)) / 2 * 2;
  if (!(std::abs(middle.x) < 1e6 && std::abs(middle.y) < 1e6)) return {};
  const cv::Rect part(cvRound(middle.x) - width / 2, cvRound(middle.y) - height / 2, width, height);
  return (part & cv::Rect({0, 0}, photo)) == part ? part : cv::Rect();
}

}  // namespace

void CheckMosaic(const Subject& subject, Findings& findings) {
  const char* advice =
      ": neighboring pixels show different colors, and no LED can be measured across them; make "
      "planes of it with `dravix shot demosaic`";
  if (subject.photo.image.channels() == 1 &&
      (subject.photo.type == CAM_RGB || subject.photo.type == CIE_XYZ)) {
    Add(findings, "mosaic",
        std::string("the photograph has one plane but the type of three, as a color mosaic has") +
            advice,
        {{"planes", 1.0}});
    return;
  }
  if (!subject.outline || !subject.isLit || subject.photo.image.channels() != 1) return;
  const cv::Rect part = MiddleOf(*subject.outline, subject.samples.plane.size());
  if (part.area() < 64) return;
  const std::array<double, 4> means = PlaceMeans(subject.samples.plane, part, subject.darkLevel);
  const auto [low, high] = std::minmax_element(means.begin(), means.end());
  if (*high <= 0) return;
  const double difference = 1 - *low / *high;
  constexpr double kFilters = 0.12;        // two filters of one color differ less, white LEDs' more
  constexpr double kSharp = 0.5;           // see above
  constexpr double kSmallPitch = 3;        // pixels: LEDs themselves alternate with the pixels
  constexpr double kDotsStandApart = 1.0;  // modulation of LEDs that stand apart
  if (difference < kFilters) return;
  const auto modulation =
      ModulationOf(subject.samples.plane, *subject.outline, subject.leds, subject.darkLevel);
  const double strongest = std::max(modulation[0].amplitude[0], modulation[1].amplitude[0]);
  const double pitch = std::min(modulation[0].pitch, modulation[1].pitch);
  const bool mayBeLeds = strongest > kDotsStandApart || (pitch > 0 && pitch < kSmallPitch);
  if (mayBeLeds && difference < kSharp) return;
  Add(findings, "mosaic",
      "the four places of every 2 x 2 pixels differ by up to " + Percent(difference) +
          " in their mean light, as under a color sensor's filters" + advice,
      {{"difference", difference}, {"means", std::vector<double>(means.begin(), means.end())}});
}

}  // namespace dravix::lab

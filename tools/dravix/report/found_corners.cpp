#include "report/found_corners.h"

#include <dravix/dravix.h>

#include <cstdint>

#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {

namespace {

/// What may be wrong with a region without corners, and what to do.
std::string AdviceFor(const RegionOI& region) {
  // The search looks at windows of about 120 pixels around each corner; two side by side need this.
  constexpr int kSmallestSide = 210;
  const std::string area = "the lit area is " + SizeText(region.rect.size()) + " pixels";
  if (region.rect.width < kSmallestSide || region.rect.height < kSmallestSide) {
    return area +
           ", expected at least about 210 pixels a side: photograph the screen larger, or measure "
           "with --corners";
  }
  return area +
         ", and its outline does not show four corners: find the region again, or measure with "
         "--corners";
}

/// The search refines a corner in a window that has to fit into the photograph with a margin.
bool WindowFits(const RegionOI& region) {
  const std::int64_t side = 2 * std::int64_t{region.cornerRefineWindow} + 5;
  return side <= region.frameWidth && side <= region.frameHeight;
}

}  // namespace

FoundCorners FindCorners(const RegionOI& region) {
  FoundCorners found;
  const std::string frame = SizeText({region.frameWidth, region.frameHeight});
  try {
    const std::int32_t code = region.GetPrecision4Corner(found.corners);
    if (code == DRAVIX_OK) return found;
    found.whyNot = CodeText(code) + " (code " + std::to_string(code) + "); " + AdviceFor(region);
  } catch (const cv::Exception&) {
    found.whyNot = WindowFits(region)
                       ? "the corner search failed; " + AdviceFor(region)
                       : "a corner window of " + std::to_string(region.cornerRefineWindow) +
                             " pixels to each side does not fit into a photograph of " + frame +
                             " pixels: measure with --corners, or use a smaller --corner-window";
  }
  static_cast<void>(TakeLibraryError());  // says no more than the code
  found.corners.clear();
  return found;
}

}  // namespace dravix::tool

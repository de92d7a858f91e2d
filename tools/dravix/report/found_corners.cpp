#include "report/found_corners.h"

#include <dravix/dravix.h>

#include <cstdint>

#include "terminal/library_log.h"
#include "terminal/library_result.h"
#include "terminal/text_values.h"

namespace dravix::tool {

FoundCorners FindCorners(const RegionOI& region) {
  FoundCorners found;
  try {
    const std::int32_t code = region.GetPrecision4Corner(found.corners);
    if (code == DRAVIX_OK) return found;
    static_cast<void>(TakeLibraryError());  // says no more than the phrase
    found.whyNot = CodeText(code) + " (code " + std::to_string(code) + ")";
  } catch (const cv::Exception&) {
    found.whyNot = "the corner search does not work in a photograph of " +
                   SizeText({region.frameWidth, region.frameHeight}) + " pixels";
  }
  found.corners.clear();
  // The search looks at windows of about 120 pixels around each corner; two side by side need this.
  constexpr int kSmallestSide = 210;
  const bool small = region.rect.width < kSmallestSide || region.rect.height < kSmallestSide;
  found.whyNot += "; the lit area is " + SizeText(region.rect.size()) + " pixels" +
                  (small ? ", expected at least about 210 pixels a side: photograph the screen "
                           "larger, or measure with --corners"
                         : ", and its outline does not show four corners: find the region again, "
                           "or measure with --corners");
  return found;
}

}  // namespace dravix::tool

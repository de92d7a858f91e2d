// The searches for a lit area, in arbitrary pictures and with arbitrary parameters. Where they find
// one, it is that of the plain transcription.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/target.h"
#include "reference/plain_region.h"

namespace dravix::fuzz {
namespace {

void TakeParameters(RegionOI& region, Input& input, unsigned choice) {
  if ((choice & 1U) != 0) region.blurKernelSize = input.Take<std::uint8_t>();
  if ((choice & 2U) != 0) region.blurSigma = input.Take<float>();
  if ((choice & 4U) != 0) region.pyramidFactor = input.Take<std::int32_t>();
}

/// The search at half size doubles what it finds, and half of one row of pixels is still one row.
cv::Rect Frame(const cv::Size& photo) {
  return {0, 0, std::max(photo.width, 2), std::max(photo.height, 2)};
}

using Search = std::int32_t (RegionOI::*)();
using PlainSearch = std::optional<reference::FoundRegion> (*)(const cv::Mat&, std::optional<int>,
                                                              const reference::RegionSettings&);

void Check(RegionOI region, const Shot& shot, Search search, PlainSearch plainSearch) {
  std::int32_t code = 0;
  if (Refused([&] { code = (region.*search)(); })) return;
  Require(code == DRAVIX_OK || code == DRAVIX_NO_LED_AREA, "an area is found or not");
  const std::optional<int> camera =
      shot.device ? std::optional<int>(shot.device->cam_type) : std::nullopt;
  const auto expected =
      plainSearch(shot.image, camera, {.kernel = region.blurKernelSize, .sigma = region.blurSigma});
  Require(expected.has_value() == (code == DRAVIX_OK), "both ways find an area, or none");
  if (!expected) return;
  Require(region.rect == expected->rect && SameMat(region.mask, expected->mask),
          "both ways find the same area");
  Require(region.mask.type() == CV_8UC1 && region.mask.size() == region.rect.size(),
          "the mask has the rectangle's size");
  Require((region.rect & Frame(shot.image.size())) == region.rect,
          "the rectangle lies in the frame");
}

}  // namespace

FUZZ_TARGET(region_search, input) {
  const unsigned choice = input.Take<std::uint8_t>();
  RegionOI region;
  TakeParameters(region, input, choice);
  const Shot shot = (choice & 8U) != 0 ? TakeShot(input) : TakeLargeShot(input);

  std::int32_t code = 0;
  if (Refused([&] { code = region.SetShot(&shot); }) || code != DRAVIX_OK) return;
  Check(region, shot, &RegionOI::AutoSet, reference::AutoSet);
  Check(region, shot, &RegionOI::ComputeBlur, reference::ComputeBlur);
  cv::Mat mask;
  if (!Refused([&] { mask = region.ComputeMask(shot.image); }) && !mask.empty()) {
    Require(mask.type() == CV_8UC1 && mask.size() == shot.image.size(),
            "the mask has the image's size");
  }
}

}  // namespace dravix::fuzz

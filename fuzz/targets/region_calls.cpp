// Region operations in any order, on regions of any shape.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>

#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

void TakeFields(RegionOI& region, Input& input) {
  region.frameWidth = input.Take<std::int32_t>();
  region.frameHeight = input.Take<std::int32_t>();
  region.rect.x = input.Take<std::int32_t>();
  region.rect.y = input.Take<std::int32_t>();
  region.rect.width = input.Take<std::int32_t>();
  region.rect.height = input.Take<std::int32_t>();
  region.mask = TakePicture(input);
}

void TakeParameters(RegionOI& region, Input& input) {
  region.cornerQualityLevel = input.Take<float>();
  region.cornerRefineWindow = input.Take<std::int32_t>();
}

/// A region of a fitting mask, so that not every input has to guess four numbers twice.
void TakeMask(RegionOI& region, Input& input) {
  cv::Mat mask = TakeLargePicture(input);
  if (mask.empty()) return;
  region.mask = mask >= 128;
  region.rect = cv::Rect({input.Take<std::uint8_t>(), input.Take<std::uint8_t>()}, mask.size());
  region.frameWidth = region.rect.br().x + input.Take<std::uint8_t>();
  region.frameHeight = region.rect.br().y + input.Take<std::uint8_t>();
}

void Turn(RegionOI& region, Input& input) {
  const RegionOI before = region;
  const int angle = input.TakeBool() ? 90 * input.Take<std::int8_t>() : input.Take<std::int32_t>();
  std::int32_t code = 0;
  if (Refused([&] { code = region.Rotate(angle); })) return;
  if (code != DRAVIX_OK) {
    Require(region.rect == before.rect && SameMat(region.mask, before.mask), "nothing changed");
  }
}

void CheckCorners(const RegionOI& region) {
  std::vector<cv::Point> corners;
  std::int32_t code = 0;
  if (Refused([&] { code = region.GetPrecision4Corner(corners); })) return;
  Require(code == DRAVIX_OK || code == DRAVIX_NO_CORNERS, "corners are found or not");
  Require(code != DRAVIX_OK || corners.size() == 4, "there are four corners");
}

void Rectify(RegionOI& region, Shot& shot, Input& input) {
  const auto corners = TakePoints(input);
  std::int32_t code = 0;
  if (Refused([&] { code = region.PerspectiveSet(corners); }) || code != DRAVIX_OK) return;
  const cv::Size frame(region.frameWidth, region.frameHeight);
  if (Refused([&] { code = region.WarpPerspective(&shot); }) || code != DRAVIX_OK) return;
  Require(shot.image.size() == frame, "a rectified photograph has the frame's size");
}

void SetByHand(RegionOI& region, Input& input) {
  const cv::Size frame(input.Take<std::int32_t>(), input.Take<std::int32_t>());
  const auto corners = TakePoints(input);
  std::int32_t code = 0;
  if (Refused([&] { code = region.ManualSet(frame, corners); }) || code != DRAVIX_OK) return;
  Require(region.mask.size() == region.rect.size(), "the mask has the rectangle's size");
}

void Store(RegionOI& region) {
  const std::string name = ScratchName("region.roi");
  std::int32_t code = 0;
  if (Refused([&] { code = region.Save(name); })) return;
  Require(code == DRAVIX_OK, "a region can be saved");
  RegionOI read;
  Require(read.Load(name) == DRAVIX_OK, "a saved region can be loaded");
  Require(read.rect == region.rect && SameMat(read.mask, region.mask),
          "a region survives its file");
}

void Draw(const RegionOI& region, const Shot& shot, Input& input) {
  constexpr const char* kNames[] = {"region.bmp", "region.xyz", "none/region.bmp"};
  const std::string name = ScratchName(kNames[input.TakeBelow(3)]);
  static_cast<void>(Refused([&] { static_cast<void>(region.ExportImage(name, shot)); }));
}

}  // namespace

FUZZ_TARGET(region_calls, input) {
  RegionOI region;
  Shot shot;
  for (int steps = 0; steps < 16 && !input.Empty(); ++steps) {
    switch (input.TakeBelow(11)) {
      case 0:
        TakeFields(region, input);
        break;
      case 1:
        TakeMask(region, input);
        break;
      case 2:
        TakeParameters(region, input);
        break;
      case 3:
        SetByHand(region, input);
        break;
      case 4:
        CheckCorners(region);
        break;
      case 5:
        shot = TakeShot(input);
        break;
      case 6:
        Rectify(region, shot, input);
        break;
      case 7:
        Turn(region, input);
        break;
      case 8:
        Store(region);
        break;
      case 9:
        Draw(region, shot, input);
        break;
      default:
        static_cast<void>(Refused([&] { static_cast<void>(region.WarpPerspective(&shot)); }));
    }
  }
}

}  // namespace dravix::fuzz

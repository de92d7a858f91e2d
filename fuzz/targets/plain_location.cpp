// The search for the lit area in a working image against the plain transcription.
#include "extractor/extractor.h"
#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/target.h"
#include "reference/plain_transcription.h"

namespace dravix::fuzz {

FUZZ_TARGET(plain_location, input) {
  const bool large = input.TakeBool();
  const bool usual = input.TakeBool();
  Dravix dravix;
  if (!usual) {
    dravix.blurKernelSize = input.Take<std::uint8_t>();
    dravix.blurSigma = input.Take<float>();
  }
  const Shot shot = large ? TakeLargeShot(input) : TakeShot(input);
  if (dravix.SetImage(&shot) != DRAVIX_OK) return;

  cv::Mat mask;
  cv::Rect rect;
  const bool refused = Refused([&] { dravix.AutoBlurLocate(shot.image, mask, rect); });
  const std::optional<int> camera =
      shot.device ? std::optional<int>(shot.device->cam_type) : std::nullopt;
  std::optional<reference::Area> expected;
  const bool plainRefused = Refused([&] {
    expected = reference::Locate(shot.image, camera, dravix.blurKernelSize, dravix.blurSigma);
  });
  if (refused || plainRefused) return;
  Require(expected.has_value() == !mask.empty(), "both find an area, or none");
  if (!expected) return;
  Require(SameMat(mask, expected->mask) && rect == expected->rect, "both find the same area");
}

}  // namespace dravix::fuzz

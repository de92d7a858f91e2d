// Each image operation on photographs of arbitrary shape and type, in any order.
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <filesystem>

#include "fuzz/pictures.h"
#include "fuzz/same.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {
namespace {

/// Runs an operation that leaves the shot as it was when it fails.
template <class Operation>
void Do(Shot& shot, Operation&& operation) {
  const cv::Mat before = shot.image.clone();
  const std::uint32_t type = shot.type;
  std::int32_t code = 0;
  const bool refused = Refused([&] { code = operation(); });
  if (!refused && code == DRAVIX_OK) return;
  Require(shot.type == type && SameMat(shot.image, before),
          "an operation that fails changes nothing");
}

void CheckTurns(const Shot& shot) {
  Shot turned = shot;
  if (Refused([&] {
        for (int quarter = 0; quarter < 4; ++quarter) Require(turned.Rotate(90) == 0, "turns");
      })) {
    return;
  }
  Require(SameMat(turned.image, shot.image), "four quarter turns are none");
}

void Export(const Shot& shot, Input& input) {
  constexpr const char* kNames[] = {"picture.png", "picture.bmp", "picture.pgm", "picture.ppm",
                                    "picture.tif", "picture.jpg", "picture",     "picture.xyz"};
  const std::string name = ScratchName(kNames[input.TakeBelow(8)]);
  std::filesystem::remove(name);
  std::int32_t code = -1;
  if (Refused([&] {
        code = input.TakeBool() ? shot.ExportColorImage(name) : shot.ExportGrayImage(name);
      })) {
    return;
  }
  Require((code == DRAVIX_OK) == std::filesystem::exists(name), "a picture is written or not");
}

}  // namespace

FUZZ_TARGET(shot_image, input) {
  Shot shot = TakeShot(input);
  Shot other;
  for (int steps = 0; steps < 32 && !input.Empty(); ++steps) {
    const unsigned step = input.TakeBelow(12);
    switch (step) {
      case 0:
        other = TakeShot(input);
        break;
      case 1:
        Do(shot, [&] { return shot.SetImageSingle(other.image, input.Take<std::uint8_t>()); });
        break;
      case 2:
        Do(shot, [&] {
          const int code = input.Take<std::int16_t>();
          return shot.SetImageColor(other.image, code, input.Take<std::uint8_t>());
        });
        break;
      case 3: {
        Shot red;
        Shot blue;
        const unsigned outputs = input.Take<std::uint8_t>();
        Do(shot, [&] {
          return shot.Split((outputs & 1U) != 0 ? &red : nullptr,
                            (outputs & 2U) != 0 ? &other : nullptr,
                            (outputs & 4U) != 0 ? &blue : nullptr);
        });
        break;
      }
      case 4:
        Do(shot, [&] {
          const auto type = input.Take<std::uint8_t>();
          return shot.ConvertColorSpace(type, TakePicture(input));
        });
        break;
      case 5:
        Do(shot, [&] { return shot.RemoveBackground(other); });
        break;
      case 6:
        Do(shot, [&] { return shot.RemoveBackground(shot); });
        break;
      case 7:
        Do(shot, [&] { return shot.Rotate(input.Take<std::int16_t>()); });
        break;
      case 8:
        CheckTurns(shot);
        break;
      case 9:
        shot.CopyTo(other);
        Require(SameMat(other.image, shot.image) && other.type == shot.type, "a copy is the same");
        break;
      case 10:
        std::swap(shot, other);
        break;
      default:
        Export(shot, input);
    }
  }
}

}  // namespace dravix::fuzz

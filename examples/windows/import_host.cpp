// A host that links dravix's import library and uses the C++ class Shot. It makes a photograph of
// an even screen, measures it, and writes the result and a picture of it into one folder.
//
// usage: import_host <folder>
#include <dravix/dravix.h>
#include <dravix/shot.h>

#include <cmath>
#include <cstdio>
#include <string>

namespace {

constexpr int kLedsAcross = 48;
constexpr int kLedsDown = 32;
constexpr float kLevel = 3000;

/// A photograph with 8 pixels per LED and samples of 12 bits, as the last two digits of cam_type
/// say.
Shot EvenScreen(const cv::Rect& lit) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = cv::Mat(420, 600, CV_16UC1, cv::Scalar(20));
  shot.image(lit).setTo(kLevel);
  Shot::Pattern pattern;
  pattern.interval_x = pattern.interval_y = 1;
  pattern.lighted_led_w = kLedsAcross;
  pattern.lighted_led_h = kLedsDown;
  shot.pattern = pattern;
  shot.device = Shot::Device{};
  shot.device->cam_type = 112;
  return shot;
}

bool Succeeded(const char* function, std::int32_t code) {
  if (code != DRAVIX_OK) std::fprintf(stderr, "%s returned %d\n", function, code);
  return code == DRAVIX_OK;
}

bool IsEven(const DravixMatrix& lum) {
  const float* values = static_cast<const float*>(lum.data);
  for (int i = 0; i < lum.rows * lum.cols; ++i) {
    if (std::fabs(values[i] - kLevel) > 0.01F * kLevel) {
      std::fprintf(stderr, "LED %d has %f\n", i, static_cast<double>(values[i]));
      return false;
    }
  }
  return lum.rows == kLedsDown && lum.cols == kLedsAcross;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : ".";
  const cv::Rect lit(100, 80, 8 * kLedsAcross, 8 * kLedsDown);
  const Shot shot = EvenScreen(lit);
  const std::int32_t left = lit.x;
  const std::int32_t top = lit.y;
  const std::int32_t right = lit.x + lit.width - 1;
  const std::int32_t bottom = lit.y + lit.height - 1;
  const std::int32_t corners[] = {left, top, right, top, right, bottom, left, bottom};

  DravixHandle handle = nullptr;
  DravixResult result{};
  if (!Succeeded("DravixCreateHandle", DravixCreateHandle(&handle)) ||
      !Succeeded("DravixExtract", DravixExtract(handle, &shot, corners, 4, 0, 0, 1)) ||
      !Succeeded("DravixGet", DravixGet(handle, &result, 0)) || !IsEven(result.lum)) {
    return 1;
  }
  // dravix takes names in UTF-8 whatever the system's code page is, and this source is UTF-8 too.
  const std::string name = folder + "/Größe 屏幕";
  if (!Succeeded("DravixSave", DravixSave(handle, (name + ".lum").c_str())) ||
      !Succeeded("DravixExportImage", DravixExportImage(handle, (name + ".png").c_str(), 0))) {
    return 1;
  }
  std::printf("%d x %d LEDs measured\n", result.lum.cols, result.lum.rows);
  return 0;
}

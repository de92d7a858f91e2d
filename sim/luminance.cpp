#include "sim/luminance.h"

#include <dravix/shot.h>

#include <algorithm>
#include <cstdint>

#include "sim/random.h"

namespace dravix::sim {
namespace {

/// What the LEDs of one primary differ in from those of the others.
struct Primary {
  unsigned stream;  ///< added to the streams of the scene's parts
  double level;     ///< over that of green
};

/// The levels are what white has of each plane when red LEDs give X, green ones Y and blue ones Z,
/// with the primaries and the white of ITU-R BT.709: 0.4124, 0.7152 and 0.9503.
Primary PrimaryOf(const Scene& scene) {
  constexpr Primary kGreen{0, 1.0};
  if (!IsPart(scene)) return kGreen;
  switch (scene.metadata.type) {
    case CIE_X:
    case CAM_R:
      return {0x100, 0.577};
    case CIE_Z:
    case CAM_B:
      return {0x200, 1.329};
    default:
      return kGreen;
  }
}

/// The LEDs of the whole screen. Each draws its random numbers at its own place in the streams, so
/// that one LED costs the same whether the others are asked for or not.
class ScreenLeds {
 public:
  explicit ScreenLeds(const Scene& scene)
      : luminance_(scene.screen.luminance),
        size_(ScreenSizeOf(scene)),
        modulesAcross_((size_.width + luminance_.moduleWidth - 1) / luminance_.moduleWidth),
        primary_(PrimaryOf(scene)),
        scatter_(StreamOf(scene, kScatter)),
        modules_(StreamOf(scene, kModules)),
        defects_(StreamOf(scene, kDefects)) {}

  float At(int x, int y) const {
    if (!luminance_.matrix.empty()) return luminance_.matrix.at<float>(y, x);
    const float working = Working(x, y);
    const double u = defects_.After(PlaceOf(x, y, size_.width)).Uniform();
    if (u < luminance_.deadShare) return 0;
    const bool hot = u < luminance_.deadShare + luminance_.hotShare;
    return hot ? static_cast<float>(working * luminance_.hotFactor) : working;
  }

 private:
  Random StreamOf(const Scene& scene, Stream stream) const {
    return {scene.seed, stream + primary_.stream};
  }
  static std::uint64_t PlaceOf(int x, int y, int across) {
    return static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(across) +
           static_cast<std::uint64_t>(x);
  }
  /// One factor for each module: normally distributed about 1, and never below 0.
  double ModuleFactor(int x, int y) const {
    const std::uint64_t place =
        PlaceOf(x / luminance_.moduleWidth, y / luminance_.moduleHeight, modulesAcross_);
    return std::max(0.0, 1.0 + luminance_.moduleSpread * modules_.After(place).Normal());
  }
  /// The luminance of an LED that has no defect.
  float Working(int x, int y) const {
    const Luminance& l = luminance_;
    const double alongY = 1.0 + l.gradientY * ((y + 0.5) / size_.height - 0.5);
    const double alongX = 1.0 + l.gradientX * ((x + 0.5) / size_.width - 0.5);
    const double own = 1.0 + l.scatter * scatter_.After(PlaceOf(x, y, size_.width)).Normal();
    const double value = l.mean * primary_.level * alongX * alongY * own * ModuleFactor(x, y);
    return static_cast<float>(std::max(0.0, value));
  }

  const Luminance& luminance_;
  cv::Size size_;
  int modulesAcross_;
  Primary primary_;
  Random scatter_, modules_, defects_;
};

/// Darkens the LEDs that the scene names, where they are among the lit ones.
void DarkenNamed(const Scene& scene, const LitLeds& lit, cv::Mat& luminances) {
  if (!scene.screen.luminance.matrix.empty()) return;
  const cv::Rect all({0, 0}, lit.count);
  for (const cv::Point& led : scene.screen.luminance.dead) {
    const cv::Point off = led - lit.first;
    const cv::Point place(off.x / lit.step.x, off.y / lit.step.y);
    const bool isLit = off == cv::Point(place.x * lit.step.x, place.y * lit.step.y);
    if (isLit && all.contains(place)) luminances.at<float>(place) = 0;
  }
}

}  // namespace

cv::Mat LuminancesOf(const Scene& scene) {
  const LitLeds lit = LitLedsOf(scene);
  const ScreenLeds leds(scene);
  const cv::Mat& gains = scene.screen.luminance.gains;
  cv::Mat luminances(lit.count, CV_32FC1);
  for (int row = 0; row < luminances.rows; ++row) {
    const int y = lit.first.y + row * lit.step.y;
    for (int column = 0; column < luminances.cols; ++column) {
      const int x = lit.first.x + column * lit.step.x;
      auto& value = luminances.at<float>(row, column);
      value = leds.At(x, y);
      if (!gains.empty()) value *= gains.at<float>(y, x);
    }
  }
  DarkenNamed(scene, lit, luminances);
  return luminances;
}

bool IsLit(const Scene& scene, int column, int row) {
  return ((column + row) % 2 == 0) == scene.checkerboard.firstLit;
}

cv::Mat CheckerboardLuminancesOf(const Scene& scene) {
  const Checkerboard& board = scene.checkerboard;
  const cv::Size grid = GridOf(scene);
  cv::Mat_<double> level(grid);
  Random random(scene.seed, kBlockLevels);
  for (int row = 0; row < grid.height; ++row) {
    for (int column = 0; column < grid.width; ++column) {
      const double own = random.Uniform(1.0 / board.levelRatio, 1.0);
      const bool dark = !IsLit(scene, column, row) || board.deadBlock == cv::Point(column, row);
      level(row, column) = board.luminance * (dark ? 1.0 / board.contrast : own);
    }
  }
  cv::Mat luminances = LuminancesOf(scene);
  for (int y = 0; y < luminances.rows; ++y) {
    for (int x = 0; x < luminances.cols; ++x) {
      auto& value = luminances.at<float>(y, x);
      value = static_cast<float>(value * level(y / board.block, x / board.block));
    }
  }
  return luminances;
}

}  // namespace dravix::sim

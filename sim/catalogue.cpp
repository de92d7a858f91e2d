#include "sim/catalogue.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "sim/fixed_math.h"
#include "sim/projection.h"
#include "sim/random.h"

namespace dravix::sim {
namespace {

// Photographs of this many pixels hold enough detail, and are small enough for tests to use many.
constexpr double kSmallestPhoto = 0.5e6;
constexpr double kLargestPhoto = 3.0e6;
// The screen's shorter side in pixels: on smaller screens the corners cannot be found reliably.
constexpr double kShortestSide = 300;
// The side of a whole block in pixels, so that also the smallest blocks have some pixels to look
// at.
constexpr double kSmallestCell = 22;

struct Board {
  int columns, rows;  ///< blocks
  int block;          ///< LEDs along a block's side
};
/// Boards at the ends of the ranges, which random numbers would hardly meet.
constexpr Board kExtremes[] = {{2, 2, 64},  {24, 16, 4}, {24, 16, 8}, {2, 16, 20},
                               {24, 2, 16}, {3, 2, 48},  {2, 2, 32},  {16, 9, 4}};
constexpr int kBlocks[] = {4, 5, 6, 8, 10, 12, 16, 20, 24, 32, 40, 48, 64};

Board DrawBoard(Random& random) {
  return {random.Between(2, 24), random.Between(2, 16),
          kBlocks[random.Between(0, static_cast<int>(std::size(kBlocks)) - 1)]};
}

/// The number of LEDs along an axis of `count` blocks. In four of ten scenes the last block is
/// narrower, but never below 2 LEDs, a quarter of a block, or 10 pixels.
int DrawLeds(Random& random, int count, const Board& board, double pitch) {
  const int shortest =
      std::max({2, (board.block + 3) / 4, static_cast<int>(std::ceil(10.0 / pitch))});
  const bool narrower = random.Chance(0.4) && shortest < board.block;
  const int last = narrower ? random.Between(shortest, board.block - 1) : board.block;
  return (count - 1) * board.block + last;
}

void DrawPose(Random& random, Scene& scene) {
  const double tilt = random.Uniform(0, 12);
  const SinCos direction = FixedSinCos(random.Uniform(0, 360));
  scene.pose.tiltX = tilt * direction.sin;
  scene.pose.tiltY = tilt * direction.cos;
  scene.pose.roll = random.Uniform(-5, 5);
  scene.pose.distance = random.Uniform(1.5, 4);
}

void DrawCamera(Random& random, Scene& scene) {
  Optics& optics = scene.optics;
  if (random.Chance(0.5)) {
    optics.defocus = Defocus::kGaussian;
    optics.blur = random.Uniform(0.4, 0.7);
  } else {
    optics.defocus = Defocus::kDisk;
    optics.blur = random.Uniform(0.6, 1.0);
  }
  optics.distortion = random.Uniform(-0.01, 0.01);
  optics.vignetting = random.Uniform(0, 0.4);
  optics.strayLight = random.Uniform(0, 0.01);
  scene.sensor.exposure = random.Uniform(0.3, 0.7);
  scene.sensor.margin = random.Between(25, 90);
  scene.screen.emitterFill = random.Uniform(0.3, 0.6);
  scene.screen.luminance.scatter = random.Uniform(0, 0.05);
  scene.screen.luminance.deadShare = random.Uniform(0, 0.005);
  scene.checkerboard.firstLit = random.Chance(0.5);
}

bool Suits(const Scene& scene, double smallestCell) {
  const cv::Size photo = PhotoSizeOf(scene);
  const double area = static_cast<double>(photo.width) * photo.height;
  const double shorter = std::min(scene.screen.ledWidth, scene.screen.ledHeight) * scene.pose.pitch;
  return area >= kSmallestPhoto && area <= kLargestPhoto && shorter >= kShortestSide &&
         scene.checkerboard.block * scene.pose.pitch >= smallestCell;
}

/// Draws scenes until one has a moderate size (see Suits).
Scene DrawScene(const std::string& name, std::uint64_t seed, const Board* wanted,
                double smallestCell) {
  Random random(seed, 0x5CE4E);
  Scene scene;
  do {
    scene = Scene{};
    scene.name = name;
    scene.seed = seed;
    const Board board = wanted != nullptr ? *wanted : DrawBoard(random);
    scene.checkerboard.block = board.block;
    scene.pose.pitch = random.Uniform(4, 12);
    scene.screen.ledWidth = DrawLeds(random, board.columns, board, scene.pose.pitch);
    scene.screen.ledHeight = DrawLeds(random, board.rows, board, scene.pose.pitch);
    DrawPose(random, scene);
    DrawCamera(random, scene);
  } while (!Suits(scene, smallestCell));
  return scene;
}

/// Puts a reflection to the left or to the right of the screen, clear of it and inside the
/// photograph.
void AddReflection(Random& random, Scene& scene) {
  const double radius = random.Uniform(30, 70);
  scene.sensor.margin = static_cast<int>(2 * radius) + 20;
  const cv::Size photo = PhotoSizeOf(scene);
  const Projection projection(scene, photo);
  const bool right = random.Chance(0.5);
  const double edge = right ? scene.screen.ledWidth : 0;
  const double height = scene.screen.ledHeight;
  const cv::Point2d top = projection.ToPhoto({edge, 0});
  const cv::Point2d bottom = projection.ToPhoto({edge, height});
  const double along = random.Uniform(0.2, 0.8);
  const double outer = right ? std::max(top.x, bottom.x) : std::min(top.x, bottom.x);
  const double gap = random.Uniform(4, 15);
  scene.reflection.level = random.Uniform(1, 3);
  scene.reflection.radius = radius;
  scene.reflection.center = {outer + (right ? 1 : -1) * (radius + gap),
                             top.y + along * (bottom.y - top.y)};
}

void AddDeadBlock(Random& random, Scene& scene) {
  const cv::Size grid = GridOf(scene);
  cv::Point block;
  do {
    block = {random.Between(0, grid.width - 1), random.Between(0, grid.height - 1)};
  } while (((block.x + block.y) % 2 == 0) != scene.checkerboard.firstLit);
  scene.checkerboard.deadBlock = block;
}

void MakeHard(HardKind kind, int index, int count, Scene& scene) {
  Random random(scene.seed, 0x4A4D);
  switch (kind) {
    case HardKind::kContrast:
      scene.checkerboard.contrast = 8.0 - 4.0 * index / std::max(1, count - 1);
      break;
    case HardKind::kDeadBlock:
      AddDeadBlock(random, scene);
      break;
    case HardKind::kLitLevels:
      scene.checkerboard.levelRatio = 3.0;
      break;
    case HardKind::kReflection:
      AddReflection(random, scene);
      break;
    case HardKind::kDistortion:
      scene.optics.distortion = index % 2 == 0 ? 0.02 : -0.02;
      break;
    case HardKind::kBlur:
      // A third of a block is the diameter of the disk, or the full width at half maximum of the
      // Gaussian, which is 2.3548 sigma.
      if (scene.optics.defocus == Defocus::kDisk) {
        scene.optics.blur = scene.checkerboard.block / 6.0;
      } else {
        scene.optics.blur = scene.checkerboard.block / 3.0 / 2.3548;
      }
      break;
  }
}

}  // namespace

std::vector<Scene> PlainScenes(int count) {
  std::vector<Scene> scenes;
  for (int i = 0; i < count; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const Board* wanted = at < std::size(kExtremes) ? &kExtremes[at] : nullptr;
    scenes.push_back(DrawScene("plain-" + std::to_string(i), 1000 + at, wanted, kSmallestCell));
  }
  return scenes;
}

const char* NameOf(HardKind kind) {
  switch (kind) {
    case HardKind::kContrast:
      return "contrast";
    case HardKind::kDeadBlock:
      return "dead-block";
    case HardKind::kLitLevels:
      return "lit-levels";
    case HardKind::kReflection:
      return "reflection";
    case HardKind::kDistortion:
      return "distortion";
    case HardKind::kBlur:
      return "blur";
  }
  return "";
}

std::vector<Scene> HardScenes(HardKind kind, int count) {
  std::vector<Scene> scenes;
  for (int i = 0; i < count; ++i) {
    const auto seed = 2000 + 100 * static_cast<std::uint64_t>(kind) + static_cast<std::uint64_t>(i);
    const std::string name = std::string(NameOf(kind)) + "-" + std::to_string(i);
    scenes.push_back(DrawScene(name, seed, nullptr, kSmallestCell));
    MakeHard(kind, i, count, scenes.back());
  }
  return scenes;
}

std::vector<Scene> LuminanceScenes(int count) {
  std::vector<Scene> scenes;
  for (int i = 0; i < count; ++i) {
    Scene scene;
    scene.name = "lum-" + std::to_string(i);
    scene.seed = 5000 + static_cast<std::uint64_t>(i);
    Random random(scene.seed, 0x10A1);
    DrawPose(random, scene);
    DrawCamera(random, scene);
    scene.optics.distortion = 0;
    scene.optics.vignetting = 0;
    scene.screen.ledWidth = random.Between(64, 160);
    scene.screen.ledHeight = random.Between(48, 96);
    scene.pose.pitch = random.Uniform(5, 9);
    Luminance& l = scene.screen.luminance;
    l = Luminance{};
    switch (i % 4) {
      case 0:  // even
        break;
      case 1:
        l.gradientX = random.Uniform(-0.3, 0.3);
        l.gradientY = random.Uniform(-0.3, 0.3);
        break;
      case 2:
        l.moduleSpread = 0.03;
        break;
      default:
        l.scatter = random.Uniform(0.02, 0.1);
        break;
    }
    scenes.push_back(scene);
  }
  return scenes;
}

Scene DemoScene() {
  Scene scene;
  scene.name = "demo";
  scene.seed = 12;
  scene.screen.ledWidth = 256;
  scene.screen.ledHeight = 128;
  scene.screen.luminance.scatter = 0.02;
  scene.screen.luminance.moduleSpread = 0.03;
  scene.screen.luminance.moduleWidth = 32;
  scene.screen.luminance.moduleHeight = 32;
  scene.screen.luminance.deadShare = 0.0005;
  scene.sensor.width = 4000;
  scene.sensor.height = 3000;
  scene.pose.pitch = 12;
  scene.pose.tiltX = 4;
  scene.pose.tiltY = -5;
  scene.pose.roll = 1.5;
  scene.checkerboard.block = 16;
  return scene;
}

Scene SizedScene(double megapixels) {
  constexpr double kPitch = 8;
  constexpr int kBlock = 32;
  Scene scene;
  scene.name = "sized";
  scene.sensor.width = 2 * static_cast<int>(std::sqrt(megapixels * 1.5e6) / 2);
  scene.sensor.height = 2 * static_cast<int>(scene.sensor.width / 3);
  const auto leds = [](int pixels) {
    return kBlock * std::max(2, static_cast<int>(0.82 * pixels / kPitch / kBlock));
  };
  scene.pose.pitch = kPitch;
  scene.screen.ledWidth = leds(scene.sensor.width);
  scene.screen.ledHeight = leds(scene.sensor.height);
  scene.pose.tiltY = 3;
  scene.pose.roll = 1;
  scene.optics.vignetting = 0.1;
  scene.checkerboard.block = kBlock;
  return scene;
}

}  // namespace dravix::sim

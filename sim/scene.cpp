#include "sim/scene.h"

#include <algorithm>
#include <cmath>

#include "sim/kernel.h"
#include "sim/projection.h"

namespace dravix::sim {
namespace {

int CountOf(int leds, int block) { return (leds + block - 1) / block; }

/// The cells that lit LEDs have in one phase or another, in LED units: a camera that sees them all
/// need not move from phase to phase.
cv::Rect2d AllCellsOf(const Scene& scene) {
  const LitLeds lit = LitLedsOf(scene);
  const cv::Rect part = PartOf(scene);
  const double w = lit.step.x;
  const double h = lit.step.y;
  return {(part.x - lit.first.x) / w, (part.y - lit.first.y) / h, (part.width + w - 1) / w,
          (part.height + h - 1) / h};
}

}  // namespace

cv::Size ScreenSizeOf(const Scene& scene) {
  if (IsPart(scene)) return {scene.whole.ledWidth, scene.whole.ledHeight};
  return {scene.screen.ledWidth, scene.screen.ledHeight};
}

cv::Rect PartOf(const Scene& scene) {
  if (!IsPart(scene)) return {{0, 0}, ScreenSizeOf(scene)};
  const WholeScreen& w = scene.whole;
  return {w.partX, w.partY, w.partWidth > 0 ? w.partWidth : w.ledWidth - w.partX,
          w.partHeight > 0 ? w.partHeight : w.ledHeight - w.partY};
}

LitLeds LitLedsOf(const Scene& scene) {
  const cv::Rect part = PartOf(scene);
  if (!IsPart(scene)) return {{0, 0}, {1, 1}, part.size()};
  const WholeScreen& w = scene.whole;
  return {
      {part.x + w.phaseX, part.y + w.phaseY},
      {w.intervalX, w.intervalY},
      {CountOf(part.width - w.phaseX, w.intervalX), CountOf(part.height - w.phaseY, w.intervalY)}};
}

cv::Size GridOf(const Scene& scene) {
  const int block = scene.checkerboard.block;
  const cv::Size lit = LitLedsOf(scene).count;
  return {CountOf(lit.width, block), CountOf(lit.height, block)};
}

cv::Size LastBlockOf(const Scene& scene) {
  const int block = scene.checkerboard.block;
  const cv::Size grid = GridOf(scene);
  const cv::Size lit = LitLedsOf(scene).count;
  return {lit.width - (grid.width - 1) * block, lit.height - (grid.height - 1) * block};
}

int SpotReachOf(const Scene& scene) {
  return ReachOf(
      scene.screen.emitterFill * scene.pose.pitch, scene.optics.defocus,
      scene.optics.blur * scene.pose.pitch * (1.0 + std::max(0.0, scene.optics.cornerBlur)));
}

cv::Size PhotoSizeOf(const Scene& scene) {
  if (scene.sensor.width > 0 && scene.sensor.height > 0) {
    return {scene.sensor.width, scene.sensor.height};
  }
  // The photograph extends equally far on both sides of its middle, so the screen's farthest point
  // decides the size on either side. Only distances from the middle are needed, and these do not
  // depend on the size that is given here.
  const Projection projection(scene, cv::Size(2, 2));
  const cv::Rect2d field = AllCellsOf(scene);
  const cv::Point2d first = field.tl();
  const cv::Point2d last = field.br();
  double across = 0;
  double down = 0;
  for (const cv::Point2d led :
       {first, cv::Point2d(last.x, first.y), last, cv::Point2d(first.x, last.y)}) {
    const cv::Point2d p = projection.FromMiddle(led);
    across = std::max(across, std::abs(p.x));
    down = std::max(down, std::abs(p.y));
  }
  const double stretch = 1.0 + std::max(0.0, scene.optics.distortion);
  const auto pixels = [&](double half) {
    return 2 * static_cast<int>(std::ceil(half * stretch + scene.sensor.margin));
  };
  return {scene.sensor.width > 0 ? scene.sensor.width : pixels(across),
          scene.sensor.height > 0 ? scene.sensor.height : pixels(down)};
}

}  // namespace dravix::sim

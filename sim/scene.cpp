#include "sim/scene.h"

#include <algorithm>
#include <cmath>

#include "sim/kernel.h"
#include "sim/projection.h"

namespace dravix::sim {
namespace {

int CountOf(int leds, int block) { return (leds + block - 1) / block; }

}  // namespace

cv::Size GridOf(const Scene& scene) {
  const int block = scene.checkerboard.block;
  return {CountOf(scene.screen.ledWidth, block), CountOf(scene.screen.ledHeight, block)};
}

cv::Size LastBlockOf(const Scene& scene) {
  const int block = scene.checkerboard.block;
  const cv::Size grid = GridOf(scene);
  return {scene.screen.ledWidth - (grid.width - 1) * block,
          scene.screen.ledHeight - (grid.height - 1) * block};
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
  const double w = scene.screen.ledWidth;
  const double h = scene.screen.ledHeight;
  double across = 0;
  double down = 0;
  for (const cv::Point2d led :
       {cv::Point2d(0, 0), cv::Point2d(w, 0), cv::Point2d(w, h), cv::Point2d(0, h)}) {
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

#include "sim/luminance.h"

#include <algorithm>
#include <cstdint>

#include "sim/random.h"

namespace dravix::sim {
namespace {

/// One random factor for each module: normally distributed about 1, and never below 0.
cv::Mat_<double> NormalFactors(cv::Size size, double spread, Random random) {
  cv::Mat_<double> factors(size);
  for (double& f : factors) f = std::max(0.0, 1.0 + spread * random.Normal());
  return factors;
}

void AddDefects(const Scene& scene, cv::Mat& luminances) {
  const Luminance& l = scene.screen.luminance;
  Random random(scene.seed, kDefects);
  for (int y = 0; y < luminances.rows; ++y) {
    for (int x = 0; x < luminances.cols; ++x) {
      const double u = random.Uniform();
      auto& value = luminances.at<float>(y, x);
      if (u < l.deadShare) {
        value = 0;
      } else if (u < l.deadShare + l.hotShare) {
        value = static_cast<float>(value * l.hotFactor);
      }
    }
  }
  const cv::Rect all(0, 0, luminances.cols, luminances.rows);
  for (const cv::Point& led : l.dead) {
    if (all.contains(led)) luminances.at<float>(led) = 0;
  }
}

}  // namespace

cv::Mat LuminancesOf(const Scene& scene) {
  const Screen& screen = scene.screen;
  const Luminance& l = screen.luminance;
  if (!l.matrix.empty()) return l.matrix.clone();

  const cv::Size modules((screen.ledWidth + l.moduleWidth - 1) / l.moduleWidth,
                         (screen.ledHeight + l.moduleHeight - 1) / l.moduleHeight);
  const auto module = NormalFactors(modules, l.moduleSpread, Random(scene.seed, kModules));
  Random scatter(scene.seed, kScatter);
  cv::Mat luminances(screen.ledHeight, screen.ledWidth, CV_32FC1);
  for (int y = 0; y < luminances.rows; ++y) {
    const double alongY = 1.0 + l.gradientY * ((y + 0.5) / luminances.rows - 0.5);
    for (int x = 0; x < luminances.cols; ++x) {
      const double alongX = 1.0 + l.gradientX * ((x + 0.5) / luminances.cols - 0.5);
      const double own = 1.0 + l.scatter * scatter.Normal();
      const double value =
          l.mean * alongX * alongY * own * module(y / l.moduleHeight, x / l.moduleWidth);
      luminances.at<float>(y, x) = static_cast<float>(std::max(0.0, value));
    }
  }
  AddDefects(scene, luminances);
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

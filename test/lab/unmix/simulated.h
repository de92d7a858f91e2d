/// Simulated photographs for the tests of un-mixing, and how far an answer is from their truth.
#pragma once

#include <dravix/lab/unmix.h>

#include <cmath>
#include <opencv2/core.hpp>

#include "sim/render.h"

namespace dravix::lab::test {

/// A small screen whose LEDs differ by 8 %, slightly turned, with a spot of 0.4 pitches.
inline sim::Scene BlurredScene() {
  sim::Scene scene;
  scene.seed = 31;
  scene.optics.fineSpots = true;
  scene.optics.blur = 0.4;
  scene.optics.strayLight = 0.005;
  scene.screen.ledWidth = 32;
  scene.screen.ledHeight = 26;
  scene.screen.luminance.scatter = 0.08;
  scene.screen.emitterFill = 0.3;
  scene.pose.tiltX = 3;
  scene.pose.tiltY = -2;
  scene.pose.roll = 1;
  scene.sensor.margin = 70;
  scene.sensor.exposure = 0.4;
  return scene;
}

inline UnmixOptions OptionsFor(const sim::Scene& scene, const sim::Truth& truth) {
  UnmixOptions options;
  options.corners = truth.corners;
  options.leds = {scene.screen.ledWidth, scene.screen.ledHeight};
  options.sensorTop = (1 << scene.sensor.bits) - 1;
  return options;
}

/// RMS of the difference after the gain that fits best, over the truth's mean; LEDs that are NaN
/// are left out.
inline double RmsError(const cv::Mat1f& found, const cv::Mat& truth) {
  double products = 0, squares = 0, truths = 0, sum = 0, count = 0;
  for (int y = 0; y < found.rows; ++y) {
    for (int x = 0; x < found.cols; ++x) {
      const auto value = static_cast<double>(found(y, x));
      const auto real = static_cast<double>(truth.at<float>(y, x));
      if (!std::isfinite(value)) continue;
      products += value * real;
      squares += value * value;
      truths += real * real;
      sum += real;
      count += 1;
    }
  }
  return std::sqrt(std::max(0.0, truths - products * products / squares) / count) * count / sum;
}

}  // namespace dravix::lab::test

/// How far luminances are from the truth of a simulated scene.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "sim/render.h"

namespace dravix {

/// The luminance that a photograph with vignetting shows.
inline cv::Mat1d SeenTruth(const sim::Scene& scene, const cv::Mat& luminances) {
  const cv::Size size = sim::PhotoSizeOf(scene);
  const cv::Point2d middle(0.5 * (size.width - 1), 0.5 * (size.height - 1));
  cv::Mat1d seen(luminances.size());
  for (int y = 0; y < seen.rows; ++y) {
    for (int x = 0; x < seen.cols; ++x) {
      const cv::Point2d off = sim::LedCenterOf(scene, {x, y}) - middle;
      const double left = 1.0 - scene.optics.vignetting * off.dot(off) / middle.dot(middle);
      seen(y, x) = static_cast<double>(luminances.at<float>(y, x)) * left;
    }
  }
  return seen;
}

/// Absolute errors after the gain that fits best, percent of the mean.
inline std::vector<double> Errors(const cv::Mat1f& found, const cv::Mat1d& truth, int edge) {
  double products = 0;
  double squares = 0;
  double sum = 0;
  const auto forEach = [&](auto visit) {
    for (int y = edge; y < truth.rows - edge; ++y) {
      for (int x = edge; x < truth.cols - edge; ++x) {
        const double value = static_cast<double>(found(y, x));
        if (std::isfinite(value)) visit(value, truth(y, x));
      }
    }
  };
  double count = 0;
  forEach([&](double value, double true_) {
    products += value * true_;
    squares += value * value;
    sum += true_;
    count += 1;
  });
  std::vector<double> errors;
  forEach([&](double value, double true_) {
    errors.push_back(100 * std::abs(value * products / squares - true_) * count / sum);
  });
  return errors;
}

inline double Rms(const std::vector<double>& errors) {
  double squares = 0;
  for (const double e : errors) squares += e * e;
  return std::sqrt(squares / static_cast<double>(errors.size()));
}

inline double Quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

}  // namespace dravix

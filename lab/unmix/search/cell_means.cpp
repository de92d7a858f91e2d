#include "lab/unmix/search/cell_means.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace dravix::lab::unmix {
namespace {

/// The samples between two outlines around the screen, `inner` and `outer` LEDs outside of it. They
/// are found on rays that leave the screen at right angles: along each, positions are continued
/// straight from the outer LED, because a cubic polynomial must not be asked far outside.
std::vector<float> RingSamples(const cv::Mat1f& photo, const Grid& grid, double inner,
                               double outer) {
  std::vector<float> samples;
  const cv::Size leds = grid.Leds();
  const double step = std::max(1.0 / grid.Pitch(), 0.1);  // a pixel, in LEDs
  const cv::Rect frame(0, 0, photo.cols, photo.rows);
  const auto follow = [&](cv::Point2d edge, cv::Point2d outward) {
    const cv::Point2d from = grid.At(edge.x, edge.y);
    const cv::Point2d pitch = grid.At(edge.x + outward.x, edge.y + outward.y) - from;
    for (double d = inner; d <= outer; d += step) {
      const cv::Point at = from + d * pitch;
      if (frame.contains(at)) samples.push_back(photo(at));
    }
  };
  for (double u = 0; u <= leds.width; u += step) {
    follow({u, 0}, {0, -1});
    follow({u, static_cast<double>(leds.height)}, {0, 1});
  }
  for (double v = 0; v <= leds.height; v += step) {
    follow({0, v}, {-1, 0});
    follow({static_cast<double>(leds.width), v}, {1, 0});
  }
  return samples;
}

float Quantile(std::vector<float>& values, double share) {
  const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[static_cast<std::size_t>(at)];
}

/// The mean of the samples within four deviations of the median. The deviation is that of the
/// darker half, which no lamp touches.
double MeanWithoutOutliers(std::vector<float>& values) {
  const float median = Quantile(values, 0.5);
  const float low = Quantile(values, 0.159);
  const float reach = 4.0F * std::max(median - low, 1.0F);
  double sum = 0;
  double count = 0;
  for (const float value : values) {
    if (std::abs(value - median) > reach) continue;
    sum += value;
    count += 1;
  }
  return sum / count;
}

/// The share of a cell's light that LEDs of these levels, 0 to 1, give it.
cv::Mat1d CoverageOf(const cv::Mat1d& leds, const cv::Mat1d& cellResponse) {
  cv::Mat1d coverage;
  cv::filter2D(leds, coverage, CV_64F, cellResponse, {-1, -1}, 0, cv::BORDER_CONSTANT);
  return coverage;
}

}  // namespace

double SquareMean(const cv::Mat1f& photo, cv::Point2d center, double side) {
  // Pixel i covers i - 0.5 to i + 0.5.
  const double left = center.x - 0.5 * side + 0.5;
  const double right = center.x + 0.5 * side + 0.5;
  const double top = center.y - 0.5 * side + 0.5;
  const double bottom = center.y + 0.5 * side + 0.5;
  const int firstX = std::max(0, static_cast<int>(std::floor(left)));
  const int firstY = std::max(0, static_cast<int>(std::floor(top)));
  const int endX = std::min(photo.cols, static_cast<int>(std::ceil(right)));
  const int endY = std::min(photo.rows, static_cast<int>(std::ceil(bottom)));
  const auto inside = [](double from, double to, int pixel) {
    return std::min(to, pixel + 1.0) - std::max(from, static_cast<double>(pixel));
  };
  double sum = 0;
  double area = 0;
  for (int y = firstY; y < endY; ++y) {
    const float* row = photo[y];
    double light = 0;
    double width = 0;
    for (int x = firstX; x < endX; ++x) {
      const double share = inside(left, right, x);
      light += share * row[x];
      width += share;
    }
    const double height = inside(top, bottom, y);
    sum += height * light;
    area += height * width;
  }
  return area > 0 ? sum / area : std::numeric_limits<double>::quiet_NaN();
}

cv::Mat1d CellMeans(const cv::Mat1f& photo, const Centers& centers) {
  cv::Mat1d means(centers.x.size());
  cv::parallel_for_(cv::Range(0, means.rows), [&](const cv::Range& rows) {
    for (int row = rows.start; row < rows.end; ++row) {
      for (int column = 0; column < means.cols; ++column) {
        const cv::Point2d center(centers.x(row, column), centers.y(row, column));
        means(row, column) =
            SquareMean(photo, center, std::sqrt(static_cast<double>(centers.area(row, column))));
      }
    }
  });
  return means;
}

double BackgroundOf(const cv::Mat1f& photo, const Grid& grid) {
  constexpr double kInner = 3.0;  // LEDs; the widest spot that can be un-mixed has faded here
  constexpr double kOuter = 7.0;
  constexpr std::size_t kFewest = 200;
  std::vector<float> ring = RingSamples(photo, grid, kInner, kOuter);
  if (ring.size() >= kFewest) return MeanWithoutOutliers(ring);
  std::vector<float> all(photo.begin(), photo.end());
  return Quantile(all, 0.01);
}

cv::Mat1d Smoothed(const cv::Mat1d& values, double sigma) {
  const int side = 2 * static_cast<int>(std::ceil(2.5 * sigma)) + 1;
  const auto blurred = [&](const cv::Mat1d& m) {
    cv::Mat1d out;
    cv::GaussianBlur(m, out, {side, side}, sigma, sigma, cv::BORDER_CONSTANT);
    return out;
  };
  return cv::Mat1d(blurred(values) / blurred(cv::Mat1d(values.size(), 1.0)));
}

cv::Mat1d LitLevels(const cv::Mat1d& cellMeans, double background, const cv::Mat1d& cellResponse,
                    const cv::Mat1d& isLit, double sigma) {
  cv::Mat1d light((cellMeans - background).mul(isLit));
  cv::Mat1d coverage(CoverageOf(isLit, cellResponse).mul(isLit));
  for (int y = 0; y < light.rows; ++y) {
    for (int x = 0; x < light.cols; ++x) {
      if (!std::isfinite(light(y, x))) light(y, x) = coverage(y, x) = 0;
    }
  }
  constexpr double kNoCoverage = 1e-6;  // far from lit LEDs, where there is no light either
  const cv::Mat1d smooth(cv::max(Smoothed(coverage, sigma), kNoCoverage));
  return cv::Mat1d(Smoothed(light, sigma) / smooth);
}

cv::Mat1d CoveredLevels(const cv::Mat1d& cellMeans, double background,
                        const cv::Mat1d& cellResponse) {
  const cv::Mat1d coverage = CoverageOf(cv::Mat1d(cellMeans.size(), 1.0), cellResponse);
  cv::Mat1d levels((cellMeans - background) / coverage);
  for (double& level : levels) {
    if (!std::isfinite(level)) level = 0;
  }
  return levels;
}

}  // namespace dravix::lab::unmix

#include "dravix/lab/flat_field.h"

#include <algorithm>
#include <cmath>

#include "lab/base/json.h"

namespace dravix::lab {
namespace {

/// Mean of what is finite.
double MeanOf(const cv::Mat1f& values) {
  double sum = 0;
  double count = 0;
  for (const float value : values) {
    if (!std::isfinite(value)) continue;
    sum += static_cast<double>(value);
    count += 1;
  }
  return sum / count;
}

double RmsOf(const cv::Mat1f& values) { return std::sqrt(MeanOf(cv::Mat1f(values.mul(values)))); }

}  // namespace

const char* NameOf(FlatFieldRefusal refusal) {
  switch (refusal) {
    case FlatFieldRefusal::kClipped:
      return "clipped";
    case FlatFieldRefusal::kDark:
      return "dark";
    case FlatFieldRefusal::kStructured:
      return "structured";
    case FlatFieldRefusal::kNoArea:
      return "no-area";
    case FlatFieldRefusal::kShift:
      return "shift";
    case FlatFieldRefusal::kDisagree:
      return "disagree";
    case FlatFieldRefusal::kReach:
      return "reach";
  }
  return "";
}

double FlatField::At(cv::Point2d place) const {
  const double x = std::clamp((place.x + 0.5) * gains.cols / photo.width - 0.5, 0.0,
                              static_cast<double>(gains.cols - 1));
  const double y = std::clamp((place.y + 0.5) * gains.rows / photo.height - 0.5, 0.0,
                              static_cast<double>(gains.rows - 1));
  const int left = static_cast<int>(x);
  const int above = static_cast<int>(y);
  const int right = std::min(left + 1, gains.cols - 1);
  const int below = std::min(above + 1, gains.rows - 1);
  const auto between = [](double a, double b, double t) { return a + t * (b - a); };
  const auto at = [&](int row, int column) { return static_cast<double>(gains(row, column)); };
  return between(between(at(above, left), at(above, right), x - left),
                 between(at(below, left), at(below, right), x - left), y - above);
}

Unmixed Flattened(const Unmixed& unmixed, const FlatField& field) {
  Unmixed flat = unmixed;
  if (unmixed.refused || field.refused) return flat;
  flat.luminances = unmixed.luminances.clone();
  flat.deviations = unmixed.deviations.clone();
  for (int y = 0; y < flat.luminances.rows; ++y) {
    for (int x = 0; x < flat.luminances.cols; ++x) {
      const double gain = field.At(cv::Point2d(unmixed.places(y, x)[0], unmixed.places(y, x)[1]));
      const double value = static_cast<double>(unmixed.luminances(y, x)) / gain;
      const double deviation = static_cast<double>(unmixed.deviations(y, x)) / gain;
      flat.luminances(y, x) = static_cast<float>(value);
      flat.deviations(y, x) = static_cast<float>(std::hypot(deviation, value * field.deviation));
    }
  }
  flat.mean = unmixed.mean * MeanOf(flat.luminances) / MeanOf(unmixed.luminances);
  flat.sigma = RmsOf(flat.deviations) / flat.mean;
  return flat;
}

std::string ToJson(const FlatField& field) {
  Json json;
  json["lost"] = NumberOrNull(field.lost);
  json["deviation"] = NumberOrNull(field.deviation);
  return Dumped(json);
}

}  // namespace dravix::lab

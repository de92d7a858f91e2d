#include "dravix/lab/repeatability.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "lab/base/json.h"
#include "lab/base/size_text.h"

namespace dravix::lab {
namespace {

constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();

void CheckArguments(const std::vector<cv::Mat>& results) {
  if (results.size() < 2) {
    throw std::invalid_argument("RepeatabilityOf: found " + std::to_string(results.size()) +
                                " results, expected at least 2");
  }
  for (const cv::Mat& result : results) {
    if (result.empty() || result.dims != 2 ||
        (result.type() != CV_32FC1 && result.type() != CV_64FC1)) {
      throw std::invalid_argument("RepeatabilityOf: expected matrices of floats or doubles");
    }
    if (result.size() != results.front().size()) {
      throw std::invalid_argument("RepeatabilityOf: found " + SizeText(result.size()) +
                                  " LEDs, expected " + SizeText(results.front().size()));
    }
  }
}

double At(const cv::Mat& values, int y, int x) {
  return values.depth() == CV_64F ? values.at<double>(y, x)
                                  : static_cast<double>(values.at<float>(y, x));
}

/// The finite values of one LED, each divided by its result's level.
std::vector<double> ValuesOf(const std::vector<cv::Mat>& results, const std::vector<double>& levels,
                             int y, int x) {
  std::vector<double> values;
  for (std::size_t k = 0; k < results.size(); ++k) {
    const double value = At(results[k], y, x);
    if (std::isfinite(value)) values.push_back(value / levels[k]);
  }
  return values;
}

double MeanOf(const std::vector<double>& values) {
  double sum = 0;
  for (const double value : values) sum += value;
  return values.empty() ? kNotKnown : sum / static_cast<double>(values.size());
}

/// Sum of the squared departures from the mean.
double SquaresOf(const std::vector<double>& values) {
  const double mean = MeanOf(values);
  double squares = 0;
  for (const double value : values) squares += (value - mean) * (value - mean);
  return squares;
}

/// Their standard deviation.
double DeviationOf(const std::vector<double>& values) {
  return values.size() < 2 ? kNotKnown
                           : std::sqrt(SquaresOf(values) / static_cast<double>(values.size() - 1));
}

template <class Function>
void ForLeds(cv::Size size, const Function& function) {
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) function(y, x);
  }
}

/// Over LEDs that are finite in all results, so that one that is missing here and there does not
/// move the levels.
std::vector<double> LevelsOf(const std::vector<cv::Mat>& results, cv::Size size) {
  std::vector<double> sums(results.size(), 0.0);
  double common = 0;
  const std::vector<double> ones(results.size(), 1.0);
  ForLeds(size, [&](int y, int x) {
    const std::vector<double> values = ValuesOf(results, ones, y, x);
    if (values.size() < results.size()) return;
    for (std::size_t k = 0; k < values.size(); ++k) sums[k] += values[k];
    common += 1;
  });
  if (common == 0) {
    throw std::invalid_argument("RepeatabilityOf: found no LED that is finite in all results");
  }
  const double mean = MeanOf(sums);
  for (double& sum : sums) sum = mean > 0 ? sum / mean : kNotKnown;
  return sums;
}

/// Pooled over all LEDs.
struct Pooled {
  double squares = 0;
  double freedom = 0;
  double leds = 0;

  void Add(const std::vector<double>& values) {
    if (values.size() < 2) return;
    squares += SquaresOf(values);
    freedom += static_cast<double>(values.size() - 1);
    leds += 1;
  }
};

RealDifference DifferenceOf(const Pooled& pooled, double mean, double freedom, std::size_t count) {
  RealDifference real;
  const bool known = pooled.freedom > 0 && freedom >= 1 && mean > 0;
  real.deviation = known ? std::sqrt(pooled.squares / pooled.freedom) / mean : kNotKnown;
  real.freedom = known ? freedom : 0;
  const auto half = [&](double confidence) {
    return known ? StudentFactor(confidence, freedom) * std::sqrt(2.0) * real.deviation : kNotKnown;
  };
  real.single = half(kRepeatabilityConfidence);
  real.means = real.single / std::sqrt(static_cast<double>(count));
  real.anywhere = half(1.0 - (1.0 - kRepeatabilityConfidence) / std::max(1.0, pooled.leds));
  return real;
}

Json ToJsonObject(const RealDifference& real) {
  Json json;
  json["deviation"] = NumberOrNull(real.deviation);
  json["freedom"] = NumberOrNull(real.freedom);
  json["single"] = NumberOrNull(real.single);
  json["means"] = NumberOrNull(real.means);
  json["anywhere"] = NumberOrNull(real.anywhere);
  return json;
}

}  // namespace

Repeatability RepeatabilityOf(const std::vector<cv::Mat>& results) {
  CheckArguments(results);
  Repeatability r;
  r.size = results.front().size();
  r.results = static_cast<int>(results.size());
  r.levels = LevelsOf(results, r.size);
  r.levelDeviation = DeviationOf(r.levels);
  r.means.create(r.size);
  r.deviations.create(r.size);
  const std::vector<double> ones(results.size(), 1.0);
  Pooled asMeasured;
  Pooled leveled;
  double sum = 0;
  ForLeds(r.size, [&](int y, int x) {
    const std::vector<double> values = ValuesOf(results, ones, y, x);
    const double mean = MeanOf(values);
    r.means(y, x) = static_cast<float>(mean);
    r.deviations(y, x) = static_cast<float>(DeviationOf(values));
    if (values.empty()) r.unmeasured += 1;
    if (!values.empty() && values.size() < results.size()) r.partly += 1;
    if (!values.empty()) sum += mean;
    asMeasured.Add(values);
    leveled.Add(ValuesOf(results, r.levels, y, x));
  });
  r.mean = sum / (r.size.area() - static_cast<double>(r.unmeasured));
  const double drift = static_cast<double>(results.size()) - 1;
  r.asMeasured = DifferenceOf(asMeasured, r.mean, drift, results.size());
  // The levels were taken from the same values.
  leveled.freedom -= drift;
  r.leveled = DifferenceOf(leveled, r.mean, leveled.freedom, results.size());
  return r;
}

std::string ToJson(const Repeatability& r) {
  Json json;
  json["size"] = ToPair(r.size);
  json["results"] = r.results;
  json["mean"] = NumberOrNull(r.mean);
  json["levels"] = Json::array();
  for (const double level : r.levels) json["levels"].push_back(NumberOrNull(level));
  json["level_deviation"] = NumberOrNull(r.levelDeviation);
  json["confidence"] = kRepeatabilityConfidence;
  json["as_measured"] = ToJsonObject(r.asMeasured);
  json["leveled"] = ToJsonObject(r.leveled);
  json["unmeasured"] = r.unmeasured;
  json["partly_measured"] = r.partly;
  return Dumped(json);
}

}  // namespace dravix::lab

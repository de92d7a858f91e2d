#include "lab/report/curves.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace dravix::lab {
namespace {

constexpr std::size_t kHistogramBins = 128;

/// The LEDs that are not in the outer rows and columns that do not count.
cv::Rect Inner(const ReportInput& input) {
  const int edge = input.options.edge;
  return {edge, edge, input.values.cols - 2 * edge, input.values.rows - 2 * edge};
}

template <class Use>
void ForEachThatCounts(const ReportInput& input, const Use& use) {
  const cv::Rect inner = Inner(input);
  cv::Mat1d row;
  for (int y = inner.y; y < inner.br().y; ++y) {
    input.values.row(y).convertTo(row, CV_64F);
    for (int x = inner.x; x < inner.br().x; ++x) {
      if (std::isfinite(row(0, x))) use(x, y, row(0, x));
    }
  }
}

class RunningMean {
 public:
  void Add(double value) {
    sum_ += value;
    ++count_;
  }
  [[nodiscard]] float Value() const {
    return count_ > 0 ? static_cast<float>(sum_ / static_cast<double>(count_))
                      : std::numeric_limits<float>::quiet_NaN();
  }

 private:
  double sum_ = 0;
  std::int64_t count_ = 0;
};

std::vector<float> ValuesOf(const std::vector<RunningMean>& means) {
  std::vector<float> values;
  for (const RunningMean& mean : means) values.push_back(mean.Value());
  return values;
}

/// What all histograms share.
Histogram EmptyHistogram(const std::vector<ReportInput>& inputs) {
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -lowest;
  for (const ReportInput& input : inputs) {
    lowest = std::min(lowest, input.analysis.level.minimum);
    highest = std::max(highest, input.analysis.level.maximum);
  }
  const ReportScale scale = PercentileScale(inputs);
  const double room = (scale.high - scale.low) / 2;
  Histogram histogram;
  histogram.low = std::max(scale.low - room, lowest);
  histogram.high = std::min(scale.high + room, highest);
  if (!(histogram.high > histogram.low)) {
    histogram.low = scale.low;
    histogram.high = scale.high;
  }
  histogram.counts.assign(kHistogramBins, 0);
  return histogram;
}

}  // namespace

Profiles ProfilesOf(const ReportInput& input) {
  std::vector<RunningMean> rows(static_cast<std::size_t>(input.values.rows));
  std::vector<RunningMean> columns(static_cast<std::size_t>(input.values.cols));
  ForEachThatCounts(input, [&](int x, int y, double value) {
    rows[static_cast<std::size_t>(y)].Add(value);
    columns[static_cast<std::size_t>(x)].Add(value);
  });
  return {ValuesOf(rows), ValuesOf(columns)};
}

std::vector<Histogram> HistogramsOf(const std::vector<ReportInput>& inputs) {
  std::vector<Histogram> all(inputs.size(), EmptyHistogram(inputs));
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    Histogram& histogram = all[i];
    const double binsPerUnit = kHistogramBins / (histogram.high - histogram.low);
    ForEachThatCounts(inputs[i], [&](int, int, double value) {
      if (value < histogram.low) {
        ++histogram.below;
      } else if (value > histogram.high) {
        ++histogram.above;
      } else {
        const auto bin = static_cast<std::size_t>((value - histogram.low) * binsPerUnit);
        ++histogram.counts[std::min(bin, kHistogramBins - 1)];
      }
    });
  }
  return all;
}

ReportScale PercentileScale(const std::vector<ReportInput>& inputs) {
  ReportScale scale{std::numeric_limits<double>::infinity(),
                    -std::numeric_limits<double>::infinity()};
  for (const ReportInput& input : inputs) {
    scale.low = std::min(scale.low, input.analysis.level.p01);
    scale.high = std::max(scale.high, input.analysis.level.p99);
  }
  if (!(scale.high > scale.low)) {
    // Nearly all values are equal. Some room gives the scale two different ends.
    const double room = std::max(std::abs(scale.high) * 0.01, 1e-6);
    scale.low -= room;
    scale.high += room;
  }
  return scale;
}

}  // namespace dravix::lab

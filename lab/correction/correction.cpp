#include <dravix/lab/correction.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "lab/analysis/counted_rows.h"
#include "lab/analysis/figures.h"
#include "lab/analysis/order_statistics.h"
#include "lab/base/unexpected.h"
#include "lab/correction/good_leds.h"
#include "lab/correction/square_means.h"

namespace dravix::lab {
namespace {

/// Each row is summed by itself: sums of sums lose less than one long sum does.
Mean MeanOfRows(const CountedRows& rows) {
  Mean all;
  rows.ForEachRow([&](int, const double* row) {
    Mean mean;
    for (int x = 0; x < rows.Size().width; ++x) mean.Add(row[x]);
    all.Add(mean);
  });
  return all;
}

double TargetOf(const CorrectionTarget& target, const CountedRows& rows, const Mean& mean) {
  switch (target.kind) {
    case CorrectionTarget::Kind::kLevel:
      return target.value;
    case CorrectionTarget::Kind::kMean:
      return mean.Value();
    case CorrectionTarget::Kind::kPercentile:
      break;
  }
  const Between place = PlaceOf(target.value / 100, mean.count);
  const std::vector<double> values = OrderStatistics(rows, {place.lower, place.upper});
  return place.Blend(values[0], values[1]);
}

/// The target of each LED of a row.
class Targets {
 public:
  Targets(const cv::Mat& good, double target, int keepGradient) : target_(target) {
    if (keepGradient == 0) return;
    around_ = SquareMeans(good, keepGradient);
    const CountedRows rows(good, 0);
    Mean mean;
    rows.ForEachRow([&](int y, const double* row) {
      Mean inRow;
      for (int x = 0; x < around_.cols; ++x) {
        if (IsKnown(row[x])) inRow.Add(around_(y, x));
      }
      mean.Add(inRow);
    });
    meanAround_ = mean.Value();
  }
  [[nodiscard]] double At(int y, int x) const {
    return around_.empty() ? target_ : target_ * around_(y, x) / meanAround_;
  }

 private:
  double target_;
  cv::Mat1d around_;
  double meanAround_ = kNotKnown;
};

/// The sums of squared differences from the means of values and of corrected values.
struct Spreads {
  Mean before;
  Mean expected;
};

struct Totals {
  double value = 0;
  double corrected = 0;
  std::int64_t clipped = 0;
  void Add(const Totals& other) {
    value += other.value;
    corrected += other.corrected;
    clipped += other.clipped;
  }
};

double GainOf(double target, double value) { return std::min(1.0, target / value); }

/// Writes the gains of one row.
Totals CorrectRow(int y, const double* row, const Targets& targets, double largest,
                  Correction& correction) {
  Totals totals;
  float* gains = correction.gains[y];
  unsigned short* integers = correction.integerGains[y];
  for (int x = 0; x < correction.gains.cols; ++x) {
    double gain = 1;
    if (IsKnown(row[x])) {
      const double target = targets.At(y, x);
      gain = GainOf(target, row[x]);
      totals.value += row[x];
      totals.corrected += gain * row[x];
      totals.clipped += target / row[x] > 1 ? 1 : 0;
    }
    gains[x] = static_cast<float>(gain);
    integers[x] = static_cast<unsigned short>(std::floor(gain * largest + 0.5));
  }
  return totals;
}

void SetSpreads(const CountedRows& rows, const Targets& targets, double mean, double meanExpected,
                CorrectionFigures& figures) {
  Spreads all;
  rows.ForEachRow([&](int y, const double* row) {
    Spreads spreads;
    for (int x = 0; x < rows.Size().width; ++x) {
      if (!IsKnown(row[x])) continue;
      const double before = row[x] - mean;
      const double expected = GainOf(targets.At(y, x), row[x]) * row[x] - meanExpected;
      spreads.before.Add(before * before);
      spreads.expected.Add(expected * expected);
    }
    all.before.Add(spreads.before);
    all.expected.Add(spreads.expected);
  });
  figures.cvBefore = Quotient(std::sqrt(all.before.Value()), mean);
  figures.cvExpected = Quotient(std::sqrt(all.expected.Value()), meanExpected);
}

}  // namespace

void Check(const CorrectionOptions& options) {
  const CorrectionTarget& target = options.target;
  if (target.kind == CorrectionTarget::Kind::kPercentile &&
      !(target.value >= 0 && target.value <= 100)) {
    throw Unexpected("target", "percentile " + std::to_string(target.value), "0 to 100");
  }
  if (target.kind == CorrectionTarget::Kind::kLevel &&
      !(target.value > 0 && std::isfinite(target.value))) {
    throw Unexpected("target", "level " + std::to_string(target.value), "a luminance above 0");
  }
  if (options.keepGradient < 0 || (options.keepGradient != 0 && options.keepGradient % 2 == 0)) {
    throw Unexpected("keep-gradient", std::to_string(options.keepGradient),
                     "an odd number of LEDs");
  }
  if (options.bits < 1 || options.bits > 16) {
    throw Unexpected("bits", std::to_string(options.bits), "1 to 16");
  }
}

Correction Correct(const cv::Mat& values, const CorrectionOptions& options) {
  Check(options);
  if (values.dims != 2 || values.empty() ||
      (values.type() != CV_32FC1 && values.type() != CV_64FC1)) {
    throw Unexpected("values", cv::typeToString(values.type()), "a matrix of CV_32FC1 or CV_64FC1");
  }
  GoodLeds good = GoodLedsOf(values);
  const CountedRows rows(good.values, 0);
  const Mean mean = MeanOfRows(rows);
  Correction correction;
  CorrectionFigures& figures = correction.figures;
  figures.dead = std::move(good.dead);
  figures.good = mean.count;
  figures.target = mean.count > 0 ? TargetOf(options.target, rows, mean) : kNotKnown;

  const Targets targets(good.values, figures.target, options.keepGradient);
  correction.gains.create(values.size());
  correction.integerGains.create(values.size());
  const double largest = (1 << options.bits) - 1;
  Totals totals;
  rows.ForEachRow([&](int y, const double* row) {
    totals.Add(CorrectRow(y, row, targets, largest, correction));
  });
  const auto count = static_cast<double>(mean.count);
  figures.clipped = Quotient(static_cast<double>(totals.clipped), count);
  figures.lightLost = 1 - Quotient(totals.corrected, totals.value);
  SetSpreads(rows, targets, mean.Value(), Quotient(totals.corrected, count), figures);
  return correction;
}

}  // namespace dravix::lab

#include "lab/analysis/modules.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

/// The means of all modules. Only one row of modules is summed at a time, and only one module of a
/// row of LEDs.
cv::Mat1d MeansOf(const CountedRows& rows, cv::Point at, cv::Size module, const Modules& modules) {
  cv::Mat1d means(modules.count, kNotKnown);
  const cv::Point corner(modules.first.x * module.width - at.x,
                         modules.first.y * module.height - at.y);
  std::vector<Mean> sums(static_cast<std::size_t>(modules.count.width));
  rows.ForEachRow([&](int y, const double* row) {
    for (int column = 0; column < modules.count.width; ++column) {
      // In 64 bits: a module may be far larger than the matrix.
      const std::int64_t first = corner.x + std::int64_t{column} * module.width;
      const auto begin = static_cast<int>(std::max<std::int64_t>(first, 0));
      const auto end =
          static_cast<int>(std::min<std::int64_t>(first + module.width, rows.Size().width));
      Mean part;
      for (int x = begin; x < end; ++x) part.Add(row[x]);
      sums[static_cast<std::size_t>(column)].Add(part);
    }
    const int moduleRow = (y - corner.y) / module.height;
    const bool isLast =
        y + 1 == rows.Inner().br().y || (y + 1 - corner.y) / module.height != moduleRow;
    if (!isLast) return;
    for (int column = 0; column < modules.count.width; ++column) {
      means(moduleRow, column) = sums[static_cast<std::size_t>(column)].Value();
    }
    sums.assign(sums.size(), {});
  });
  return means;
}

/// Standard deviation of the population over the mean; what is not known is left out.
double VariationOf(const cv::Mat1d& means) {
  Mean mean;
  for (const double value : means) mean.Add(value);
  Mean square;
  for (const double value : means) square.Add((value - mean.Value()) * (value - mean.Value()));
  return Quotient(std::sqrt(square.Value()), mean.Value());
}

/// Finds the largest step between neighbors; of equal ones the first, row by row, and the neighbor
/// on the right before the one below.
void FindLargestStep(double levelMean, Modules& modules) {
  double largest = kNotKnown;
  const auto compare = [&](cv::Point one, cv::Point other) {
    const double step = std::abs(modules.means(one) - modules.means(other));
    if (!IsKnown(step) || step <= largest) return;
    largest = step;
    modules.between = {one + modules.first, other + modules.first};
  };
  const cv::Size count = modules.count;
  for (int y = 0; y < count.height; ++y) {
    for (int x = 0; x < count.width; ++x) {
      if (x + 1 < count.width) compare({x, y}, {x + 1, y});
      if (y + 1 < count.height) compare({x, y}, {x, y + 1});
    }
  }
  modules.largestStep = Quotient(largest, levelMean);
}

}  // namespace

cv::Point ModuleAt(cv::Point position, cv::Size module) {
  return {FloorDivide(position.x, module.width), FloorDivide(position.y, module.height)};
}

Modules ModulesOf(const CountedRows& rows, cv::Point at, cv::Size module, double levelMean) {
  Modules modules;
  modules.first = ModuleAt(at, module);
  const cv::Point last = ModuleAt(at + cv::Point(rows.Size()) - cv::Point(1, 1), module);
  modules.count = cv::Size(last - modules.first + cv::Point(1, 1));
  modules.means = MeansOf(rows, at, module, modules);
  modules.cv = VariationOf(modules.means);
  FindLargestStep(levelMean, modules);
  return modules;
}

}  // namespace dravix::lab

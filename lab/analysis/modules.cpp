#include "lab/analysis/modules.h"

#include <cmath>
#include <vector>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

/// The means of all modules. Only one row of modules is summed at a time.
cv::Mat1d MeansOf(const CountedRows& rows, cv::Point at, cv::Size module, const Modules& modules) {
  cv::Mat1d means(modules.count, kNotKnown);
  const int width = rows.Size().width;
  std::vector<int> columnOf(static_cast<std::size_t>(width));
  for (int x = 0; x < width; ++x) {
    columnOf[static_cast<std::size_t>(x)] = FloorDivide(x + at.x, module.width) - modules.first.x;
  }
  std::vector<Mean> sums(static_cast<std::size_t>(modules.count.width));
  rows.ForEachRow([&](int y, const double* row) {
    for (int x = 0; x < width; ++x) {
      sums[static_cast<std::size_t>(columnOf[static_cast<std::size_t>(x)])].Add(row[x]);
    }
    const int moduleRow = FloorDivide(y + at.y, module.height) - modules.first.y;
    const bool isLast = y + 1 == rows.Inner().br().y ||
                        FloorDivide(y + 1 + at.y, module.height) - modules.first.y != moduleRow;
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

#include "lab/unmix/search/cholesky.h"

#include <algorithm>
#include <cmath>

namespace dravix::lab::unmix {
namespace {

/// Four partial sums, so that the processor need not wait for each addition.
double Dot(const double* a, const double* b, int count) {
  double sums[4] = {0, 0, 0, 0};
  int i = 0;
  for (; i + 4 <= count; i += 4) {
    for (int lane = 0; lane < 4; ++lane) sums[lane] += a[i + lane] * b[i + lane];
  }
  for (; i < count; ++i) sums[0] += a[i] * b[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

Cholesky::Cholesky(const cv::Mat1d& matrix) : lower_(matrix.size(), 0.0) {
  const int n = matrix.rows;
  for (int i = 0; i < n; ++i) {
    double* row = lower_[i];
    for (int j = 0; j < i; ++j) {
      row[j] = (matrix(i, j) - Dot(row, lower_[j], j)) / lower_(j, j);
    }
    const double smallest = std::max(1e-12 * matrix(i, i), 1e-300);
    row[i] = std::sqrt(std::max(matrix(i, i) - Dot(row, row, i), smallest));
  }
}

cv::Mat1d Cholesky::SolveRows(const cv::Mat1d& right) const {
  cv::Mat1d solution = right.clone();
  const int n = lower_.rows;
  for (int r = 0; r < solution.rows; ++r) {
    double* x = solution[r];
    for (int i = 0; i < n; ++i) x[i] = (x[i] - Dot(lower_[i], x, i)) / lower_(i, i);
    for (int i = n - 1; i >= 0; --i) {
      x[i] /= lower_(i, i);
      for (int j = 0; j < i; ++j) x[j] -= lower_(i, j) * x[i];
    }
  }
  return solution;
}

}  // namespace dravix::lab::unmix

/// Small dense systems of equations, as the method of least squares makes them.
#pragma once

#include <opencv2/core.hpp>

namespace dravix::lab::unmix {

/// The Cholesky factor of a symmetric positive definite matrix, for several solutions with one
/// factorization. A pivot that rounding has made too small is lifted, so that directions of which
/// the matrix says nothing get a solution near 0.
class Cholesky {
 public:
  explicit Cholesky(const cv::Mat1d& matrix);
  /// The solution for each row of `right`, which holds one right side per row.
  [[nodiscard]] cv::Mat1d SolveRows(const cv::Mat1d& right) const;

 private:
  cv::Mat1d lower_;
};

}  // namespace dravix::lab::unmix

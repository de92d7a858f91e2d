#include "lab/analysis/counted_rows.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

template <class T>
T FiniteOrNaN(T value) {
  return std::isfinite(value) ? value : std::numeric_limits<T>::quiet_NaN();
}

/// Copies the finite values of columns [from, to).
template <class From, class To>
void Copy(const From* values, int from, int to, To* row) {
  for (int x = from; x < to; ++x) row[x] = static_cast<To>(FiniteOrNaN(values[x]));
}

/// What an edge leaves of a length; an edge may be wider than the matrix.
int Left(int length, int edge) { return edge < (length + 1) / 2 ? length - 2 * edge : 0; }

}  // namespace

CountedRows::CountedRows(const cv::Mat& values, int edge) : values_(&values) {
  const cv::Size left(Left(values.cols, edge), Left(values.rows, edge));
  if (!left.empty()) inner_ = cv::Rect(cv::Point(edge, edge), left);
}

template <class T>
void CountedRows::Read(int y, T* row) const {
  constexpr T kNaN = std::numeric_limits<T>::quiet_NaN();
  const int width = values_->cols;
  if (y < inner_.y || y >= inner_.y + inner_.height) {
    std::fill(row, row + width, kNaN);
    return;
  }
  const int from = inner_.x;
  const int to = inner_.x + inner_.width;
  std::fill(row, row + from, kNaN);
  std::fill(row + to, row + width, kNaN);
  if (AreFloats()) {
    Copy(values_->ptr<float>(y), from, to, row);
  } else {
    Copy(values_->ptr<double>(y), from, to, row);
  }
}

template void CountedRows::Read(int y, float* row) const;
template void CountedRows::Read(int y, double* row) const;

double CountedRows::At(cv::Point place) const {
  if (!inner_.contains(place)) return kNotKnown;
  return FiniteOrNaN(AreFloats() ? static_cast<double>(values_->at<float>(place))
                                 : values_->at<double>(place));
}

}  // namespace dravix::lab

#include "lab/analysis/counted_rows.h"

#include <algorithm>
#include <cmath>

#include "lab/analysis/figures.h"

namespace dravix::lab {
namespace {

double FiniteOrNaN(double value) { return std::isfinite(value) ? value : kNotKnown; }

/// Copies the finite values of columns [from, to).
template <class T>
void Copy(const T* values, int from, int to, double* row) {
  for (int x = from; x < to; ++x) row[x] = FiniteOrNaN(static_cast<double>(values[x]));
}

/// What an edge leaves of a length; an edge may be wider than the matrix.
int Left(int length, int edge) { return edge < (length + 1) / 2 ? length - 2 * edge : 0; }

}  // namespace

CountedRows::CountedRows(const cv::Mat& values, int edge) : values_(&values) {
  const cv::Size left(Left(values.cols, edge), Left(values.rows, edge));
  if (!left.empty()) inner_ = cv::Rect(cv::Point(edge, edge), left);
}

void CountedRows::Read(int y, double* row) const {
  const int width = values_->cols;
  if (y < inner_.y || y >= inner_.y + inner_.height) {
    std::fill(row, row + width, kNotKnown);
    return;
  }
  const int from = inner_.x;
  const int to = inner_.x + inner_.width;
  std::fill(row, row + from, kNotKnown);
  std::fill(row + to, row + width, kNotKnown);
  if (values_->type() == CV_32FC1) {
    Copy(values_->ptr<float>(y), from, to, row);
  } else {
    Copy(values_->ptr<double>(y), from, to, row);
  }
}

double CountedRows::At(cv::Point place) const {
  if (!inner_.contains(place)) return kNotKnown;
  return FiniteOrNaN(values_->type() == CV_32FC1 ? static_cast<double>(values_->at<float>(place))
                                                 : values_->at<double>(place));
}

}  // namespace dravix::lab

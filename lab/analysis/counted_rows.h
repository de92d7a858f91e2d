/// The LEDs that count, for the steps of the analysis.
#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace dravix::lab {

/// Reads a matrix row by row, usually in double precision. An LED that does not count, because its
/// value is not finite or because it lies in the outer rows and columns, reads as NaN.
class CountedRows {
 public:
  /// The values, CV_32FC1 or CV_64FC1, are not copied and must outlive this.
  CountedRows(const cv::Mat& values, int edge);

  [[nodiscard]] cv::Size Size() const { return values_->size(); }
  [[nodiscard]] bool AreFloats() const { return values_->type() == CV_32FC1; }
  /// The part of the matrix without its outer rows and columns; empty when nothing is left.
  [[nodiscard]] cv::Rect Inner() const { return inner_; }

  /// Writes row `y` to `row`, Size().width values of float or double.
  template <class T>
  void Read(int y, T* row) const;
  [[nodiscard]] double At(cv::Point place) const;

  /// Calls `use(y, row)` for every inner row from top to bottom.
  template <class Use>
  void ForEachRow(Use&& use) const {
    std::vector<double> row(static_cast<std::size_t>(Size().width));
    for (int y = inner_.y; y < inner_.y + inner_.height; ++y) {
      Read(y, row.data());
      use(y, static_cast<const double*>(row.data()));
    }
  }

 private:
  const cv::Mat* values_;
  cv::Rect inner_;
};

}  // namespace dravix::lab

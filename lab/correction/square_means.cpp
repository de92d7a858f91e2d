// The sum over a square is the sum over its columns of the sums over its rows, so that two passes
// along lines make it, whatever its side. A running sum, which adds the next value and subtracts
// the one that is left behind, would keep the rounding errors of all that it has passed: after one
// very bright LED the sums of dark ones would be wrong. So nothing is subtracted. A line is cut
// into pieces as long as the window. A window then is the end of one piece and the beginning of the
// next one, whose sums are made once for all windows. Values are above 0, so that each sum is exact
// to as many rounding errors of its own size as it has terms.
#include "lab/correction/square_means.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace dravix::lab {
namespace {

/// Lines that lie beside each other and are summed together: element i of lane l is at
/// i * kLanes + l. A cache line holds as many doubles.
constexpr std::size_t kLanes = 8;

/// Replaces the elements of `length` by the sums over those at most `reach` away, in all lanes.
class WindowSums {
 public:
  WindowSums(std::size_t length, std::size_t reach)
      : length_(length),
        reach_(std::min(reach, length - 1)),
        window_(2 * reach_ + 1),
        padded_((length + 2 * reach_ + window_ - 1) / window_ * window_),
        beginnings_(padded_ * kLanes),
        ends_(padded_ * kLanes) {}

  /// Where the elements of the lanes are put and the sums are found: length x kLanes.
  [[nodiscard]] double* Elements() { return beginnings_.data() + reach_ * kLanes; }

  void Sum() {
    std::fill(beginnings_.begin(), At(beginnings_, reach_), 0.0);
    std::fill(At(beginnings_, reach_ + length_), beginnings_.end(), 0.0);
    for (std::size_t piece = 0; piece < padded_; piece += window_) SumPiece(piece);
    // The window around element i reaches from padded place i to i + 2 reach. Where it is one whole
    // piece, its two parts would be the same.
    for (std::size_t i = 0; i < length_; ++i) {
      const bool isPiece = i % window_ == 0;
      double* sum = &ends_[i * kLanes];
      const double* rest = &beginnings_[(i + window_ - 1) * kLanes];
      for (std::size_t l = 0; l < kLanes; ++l) sum[l] = isPiece ? rest[l] : sum[l] + rest[l];
    }
  }

  [[nodiscard]] const double* Sums() const { return ends_.data(); }

 private:
  static std::vector<double>::iterator At(std::vector<double>& values, std::size_t place) {
    return values.begin() + static_cast<std::ptrdiff_t>(place * kLanes);
  }
  /// Sums from the piece's beginning to each place, and from each place to its end.
  void SumPiece(std::size_t piece) {
    for (std::size_t l = 0; l < kLanes; ++l) {
      const std::size_t last = (piece + window_ - 1) * kLanes + l;
      ends_[last] = beginnings_[last];
    }
    for (std::size_t i = piece + window_ - 1; i-- > piece;) {
      for (std::size_t l = 0; l < kLanes; ++l) {
        ends_[i * kLanes + l] = ends_[(i + 1) * kLanes + l] + beginnings_[i * kLanes + l];
      }
    }
    for (std::size_t i = piece + 1; i < piece + window_; ++i) {
      for (std::size_t l = 0; l < kLanes; ++l) {
        beginnings_[i * kLanes + l] += beginnings_[(i - 1) * kLanes + l];
      }
    }
  }

  std::size_t length_;
  std::size_t reach_;   ///< elements on each side
  std::size_t window_;  ///< elements in all
  std::size_t padded_;  ///< with `reach_` zeros in front and behind, in whole pieces
  std::vector<double> beginnings_;
  std::vector<double> ends_;
};

/// Replaces the rows, or the columns, by their window sums.
void SumAlongRows(cv::Mat1d& values, std::size_t reach) {
  WindowSums windows(static_cast<std::size_t>(values.cols), reach);
  for (int top = 0; top < values.rows; top += static_cast<int>(kLanes)) {
    const int rows = std::min(static_cast<int>(kLanes), values.rows - top);
    double* elements = windows.Elements();
    for (int l = 0; l < rows; ++l) {
      const double* row = values[top + l];
      for (std::size_t x = 0; x < static_cast<std::size_t>(values.cols); ++x) {
        elements[x * kLanes + static_cast<std::size_t>(l)] = row[x];
      }
    }
    windows.Sum();
    const double* sums = windows.Sums();
    for (int l = 0; l < rows; ++l) {
      double* row = values[top + l];
      for (std::size_t x = 0; x < static_cast<std::size_t>(values.cols); ++x) {
        row[x] = sums[x * kLanes + static_cast<std::size_t>(l)];
      }
    }
  }
}

void SumAlongColumns(cv::Mat1d& values, std::size_t reach) {
  WindowSums windows(static_cast<std::size_t>(values.rows), reach);
  for (int left = 0; left < values.cols; left += static_cast<int>(kLanes)) {
    const int columns = std::min(static_cast<int>(kLanes), values.cols - left);
    double* elements = windows.Elements();
    for (int y = 0; y < values.rows; ++y) {
      std::copy_n(&values(y, left), columns, elements + static_cast<std::size_t>(y) * kLanes);
    }
    windows.Sum();
    for (int y = 0; y < values.rows; ++y) {
      std::copy_n(windows.Sums() + static_cast<std::size_t>(y) * kLanes, columns, &values(y, left));
    }
  }
}

/// Each LED's value, 0 where there is none.
cv::Mat1d ValuesOrZero(const cv::Mat& values) {
  cv::Mat1d known;
  values.convertTo(known, CV_64F);
  for (int y = 0; y < known.rows; ++y) {
    double* row = known[y];
    std::transform(row, row + known.cols, row, [](double v) { return std::isnan(v) ? 0 : v; });
  }
  return known;
}

/// Counts of known elements up to each place, from the top left: exact in whole numbers.
cv::Mat1i CountsUpTo(const cv::Mat1d& known) {
  cv::Mat1i counts(known.rows + 1, known.cols + 1, 0);
  for (int y = 0; y < known.rows; ++y) {
    int inRow = 0;
    for (int x = 0; x < known.cols; ++x) {
      inRow += known(y, x) > 0 ? 1 : 0;
      counts(y + 1, x + 1) = counts(y, x + 1) + inRow;
    }
  }
  return counts;
}

}  // namespace

cv::Mat1d SquareMeans(const cv::Mat& values, int side) {
  const int reach = std::min(side / 2, std::max(values.rows, values.cols));
  cv::Mat1d means = ValuesOrZero(values);
  const cv::Mat1i counts = CountsUpTo(means);
  SumAlongRows(means, static_cast<std::size_t>(reach));
  SumAlongColumns(means, static_cast<std::size_t>(reach));
  for (int y = 0; y < means.rows; ++y) {
    const int top = std::max(0, y - reach);
    const int bottom = std::min(means.rows, y + reach + 1);
    for (int x = 0; x < means.cols; ++x) {
      const int left = std::max(0, x - reach);
      const int right = std::min(means.cols, x + reach + 1);
      const int count =
          counts(bottom, right) - counts(top, right) - counts(bottom, left) + counts(top, left);
      means(y, x) = count > 0 ? means(y, x) / count : std::numeric_limits<double>::quiet_NaN();
    }
  }
  return means;
}

}  // namespace dravix::lab

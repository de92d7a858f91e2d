// Rows are added up by vectors, then columns. The matrix library adds up in single precision, and
// so could anyone: 64 samples of 16 bits are below 2^22, so that every sum is exact in any order.
// It multiplies by the reciprocal of the count and rounds half to even, but for squares of 2 x 2,
// whose halves it rounds up.
#include "kernels/shrink.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "kernels/row_sums.h"

namespace dravix::kernels {
namespace {

std::uint16_t MeanOf(std::uint32_t sum, int side) {
  if (side == 2) return static_cast<std::uint16_t>((sum + 2) >> 2U);
  const float share = 1.0F / static_cast<float>(side * side);
  return static_cast<std::uint16_t>(cvRound(static_cast<float>(sum) * share));
}

}  // namespace

cv::Mat MeansOfSquares(const cv::Mat& picture, int side) {
  CV_Assert(picture.type() == CV_16UC1 && side >= 1 && side <= 8);
  cv::Mat means(picture.size() / side, CV_16UC1);
  std::vector<std::uint32_t> columns(static_cast<std::size_t>(picture.cols));
  for (int y = 0; y < means.rows; ++y) {
    std::fill(columns.begin(), columns.end(), 0);
    for (int k = 0; k < side; ++k) {
      AddTo(columns.data(), picture.ptr<std::uint16_t>(y * side + k), picture.cols);
    }
    auto* mean = means.ptr<std::uint16_t>(y);
    for (auto square = columns.cbegin(); mean != means.ptr<std::uint16_t>(y) + means.cols;
         square += side) {
      *mean++ = MeanOf(std::accumulate(square, square + side, std::uint32_t{0}), side);
    }
  }
  return means;
}

}  // namespace dravix::kernels

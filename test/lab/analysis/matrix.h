/// Small matrices as they are written on paper.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <opencv2/core.hpp>

namespace dravix::lab {

inline constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// A matrix from its rows, which must be equally long.
inline cv::Mat1f Matrix(std::initializer_list<std::initializer_list<float>> rows) {
  cv::Mat1f matrix(static_cast<int>(rows.size()), static_cast<int>(rows.begin()->size()));
  auto at = matrix.begin();
  for (const auto& row : rows) at = std::copy(row.begin(), row.end(), at);
  return matrix;
}

}  // namespace dravix::lab

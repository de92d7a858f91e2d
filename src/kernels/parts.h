/// Work divided among the threads.
#pragma once

#include <algorithm>
#include <cstdint>
#include <opencv2/core/utility.hpp>

namespace dravix::kernels {

/// Fewest rows of a picture that are worth a part of their own: what is done once for each part, or
/// twice at its borders, should not show.
inline constexpr int kLeastRows = 64;

/// Divides 0 .. length into about equal parts, one per thread, of at least `shortest`, and calls
/// work(begin, end) for each; the threads are those of cv::setNumThreads. What comes out must not
/// depend on the division.
template <class Work>
void ForEachPart(int length, int shortest, Work&& work) {
  const int count = std::clamp(cv::getNumThreads(), 1, std::max(1, length / shortest));
  const auto edge = [&](int i) {
    return static_cast<int>(static_cast<std::int64_t>(length) * i / count);
  };
  cv::parallel_for_(cv::Range(0, count), [&](const cv::Range& parts) {
    for (int i = parts.start; i < parts.end; ++i) work(edge(i), edge(i + 1));
  });
}

/// The same for the rows of a picture.
template <class Work>
void ForEachPartOfRows(int rows, Work&& work) {
  ForEachPart(rows, kLeastRows, work);
}

}  // namespace dravix::kernels

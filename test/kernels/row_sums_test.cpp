#include "kernels/row_sums.h"

#include <gtest/gtest.h>

#include <vector>

#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

TEST(RowSums, AreThoseOfTheMatrixLibrary) {
  for (const int count : {1, 7, 31, 64, 333}) {
    const cv::Mat row = RandomMat({count + 32, 1}, CV_16UC1, 9, 0, 65536);
    const cv::Mat part = row.colRange(0, count);
    const auto* samples = row.ptr<std::uint16_t>();
    OnEachTarget([&] {
      EXPECT_EQ(kernels::SumOf(samples, count), cv::sum(part)[0]);
      std::vector<std::uint32_t> sums(static_cast<std::size_t>(count), 5);
      kernels::AddTo(sums.data(), samples, count);
      kernels::AddTo(sums.data(), samples, count);
      for (int i = 0; i < count; ++i) {
        EXPECT_EQ(sums[static_cast<std::size_t>(i)], 5U + 2U * samples[i]);
      }
    });
  }
}

}  // namespace
}  // namespace dravix::test

#include "kernels/eight_bits.h"

#include <gtest/gtest.h>

#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

TEST(EightBits, EqualTheMatrixLibrarysConversionForEverySample) {
  cv::Mat samples(1, 65536, CV_16UC1);
  for (int i = 0; i < samples.cols; ++i) {
    samples.at<std::uint16_t>(0, i) = static_cast<std::uint16_t>(i);
  }
  for (const int fullScale : {1, 255, 1023, 4095, 16383, 65535}) {
    const float scale = 255.0F / static_cast<float>(fullScale);
    cv::Mat expected;
    samples.convertTo(expected, CV_8U, static_cast<double>(scale));
    expected.convertTo(expected, CV_16U);
    OnEachTarget([&] {
      cv::Mat values = samples.clone();
      kernels::ToEightBits(values.ptr<std::uint16_t>(), values.total(), scale);
      EXPECT_TRUE(SameBytes(values, expected)) << fullScale;
    });
  }
}

}  // namespace
}  // namespace dravix::test

#include "kernels/bits/sample_levels.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>
#include <ostream>

#include "kernels/bits/histogram.h"
#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

/// A part of a larger picture, so that its rows are not continuous, with values up to `high`.
cv::Mat RandomPart(std::uint64_t seed, int type, double high) {
  cv::RNG random(seed);
  const cv::Rect part(random.uniform(0, 9), random.uniform(0, 9), random.uniform(1, 300),
                      random.uniform(1, 200));
  return RandomMat(part.size() + cv::Size(20, 20), type, random.next(), 0, high + 1)(part);
}

struct SampleKind {
  int type;
  double high;
};
// Names of tests show it.
void PrintTo(const SampleKind& kind, std::ostream* out) {
  *out << "type " << kind.type << " to " << kind.high;
}

class SamplesOfKind : public testing::TestWithParam<SampleKind> {};

TEST_P(SamplesOfKind, OtsuSampleSplitsLikeTheEightBitPicture) {
  for (std::uint64_t seed = 0; seed < 5; ++seed) {
    cv::Mat picture = RandomPart(seed, GetParam().type, GetParam().high);
    picture.colRange(0, picture.cols / 2) *= 0.3;
    cv::Mat expected;
    cv::normalize(picture, expected, 255, 0, cv::NORM_INF, CV_8U);
    cv::threshold(expected, expected, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
    OnEachTarget([&] {
      const int level = kernels::OtsuSample(picture);
      EXPECT_TRUE(SameBytes(kernels::Above(picture, level).ToMat(), expected)) << level;
    });
  }
}

TEST_P(SamplesOfKind, AboveALevelAreWhite) {
  const cv::Mat picture = RandomPart(3, GetParam().type, GetParam().high);
  for (const int level : {0, 1, static_cast<int>(GetParam().high / 2), 255, 65535, 100000}) {
    const cv::Mat expected = picture > level;
    OnEachTarget(
        [&] { EXPECT_TRUE(SameBytes(kernels::Above(picture, level).ToMat(), expected)) << level; });
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SamplesOfKind,
                         testing::Values(SampleKind{CV_8UC1, 255}, SampleKind{CV_8UC1, 40},
                                         SampleKind{CV_16UC1, 65535}, SampleKind{CV_16UC1, 4095},
                                         SampleKind{CV_16UC1, 3}, SampleKind{CV_16UC1, 0}));

TEST(ScaleToWhite, MakesTheEightBitValuesOfTheMatrixLibrary) {
  cv::Mat all(1, 65536, CV_16UC1);
  for (int i = 0; i < all.cols; ++i) {
    all.at<std::uint16_t>(0, i) = static_cast<std::uint16_t>(i);
  }
  for (const int largest : {1, 3, 255, 256, 1000, 4095, 40000, 65535}) {
    const cv::Mat picture = all.colRange(0, largest + 1);
    cv::Mat values;
    cv::normalize(picture, values, 255, 0, cv::NORM_INF, CV_8U);
    const float scale = kernels::ScaleToWhite(largest);
    kernels::Histogram expected{};
    for (int i = 0; i <= largest; ++i) ++expected.at(values.at<std::uint8_t>(0, i));
    kernels::SampleCounter first;
    kernels::SampleCounter counter;
    first.Add(picture.ptr<std::uint16_t>(), static_cast<std::size_t>(largest / 2));
    counter.Add(picture.ptr<std::uint16_t>() + largest / 2,
                static_cast<std::size_t>(largest + 1 - largest / 2));
    counter.Add(first);
    EXPECT_EQ(counter.Largest(), largest);
    EXPECT_EQ(counter.EightBitCounts(scale), expected);
    for (const int level : {0, 1, 100, 254}) {
      const int sample = kernels::LargestSampleUpTo(level, scale);
      const int last = std::min(sample, largest);
      EXPECT_LE(values.at<std::uint8_t>(0, last), level);
      if (sample < largest) {
        EXPECT_GT(values.at<std::uint8_t>(0, sample + 1), level);
      }
    }
  }
}

}  // namespace
}  // namespace dravix::test

/// A small photograph of many LEDs costs what the result costs.
#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "extractor/extractor.h"
#include "support/watched_memory.h"

namespace dravix::test {
namespace {

/// 100 x 100 pixels with a lit area of 80 x 80, and a pattern of that many LEDs.
Shot SmallPhoto(std::int32_t across, std::int32_t down) {
  Shot photo;
  photo.image = cv::Mat(100, 100, CV_16UC1, cv::Scalar(20));
  photo.image(cv::Rect(10, 10, 80, 80)) = 2000;
  photo.type = CIE_Y;
  photo.pattern = Shot::Pattern{1, 1, 1, 0, 0, across, down};
  return photo;
}

class ManyLeds : public testing::TestWithParam<std::array<std::int32_t, 2>> {};

TEST_P(ManyLeds, CostTheResultAndLittleMore) {
  const auto [across, down] = GetParam();
  const Shot photo = SmallPhoto(across, down);
  const std::array<std::int32_t, 8> corners{10, 10, 89, 10, 89, 89, 10, 89};
  Dravix dravix;
  const CountedMemory memory;
  ASSERT_EQ(DravixExtract(&dravix, &photo, corners.data(), 4, 0, 0, 0), 0);
  const std::ptrdiff_t leds = std::ptrdiff_t{across} * down;
  const std::ptrdiff_t result = leds * static_cast<std::ptrdiff_t>(sizeof(float) + 1);
  // The matrix library makes tables for the places and weights of a row, 16 bytes for each LED.
  constexpr std::ptrdiff_t kWorkspace = std::ptrdiff_t{32} << 20;
  EXPECT_LE(memory.Peak(), result + kWorkspace);
}
INSTANTIATE_TEST_SUITE_P(Shapes, ManyLeds,
                         testing::Values(std::array{5, 2000000}, std::array{2000000, 5},
                                         std::array{3000, 3000}));

}  // namespace
}  // namespace dravix::test

#include "kernels/warp/cubic_warp.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::Border;
using kernels::CubicWarp;

cv::Mat Warped(const CubicWarp& warp) {
  const cv::Size size = warp.Size();
  cv::Mat padded(size.height, CubicWarp::PaddedWidth(size.width), CV_16UC1);
  for (int y = 0; y < size.height; ++y) {
    warp.Row(y, cv::Range(0, size.width), padded.ptr<std::uint16_t>(y));
  }
  return padded.colRange(0, size.width).clone();
}

cv::Mat Expected(const cv::Mat& photo, const cv::Mat& perspective, cv::Size size,
                 Border border = Border::kZero) {
  cv::Mat working;
  cv::warpPerspective(photo, working, perspective, size, cv::INTER_CUBIC,
                      border == Border::kZero ? cv::BORDER_CONSTANT : cv::BORDER_REPLICATE,
                      cv::Scalar::all(0));
  return working;
}

/// A quadrilateral with corners near those of a rectangle, turned about its middle.
cv::Mat RandomPerspective(cv::RNG& random, cv::Size photo, cv::Size working, double wobble,
                          double most) {
  const double angle = random.uniform(-most, most);
  const double zoom = random.uniform(0.5, 1.3);
  const cv::Point2d middle(photo.width / 2.0, photo.height / 2.0);
  std::array<cv::Point2f, 4> from;
  std::array<cv::Point2f, 4> to;
  for (std::size_t i = 0; i < 4; ++i) {
    const double x = i == 1 || i == 2 ? 1 : 0;
    const double y = i >= 2 ? 1 : 0;
    to.at(i) = cv::Point2f(static_cast<float>((0.075 + 0.85 * x) * working.width),
                           static_cast<float>((0.075 + 0.85 * y) * working.height));
    const double dx = (x - 0.5) * photo.width * zoom * random.uniform(1 - wobble, 1 + wobble);
    const double dy = (y - 0.5) * photo.height * zoom * random.uniform(1 - wobble, 1 + wobble);
    from.at(i) =
        cv::Point2f(static_cast<float>(middle.x + dx * std::cos(angle) - dy * std::sin(angle)),
                    static_cast<float>(middle.y + dx * std::sin(angle) + dy * std::cos(angle)));
  }
  return cv::getPerspectiveTransform(from.data(), to.data());
}

class WarpOfRandomPerspectives : public testing::TestWithParam<int> {};

TEST_P(WarpOfRandomPerspectives, EqualsTheMatrixLibraryBitForBit) {
  cv::RNG random(static_cast<std::uint64_t>(GetParam()) * 7919 + 17);
  const cv::Size photoSize(random.uniform(64, 400), random.uniform(64, 400));
  const cv::Size size(random.uniform(64, 400), random.uniform(64, 400));
  const cv::Mat photo = RandomMat(photoSize, CV_16UC1, random.next(), 0, 65536);
  const double wobble = GetParam() % 4 == 0 ? 0.5 : 0.1;
  const double turn = GetParam() % 2 == 0 ? 0.6 : 0.05;
  const cv::Mat perspective = RandomPerspective(random, photoSize, size, wobble, turn);
  for (const Border border : {Border::kZero, Border::kRepeated}) {
    const auto warp = CubicWarp::Of(photo, perspective, size, border);
    if (!warp) GTEST_SKIP() << "rays along the photograph's plane";
    const cv::Mat expected = Expected(photo, perspective, size, border);
    OnEachTarget([&] {
      EXPECT_TRUE(SameBytes(Warped(*warp), expected)) << "border " << static_cast<int>(border);
    });
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, WarpOfRandomPerspectives, testing::Range(0, 60));

TEST(Warp, IdentityReturnsThePhotograph) {
  const cv::Mat photo = RandomMat({130, 70}, CV_16UC1, 3, 0, 65536);
  const auto warp = CubicWarp::Of(photo, cv::Mat::eye(3, 3, CV_64FC1), photo.size());
  ASSERT_TRUE(warp);
  OnEachTarget([&] { EXPECT_TRUE(SameBytes(Warped(*warp), photo)); });
}

/// A working image that looks past the photograph on all sides, farther than 16 bits count at the
/// last: the library's coordinates are cut off there.
cv::Mat Shrunk(cv::Size photo, cv::Size size, double zoom) {
  return (cv::Mat_<double>(3, 3) << zoom, 0.01, (size.width - zoom * photo.width) / 2, -0.02, zoom,
          (size.height - zoom * photo.height) / 2, 1e-6, -2e-6, 1);
}

class WarpBeyondThePhotograph : public testing::TestWithParam<double> {};

TEST_P(WarpBeyondThePhotograph, EqualsTheMatrixLibraryBitForBit) {
  const cv::Mat photo = RandomMat({90, 70}, CV_16UC1, 6, 0, 65536);
  const cv::Size size(300, 200);
  const cv::Mat perspective = Shrunk(photo.size(), size, GetParam());
  for (const Border border : {Border::kZero, Border::kRepeated}) {
    const auto warp = CubicWarp::Of(photo, perspective, size, border);
    ASSERT_TRUE(warp);
    const cv::Mat expected = Expected(photo, perspective, size, border);
    OnEachTarget([&] {
      EXPECT_TRUE(SameBytes(Warped(*warp), expected)) << "border " << static_cast<int>(border);
    });
  }
}
INSTANTIATE_TEST_SUITE_P(Zooms, WarpBeyondThePhotograph,
                         testing::Values(1.9, 0.9, 0.3, 0.05, 0.002));

cv::Mat WarpedToEightBits(const CubicWarp& warp, std::int32_t fullScale) {
  const cv::Size size = warp.Size();
  const kernels::EightBitScale scale(fullScale);
  cv::Mat padded(size.height, CubicWarp::PaddedWidth(size.width), CV_16UC1);
  for (int y = 0; y < size.height; ++y) warp.EightBitRow(y, scale, padded.ptr<std::uint16_t>(y));
  return padded.colRange(0, size.width).clone();
}

/// As the matrix library converts samples, but in 16-bit places.
cv::Mat EightBitsOf(const cv::Mat& samples, std::int32_t fullScale) {
  cv::Mat values;
  samples.convertTo(values, CV_8U, static_cast<double>(255.0F / static_cast<float>(fullScale)));
  values.convertTo(values, CV_16U);
  return values;
}

TEST(EightBits, EqualTheMatrixLibrarysConversionForEverySample) {
  cv::Mat photo(256, 256, CV_16UC1);
  for (int i = 0; i < 65536; ++i) {
    photo.at<std::uint16_t>(i / 256, i % 256) = static_cast<std::uint16_t>(i);
  }
  const auto warp = CubicWarp::Of(photo, cv::Mat::eye(3, 3, CV_64FC1), photo.size());
  ASSERT_TRUE(warp);
  for (const std::int32_t fullScale : {1, 255, 1023, 4095, 16383, 65535, 1048575}) {
    const cv::Mat expected = EightBitsOf(photo, fullScale);
    OnEachTarget([&] {
      EXPECT_TRUE(SameBytes(WarpedToEightBits(*warp, fullScale), expected)) << fullScale;
    });
  }
}

TEST_P(WarpOfRandomPerspectives, HasTheEightBitsOfTheSamples) {
  cv::RNG random(static_cast<std::uint64_t>(GetParam()) * 6271 + 5);
  const cv::Size photoSize(random.uniform(64, 400), random.uniform(64, 400));
  const cv::Size size(random.uniform(64, 400), random.uniform(64, 400));
  const std::int32_t fullScale = (1 << random.uniform(7, 17)) - 1;
  // Every fifth photograph has samples above full scale.
  cv::Mat photo =
      RandomMat(photoSize, CV_16UC1, random.next(), 0, GetParam() % 5 == 0 ? 65536 : fullScale + 1);
  if (GetParam() % 3 == 0) photo = (photo & 1) * fullScale;  // sums of the largest terms
  const cv::Mat perspective = RandomPerspective(random, photoSize, size, 0.1, 0.1);
  const auto warp = CubicWarp::Of(photo, perspective, size);
  if (!warp) GTEST_SKIP() << "rays along the photograph's plane";
  const cv::Mat expected = EightBitsOf(Expected(photo, perspective, size), fullScale);
  OnEachTarget(
      [&] { EXPECT_TRUE(SameBytes(WarpedToEightBits(*warp, fullScale), expected)) << fullScale; });
}

TEST(Warp, PartOfARowEqualsTheWholeRow) {
  const cv::Mat photo = RandomMat({300, 200}, CV_16UC1, 4, 0, 65536);
  cv::RNG random(9);
  const cv::Mat perspective = RandomPerspective(random, photo.size(), {390, 260}, 0.1, 0.1);
  const auto warp = CubicWarp::Of(photo, perspective, {390, 260});
  ASSERT_TRUE(warp);
  const cv::Mat whole = Warped(*warp);
  cv::Mat part(1, CubicWarp::PaddedWidth(200), CV_16UC1);
  OnEachTarget([&] {
    warp->Row(77, cv::Range(128, 301), part.ptr<std::uint16_t>());
    EXPECT_TRUE(SameBytes(part.colRange(0, 173), whole(cv::Rect(128, 77, 173, 1))));
  });
}

TEST(Warp, PhotographsBesideOneAnotherInMemoryDoNotMix) {
  const cv::Mat wide = RandomMat({400, 300}, CV_16UC1, 5, 0, 65536);
  const cv::Mat photo = wide(cv::Rect(100, 80, 200, 150));
  cv::RNG random(10);
  const cv::Mat perspective = RandomPerspective(random, photo.size(), {260, 195}, 0.1, 0.1);
  const auto warp = CubicWarp::Of(photo, perspective, {260, 195});
  ASSERT_TRUE(warp);
  const cv::Mat expected = Expected(photo.clone(), perspective, {260, 195});
  OnEachTarget([&] { EXPECT_TRUE(SameBytes(Warped(*warp), expected)); });
}

TEST(Warp, IsRefusedWhereTheLibraryMustDoIt) {
  const cv::Mat straight = cv::Mat::eye(3, 3, CV_64FC1);
  const cv::Mat good = cv::Mat::zeros(100, 100, CV_16UC1);
  EXPECT_TRUE(CubicWarp::Of(good, straight, good.size()));
  EXPECT_FALSE(CubicWarp::Of(cv::Mat::zeros(100, 100, CV_32FC1), straight, good.size()));
  EXPECT_FALSE(CubicWarp::Of(cv::Mat::zeros(100, 100, CV_16UC3), straight, good.size()));
  EXPECT_FALSE(CubicWarp::Of(cv::Mat::zeros(100, 63, CV_16UC1), straight, good.size()));
  EXPECT_FALSE(CubicWarp::Of(good, straight, {100, 63}));
  const cv::Mat horizon = (cv::Mat_<double>(3, 3) << 1, 0, 0, 0, 1, 0, 0.02, 0, 1);
  EXPECT_FALSE(CubicWarp::Of(good, horizon.inv(), {100, 100}) &&
               CubicWarp::Of(good, horizon, {100, 100}));
  const cv::Mat notFinite = (cv::Mat_<double>(3, 3) << 0, 0, 0, 0, 1, 0, 0, 0, 1);
  EXPECT_FALSE(CubicWarp::Of(good, notFinite, {100, 100}));
}

}  // namespace
}  // namespace dravix::test

// The searches for a region against the same written plainly, on photographs of every kind.
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <opencv2/imgproc.hpp>

#include "kernels/each_target.h"
#include "reference/plain_region.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

struct Scene {
  cv::Mat photo;
  int camType = 0;  ///< 0: a shot without a device
  reference::RegionSettings settings;
};

int Between(cv::RNG& random, int low, int high) { return random.uniform(low, high + 1); }
bool OneIn(cv::RNG& random, int count) { return random.uniform(0, count) == 0; }

/// A quadrilateral in any place, at times partly outside.
std::vector<cv::Point> Quad(cv::RNG& random, cv::Size size) {
  const cv::Point2d middle(size.width * random.uniform(0.2, 0.8),
                           size.height * random.uniform(0.2, 0.8));
  const double reach = random.uniform(0.05, 0.45);
  const double angle = random.uniform(-0.4, 0.4);
  std::vector<cv::Point> corners;
  for (const cv::Point2d& u : {cv::Point2d(-1, -1), {1, -1}, {1, 1}, {-1, 1}}) {
    const double x = u.x * reach * size.width * random.uniform(0.8, 1.0);
    const double y = u.y * reach * size.height * random.uniform(0.8, 1.0);
    corners.emplace_back(cvRound(middle.x + x * std::cos(angle) - y * std::sin(angle)),
                         cvRound(middle.y + x * std::sin(angle) + y * std::cos(angle)));
  }
  return corners;
}

/// What surrounds the screen: black, one level, noise, or a slope.
cv::Mat Surround(cv::RNG& random, cv::Size size, double high) {
  cv::Mat photo(size, CV_32FC1, cv::Scalar(0));
  const double level = high * random.uniform(0.0, 0.1);
  switch (random.uniform(0, 4)) {
    case 0:
      break;
    case 1:
      photo.setTo(level);
      break;
    case 2:
      photo = RandomMat(size, CV_32FC1, random.next(), 0, level + 1);
      break;
    default:
      for (int x = 0; x < size.width; ++x) photo.col(x).setTo(level * x / size.width);
      break;
  }
  return photo;
}

/// Light in a quadrilateral: even, noisy, or of single LEDs, with dark spots at times.
void AddScreen(cv::RNG& random, double high, cv::Mat& photo) {
  cv::Mat lit = cv::Mat::zeros(photo.size(), CV_8UC1);
  cv::fillConvexPoly(lit, Quad(random, photo.size()), 255);
  for (int i = OneIn(random, 3) ? Between(random, 1, 4) : 0; i > 0; --i) {
    cv::circle(lit, {random.uniform(0, photo.cols), random.uniform(0, photo.rows)},
               Between(random, 2, 25), 0, cv::FILLED);
  }
  const double level = high * random.uniform(0.2, 1.0);
  cv::Mat light =
      RandomMat(photo.size(), CV_32FC1, random.next(), level * random.uniform(0.5, 1.0), level + 1);
  if (OneIn(random, 2)) {
    const int pitch = Between(random, 3, 14);
    for (int y = 0; y < photo.rows; y += pitch) light.row(y) *= 0.1;
    for (int x = 0; x < photo.cols; x += pitch) light.col(x) *= 0.1;
    const int side = 2 * Between(random, 0, 4) + 1;
    cv::GaussianBlur(light, light, {side, side}, 0);
  }
  light.copyTo(photo, lit);
}

Scene MakeScene(std::uint64_t seed) {
  cv::RNG random(seed * 69621 + 5);
  Scene scene;
  const int bits = std::array<int, 3>{8, 12, 16}.at(static_cast<std::size_t>(random.uniform(0, 3)));
  const double high = (1 << bits) - 1;
  const int longest = OneIn(random, 4) ? 70 : 500;
  const cv::Size size(Between(random, 2, longest), Between(random, 2, longest));
  cv::Mat photo = Surround(random, size, high);
  for (int i = OneIn(random, 3) ? 2 : 1; i > 0; --i) AddScreen(random, high, photo);
  photo.convertTo(scene.photo, bits == 8 ? CV_8U : CV_16U);
  if (OneIn(random, 8)) photo.copyTo(scene.photo);
  if (OneIn(random, 8)) cv::merge(std::vector<cv::Mat>(3, scene.photo), scene.photo);
  scene.camType = OneIn(random, 6) ? 0 : 120000 + bits;
  scene.settings.kernel =
      std::array<int, 6>{1, 3, 5, 5, 7, 11}.at(static_cast<std::size_t>(random.uniform(0, 6)));
  const std::array<float, 4> sigmas = {0.0F, 0.4F, 1.5F, 10.0F};
  scene.settings.sigma =
      sigmas.at(static_cast<std::size_t>(OneIn(random, 2) ? 3 : random.uniform(0, 4)));
  return scene;
}

Shot ShotOf(const Scene& scene) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = scene.photo;
  if (scene.camType != 0) {
    shot.device = Shot::Device{};
    shot.device->cam_type = scene.camType;
  }
  return shot;
}

void ExpectFound(const RegionOI& region, std::int32_t code,
                 const std::optional<reference::FoundRegion>& expected) {
  ASSERT_EQ(code, expected ? DRAVIX_OK : DRAVIX_NO_LED_AREA);
  if (!expected) return;
  EXPECT_EQ(region.rect, expected->rect);
  EXPECT_TRUE(SameBytes(region.mask, expected->mask));
}

void Compare(std::uint64_t seed) {
  SCOPED_TRACE(testing::Message() << "scene " << seed);
  const Scene scene = MakeScene(seed);
  const Shot shot = ShotOf(scene);
  const auto camType = scene.camType != 0 ? std::optional<int>(scene.camType) : std::nullopt;
  const auto automatic = reference::AutoSet(scene.photo, camType, scene.settings);
  const auto defocused = reference::ComputeBlur(scene.photo, camType, scene.settings);
  OnEachTarget([&] {
    const LogCapture log;
    RegionOI region;
    region.blurKernelSize = scene.settings.kernel;
    region.blurSigma = scene.settings.sigma;
    ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
    const std::int32_t automaticCode = region.AutoSet();
    ExpectFound(region, automaticCode, automatic);
    const std::int32_t defocusedCode = region.ComputeBlur();
    ExpectFound(region, defocusedCode, defocused);
    EXPECT_EQ(log.Errors().size(), (automatic ? 0U : 1U) + (defocused ? 0U : 1U));
  });
}

class SearchesForARegion : public testing::TestWithParam<int> {};

// Twenty scenes a case, 200 in all.
TEST_P(SearchesForARegion, EqualThePlainOnesOnEveryTarget) {
  for (int i = 0; i < 20; ++i) Compare(static_cast<std::uint64_t>(GetParam() * 20 + i));
}
INSTANTIATE_TEST_SUITE_P(Twenties, SearchesForARegion, testing::Range(0, 10));

TEST(SearchesForARegion, EqualThePlainOnesOnTwoThousandScenes) {
  if (std::getenv("DRAVIX_NIGHTLY") == nullptr) GTEST_SKIP() << "set DRAVIX_NIGHTLY to run it";
  for (std::uint64_t seed = 1000; seed < 3000; ++seed) Compare(seed);
}

}  // namespace
}  // namespace dravix::test

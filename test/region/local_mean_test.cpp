#include "region/local_mean.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::BitPicture;

/// Above the level or brighter than around, by the matrix library on the whole picture.
cv::Mat Expected(const cv::Mat& gray, int level) {
  cv::Mat white;
  cv::adaptiveThreshold(gray, white, 255, cv::ADAPTIVE_THRESH_GAUSSIAN_C, cv::THRESH_BINARY,
                        region::kNeighborhood, 0);
  white.setTo(255, gray > level);
  return white;
}

void ExpectEqual(const cv::Mat& gray, int level) {
  constexpr int kWord = BitPicture::kWordBits;
  cv::Mat padded = cv::Mat::zeros(gray.rows, (gray.cols + kWord - 1) / kWord * kWord, CV_8UC1);
  gray.copyTo(padded.colRange(0, gray.cols));
  BitPicture bits(gray.size());
  bits.SetAbove(padded, level);
  region::AddBrighterThanAround(gray, level, bits);
  EXPECT_TRUE(SameBytes(bits.ToMat(), Expected(gray, level))) << gray.size() << ", level " << level;
}

/// Patches of noise in an even picture: tiles of every kind side by side.
cv::Mat Patches(std::uint64_t seed) {
  cv::RNG random(seed * 31 + 7);
  const cv::Size size(random.uniform(1, 700), random.uniform(1, 400));
  cv::Mat gray(size, CV_8UC1, cv::Scalar(random.uniform(0, 60)));
  for (int i = random.uniform(1, 8); i > 0; --i) {
    const cv::Rect patch =
        cv::Rect(random.uniform(-20, size.width), random.uniform(-20, size.height),
                 random.uniform(1, 90), random.uniform(1, 90)) &
        cv::Rect({}, size);
    if (patch.empty()) continue;
    const int low = random.uniform(0, 200);
    RandomMat(patch.size(), CV_8UC1, random.next(), low, low + random.uniform(1, 56))
        .copyTo(gray(patch));
  }
  return gray;
}

TEST(LocalMean, IsThatOfTheWholePictureForPatchesOfNoise) {
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const cv::Mat gray = Patches(seed);
    for (const int level : {0, 30, 100, 255}) ExpectEqual(gray, level);
  }
}

// Every pixel that is brighter than one neighbor has to be looked at.
TEST(LocalMean, SeesASingleDarkPixelAtTheFarthestPlace) {
  constexpr int kReach = region::kNeighborhood / 2;
  for (const int x : {127 - kReach, 128 + kReach}) {
    cv::Mat gray(200, 300, CV_8UC1, cv::Scalar(1));
    gray.at<std::uint8_t>(100, x) = 0;
    gray.row(100).colRange(127, 129) = 2;
    ExpectEqual(gray, 255);
  }
}

TEST(LocalMean, FindsASinglePixelOneLevelAboveItsSurround) {
  cv::Mat gray(200, 300, CV_8UC1, cv::Scalar(10));
  gray.at<std::uint8_t>(100, 150) = 11;
  ASSERT_EQ(Expected(gray, 255).at<std::uint8_t>(100, 150), 255);
  for (const int level : {11, 12, 255}) ExpectEqual(gray, level);
}

TEST(LocalMean, OfPicturesAroundATileIsThatOfTheWholePicture) {
  for (const int width : {1, 63, 64, 65, 127, 128, 129, 191, 193}) {
    for (const int height : {1, 64, 65}) {
      ExpectEqual(RandomMat({width, height}, CV_8UC1, 5, 0, 256), 200);
    }
  }
}

}  // namespace
}  // namespace dravix::test

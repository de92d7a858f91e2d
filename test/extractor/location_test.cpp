#include <gtest/gtest.h>

#include "extractor/extractor.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

constexpr const char* kNotFound = "Dravix::AutoBlurLocate--Error :: Cannot find led area.";
constexpr const char* kSeveral = "Dravix::AutoBlurLocate--Warning :: Find >1 areas.";

struct Located {
  cv::Mat mask;
  cv::Rect rect;
};

Located Locate(const Dravix& dravix, const cv::Mat& image) {
  Located located;
  dravix.AutoBlurLocate(image, located.mask, located.rect);
  return located;
}

cv::Mat Dark(cv::Size size = {200, 150}) { return cv::Mat::zeros(size, CV_16UC1); }

class LocationOfRandomScene : public testing::TestWithParam<int> {};

// Ten scenes a case: 240 in all. Every third touches the frame: its picture is cropped.
TEST_P(LocationOfRandomScene, EqualsThePlainTranscriptionBitForBit) {
  const std::array<int, 6> types{CV_8UC1, CV_16UC1, CV_32FC1, CV_8UC3, CV_16UC3, CV_32FC3};
  for (int i = 0; i < 10; ++i) {
    const int seed = GetParam() * 10 + i;
    cv::RNG random(static_cast<std::uint64_t>(seed) * 65537 + 11);
    const cv::Size size(Between(random, 60, 240), Between(random, 60, 240));
    std::vector<cv::Point> corners;
    cv::Mat image = LitScene(random, size, types.at(static_cast<std::size_t>(seed % 6)), corners);
    if (seed % 3 == 0)
      image = image(cv::Rect(size.width / 3, 0, size.width / 2, size.height)).clone();
    const int bits = random.uniform(0, 4) * 4;  // 0: no device, so the largest value decides
    const Shot shot = MakeShot(image, 10, 10, bits);
    Dravix dravix;
    dravix.shot = &shot;
    if (seed % 5 == 0) dravix.blurKernelSize = 7;
    const auto expected =
        reference::Locate(image, bits > 0 ? std::optional<int>(320000 + bits) : std::nullopt,
                          dravix.blurKernelSize, dravix.blurSigma);
    const Located located = Locate(dravix, image);
    ASSERT_EQ(located.mask.empty(), !expected.has_value()) << "scene " << seed;
    if (!expected) continue;
    EXPECT_TRUE(SameBytes(located.mask, expected->mask)) << "scene " << seed;
    EXPECT_EQ(located.rect, expected->rect) << "scene " << seed;
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, LocationOfRandomScene, testing::Range(0, 24));

TEST(Location, BlackImageLeavesTheOutputsAndSaysSo) {
  const LogCapture log;
  const Located located = Locate(Dravix(), Dark());
  EXPECT_TRUE(located.mask.empty());
  EXPECT_EQ(located.rect, cv::Rect());
  EXPECT_EQ(log.Errors(), std::vector<std::string>{kNotFound});
}

TEST(Location, LargerOfTwoAreasIsTakenWithAWarningAtErrorLevel) {
  cv::Mat image = Dark();
  image(cv::Rect(20, 20, 30, 30)) = 4000;
  image(cv::Rect(100, 40, 60, 60)) = 4000;
  const LogCapture log;
  const Located located = Locate(Dravix(), image);
  EXPECT_EQ(log.Errors(), std::vector<std::string>{kSeveral});
  EXPECT_NEAR(located.rect.x, 100, 2);
  EXPECT_NEAR(located.rect.width, 60, 3);
  EXPECT_EQ(located.mask.at<uchar>(35, 35), 0);
  EXPECT_EQ(located.mask.at<uchar>(70, 130), 255);
}

TEST(Location, OneAreaIsNotLogged) {
  cv::Mat image = Dark();
  image(cv::Rect(50, 40, 80, 60)) = 4000;
  const LogCapture log;
  EXPECT_NEAR(Locate(Dravix(), image).rect.width, 80, 3);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(Location, OnlyTheLastTwoDigitsOfTheCameraTypeCount) {
  cv::RNG random(77);
  std::vector<cv::Point> corners;
  const cv::Mat image = LitScene(random, {160, 120}, CV_16UC3, corners);
  std::vector<Located> found;
  for (const int camType : {12, 112, 1012}) {
    Shot shot = MakeShot(image, 10, 10, 12);
    shot.device->cam_type = camType;
    Dravix dravix;
    dravix.shot = &shot;
    found.push_back(Locate(dravix, image));
    EXPECT_TRUE(SameBytes(found.back().mask, reference::Locate(image, 12, 11, 10.0F)->mask));
  }
  EXPECT_TRUE(SameBytes(found[0].mask, found[1].mask));
  EXPECT_TRUE(SameBytes(found[0].mask, found[2].mask));
}

TEST(Location, UnderexposedImageIsFoundByItsLargestValueWhereTheScaleIsUnknown) {
  cv::Mat image = Dark();
  image(cv::Rect(50, 40, 80, 60)) = 9;  // far below 1/255 of any sensor's range
  Shot shot = MakeShot(image, 10, 10, 0);
  Dravix dravix;
  dravix.shot = &shot;
  EXPECT_NEAR(Locate(dravix, image).rect.width, 80, 3);
  shot.device = Shot::Device{};
  shot.device->cam_type = 500;  // a multiple of 100 says nothing either
  EXPECT_NEAR(Locate(dravix, image).rect.width, 80, 3);
  shot.device->cam_type = 16;
  EXPECT_TRUE(Locate(dravix, image).mask.empty());
}

TEST(Location, ImageIsNotWrittenTo) {
  cv::Mat image = Dark();
  image.convertTo(image, CV_8U);
  image(cv::Rect(50, 40, 80, 60)) = 200;
  const cv::Mat before = image.clone();
  Locate(Dravix(), image);
  EXPECT_TRUE(SameBytes(image, before));
}

}  // namespace
}  // namespace dravix::test

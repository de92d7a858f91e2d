#include <gtest/gtest.h>

#include "extractor/extractor.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

Dravix ExtractorFor(const reference::Panel& panel) {
  Dravix dravix;
  dravix.ledWidth = panel.ledWidth;
  dravix.ledHeight = panel.ledHeight;
  dravix.rowGroup = panel.rowGroup;
  dravix.rowLedNums = panel.rowLedNums;
  return dravix;
}

Dravix ExtractorFor(int ledWidth, int ledHeight) {
  return ExtractorFor({ledWidth, ledHeight, -1, {}});
}

cv::Mat FullMask(const cv::Mat& image) { return {image.size(), CV_8UC1, cv::Scalar(255)}; }

class LuminanceOfRandomScene : public testing::TestWithParam<int> {};

// Ten scenes a case: 240 in all.
TEST_P(LuminanceOfRandomScene, EqualsThePlainTranscriptionBitForBit) {
  for (int i = 0; i < 10; ++i) {
    const LuminanceScene scene =
        MakeLuminanceScene(static_cast<std::uint64_t>(GetParam() * 10 + i));
    const std::optional<cv::Mat> expected =
        reference::Luminance(scene.image, scene.area, scene.panel);
    Dravix dravix = ExtractorFor(scene.panel);
    const std::int32_t code = dravix.CalLum(scene.image, scene.area.mask, scene.area.rect);
    ASSERT_EQ(code, expected ? DRAVIX_OK : DRAVIX_BAD_ARGUMENT) << "scene " << GetParam() * 10 + i;
    if (expected) {
      EXPECT_TRUE(SameBytes(dravix.lum, *expected)) << "scene " << GetParam() * 10 + i;
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, LuminanceOfRandomScene, testing::Range(0, 24));

TEST(Luminance, RandomScenesAreMostlyMeasurable) {
  int measured = 0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const LuminanceScene scene = MakeLuminanceScene(seed);
    if (reference::Luminance(scene.image, scene.area, scene.panel)) ++measured;
  }
  EXPECT_GT(measured, 50);
}

TEST(Luminance, ValuesThatAreNotFiniteStayInTheirColumnsAndRows) {
  for (const int rows : {10, 60, 100}) {  // fewer, as many and more LEDs than pixels
    cv::Mat image = RandomMat({40, 60}, CV_32FC1, 5, 0, 1000);
    image.at<float>(30, 20) = std::numeric_limits<float>::infinity();
    image.at<float>(10, 7) = -0.0F;
    const reference::Area area{FullMask(image), {0, 0, 40, 60}};
    const reference::Panel panel{50, rows, -1, {}};
    Dravix dravix = ExtractorFor(panel);
    ASSERT_EQ(dravix.CalLum(image, area.mask, area.rect), DRAVIX_OK);
    EXPECT_TRUE(SameBytes(dravix.lum, reference::Luminance(image, area, panel).value()));
  }
}

TEST(Luminance, UniformImageGivesItsValueEverywhere) {
  const cv::Mat image(90, 120, CV_16UC1, cv::Scalar(1234));
  Dravix dravix = ExtractorFor(12, 9);
  ASSERT_EQ(dravix.CalLum(image, FullMask(image), {0, 0, 120, 90}), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(dravix.lum, cv::Mat(9, 12, CV_32FC1, cv::Scalar(1234))));
  EXPECT_TRUE(SameBytes(dravix.resultImage, cv::Mat(9, 12, CV_8UC1, cv::Scalar(2))));
}

TEST(Luminance, OnlyTheUpperOfTwoRunsIsMeasured) {
  cv::Mat image(100, 100, CV_16UC1, cv::Scalar(100));
  image.rowRange(60, 100) = 9000;
  cv::Mat mask = FullMask(image);
  mask.rowRange(50, 60) = 0;
  Dravix dravix = ExtractorFor(10, 10);
  ASSERT_EQ(dravix.CalLum(image, mask, {0, 0, 100, 100}), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(dravix.lum, cv::Mat(10, 10, CV_32FC1, cv::Scalar(100))));
}

TEST(Luminance, ColumnWithoutMaskIsRefusedAndTheResultStays) {
  const cv::Mat image(50, 50, CV_16UC1, cv::Scalar(100));
  cv::Mat mask = FullMask(image);
  Dravix dravix = ExtractorFor(10, 10);
  ASSERT_EQ(dravix.CalLum(image, mask, {0, 0, 50, 50}), DRAVIX_OK);
  const cv::Mat lum = dravix.lum.clone();
  const uchar* marks = dravix.resultImage.data;
  mask.col(49) = 0;
  const LogCapture log;
  EXPECT_EQ(dravix.CalLum(image * 2, mask, {0, 0, 50, 50}), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(),
            std::vector<std::string>{"Dravix::CalLum--Error ::  height is error !!."});
  EXPECT_TRUE(SameBytes(dravix.lum, lum));
  EXPECT_EQ(dravix.resultImage.data, marks);
}

TEST(Luminance, SingleFullRowEntryEqualsNoTable) {
  const cv::Mat image = RandomMat({100, 80}, CV_16UC1, 3, 0, 4095);
  Dravix without = ExtractorFor(20, 16);
  Dravix with = ExtractorFor({20, 16, 16, {20}});
  ASSERT_EQ(without.CalLum(image, FullMask(image), {0, 0, 100, 80}), DRAVIX_OK);
  ASSERT_EQ(with.CalLum(image, FullMask(image), {0, 0, 100, 80}), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(with.lum, without.lum));
}

TEST(Luminance, NineByNineEndsUpEqualToItsCenter) {
  const cv::Mat image = RandomMat({90, 90}, CV_16UC1, 4, 0, 4095);
  Dravix dravix = ExtractorFor(9, 9);
  ASSERT_EQ(dravix.CalLum(image, FullMask(image), {0, 0, 90, 90}), DRAVIX_OK);
  const auto center = static_cast<float>(cv::mean(image(cv::Rect(40, 40, 10, 10)))[0]);
  EXPECT_NEAR(dravix.lum(0, 0), center, 0.01);
  EXPECT_TRUE(SameBytes(dravix.lum, cv::Mat(9, 9, CV_32FC1, cv::Scalar(dravix.lum(4, 4)))));
}

TEST(Luminance, CornersTakeTheValuesFourInside) {
  const cv::Mat image = RandomMat({200, 160}, CV_16UC1, 6, 0, 4095);
  Dravix dravix = ExtractorFor(20, 16);
  ASSERT_EQ(dravix.CalLum(image, FullMask(image), {0, 0, 200, 160}), DRAVIX_OK);
  EXPECT_EQ(dravix.lum(0, 0), dravix.lum(4, 4));
  EXPECT_EQ(dravix.lum(0, 19), dravix.lum(4, 15));
  EXPECT_EQ(dravix.lum(15, 0), dravix.lum(11, 4));
  EXPECT_EQ(dravix.lum(15, 19), dravix.lum(11, 15));
  EXPECT_NE(dravix.lum(4, 4), dravix.lum(5, 5));
}

TEST(Luminance, TooFewLedsForTheEdgesThrowAndTheResultStays) {
  const cv::Mat image = RandomMat({60, 60}, CV_16UC1, 7, 0, 4095);
  Dravix dravix = ExtractorFor(6, 6);
  ASSERT_EQ(dravix.CalLum(image, FullMask(image), {0, 0, 60, 60}), DRAVIX_OK);
  const cv::Mat before = dravix.lum.clone();
  for (const cv::Size leds : {cv::Size(6, 4), cv::Size(4, 6), cv::Size(6, 0), cv::Size(0, 6)}) {
    dravix.ledWidth = leds.width;
    dravix.ledHeight = leds.height;
    EXPECT_THROW(dravix.CalLum(image, FullMask(image), {0, 0, 60, 60}), cv::Exception) << leds;
    EXPECT_TRUE(SameBytes(dravix.lum, before)) << leds;
  }
}

TEST(Luminance, EmptyAreaThrows) {
  const cv::Mat image(50, 50, CV_16UC1, cv::Scalar(100));
  Dravix dravix = ExtractorFor(10, 10);
  EXPECT_THROW(dravix.CalLum(image, cv::Mat(), cv::Rect()), cv::Exception);
  EXPECT_TRUE(dravix.Empty());
}

TEST(Luminance, AreaOutsideTheImageThrows) {
  const cv::Mat image(50, 50, CV_16UC1, cv::Scalar(100));
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const cv::Rect& rect : {cv::Rect(-1, 0, 50, 50), cv::Rect(1, 0, 50, 50),
                               cv::Rect(kMost, 0, kMost, 50), cv::Rect(kMost, 0, 1, 50)}) {
    Dravix dravix = ExtractorFor(10, 10);
    EXPECT_THROW(dravix.CalLum(image, FullMask(image), rect), cv::Exception);
    EXPECT_TRUE(dravix.Empty());
  }
}

TEST(Luminance, ColumnWithoutMaskIsFoundBeforeTheRectangleLeavesTheMaskFurtherRight) {
  const cv::Mat image(50, 50, CV_16UC1, cv::Scalar(100));
  cv::Mat mask = FullMask(image);
  mask.col(20) = 0;
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const cv::Rect& rect : {cv::Rect(0, 0, 51, 50), cv::Rect(20, 0, 31, 50),
                               cv::Rect(10, 0, kMost, 50), cv::Rect(20, 0, kMost, 50)}) {
    Dravix dravix = ExtractorFor(10, 10);
    const LogCapture log;
    EXPECT_EQ(dravix.CalLum(image, mask, rect), DRAVIX_BAD_ARGUMENT) << rect;
    EXPECT_EQ(log.Errors(),
              std::vector<std::string>{"Dravix::CalLum--Error ::  height is error !!."});
    EXPECT_TRUE(dravix.Empty());
  }
}

TEST(Luminance, RectangleThatLeavesTheMaskBeforeAColumnWithoutMaskThrows) {
  const cv::Mat image(50, 50, CV_16UC1, cv::Scalar(100));
  cv::Mat mask = FullMask(image);
  mask.colRange(0, 20) = 0;
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  for (const cv::Rect& rect : {cv::Rect(-1, 0, 50, 50), cv::Rect(kLeast, 0, kMost, 50),
                               cv::Rect(50, 0, 1, 50), cv::Rect(20, 0, 31, 50)}) {
    Dravix dravix = ExtractorFor(10, 10);
    const LogCapture log;
    EXPECT_THROW(dravix.CalLum(image, mask, rect), cv::Exception) << rect;
    EXPECT_TRUE(log.Errors().empty());
    EXPECT_TRUE(dravix.Empty());
  }
}

TEST(Luminance, RowTableThatDoesNotFitThrows) {
  const cv::Mat image(50, 50, CV_16UC1, cv::Scalar(100));
  const cv::Rect rect(0, 0, 50, 50);
  for (const std::vector<std::int32_t>& table :
       {std::vector<std::int32_t>{10}, {10, 11}, {10, 0}, {-3, 10}}) {
    Dravix dravix = ExtractorFor({10, 10, 5, table});
    EXPECT_THROW(dravix.CalLum(image, FullMask(image), rect), cv::Exception);
  }
}

}  // namespace
}  // namespace dravix::test

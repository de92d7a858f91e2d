#include "region/strong_corners.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <random>

#include "support/mats.h"

namespace {

using dravix::region::StrongCorners;

/// What StrongCorners must return, by the matrix library's own search over the whole frame.
std::vector<cv::Point2f> PlainCorners(const cv::Mat& frame, double qualityLevel) {
  std::vector<cv::Point2f> corners;
  cv::goodFeaturesToTrack(frame, corners, 4, qualityLevel, 100.0, cv::noArray(), 111, false, 0.04);
  return corners;
}

cv::Mat Frame(cv::Size size = {700, 520}) { return cv::Mat::zeros(size, CV_8UC1); }

void ExpectPlainCorners(const cv::Mat& frame, double qualityLevel = 0.2) {
  const std::vector<cv::Point2f> found =
      StrongCorners(frame, cv::boundingRect(frame), qualityLevel);
  EXPECT_EQ(found, PlainCorners(frame, qualityLevel));
}

TEST(StrongCorners, AreThoseOfTheWholeFrameForRandomQuadrilaterals) {
  std::mt19937 random(1);
  const auto between = [&](int low, int high) {
    return static_cast<int>(random() % static_cast<unsigned>(high - low)) + low;
  };
  for (int i = 0; i < 25; ++i) {
    SCOPED_TRACE(i);
    cv::Mat frame = Frame({between(300, 1100), between(300, 900)});
    const int w = frame.cols;
    const int h = frame.rows;
    // Corners may lie beyond the frame: the area is then cut by its border.
    const std::vector<cv::Point> corners = {
        {between(-40, w / 3), between(-40, h / 3)},
        {between(2 * w / 3, w + 40), between(-40, h / 3)},
        {between(2 * w / 3, w + 40), between(2 * h / 3, h + 40)},
        {between(-40, w / 3), between(2 * h / 3, h + 40)}};
    cv::fillConvexPoly(frame, corners, cv::Scalar(255));
    for (const double quality : {0.01, 0.2, 0.6}) ExpectPlainCorners(frame, quality);
    EXPECT_GE(PlainCorners(frame, 0.01).size(), 1U);
  }
}

TEST(StrongCorners, AreThoseOfTheWholeFrameForRaggedOutlines) {
  // A speck for every 260th pixel, which makes a list of outline, and more than a list is made for.
  const std::pair<double, double> kKinds[] = {{254, 0}, {250, 6}};
  for (const auto& [lit, dark] : kKinds)
    for (const std::uint64_t seed : {3U, 4U, 5U}) {
      SCOPED_TRACE(testing::Message() << lit << " " << seed);
      cv::Mat frame = Frame();
      cv::rectangle(frame, {90, 80, 480, 330}, cv::Scalar(255), cv::FILLED);
      const cv::Mat noise = dravix::test::RandomMat({600, 450}, CV_8UC1, seed, 0, 256);
      cv::Mat specks = frame({60, 50, 600, 450});
      specks.setTo(255, noise > lit);
      specks.setTo(0, noise < dark);
      ExpectPlainCorners(frame, 0.05);
      ExpectPlainCorners(frame, 0.9);
    }
}

TEST(StrongCorners, AreThoseOfTheWholeFrameForSeveralAreasAndHoles) {
  cv::Mat frame = Frame({900, 640});
  cv::ellipse(frame, {300, 300}, {210, 150}, 20, 0, 360, cv::Scalar(255), cv::FILLED);
  cv::rectangle(frame, {620, 100, 200, 400}, cv::Scalar(255), cv::FILLED);
  cv::rectangle(frame, {220, 240, 90, 70}, cv::Scalar(0), cv::FILLED);
  ExpectPlainCorners(frame);
  ExpectPlainCorners(frame, 0.01);
}

TEST(StrongCorners, OfAnAreaThatFillsTheFrameAreNone) {
  cv::Mat frame = Frame();
  frame.setTo(255);
  EXPECT_TRUE(StrongCorners(frame, {{}, frame.size()}, 0.2).empty());
  EXPECT_TRUE(PlainCorners(frame, 0.2).empty());
}

TEST(StrongCorners, OfADarkFrameAreNone) { EXPECT_TRUE(StrongCorners(Frame(), {}, 0.2).empty()); }

TEST(StrongCorners, OfAMaskWithIntermediateLevelsAreThoseOfTheWholeFrame) {
  cv::Mat frame = Frame();
  cv::rectangle(frame, {90, 80, 480, 330}, cv::Scalar(255), cv::FILLED);
  cv::GaussianBlur(frame, frame, {9, 9}, 2);
  ExpectPlainCorners(frame);
}

/// Corners of a part that shows `margin` pixels around the area, in pixels of the whole frame.
std::vector<cv::Point2f> CornersOfPart(const cv::Mat& frame, int margin) {
  const cv::Rect area = cv::boundingRect(frame);
  const cv::Rect part = cv::Rect(area.x - margin, area.y - margin, area.width + 2 * margin,
                                 area.height + 2 * margin) &
                        cv::Rect({}, frame.size());
  std::vector<cv::Point2f> corners = StrongCorners(frame(part).clone(), area - part.tl(), 0.01);
  for (cv::Point2f& corner : corners) corner += cv::Point2f(part.tl());
  return corners;
}

TEST(StrongCorners, OfAPartWithTheMarginAreThoseOfTheWholeFrame) {
  using dravix::region::kCornerMargin;
  using dravix::region::kCornerStep;
  std::mt19937 random(3);
  const auto shift = [&random] { return static_cast<int>(random() % 60); };
  bool anyMarginWouldDo = true;
  for (int i = 0; i < 20; ++i) {
    SCOPED_TRACE(i);
    cv::Mat frame = Frame({900, 800});
    // The part begins at whole steps.
    const cv::Point first(kCornerStep + kCornerMargin, 2 * kCornerStep + kCornerMargin);
    const std::vector<cv::Point> corners = {
        first + cv::Point(0, shift()), first + cv::Point(400 + shift(), 0),
        first + cv::Point(400 + shift(), 350 + shift()), first + cv::Point(shift(), 350 + shift())};
    cv::fillConvexPoly(frame, corners, cv::Scalar(255));
    ASSERT_EQ(cv::boundingRect(frame).tl(), first);
    EXPECT_EQ(CornersOfPart(frame, kCornerMargin), PlainCorners(frame, 0.01));
    anyMarginWouldDo = anyMarginWouldDo && CornersOfPart(frame, 0) == PlainCorners(frame, 0.01);
  }
  EXPECT_FALSE(anyMarginWouldDo) << "so that this test shows something";
}

TEST(StrongCorners, OfASmallFrameAreThoseOfTheWholeFrame) {
  for (const cv::Size size : {cv::Size(1, 1), cv::Size(40, 30), cv::Size(222, 223)}) {
    cv::Mat frame = Frame(size);
    frame(
        cv::Rect(size.width / 5, size.height / 5, size.width * 3 / 5 + 1, size.height * 3 / 5 + 1) &
        cv::Rect({}, size))
        .setTo(255);
    ExpectPlainCorners(frame);
  }
}

TEST(StrongCorners, RefuseAQualityLevelThatIsNotAboveZero) {
  cv::Mat frame = Frame();
  cv::rectangle(frame, {90, 80, 480, 330}, cv::Scalar(255), cv::FILLED);
  for (const double quality : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_THROW(static_cast<void>(StrongCorners(frame, {90, 80, 480, 330}, quality)),
                 cv::Exception);
  }
}

}  // namespace

#include "region/corner_refinement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <random>

namespace {

using dravix::region::DarkMargin;
using dravix::region::FramePart;
using dravix::region::Refined;

/// What Refined must return, by the matrix library on the whole frame.
std::vector<cv::Point2f> PlainRefined(const cv::Mat& frame, std::vector<cv::Point2f> corners,
                                      int window) {
  cv::cornerSubPix(frame, corners, {window, window}, {-1, -1},
                   {cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 40, 0.1});
  return corners;
}

/// The frame's bright pixels with the least margin that a part must have.
FramePart PartOf(const cv::Mat& frame, int window) {
  const auto dark = static_cast<int>(DarkMargin(window));
  const cv::Point margin(dark, dark);
  const cv::Rect bright = cv::boundingRect(frame);
  const cv::Rect part =
      cv::Rect(bright.tl() - margin, bright.br() + margin) & cv::Rect({}, frame.size());
  return {frame(part).clone(), part.tl(), frame.size()};
}

TEST(Refined, CornersAreThoseOfTheWholeFrameForRandomQuadrilaterals) {
  std::mt19937 random(2);
  const auto between = [&](int low, int high) {
    return static_cast<int>(random() % static_cast<unsigned>(high - low)) + low;
  };
  for (int i = 0; i < 40; ++i) {
    SCOPED_TRACE(i);
    // Large frames with the area anywhere: single precision rounds coordinates by their size.
    cv::Mat frame = cv::Mat::zeros(between(700, 2600), between(700, 3000), CV_8UC1);
    const int x = between(-30, frame.cols - 400);
    const int y = between(-30, frame.rows - 400);
    const std::vector<cv::Point> outline = {{x + between(0, 60), y + between(0, 60)},
                                            {x + 400 - between(0, 60), y + between(0, 60)},
                                            {x + 400 - between(0, 60), y + 400 - between(0, 60)},
                                            {x + between(0, 60), y + 400 - between(0, 60)}};
    cv::fillConvexPoly(frame, outline, cv::Scalar(255));
    std::vector<cv::Point2f> start;
    for (const cv::Point& corner : outline) {
      // Some starts are too far away to reach the corner, and some see no edge at all.
      start.emplace_back(static_cast<float>(corner.x + between(-150, 150)),
                         static_cast<float>(corner.y + between(-150, 150)));
      start.back().x = std::clamp(start.back().x, 0.F, static_cast<float>(frame.cols - 1));
      start.back().y = std::clamp(start.back().y, 0.F, static_cast<float>(frame.rows - 1));
    }
    for (const int window : {5, 60, 73}) {
      EXPECT_EQ(Refined(PartOf(frame, window), start, window), PlainRefined(frame, start, window))
          << window;
    }
  }
}

TEST(Refined, CornersReachTheTrueOnesFromHalfADetectorsWindowAway) {
  cv::Mat frame = cv::Mat::zeros(900, 1200, CV_8UC1);
  frame({300, 200, 500, 400}).setTo(255);
  const std::vector<cv::Point2f> found = Refined(PartOf(frame, 60), {{354, 254}, {745, 545}}, 60);
  EXPECT_NEAR(static_cast<double>(found[0].x), 299.5, 0.6);
  EXPECT_NEAR(static_cast<double>(found[0].y), 199.5, 0.6);
  EXPECT_NEAR(static_cast<double>(found[1].x), 799.5, 0.6);
  EXPECT_NEAR(static_cast<double>(found[1].y), 599.5, 0.6);
}

TEST(Refined, AWindowThatDoesNotFitIntoTheFrameIsRefused) {
  const FramePart part{cv::Mat::zeros(125, 200, CV_8UC1), {0, 0}, {200, 125}};
  EXPECT_NO_THROW(static_cast<void>(Refined(part, {{60, 60}}, 60)));
  for (const int window : {61, 1 << 30, 0, -1}) {
    EXPECT_THROW(static_cast<void>(Refined(part, {{60, 60}}, window)), cv::Exception) << window;
  }
}

TEST(Refined, NoCornersStayNone) { EXPECT_TRUE(Refined({}, {}, 0).empty()); }

}  // namespace

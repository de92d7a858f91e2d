#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "region/largest_area.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace {

using dravix::test::LogCapture;
using dravix::test::LogLevel;
using dravix::test::LogLine;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Corners = std::vector<cv::Point>;

constexpr auto kNoCorners = "RegionOI::GetPrecision4Corner--Error ::  cannot find 4 points !!.";
constexpr auto kNoOrder =
    "RegionOI::GetPrecision4Corner--Error ::  cannot find Correct 4 points !!.";
constexpr auto kNotFour = "RegionOI::PerspectiveSet--Error :: corners4.size() != 4";
constexpr auto kNoPerspective =
    "RegionOI::WarpPerspective--Error ::need compute perspective_mat_ is empty";
constexpr auto kAngle = "RegionOI::Rotate--Error :: roll_angle";

RegionOI RegionOf(cv::Size frame, const Corners& corners) {
  RegionOI region;
  EXPECT_EQ(region.ManualSet(frame, corners), DRAVIX_OK);
  return region;
}

/// A region with a mask of several outlines, which only a host can make.
RegionOI RegionOf(const cv::Mat& frameMask) {
  RegionOI region;
  region.frameWidth = frameMask.cols;
  region.frameHeight = frameMask.rows;
  region.rect = cv::boundingRect(frameMask);
  region.mask = frameMask(region.rect).clone();
  return region;
}

double Rms(const Corners& a, const Corners& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const cv::Point d = a[i] - b[i];
    sum += d.dot(d);
  }
  return std::sqrt(sum / static_cast<double>(a.size()));
}

Shot ShotWith(const cv::Mat& image) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = image;
  return shot;
}

// --- GetPrecision4Corner ---

TEST(RegionCorners, CornersOfAQuadrilateralAreFoundInOrder) {
  const Corners truth = {{120, 90}, {700, 130}, {680, 520}, {90, 480}};
  const RegionOI region = RegionOf({800, 600}, truth);
  Corners corners;
  const LogCapture log;
  ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK);
  ASSERT_EQ(corners.size(), 4U);
  EXPECT_LT(Rms(corners, truth), 2.0);
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(RegionCorners, DefaultsFindEveryCleanQuadrilateralFrom250PixelsASide) {
  cv::RNG random(5);
  for (int i = 0; i < 25; ++i) {
    const int side = random.uniform(250, 420);
    const auto jitter = [&random] { return random.uniform(0, 40); };
    const Corners truth = {{60 - jitter(), 60 - jitter()},
                           {60 + side + jitter(), 60 - jitter()},
                           {60 + side + jitter(), 60 + side + jitter()},
                           {60 - jitter(), 60 + side + jitter()}};
    const RegionOI region = RegionOf({640, 560}, truth);
    Corners corners;
    ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK) << i;
    EXPECT_LT(Rms(corners, truth), 4.0) << i;
  }
}

TEST(RegionCorners, AreExactlyTheChainOfTheSteps) {
  const RegionOI region = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  cv::Mat image = cv::Mat::zeros(600, 800, CV_8UC1);
  region.mask.copyTo(image(region.rect));
  std::vector<cv::Point2f> points;
  cv::goodFeaturesToTrack(image, points, 4, static_cast<double>(region.cornerQualityLevel), 100.0,
                          cv::noArray(), 111, false, 0.04);
  ASSERT_EQ(points.size(), 4U);
  cv::cornerSubPix(image, points, {region.cornerRefineWindow, region.cornerRefineWindow}, {-1, -1},
                   {3, 40, 0.1});
  Corners expected;
  for (const cv::Point2f& p : points) {
    expected.emplace_back(static_cast<int>(static_cast<double>(p.x) + 0.5),
                          static_cast<int>(static_cast<double>(p.y) + 0.5));
  }
  Corners corners;
  ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK);
  EXPECT_EQ(corners, OrderCorners(expected));
}

TEST(RegionCorners, AFrameThatIsClaimedCostsNothing) {
  // 10 billion pixels, of which only the mask is there.
  const Corners truth = {{98000, 99000}, {98600, 99030}, {98580, 99420}, {98030, 99400}};
  const RegionOI region = RegionOf({100000, 100000}, truth);
  Corners corners;
  ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK);
  EXPECT_LT(Rms(corners, truth), 2.0);
}

TEST(RegionCorners, DoNotDependOnTheFrameAroundTheArea) {
  for (const cv::Point& at : {cv::Point(0, 0), cv::Point(3, 700), cv::Point(1711, 1213)}) {
    SCOPED_TRACE(testing::Message() << at);
    cv::Mat frame = cv::Mat::zeros(1900, 2400, CV_8UC1);
    cv::fillConvexPoly(frame,
                       Corners{at + cv::Point(20, 9), at + cv::Point(640, 33),
                               at + cv::Point(610, 520), at + cv::Point(7, 470)},
                       cv::Scalar(255));
    const RegionOI region = RegionOf(frame);
    std::vector<cv::Point2f> found;
    cv::goodFeaturesToTrack(frame, found, 4, static_cast<double>(region.cornerQualityLevel), 100.0,
                            cv::noArray(), 111, false, 0.04);
    cv::cornerSubPix(frame, found, {region.cornerRefineWindow, region.cornerRefineWindow}, {-1, -1},
                     {cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 40, 0.1});
    Corners expected;
    for (const cv::Point2f& corner : found) {
      expected.emplace_back(static_cast<int>(static_cast<double>(corner.x) + 0.5),
                            static_cast<int>(static_cast<double>(corner.y) + 0.5));
    }
    Corners corners;
    ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK);
    EXPECT_EQ(corners, OrderCorners(expected));
  }
}

TEST(RegionCorners, AreaTooSmallForFourDistantCornersLeavesTheOutputAlone) {
  const RegionOI region = RegionOf({400, 300}, {{100, 100}, {160, 100}, {160, 150}, {100, 150}});
  Corners corners = {{1, 2}};
  const LogCapture log;
  EXPECT_EQ(region.GetPrecision4Corner(corners), DRAVIX_NO_CORNERS);
  EXPECT_EQ(corners, (Corners{{1, 2}}));
  EXPECT_THAT(log.Errors(), ElementsAre(kNoCorners));
}

TEST(RegionCorners, EmptyRegionHasNone) {
  RegionOI withoutMask = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  withoutMask.mask.release();
  for (const RegionOI& region : {RegionOI(), withoutMask}) {
    Corners corners = {{1, 2}};
    const LogCapture log;
    EXPECT_EQ(region.GetPrecision4Corner(corners), DRAVIX_NO_CORNERS);
    EXPECT_EQ(corners, (Corners{{1, 2}}));
    EXPECT_THAT(log.Errors(), ElementsAre(kNoCorners));
  }
}

TEST(RegionCorners, AreaThatFillsTheFrameHasNoCorners) {
  const RegionOI region = RegionOf({500, 400}, {{0, 0}, {499, 0}, {499, 399}, {0, 399}});
  Corners corners;
  EXPECT_EQ(region.GetPrecision4Corner(corners), DRAVIX_NO_CORNERS);
}

TEST(RegionCorners, MoreThanFourStrongCornersGiveAtMostFour) {
  cv::Mat frame = cv::Mat::zeros(900, 900, CV_8UC1);
  frame(cv::Rect(150, 150, 300, 600)) = 255;
  frame(cv::Rect(150, 450, 600, 300)) = 255;  // an L: five convex corners and a concave one
  Corners corners;
  const std::int32_t code = RegionOf(frame).GetPrecision4Corner(corners);
  EXPECT_TRUE(code == DRAVIX_OK || code == DRAVIX_NO_CORNERS);
  EXPECT_EQ(corners.size(), 4U);
}

TEST(RegionCorners, CornersWithoutOrderGiveTheInnerRectangleAndFail) {
  // One corner far above the three others: only it lies above the mean height.
  const Corners diamond = {{500, 40}, {830, 640}, {500, 760}, {170, 640}};
  cv::Mat frame = cv::Mat::zeros(805, 1009, CV_8UC1);
  cv::fillPoly(frame, std::vector<Corners>{diamond}, cv::Scalar(255));
  RegionOI region = RegionOf(frame);
  region.cornerQualityLevel = 0.05F;
  Corners corners = {{1, 2}};
  const LogCapture log;
  EXPECT_EQ(region.GetPrecision4Corner(corners), DRAVIX_NO_CORNERS);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoOrder));
  // 1009 * 0.1 = 100.9, * 0.9 = 908.1; 805 * 0.1 = 80.5, * 0.9 = 724.5: truncated.
  EXPECT_EQ(corners, (Corners{{100, 80}, {908, 80}, {908, 724}, {100, 724}}));
}

TEST(RegionCorners, RegionIsNotChanged) {
  const RegionOI region = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  const cv::Mat mask = region.mask.clone();
  Corners corners;
  ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(region.mask, mask));
}

TEST(RegionCorners, RectangleOutsideTheFrameIsRefusedByTheMatrixLibrary) {
  RegionOI region = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  const RegionOI good = region;
  Corners corners = {{1, 2}};
  for (const cv::Point at : {cv::Point(-1, 90), cv::Point(300, 90), cv::Point(90, 400),
                             cv::Point(INT_MAX, 0), cv::Point(INT_MIN, INT_MIN)}) {
    region.rect = cv::Rect(at, good.rect.size());
    EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception) << at;
  }
  region = good;
  region.frameWidth = 300;
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
  region.frameWidth = -300;
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
  EXPECT_EQ(corners, (Corners{{1, 2}}));
}

TEST(RegionCorners, MaskOfAnotherSizeOrChannelCountIsRefusedByTheMatrixLibrary) {
  const RegionOI good = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  Corners corners;
  RegionOI region = good;
  region.mask = good.mask.colRange(1, good.mask.cols);
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
  cv::cvtColor(good.mask, region.mask, cv::COLOR_GRAY2BGR);
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
}

TEST(RegionCorners, ParametersOutsideTheirRangeAreRefusedByTheMatrixLibrary) {
  const RegionOI good = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  Corners corners;
  RegionOI region = good;
  region.cornerQualityLevel = 0;
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
  region = good;
  region.cornerRefineWindow = 0;
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
  region.cornerRefineWindow = 400;  // the window must fit into the frame
  EXPECT_THROW(region.GetPrecision4Corner(corners), cv::Exception);
}

// --- PerspectiveSet ---

TEST(RegionPerspectiveSet, TargetHasTheLongerOfOppositeSides) {
  RegionOI region;
  const LogCapture log;
  // Top 40, bottom 60; left 50 (30, 40), right sqrt(10^2 + 40^2) = 41.23.
  EXPECT_EQ(region.PerspectiveSet({{30, 0}, {70, 0}, {60, 40}, {0, 40}}), DRAVIX_OK);
  EXPECT_EQ(region.frameWidth, 60);
  EXPECT_EQ(region.frameHeight, 50);
  EXPECT_EQ(region.rect, cv::Rect(0, 0, 60, 50));
  EXPECT_EQ(region.mode, 3);
  ASSERT_EQ(region.mask.size(), cv::Size(60, 50));
  EXPECT_EQ(region.mask.type(), CV_8UC1);
  EXPECT_EQ(cv::countNonZero(region.mask == 255), 60 * 50);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::PerspectiveSet"}}));
}

TEST(RegionPerspectiveSet, HalfALengthIsRoundedUp) {
  RegionOI region;
  // Sides of 3.5355 and 3.6056 round to 4; one of 3.1623 to 3.
  ASSERT_EQ(region.PerspectiveSet({{0, 0}, {3, 1}, {3, 1}, {0, 0}}), DRAVIX_OK);
  EXPECT_EQ(region.frameWidth, 3);
  ASSERT_EQ(region.PerspectiveSet({{0, 0}, {3, 2}, {3, 2}, {0, 0}}), DRAVIX_OK);
  EXPECT_EQ(region.frameWidth, 4);
}

TEST(RegionPerspectiveSet, LengthsAreSinglePrecision) {
  RegionOI region;
  // 4095.5 squared is 16773120.25: the side (4095, 64) has 16773121, whose root is 4095.50009 in
  // double and 4095.5 in single precision; both round to 4096. One less (16773120) is 4095.49997 in
  // double, 4095 when rounded, but 4095.5 in single precision.
  ASSERT_EQ(region.PerspectiveSet({{0, 0}, {4032, 718}, {4032, 718}, {0, 0}}), DRAVIX_OK);
  const float side = std::sqrt(static_cast<float>(4032 * 4032 + 718 * 718));
  EXPECT_EQ(region.frameWidth, static_cast<int>(side + 0.5F));
}

TEST(RegionPerspectiveSet, MatrixMapsTheCornersToTheRectanglesCornerPixels) {
  const Corners corners = {{103, 51}, {720, 88}, {699, 540}, {80, 502}};
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet(corners), DRAVIX_OK);
  ASSERT_EQ(region.perspective.size(), cv::Size(3, 3));
  ASSERT_EQ(region.perspective.type(), CV_64FC1);
  const std::vector<cv::Point2d> frame(corners.begin(), corners.end());
  std::vector<cv::Point2d> rectified;
  cv::perspectiveTransform(frame, rectified, region.perspective);
  const Corners truth = RectToCorners(region.rect);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(rectified[i].x, truth[i].x, 1e-6);
    EXPECT_NEAR(rectified[i].y, truth[i].y, 1e-6);
  }
}

TEST(RegionPerspectiveSet, CornersKeepTheCallersOrder) {
  // Starting at the top right turns the picture by a quarter.
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet({{40, 0}, {40, 20}, {0, 20}, {0, 0}}), DRAVIX_OK);
  EXPECT_EQ(region.frameWidth, 20);
  EXPECT_EQ(region.frameHeight, 40);
}

TEST(RegionPerspectiveSet, OtherCountsThanFourChangeNothing) {
  RegionOI region = RegionOf({100, 90}, {{20, 10}, {80, 14}, {85, 60}, {18, 57}});
  const RegionOI before = region;
  const LogCapture log;
  EXPECT_EQ(region.PerspectiveSet({{0, 0}, {9, 0}, {9, 9}}), DRAVIX_NOT_FOUR_CORNERS);
  EXPECT_THAT(log.Errors(), ElementsAre(kNotFour));
  EXPECT_EQ(region.mode, 2);
  EXPECT_EQ(region.rect, before.rect);
  EXPECT_EQ(region.frameWidth, before.frameWidth);
  EXPECT_EQ(region.mask.data, before.mask.data);
  EXPECT_TRUE(region.perspective.empty());
}

TEST(RegionPerspectiveSet, AreaWithoutWidthOrHeightIsAnEmptyRegion) {
  RegionOI region;
  EXPECT_EQ(region.PerspectiveSet(Corners(4, cv::Point(5, 5))), DRAVIX_OK);
  EXPECT_EQ(region.rect, cv::Rect(0, 0, 0, 0));
  EXPECT_TRUE(region.mask.empty());
  EXPECT_EQ(region.PerspectiveSet({{5, 5}, {5, 5}, {5, 9}, {5, 9}}), DRAVIX_OK);
  EXPECT_EQ(region.rect, cv::Rect(0, 0, 0, 4));
  EXPECT_EQ(region.mode, 3);
  Shot shot = ShotWith(cv::Mat(20, 30, CV_16UC1, cv::Scalar(5)));
  EXPECT_EQ(region.WarpPerspective(&shot), DRAVIX_OK) << "must not crash";
}

TEST(RegionPerspectiveSet, AreaTooLargeForMemoryChangesNothing) {
  RegionOI region = RegionOf({100, 90}, {{20, 10}, {80, 14}, {85, 60}, {18, 57}});
  const cv::Rect before = region.rect;
  EXPECT_THROW(
      region.PerspectiveSet(
          {{INT_MIN, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MAX}}),
      cv::Exception);
  EXPECT_EQ(region.mode, 2);
  EXPECT_EQ(region.rect, before);
  EXPECT_TRUE(region.perspective.empty());
}

TEST(RegionPerspectiveSet, TargetLargerThanAnyCamerasPictureChangesNothing) {
  RegionOI region = RegionOf({800, 600}, {{120, 90}, {700, 130}, {680, 520}, {90, 480}});
  const RegionOI before = region;
  // 2^14 x 2^14 pixels are the most.
  for (const int far : {16385, 30000, INT_MAX}) {
    EXPECT_THROW(region.PerspectiveSet({{0, 0}, {far, 0}, {far, 16384}, {0, 16384}}),
                 cv::Exception);
    EXPECT_EQ(region.rect, before.rect);
    EXPECT_EQ(region.mask.data, before.mask.data);
    EXPECT_EQ(region.mode, before.mode);
    EXPECT_EQ(region.frameWidth, before.frameWidth);
    EXPECT_TRUE(region.perspective.empty());
  }
  EXPECT_EQ(region.PerspectiveSet({{0, 0}, {16384, 0}, {16384, 16384}, {0, 16384}}), DRAVIX_OK);
}

// --- WarpPerspective ---

TEST(RegionWarpPerspective, RectifiesTheImageInPlace) {
  const cv::Mat image = RandomMat({120, 90}, CV_16UC1, 1, 0, 60000);
  Shot shot = ShotWith(image.clone());
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet({{10, 8}, {100, 15}, {96, 80}, {14, 76}}), DRAVIX_OK);
  const LogCapture log;
  ASSERT_EQ(region.WarpPerspective(&shot), DRAVIX_OK);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::WarpPerspective"}}));
  cv::Mat expected;
  cv::warpPerspective(image, expected, region.perspective, {region.frameWidth, region.frameHeight},
                      cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
  EXPECT_TRUE(SameBytes(shot.image, expected));
  EXPECT_EQ(region.shot, &shot);
}

TEST(RegionWarpPerspective, IdentityKeepsThePixels) {
  const cv::Mat image = RandomMat({60, 50}, CV_16UC3, 2, 0, 60000);
  Shot shot = ShotWith(image.clone());
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet(RectToCorners(cv::Rect(0, 0, 60, 50))), DRAVIX_OK);
  EXPECT_EQ(region.frameWidth, 59) << "from corner pixel to corner pixel";
  region.frameWidth = 60;
  region.frameHeight = 50;
  region.perspective = cv::Mat::eye(3, 3, CV_64F);
  ASSERT_EQ(region.WarpPerspective(&shot), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(shot.image, image));
}

TEST(RegionWarpPerspective, BeforePerspectiveSetTheShotIsKeptButUntouched) {
  const cv::Mat image = RandomMat({12, 9}, CV_16UC1, 1, 0, 60000);
  Shot shot = ShotWith(image.clone());
  RegionOI region;
  const LogCapture log;
  EXPECT_EQ(region.WarpPerspective(&shot), DRAVIX_NO_PERSPECTIVE);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoPerspective));
  EXPECT_TRUE(SameBytes(shot.image, image));
  EXPECT_EQ(region.shot, &shot);
}

TEST(RegionWarpPerspective, ShotIsCheckedBeforeThePerspective) {
  RegionOI region;
  Shot empty;
  const LogCapture log;
  EXPECT_EQ(region.WarpPerspective(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(region.WarpPerspective(&empty), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error in Shot input is nullptr",
                                        "Shot::Check--Error shot.image is empty"));
  EXPECT_EQ(region.shot, nullptr);
}

TEST(RegionWarpPerspective, CostsWhatThePhotographOrAnyCamerasIsWorth) {
  const cv::Mat image = RandomMat({12, 9}, CV_16UC1, 1, 0, 60000);
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet({{0, 0}, {8, 0}, {8, 8}, {0, 8}}), DRAVIX_OK);
  // A region file may state any frame. 2^27 samples of 16 bits are the most for a small photograph.
  for (const cv::Size frame :
       {cv::Size(32769, 4096), cv::Size(100000, 100000), cv::Size(INT_MAX, INT_MAX)}) {
    region.frameWidth = frame.width;
    region.frameHeight = frame.height;
    Shot shot = ShotWith(image.clone());
    EXPECT_THROW(region.WarpPerspective(&shot), cv::Exception) << frame;
    EXPECT_TRUE(SameBytes(shot.image, image));
  }
  region.frameWidth = 32768;
  region.frameHeight = 2;
  Shot shot = ShotWith(image.clone());
  EXPECT_EQ(region.WarpPerspective(&shot), DRAVIX_OK);
}

TEST(RegionWarpPerspective, AnyQuadrilateralInsideALargePhotographCanBeRectified) {
  // The squared diagonal is more than the 2^25 pixels of 8 bytes that a small photograph may have.
  const cv::Size size(6000, 5);
  const cv::Mat image(size, CV_64FC1, cv::Scalar(7));
  EXPECT_EQ(dravix::region::MostRectifiedPixels(image), 36000025);
  const cv::Mat pixel(1, 1, CV_64FC1, cv::Scalar(7));
  EXPECT_EQ(dravix::region::MostRectifiedPixels(pixel), 1 << 25);
}

TEST(RegionWarpPerspective, RefusedWarpLeavesTheImage) {
  const cv::Mat image = RandomMat({12, 9}, CV_16UC1, 1, 0, 60000);
  Shot shot = ShotWith(image.clone());
  RegionOI region;
  region.frameWidth = 10;
  region.frameHeight = 10;
  region.perspective = cv::Mat::eye(2, 2, CV_64F);  // set by hand, and wrongly
  EXPECT_THROW(region.WarpPerspective(&shot), cv::Exception);
  EXPECT_TRUE(SameBytes(shot.image, image));
}

// --- Rotate ---

/// An area of 30 x 20 at (10, 5) of a frame of 100 x 60.
RegionOI Turnable() {
  RegionOI region;
  region.frameWidth = 100;
  region.frameHeight = 60;
  region.rect = cv::Rect(10, 5, 30, 20);
  region.mask = RandomMat({30, 20}, CV_8UC1, 9, 0, 256);
  region.mode = 2;
  return region;
}

void ExpectTurnable(const RegionOI& region, cv::Size frame, const cv::Rect& rect,
                    const cv::Mat& mask) {
  EXPECT_EQ(cv::Size(region.frameWidth, region.frameHeight), frame);
  EXPECT_EQ(region.rect, rect);
  EXPECT_TRUE(SameBytes(region.mask, mask));
  EXPECT_EQ(region.mode, 2);
}

TEST(RegionRotate, ZeroAndPositiveMultiplesOf360TurnByNothing) {
  for (const int angle : {0, 360, 720, 3600, 2147483520}) {
    RegionOI region = Turnable();
    const LogCapture log;
    EXPECT_EQ(region.Rotate(angle), DRAVIX_OK) << angle;
    ExpectTurnable(region, {100, 60}, {10, 5, 30, 20}, Turnable().mask);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::Rotate"}}));
  }
}

TEST(RegionRotate, QuarterTurnCounterClockwise) {
  const cv::Mat mask = Turnable().mask;
  for (const int angle : {90, 450, -270, -630}) {
    RegionOI region = Turnable();
    EXPECT_EQ(region.Rotate(angle), DRAVIX_OK) << angle;
    // y' = old frame width - old w - old x = 100 - 30 - 10.
    ExpectTurnable(region, {60, 100}, {5, 60, 20, 30}, mask.t());
  }
}

TEST(RegionRotate, HalfTurnMirrorsThePlaceAndKeepsTheMask) {
  const cv::Mat mask = Turnable().mask;
  for (const int angle : {180, 540, -180}) {
    RegionOI region = Turnable();
    EXPECT_EQ(region.Rotate(angle), DRAVIX_OK) << angle;
    ExpectTurnable(region, {100, 60}, {60, 35, 30, 20}, mask);
  }
}

TEST(RegionRotate, QuarterTurnClockwise) {
  const cv::Mat mask = Turnable().mask;
  for (const int angle : {270, 630, -90, -450}) {
    RegionOI region = Turnable();
    EXPECT_EQ(region.Rotate(angle), DRAVIX_OK) << angle;
    // x' = old frame height - old h - old y = 60 - 20 - 5.
    ExpectTurnable(region, {60, 100}, {35, 10, 20, 30}, mask.t());
  }
}

TEST(RegionRotate, PlaceFollowsTheTurnedImage) {
  for (const int angle : {90, 180, 270}) {
    RegionOI region;
    ASSERT_EQ(region.ManualSet({50, 40}, {{10, 5}, {29, 5}, {29, 14}, {10, 14}}), DRAVIX_OK);
    cv::Mat image = cv::Mat::zeros(40, 50, CV_16UC1);
    image(region.rect) = 1000;
    Shot shot = ShotWith(image);
    ASSERT_EQ(shot.Rotate(angle), DRAVIX_OK);
    ASSERT_EQ(region.Rotate(angle), DRAVIX_OK);
    cv::Mat lit;
    shot.image.convertTo(lit, CV_8U);
    EXPECT_EQ(cv::boundingRect(lit), region.rect) << angle;
    EXPECT_EQ(region.mask.size(), region.rect.size());
  }
}

TEST(RegionRotate, TransposedMaskIsAFreshCopy) {
  RegionOI region = Turnable();
  const cv::Mat shared = region.mask;
  const cv::Mat before = shared.clone();
  ASSERT_EQ(region.Rotate(90), DRAVIX_OK);
  region.mask.setTo(7);
  EXPECT_TRUE(SameBytes(shared, before));
}

TEST(RegionRotate, NegativeMultiplesOf360AreRefused) {
  for (const int angle : {-360, -720, -2147483520}) {
    RegionOI region = Turnable();
    const LogCapture log;
    EXPECT_EQ(region.Rotate(angle), DRAVIX_BAD_ARGUMENT) << angle;
    EXPECT_THAT(log.Errors(), ElementsAre(kAngle));
    ExpectTurnable(region, {100, 60}, {10, 5, 30, 20}, Turnable().mask);
  }
}

TEST(RegionRotate, OtherAnglesAreRefused) {
  for (const int angle : {1, 45, 89, 91, 359, -1, -91, INT_MAX, INT_MIN}) {
    RegionOI region = Turnable();
    const LogCapture log;
    EXPECT_EQ(region.Rotate(angle), DRAVIX_BAD_ARGUMENT) << angle;
    EXPECT_THAT(log.Errors(), ElementsAre(kAngle));
    ExpectTurnable(region, {100, 60}, {10, 5, 30, 20}, Turnable().mask);
  }
}

TEST(RegionRotate, EmptyRegionIsTurned) {
  for (const int angle : {90, 180, 270}) {
    RegionOI region;
    region.frameWidth = 100;
    region.frameHeight = 60;
    EXPECT_EQ(region.Rotate(angle), DRAVIX_OK);
    EXPECT_TRUE(region.mask.empty());
  }
}

TEST(RegionRotate, HostileRectanglesDoNotOverflow) {
  for (const int angle : {90, 180, 270}) {
    RegionOI region = Turnable();
    region.frameWidth = INT_MIN;
    region.frameHeight = INT_MAX;
    region.rect = cv::Rect(INT_MAX, INT_MIN, INT_MAX, INT_MIN);
    EXPECT_EQ(region.Rotate(angle), DRAVIX_OK);
  }
}

TEST(RegionRotate, PerspectiveStays) {
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet({{0, 0}, {40, 0}, {40, 20}, {0, 20}}), DRAVIX_OK);
  const cv::Mat before = region.perspective.clone();
  ASSERT_EQ(region.Rotate(90), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(region.perspective, before));
}

}  // namespace

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <opencv2/imgproc.hpp>

#include "support/log_capture.h"
#include "support/mats.h"

namespace {

using dravix::test::LogCapture;
using dravix::test::LogLevel;
using dravix::test::LogLine;
using dravix::test::SameBytes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Corners = std::vector<cv::Point>;

constexpr auto kNoAreaInMask = "RegionOI::ComputeMask--Error :: Cannot find led area.";
constexpr auto kNoAreaInBlur = "RegionOI::ComputeBlur--Error :: Cannot find led area.";
constexpr auto kSeveralAreas = "RegionOI::ComputeMask--Warning :: Find >1 areas.";
constexpr auto kNotFour = "RegionOI::ManualSet--Error :: corners4.size() != 4";
constexpr auto kOutside = "RegionOI::ManualSet--Error :: corners not in image";

/// A photograph of one plane with lit rectangles.
Shot ShotOf(cv::Size size, const std::vector<cv::Rect>& lit) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = cv::Mat(size, CV_16UC1, cv::Scalar(40));
  for (const cv::Rect& rect : lit) shot.image(rect) = cv::Scalar(40000);
  return shot;
}

/// Everything of a region that is stored or decides what it does next.
struct Snapshot {
  explicit Snapshot(const RegionOI& r)
      : frame(r.frameWidth, r.frameHeight),
        rect(r.rect),
        mask(r.mask.clone()),
        mode(r.mode),
        shot(r.shot),
        perspective(r.perspective.clone()) {}
  cv::Size frame;
  cv::Rect rect;
  cv::Mat mask;
  std::int32_t mode;
  const Shot* shot;
  cv::Mat perspective;
};

void ExpectSame(const RegionOI& region, const Snapshot& before) {
  EXPECT_EQ(cv::Size(region.frameWidth, region.frameHeight), before.frame);
  EXPECT_EQ(region.rect, before.rect);
  EXPECT_TRUE(SameBytes(region.mask, before.mask));
  EXPECT_EQ(region.mode, before.mode);
  EXPECT_EQ(region.shot, before.shot);
  EXPECT_TRUE(SameBytes(region.perspective, before.perspective));
}

/// A region that has been through everything.
RegionOI FullRegion() {
  RegionOI region;
  EXPECT_EQ(region.PerspectiveSet({{1, 1}, {30, 2}, {31, 40}, {2, 41}}), DRAVIX_OK);
  return region;
}

// --- SetShot ---

TEST(RegionSetShot, RemembersTheShotAndItsSize) {
  const Shot shot = ShotOf({40, 30}, {});
  RegionOI region;
  const LogCapture log;
  EXPECT_EQ(region.SetShot(&shot), DRAVIX_OK);
  EXPECT_EQ(region.shot, &shot);
  EXPECT_EQ(region.frameWidth, 40);
  EXPECT_EQ(region.frameHeight, 30);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::SetShot"}}));
}

TEST(RegionSetShot, LeavesAreaModeAndPerspectiveAlone) {
  const Shot shot = ShotOf({40, 30}, {});
  RegionOI region = FullRegion();
  const Snapshot before(region);
  EXPECT_EQ(region.SetShot(&shot), DRAVIX_OK);
  EXPECT_EQ(region.rect, before.rect);
  EXPECT_EQ(region.mode, 3);
  EXPECT_FALSE(region.perspective.empty());
}

TEST(RegionSetShot, NoShotIsRefusedAndChangesNothing) {
  RegionOI region = FullRegion();
  const Snapshot before(region);
  const LogCapture log;
  EXPECT_EQ(region.SetShot(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error in Shot input is nullptr"));
  ExpectSame(region, before);
}

TEST(RegionSetShot, EmptyImageIsRefusedAndChangesNothing) {
  const Shot empty;
  RegionOI region = FullRegion();
  const Snapshot before(region);
  const LogCapture log;
  EXPECT_EQ(region.SetShot(&empty), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error shot.image is empty"));
  ExpectSame(region, before);
}

// --- ComputeMask ---

TEST(RegionComputeMask, LitRectangleIsGrownByTheEllipse) {
  cv::Mat image = cv::Mat::zeros(60, 80, CV_8UC1);
  image(cv::Rect(20, 15, 40, 30)) = 200;
  RegionOI region;
  region.blurKernelSize = 5;  // grown by an ellipse of 7 x 7: three pixels to each side
  const cv::Mat mask = region.ComputeMask(image);
  ASSERT_EQ(mask.size(), image.size());
  ASSERT_EQ(mask.type(), CV_8UC1);
  EXPECT_EQ(cv::boundingRect(mask), cv::Rect(17, 12, 46, 36));
  EXPECT_EQ(mask.at<uchar>(30, 40), 255);
  EXPECT_EQ(mask.at<uchar>(12, 17), 0) << "an ellipse leaves the corner out";
}

TEST(RegionComputeMask, IsExactlyTheChainOfItsSteps) {
  cv::Mat image = dravix::test::RandomMat({90, 70}, CV_8UC1, 7, 0, 60);
  image(cv::Rect(20, 15, 40, 30)) += 120;
  RegionOI region;
  region.blurKernelSize = 7;
  region.blurSigma = 1.7F;
  cv::Mat blurred;
  cv::GaussianBlur(image, blurred, {7, 7}, static_cast<double>(1.7F), 0, cv::BORDER_DEFAULT);
  cv::Mat binary;
  cv::threshold(blurred, binary, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  std::vector<Corners> contours;
  cv::findContours(binary, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  int best = 0;
  float bestArea = 0.0F;
  for (int i = 0; i < static_cast<int>(contours.size()); ++i) {
    const cv::RotatedRect box = cv::minAreaRect(contours[static_cast<std::size_t>(i)]);
    if (box.size.width * box.size.height > bestArea) {
      bestArea = box.size.width * box.size.height;
      best = i;
    }
  }
  cv::Mat expected = cv::Mat::zeros(image.size(), CV_8UC1);
  cv::drawContours(expected, contours, best, cv::Scalar(255, 255, 255, 0), -1, 8, cv::noArray(),
                   INT_MAX);
  cv::dilate(expected, expected, cv::getStructuringElement(cv::MORPH_ELLIPSE, {10, 10}));
  EXPECT_TRUE(SameBytes(region.ComputeMask(image), expected));
}

TEST(RegionComputeMask, OfAPartSeesThePixelsAroundIt) {
  cv::Mat image = dravix::test::RandomMat({300, 200}, CV_8UC1, 7, 0, 256);
  const cv::Mat part = image(cv::Rect(60, 50, 150, 100));
  RegionOI region;
  region.blurKernelSize = 11;
  cv::Mat lit;
  cv::GaussianBlur(part, lit, {11, 11}, static_cast<double>(region.blurSigma));
  cv::threshold(lit, lit, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  cv::Mat alone;
  cv::GaussianBlur(part.clone(), alone, {11, 11}, static_cast<double>(region.blurSigma));
  cv::threshold(alone, alone, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  ASSERT_FALSE(SameBytes(lit, alone)) << "so that this test shows something";
  std::vector<Corners> contours;
  cv::findContours(lit, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  const cv::Mat mask = region.ComputeMask(part);
  ASSERT_EQ(mask.size(), part.size());
  // The area is one of the outlines, grown by the ellipse, to the last pixel.
  const bool found = std::any_of(contours.begin(), contours.end(), [&](const Corners& outline) {
    cv::Mat expected = cv::Mat::zeros(part.size(), CV_8UC1);
    cv::drawContours(expected, std::vector<Corners>{outline}, 0, cv::Scalar(255), cv::FILLED);
    cv::dilate(expected, expected, cv::getStructuringElement(cv::MORPH_ELLIPSE, {16, 16}));
    return static_cast<bool>(SameBytes(mask, expected));
  });
  EXPECT_TRUE(found);
}

TEST(RegionComputeMask, BlackImageGivesNoMaskAndOneErrorLine) {
  const RegionOI region;
  const LogCapture log;
  EXPECT_TRUE(region.ComputeMask(cv::Mat::zeros(50, 50, CV_8UC1)).empty());
  EXPECT_THAT(log.Errors(), ElementsAre(kNoAreaInMask));
  EXPECT_THAT(log.Warnings(), IsEmpty());
}

TEST(RegionComputeMask, TwoAreasWarnOnceAndTheLargerStays) {
  cv::Mat image = cv::Mat::zeros(100, 200, CV_8UC1);
  image(cv::Rect(10, 10, 20, 20)) = 255;
  image(cv::Rect(80, 20, 60, 50)) = 255;
  const RegionOI region;
  const LogCapture log;
  const cv::Mat mask = region.ComputeMask(image);
  EXPECT_THAT(log.Warnings(), ElementsAre(kSeveralAreas));
  EXPECT_THAT(log.Errors(), IsEmpty());
  EXPECT_EQ(mask.at<uchar>(20, 20), 0);
  EXPECT_EQ(mask.at<uchar>(45, 110), 255);
}

TEST(RegionComputeMask, OneAreaDoesNotWarn) {
  cv::Mat image = cv::Mat::zeros(100, 200, CV_8UC1);
  image(cv::Rect(80, 20, 60, 50)) = 255;
  const RegionOI region;
  const LogCapture log;
  (void)region.ComputeMask(image);
  EXPECT_THAT(log.Warnings(), IsEmpty());
}

TEST(RegionComputeMask, HolesOfTheAreaAreFilled) {
  cv::Mat image = cv::Mat::zeros(100, 100, CV_8UC1);
  image(cv::Rect(10, 10, 80, 80)) = 255;
  image(cv::Rect(40, 40, 20, 20)) = 0;
  EXPECT_EQ(RegionOI().ComputeMask(image).at<uchar>(50, 50), 255);
}

TEST(RegionComputeMask, OtherPixelsAreRefusedByTheMatrixLibrary) {
  const RegionOI region;
  EXPECT_THROW((void)region.ComputeMask(cv::Mat()), cv::Exception);
  EXPECT_THROW((void)region.ComputeMask(cv::Mat::zeros(9, 9, CV_8UC3)), cv::Exception);
}

TEST(RegionComputeMask, EvenOrAbsurdKernelsAreRefusedByTheMatrixLibrary) {
  cv::Mat image = cv::Mat::zeros(50, 50, CV_8UC1);
  image(cv::Rect(10, 10, 20, 20)) = 255;
  RegionOI region;
  for (const int kernel : {4, 0, -1, INT_MIN}) {
    region.blurKernelSize = kernel;
    EXPECT_THROW((void)region.ComputeMask(image), cv::Exception) << kernel;
  }
}

// --- AutoSet ---

TEST(RegionAutoSet, FindsTheLitAreaAtHalfSizeAndDoublesIt) {
  const Shot shot = ShotOf({200, 160}, {{60, 40, 80, 60}});
  RegionOI region;
  region.mode = 2;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  ASSERT_EQ(region.AutoSet(), DRAVIX_OK);
  EXPECT_EQ(region.mode, 0);
  EXPECT_EQ(region.mask.size(), region.rect.size());
  EXPECT_EQ(region.mask.type(), CV_8UC1);
  EXPECT_EQ(region.rect.x % 2, 0);
  EXPECT_EQ(region.rect.width % 2, 0);
  // The dilation reaches three small pixels beyond the area, the pyramid's blur up to one.
  EXPECT_EQ(region.rect & cv::Rect(60, 40, 80, 60), cv::Rect(60, 40, 80, 60));
  EXPECT_EQ(region.rect | cv::Rect(52, 32, 96, 76), cv::Rect(52, 32, 96, 76));
}

TEST(RegionAutoSet, BorderOfTheMaskKeepsItsIntermediateValues) {
  const Shot shot = ShotOf({200, 160}, {{60, 40, 80, 60}});
  RegionOI region;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  ASSERT_EQ(region.AutoSet(), DRAVIX_OK);
  const cv::Mat between = (region.mask > 0) & (region.mask < 255);
  EXPECT_GT(cv::countNonZero(between), 0);
}

TEST(RegionAutoSet, IsThePyramidOfComputeMask) {
  const Shot shot = ShotOf({201, 161}, {{60, 40, 80, 60}});  // odd sizes
  RegionOI region;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  ASSERT_EQ(region.AutoSet(), DRAVIX_OK);

  cv::Mat gray;
  cv::normalize(shot.image, gray, 255, 0, cv::NORM_INF, CV_8U);
  cv::Mat small;
  cv::pyrDown(gray, small, {100, 80});
  const cv::Mat smallMask = region.ComputeMask(small);
  const cv::Rect found = cv::boundingRect(smallMask);
  cv::Mat expected;
  cv::pyrUp(smallMask(found), expected, {2 * found.width, 2 * found.height});
  EXPECT_EQ(region.rect, cv::Rect(2 * found.x, 2 * found.y, 2 * found.width, 2 * found.height));
  EXPECT_TRUE(SameBytes(region.mask, expected));
}

TEST(RegionAutoSet, WithoutAShotOnlyTheModeChanges) {
  RegionOI region = FullRegion();
  Snapshot before(region);
  before.mode = 0;
  const LogCapture log;
  EXPECT_EQ(region.AutoSet(), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                             {LogLevel::kInfo, "RegionOI::AutoSet"},
                             {LogLevel::kError, "Shot::Check--Error in Shot input is nullptr"}}));
  ExpectSame(region, before);
}

TEST(RegionAutoSet, ShotThatLostItsImageIsRefused) {
  Shot shot = ShotOf({40, 30}, {});
  RegionOI region;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  shot.image.release();
  const LogCapture log;
  EXPECT_EQ(region.AutoSet(), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error shot.image is empty"));
}

TEST(RegionAutoSet, DarkPhotographOnlyChangesTheMode) {
  Shot dark;
  dark.type = CIE_Y;
  dark.image = cv::Mat::zeros(60, 80, CV_16UC1);
  RegionOI region = FullRegion();
  ASSERT_EQ(region.SetShot(&dark), DRAVIX_OK);
  Snapshot before(region);
  before.mode = 0;
  const LogCapture log;
  EXPECT_EQ(region.AutoSet(), DRAVIX_NO_LED_AREA);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoAreaInMask));
  ExpectSame(region, before);
}

TEST(RegionAutoSet, OtherPyramidFactorsAreRefusedWithTheAreaKept) {
  const Shot shot = ShotOf({200, 160}, {{60, 40, 80, 60}});
  for (const int factor : {0, 1, 3, 4, -2, INT_MIN}) {
    RegionOI region = FullRegion();
    ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
    Snapshot before(region);
    before.mode = 0;
    region.pyramidFactor = factor;
    EXPECT_THROW(region.AutoSet(), cv::Exception) << factor;
    ExpectSame(region, before);
  }
}

TEST(RegionAutoSet, RunsOnPhotographsOfAnySmallSize) {
  for (int width = 1; width <= 9; ++width) {
    for (int height = 1; height <= 9; ++height) {
      Shot shot = ShotOf({width, height}, {});
      shot.image.at<ushort>(height / 2, width / 2) = 60000;
      RegionOI region;
      ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
      const std::int32_t code = region.AutoSet();
      EXPECT_TRUE(code == DRAVIX_OK || code == DRAVIX_NO_LED_AREA)
          << width << " x " << height << ": " << code;
      EXPECT_EQ(region.mask.size(), region.rect.size());
    }
  }
}

// --- ComputeBlur ---

TEST(RegionComputeBlur, FindsTheLitAreaWithinAPixel) {
  const cv::Rect lit(60, 40, 80, 60);
  const Shot shot = ShotOf({200, 160}, {lit});
  RegionOI region;
  region.mode = 2;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  const LogCapture log;
  ASSERT_EQ(region.ComputeBlur(), DRAVIX_OK);
  EXPECT_EQ(region.mode, 2) << "the mode stays";
  EXPECT_NEAR(region.rect.x, lit.x, 1);
  EXPECT_NEAR(region.rect.y, lit.y, 1);
  EXPECT_NEAR(region.rect.br().x, lit.br().x, 1);
  EXPECT_NEAR(region.rect.br().y, lit.br().y, 1);
  EXPECT_EQ(region.mask.size(), region.rect.size());
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::ComputeBlur"}}));
}

TEST(RegionComputeBlur, IsExactlyTheChainOfItsSteps) {
  Shot shot;
  shot.type = CIE_Y;
  shot.image = dravix::test::RandomMat({230, 190}, CV_16UC1, 3, 0, 20000);
  shot.image(cv::Rect(60, 40, 110, 90)) += cv::Scalar(30000);
  RegionOI region;
  region.blurKernelSize = 7;
  region.blurSigma = 2.5F;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  ASSERT_EQ(region.ComputeBlur(), DRAVIX_OK);

  cv::Mat gray;
  cv::normalize(shot.image, gray, 255, 0, cv::NORM_INF, CV_8U);
  cv::Mat blurred;
  cv::GaussianBlur(gray, blurred, {5, 5}, 2.5, 0, cv::BORDER_DEFAULT);
  cv::Mat otsu;
  cv::threshold(blurred, otsu, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  cv::Mat binary;
  cv::adaptiveThreshold(blurred, binary, 255, cv::ADAPTIVE_THRESH_GAUSSIAN_C, cv::THRESH_BINARY, 41,
                        0);
  binary |= otsu;
  cv::morphologyEx(binary, binary, cv::MORPH_OPEN,
                   cv::getStructuringElement(cv::MORPH_RECT, {5, 5}));
  std::vector<Corners> contours;
  cv::findContours(binary, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
  ASSERT_GT(contours.size(), 1U);
  std::size_t best = 0;
  float bestArea = 0.0F;
  for (std::size_t i = 0; i < contours.size(); ++i) {
    const cv::RotatedRect box = cv::minAreaRect(contours[i]);
    if (box.size.width * box.size.height > bestArea) {
      bestArea = box.size.width * box.size.height;
      best = i;
    }
  }
  cv::Mat canvas = cv::Mat::zeros(gray.size(), CV_8UC1);
  cv::drawContours(canvas, contours, static_cast<int>(best), cv::Scalar::all(255), -1);
  const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, {7, 7});
  cv::morphologyEx(canvas, canvas, cv::MORPH_CLOSE, kernel);
  cv::morphologyEx(canvas, canvas, cv::MORPH_OPEN, kernel);
  EXPECT_EQ(region.rect, cv::boundingRect(contours[best]));
  EXPECT_TRUE(SameBytes(region.mask, canvas(region.rect)));
}

TEST(RegionComputeBlur, LargerOfTwoAreasIsTaken) {
  const Shot shot = ShotOf({300, 200}, {{20, 20, 30, 30}, {120, 50, 100, 90}});
  RegionOI region;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  const LogCapture log;
  ASSERT_EQ(region.ComputeBlur(), DRAVIX_OK);
  EXPECT_GT(region.rect.x, 110);
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(RegionComputeBlur, MaskIsACopyOfItsOwn) {
  const Shot shot = ShotOf({200, 160}, {{60, 40, 80, 60}});
  RegionOI region;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  ASSERT_EQ(region.ComputeBlur(), DRAVIX_OK);
  EXPECT_FALSE(region.mask.isSubmatrix());
}

TEST(RegionComputeBlur, WithoutAShotNothingChanges) {
  RegionOI region = FullRegion();
  const Snapshot before(region);
  const LogCapture log;
  EXPECT_EQ(region.ComputeBlur(), DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(log.Errors(), ElementsAre("Shot::Check--Error in Shot input is nullptr"));
  ExpectSame(region, before);
}

TEST(RegionComputeBlur, ShotThatLostItsImageIsRefused) {
  Shot shot = ShotOf({40, 30}, {});
  RegionOI region;
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  shot.image.release();
  EXPECT_EQ(region.ComputeBlur(), DRAVIX_NULL_ARGUMENT);
}

TEST(RegionComputeBlur, DarkPhotographChangesNothing) {
  Shot dark;
  dark.type = CIE_Y;
  dark.image = cv::Mat::zeros(60, 80, CV_16UC1);
  RegionOI region = FullRegion();
  ASSERT_EQ(region.SetShot(&dark), DRAVIX_OK);
  const Snapshot before(region);
  const LogCapture log;
  EXPECT_EQ(region.ComputeBlur(), DRAVIX_NO_LED_AREA);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoAreaInBlur));
  ExpectSame(region, before);
}

TEST(RegionComputeBlur, ColorShotIsSearchedInGray) {
  const Shot one = ShotOf({200, 160}, {{60, 40, 80, 60}});
  Shot three;
  three.type = CAM_RGB;
  cv::merge(std::vector<cv::Mat>(3, one.image), three.image);
  RegionOI region;
  ASSERT_EQ(region.SetShot(&three), DRAVIX_OK);
  EXPECT_EQ(region.ComputeBlur(), DRAVIX_OK);
  EXPECT_EQ(region.mask.channels(), 1);
  EXPECT_EQ(region.AutoSet(), DRAVIX_OK);
}

TEST(RegionComputeBlur, AbsurdKernelLeavesTheAreaAsItWas) {
  const Shot shot = ShotOf({200, 160}, {{60, 40, 80, 60}});
  RegionOI region = FullRegion();
  ASSERT_EQ(region.SetShot(&shot), DRAVIX_OK);
  region.blurKernelSize = -3;
  const Snapshot before(region);
  EXPECT_THROW(region.ComputeBlur(), cv::Exception);
  ExpectSame(region, before);
}

// --- ManualSet ---

const Corners kArea = {{20, 10}, {80, 14}, {85, 60}, {18, 57}};

TEST(RegionManualSet, TakesFrameAreaAndMode) {
  RegionOI region;
  const LogCapture log;
  EXPECT_EQ(region.ManualSet({100, 90}, kArea), DRAVIX_OK);
  EXPECT_EQ(region.frameWidth, 100);
  EXPECT_EQ(region.frameHeight, 90);
  EXPECT_EQ(region.mode, 2);
  EXPECT_EQ(region.rect, cv::Rect(18, 10, 68, 51));
  EXPECT_EQ(region.mask.size(), region.rect.size());
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::ManualSet"}}));
}

TEST(RegionManualSet, MaskIsTheOutlineFilledOnTheWholeCanvas) {
  cv::RNG random(11);
  for (int i = 0; i < 300; ++i) {
    Corners corners;
    for (int c = 0; c < 4; ++c) {
      corners.emplace_back(random.uniform(0, 400), random.uniform(0, 300));
    }
    const Corners ordered = OrderCorners(corners);
    if (ordered.empty()) continue;
    RegionOI region;
    ASSERT_EQ(region.ManualSet({400, 300}, corners), DRAVIX_OK);
    int maxX = 0;
    int maxY = 0;
    for (const cv::Point& corner : ordered) {
      maxX = std::max(maxX, corner.x);
      maxY = std::max(maxY, corner.y);
    }
    cv::Mat canvas = cv::Mat::zeros(maxY + 100, maxX + 100, CV_8UC1);
    cv::drawContours(canvas, std::vector<Corners>{ordered}, 0, cv::Scalar(255, 255, 255, 0), -1, 8,
                     cv::noArray(), INT_MAX);
    ASSERT_EQ(region.rect, cv::boundingRect(ordered));
    ASSERT_TRUE(SameBytes(region.mask, canvas(region.rect)));
  }
}

TEST(RegionManualSet, AnyOrderOfTheCornersGivesTheSameMask) {
  RegionOI expected;
  ASSERT_EQ(expected.ManualSet({100, 90}, kArea), DRAVIX_OK);
  std::vector<std::size_t> order = {0, 1, 2, 3};
  do {
    Corners shuffled;
    for (const std::size_t i : order) shuffled.push_back(kArea[i]);
    RegionOI region;
    ASSERT_EQ(region.ManualSet({100, 90}, shuffled), DRAVIX_OK);
    EXPECT_EQ(region.rect, expected.rect);
    EXPECT_TRUE(SameBytes(region.mask, expected.mask));
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(RegionManualSet, OtherCountsThanFourChangeNothing) {
  for (const Corners& corners : {Corners{}, Corners(kArea.begin(), kArea.end() - 1),
                                 Corners{{1, 1}, {9, 1}, {9, 9}, {1, 9}, {5, 5}}}) {
    RegionOI region = FullRegion();
    const Snapshot before(region);
    const LogCapture log;
    EXPECT_EQ(region.ManualSet({100, 90}, corners), DRAVIX_NOT_FOUR_CORNERS);
    EXPECT_THAT(log.Errors(), ElementsAre(kNotFour));
    ExpectSame(region, before);
  }
}

TEST(RegionManualSet, CornersThatCannotBeOrderedChangeNothing) {
  RegionOI region = FullRegion();
  const Snapshot before(region);
  const LogCapture log;
  EXPECT_EQ(region.ManualSet({100, 90}, {{50, 0}, {0, 10}, {90, 12}, {50, 80}}),
            DRAVIX_NOT_FOUR_CORNERS);
  EXPECT_THAT(log.Errors(), ElementsAre(kNotFour));
  ExpectSame(region, before);
}

TEST(RegionManualSet, CornerOnTheLastPixelIsInsideAndOneFurtherIsNot) {
  RegionOI region;
  EXPECT_EQ(region.ManualSet({86, 61}, kArea), DRAVIX_OK);
  const LogCapture log;
  EXPECT_EQ(region.ManualSet({85, 61}, kArea), DRAVIX_CORNER_OUTSIDE);
  EXPECT_EQ(region.ManualSet({86, 60}, kArea), DRAVIX_CORNER_OUTSIDE);
  EXPECT_THAT(log.Errors(), ElementsAre(kOutside, kOutside));
  EXPECT_EQ(region.frameWidth, 86) << "nothing has changed";
}

TEST(RegionManualSet, NegativeCornersAreOutside) {
  RegionOI region = FullRegion();
  const Snapshot before(region);
  EXPECT_EQ(region.ManualSet({100, 90}, {{-1, 10}, {80, 14}, {85, 60}, {18, 57}}),
            DRAVIX_CORNER_OUTSIDE);
  EXPECT_EQ(region.ManualSet({100, 90}, {{20, -1}, {80, 14}, {85, 60}, {18, 57}}),
            DRAVIX_CORNER_OUTSIDE);
  EXPECT_EQ(region.ManualSet({100, 90}, {{INT_MIN, INT_MAX}, {80, 14}, {85, 60}, {18, 57}}),
            DRAVIX_CORNER_OUTSIDE);
  ExpectSame(region, before);
}

TEST(RegionManualSet, PlaceIsCheckedBeforeOrder) {
  RegionOI region;
  EXPECT_EQ(region.ManualSet({80, 90}, {{50, 0}, {0, 10}, {90, 12}, {50, 80}}),
            DRAVIX_CORNER_OUTSIDE);
}

TEST(RegionManualSet, FramesWithoutPixelsHoldNoCorner) {
  RegionOI region;
  for (const cv::Size frame : {cv::Size(0, 0), cv::Size(-5, 90), cv::Size(100, INT_MIN)}) {
    EXPECT_EQ(region.ManualSet(frame, kArea), DRAVIX_CORNER_OUTSIDE) << frame;
  }
}

TEST(RegionManualSet, SmallAreaAtTheFarEndOfAHugeFrameCostsLittle) {
  constexpr int kFar = INT_MAX - 1;
  RegionOI region;
  ASSERT_EQ(region.ManualSet(
                {INT_MAX, INT_MAX},
                {{kFar - 40, kFar - 400}, {kFar, kFar - 400}, {kFar, kFar}, {kFar - 40, kFar}}),
            DRAVIX_OK);
  EXPECT_EQ(region.rect, cv::Rect(kFar - 40, kFar - 400, 41, 401));
  EXPECT_EQ(cv::countNonZero(region.mask), 41 * 401);
}

TEST(RegionManualSet, AreaTooLargeForMemoryChangesNothing) {
  RegionOI region = FullRegion();
  const Snapshot before(region);
  constexpr int kFar = INT_MAX - 1;
  EXPECT_THROW(region.ManualSet({INT_MAX, INT_MAX}, {{0, 0}, {kFar, 0}, {kFar, kFar}, {0, kFar}}),
               cv::Exception);
  ExpectSame(region, before);
}

TEST(RegionManualSet, AreaLargerThanAnyCamerasChangesNothing) {
  RegionOI region = FullRegion();
  const Snapshot before(region);
  // 2^14 x 2^14 pixels are the most.
  EXPECT_THROW(region.ManualSet({20000, 20000}, {{0, 0}, {16384, 0}, {16384, 16383}, {0, 16383}}),
               cv::Exception);
  ExpectSame(region, before);
  EXPECT_EQ(region.ManualSet({20000, 20000}, {{0, 0}, {16383, 0}, {16383, 16383}, {0, 16383}}),
            DRAVIX_OK);
}

TEST(RegionManualSet, AreaOfOneLineIsAnArea) {
  RegionOI region;
  ASSERT_EQ(region.ManualSet({100, 90}, {{5, 5}, {5, 5}, {5, 9}, {5, 9}}), DRAVIX_OK);
  EXPECT_EQ(region.rect, cv::Rect(5, 5, 1, 5));
  EXPECT_EQ(cv::countNonZero(region.mask), 5);
}

}  // namespace

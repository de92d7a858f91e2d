#include <dravix/dravix.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "checkerboard/subject.h"
#include "support/log_capture.h"

namespace dravix::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kNoArea =
    "CheckerboardDetector::checkerboard--Error :: Cannot find led area.";
constexpr const char* kNoGrid =
    "CheckerboardDetector::checkerboard--Error :: Cannot find matched amount area.";

double WorstBound(const CheckerboardDetector& detector, const Subject& subject) {
  double worst = 0;
  for (std::size_t i = 0; i < detector.cells.size(); ++i) {
    const cv::Rect2d truth = subject.TrueCell(i);
    const cv::Rect& cell = detector.cells[i];
    for (const double e : {cell.x - truth.x, cell.y - truth.y, cell.br().x - truth.br().x,
                           cell.br().y - truth.br().y}) {
      worst = std::max(worst, std::abs(e));
    }
  }
  return worst;
}

// --- defaults and setters ---

TEST(CheckerboardDetector, StartsWithItsDefaults) {
  const CheckerboardDetector d;
  EXPECT_TRUE(d.mask.empty());
  EXPECT_TRUE(d.cells.empty());
  EXPECT_TRUE(d.transform.empty());
  EXPECT_EQ(d.imageSize, cv::Size(0, 0));
  EXPECT_EQ(d.gridColumns, 0);
  EXPECT_EQ(d.gridRows, 0);
  EXPECT_EQ(d.cellArea, 0);
  EXPECT_EQ(d.areaScale, 0.85);
  EXPECT_EQ(d.edgeLevelPercent, 50);
  EXPECT_EQ(d.kernelSize, 11);
  EXPECT_EQ(d.blurSigma, 10.0F);
  EXPECT_EQ(d.checkerboardShot, nullptr);
  EXPECT_EQ(d.shot, nullptr);
}

TEST(CheckerboardDetector, RemembersBothShots) {
  LogCapture log;
  const Shot board;
  const Shot measured;
  CheckerboardDetector d;
  EXPECT_EQ(d.SetImage(&board, &measured), DRAVIX_OK);
  EXPECT_EQ(d.checkerboardShot, &board);
  EXPECT_EQ(d.shot, &measured);
  EXPECT_THAT(log.Infos(), ElementsAre("CheckerboardDetector::SetImage"));
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(CheckerboardDetector, RefusesAMissingShotAndKeepsTheEarlierOnes) {
  const Shot a;
  const Shot b;
  CheckerboardDetector d;
  d.SetImage(&a, &b);
  LogCapture log;
  EXPECT_EQ(d.SetImage(nullptr, &a), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(d.SetImage(&b, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(d.checkerboardShot, &a);
  EXPECT_EQ(d.shot, &b);
  EXPECT_THAT(log.Errors(), ElementsAre("CheckerboardDetector::SetImage--Error :: input nullptr.",
                                        "CheckerboardDetector::SetImage--Error :: input nullptr."));
}

TEST(CheckerboardDetector, SetsTheAreaLimitsByTheExpectedCell) {
  LogCapture log;
  CheckerboardDetector d;
  EXPECT_EQ(d.SetParam({4, 3}, {1000, 600}, cv::Mat::eye(3, 3, CV_64FC1)), DRAVIX_OK);
  EXPECT_NEAR(d.cellArea, 36125, 1e-6);
  EXPECT_NEAR(d.maxCellArea, 81281.25, 1e-6);
  EXPECT_NEAR(d.minCellArea, 2709.375, 1e-6);
  EXPECT_NEAR(d.halfCellHeight, 85, 1e-9);
  EXPECT_EQ(d.mask.size(), cv::Size(1000, 600));
  EXPECT_EQ(d.mask.type(), CV_8UC1);
  EXPECT_EQ(cv::countNonZero(d.mask), 0);
  EXPECT_EQ(d.cells.size(), 12U);
  EXPECT_EQ(d.cellIndex.size(), 13U);
  EXPECT_EQ(d.gridColumns, 4);
  EXPECT_EQ(d.gridRows, 3);
  EXPECT_THAT(log.Infos(), ElementsAre("CheckerboardDetector::SetParam"));
}

TEST(CheckerboardDetector, CopiesTheTransform) {
  cv::Mat transform = cv::Mat::eye(3, 3, CV_64FC1);
  CheckerboardDetector d;
  d.SetParam({2, 2}, {10, 10}, transform);
  transform.at<double>(0, 0) = 5;
  EXPECT_EQ(d.transform.at<double>(0, 0), 1);
}

TEST(CheckerboardDetector, AnswersGridsAndSizesOfZeroOrLessWithACode) {
  const Subject subject(SmallScene());
  for (const cv::Size grid : {cv::Size(0, 0), cv::Size(-3, 4), cv::Size(4, -1), cv::Size(6, 0)}) {
    CheckerboardDetector d;
    d.SetImage(&subject.board, &subject.measured.shot);
    EXPECT_EQ(d.SetParam(grid, subject.working, subject.transform), DRAVIX_OK);
    EXPECT_TRUE(d.cells.empty());
    LogCapture log;
    EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_GRID);
    EXPECT_THAT(log.Errors(), ElementsAre(kNoGrid));
  }
  for (const cv::Size size : {cv::Size(0, 0), cv::Size(-5, 100), cv::Size(100, 0)}) {
    CheckerboardDetector d;
    d.SetImage(&subject.board, &subject.measured.shot);
    EXPECT_EQ(d.SetParam({6, 4}, size, subject.transform), DRAVIX_OK);
    EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_LED_AREA);
  }
}

TEST(CheckerboardDetector, AnswersMissingInputWithNoLedArea) {
  const Subject subject(SmallScene());
  CheckerboardDetector d;
  EXPECT_EQ(d.checkerboard(), DRAVIX_NO_LED_AREA);
  d.SetImage(&subject.board, &subject.measured.shot);
  EXPECT_EQ(d.checkerboard(), DRAVIX_NO_LED_AREA);
  d.SetParam({6, 4}, subject.working, cv::Mat());
  EXPECT_EQ(d.checkerboard(), DRAVIX_NO_LED_AREA);
  const Shot empty;
  d.SetParam({6, 4}, subject.working, subject.transform);
  d.SetImage(&empty, &subject.measured.shot);
  EXPECT_EQ(d.checkerboard(), DRAVIX_NO_LED_AREA);
}

// --- detection ---

TEST(CheckerboardDetector, FindsEveryBlockOfASmallScreen) {
  for (const bool firstLit : {true, false}) {
    sim::Scene scene = SmallScene();
    scene.checkerboard.firstLit = firstLit;
    const Subject subject(scene);
    CheckerboardDetector d = subject.Prepared();
    LogCapture log;
    ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
    EXPECT_LT(WorstBound(d, subject), 1.5);
    EXPECT_THAT(log.Errors(), IsEmpty());
    EXPECT_THAT(log.Infos(), ElementsAre("CheckerboardDetector::checkborderPrision",
                                         "CheckerboardDetector::checkerboard"));
  }
}

TEST(CheckerboardDetector, IndexesARectangleForEveryBlock) {
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkerboard(), DRAVIX_OK);
  ASSERT_EQ(d.cellIndex.size(), 25U);
  EXPECT_EQ(d.cellIndex.back(), -1);
  for (std::size_t i = 0; i < 24; ++i) {
    const auto at = static_cast<std::size_t>(d.cellIndex[i]);
    ASSERT_LT(at, d.contourRectangles.size());
    const cv::Rect2d truth = subject.TrueCell(i);
    const cv::Rect2d found = d.contourRectangles[at];
    EXPECT_GT((truth & found).area(), 0.8 * (truth | found).area()) << i;
  }
}

TEST(CheckerboardDetector, FillsTheMaskWithTheLitArea) {
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkerboard(), DRAVIX_OK);
  const cv::Rect2d whole = subject.TrueCell(0) | subject.TrueCell(23);
  EXPECT_NEAR(cv::countNonZero(d.mask) / whole.area(), 1, 0.02);
}

TEST(CheckerboardDetector, FindsNoLitAreaOnADarkCheckerboard) {
  Subject subject(SmallScene());
  subject.board.image.setTo(0);
  CheckerboardDetector d = subject.Prepared();
  LogCapture log;
  EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_LED_AREA);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoArea));
}

TEST(CheckerboardDetector, FindsNoLitAreaInADarkMeasuredShot) {
  Subject subject(SmallScene());
  subject.measured.shot.image.setTo(0);
  CheckerboardDetector d = subject.Prepared();
  LogCapture log;
  EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_LED_AREA);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoArea));
}

TEST(CheckerboardDetector, RefusesAGridThatTheScreenDoesNotHave) {
  const Subject subject(SmallScene());
  for (const cv::Size grid : {cv::Size(5, 4), cv::Size(7, 4), cv::Size(6, 3), cv::Size(6, 5),
                              cv::Size(4, 6), cv::Size(3, 2), cv::Size(12, 8), cv::Size(100, 80)}) {
    CheckerboardDetector d = subject.Prepared(grid);
    LogCapture log;
    EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_GRID) << grid;
    EXPECT_THAT(log.Errors(), ElementsAre(kNoGrid));
  }
}

TEST(CheckerboardDetector, RefusesAScreenWithoutPattern) {
  const Subject subject(SmallScene());
  CheckerboardDetector d;
  d.SetImage(&subject.measured.shot, &subject.measured.shot);
  d.SetParam({6, 4}, subject.working, subject.transform);
  EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_GRID);
}

TEST(CheckerboardDetector, RefusesAGridOfOneRowOrColumnThatIsNotThere) {
  const Subject subject(SmallScene());
  for (const cv::Size grid : {cv::Size(1, 1), cv::Size(1, 4), cv::Size(6, 1)}) {
    CheckerboardDetector d = subject.Prepared(grid);
    EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_GRID) << grid;
  }
}

TEST(CheckerboardDetector, FindsASingleRowOfBlocks) {
  sim::Scene scene = SmallScene();
  scene.screen.ledWidth = 80;
  scene.screen.ledHeight = 16;
  scene.checkerboard.block = 16;
  const Subject subject(scene);
  ASSERT_EQ(subject.measured.truth.grid, cv::Size(5, 1));
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  EXPECT_LT(WorstBound(d, subject), 2);
}

TEST(CheckerboardDetector, InfersADeadBlockWithItsNeighbors) {
  sim::Scene scene = SmallScene();
  scene.checkerboard.deadBlock = {2, 2};
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  EXPECT_LT(WorstBound(d, subject), 2.5);
  EXPECT_LT(d.inferredFrom, d.contourRectangles.size());
}

TEST(CheckerboardDetector, RefusesAScreenWithTooManyDeadBlocks) {
  Subject subject(SmallScene());
  const cv::Size size = subject.board.image.size();
  subject.board.image(cv::Rect(0, 0, size.width, size.height / 2)).setTo(16);
  CheckerboardDetector d = subject.Prepared();
  EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_GRID);
  EXPECT_FALSE(d.contourRectangles.empty());
}

TEST(CheckerboardDetector, FindsLitBlocksWhoseLevelsDifferByAFactorOfThree) {
  sim::Scene scene = SmallScene();
  scene.checkerboard.levelRatio = 3;
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  EXPECT_LT(WorstBound(d, subject), 2.5);
}

TEST(CheckerboardDetector, IgnoresAReflectionBesideTheScreen) {
  sim::Scene scene = SmallScene();
  scene.sensor.margin = 90;
  scene.reflection = {2.0, {40, 120}, 35};
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  EXPECT_LT(WorstBound(d, subject), 1.5);
}

TEST(CheckerboardDetector, TakesEightBitColorPicturesToo) {
  Subject subject(SmallScene());
  cv::Mat gray;
  subject.board.image.convertTo(gray, CV_8U, 255.0 / 4095);
  cv::merge(std::vector<cv::Mat>{gray, gray, gray}, subject.board.image);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  EXPECT_LT(WorstBound(d, subject), 2);
}

TEST(CheckerboardDetector, FindsTheSameCellsInASecondRun) {
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  const std::vector<cv::Rect> first = d.cells;
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  EXPECT_EQ(d.cells, first);
}

TEST(CheckerboardDetector, ForgetsTheRunBeforeWhenItFails) {
  Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  subject.board.image.setTo(0);
  EXPECT_EQ(d.checkborderPrision(), DRAVIX_NO_LED_AREA);
  EXPECT_TRUE(d.contourRectangles.empty());
  EXPECT_THAT(d.cellIndex, ::testing::Each(-1));
}

}  // namespace
}  // namespace dravix::test

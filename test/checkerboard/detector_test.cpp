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
  EXPECT_EQ(d.SetImage(&board, &measured), 0);
  EXPECT_EQ(d.checkerboardShot, &board);
  EXPECT_EQ(d.shot, &measured);
  EXPECT_THAT(log.Infos(), ElementsAre("CheckerboardDetector::SetImage"));
  EXPECT_THAT(log.Errors(), IsEmpty());
}

TEST(CheckerboardDetector, RefusesAMissingShotAndKeepsTheOldOnes) {
  const Shot a;
  const Shot b;
  CheckerboardDetector d;
  d.SetImage(&a, &b);
  LogCapture log;
  EXPECT_EQ(d.SetImage(nullptr, &a), 1);
  EXPECT_EQ(d.SetImage(&b, nullptr), 1);
  EXPECT_EQ(d.checkerboardShot, &a);
  EXPECT_EQ(d.shot, &b);
  EXPECT_THAT(log.Errors(), ElementsAre("CheckerboardDetector::SetImage--Error :: input nullptr.",
                                        "CheckerboardDetector::SetImage--Error :: input nullptr."));
}

TEST(CheckerboardDetector, ComputesTheFiltersOfFourByThreeOnAThousandBySixHundred) {
  LogCapture log;
  CheckerboardDetector d;
  EXPECT_EQ(d.SetParam({4, 3}, {1000, 600}, cv::Mat::eye(3, 3, CV_64FC1)), 0);
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

TEST(CheckerboardDetector, ParametersWithoutSenseEndInACode) {
  const Subject subject(SmallScene());
  for (const cv::Size grid : {cv::Size(0, 0), cv::Size(-3, 4), cv::Size(4, -1), cv::Size(6, 0)}) {
    CheckerboardDetector d;
    d.SetImage(&subject.board, &subject.measured.shot);
    EXPECT_EQ(d.SetParam(grid, subject.working, subject.transform), 0);
    EXPECT_TRUE(d.cells.empty());
    LogCapture log;
    EXPECT_EQ(d.checkborderPrision(), 300);
    EXPECT_THAT(log.Errors(), ElementsAre(kNoGrid));
  }
  for (const cv::Size size : {cv::Size(0, 0), cv::Size(-5, 100), cv::Size(100, 0)}) {
    CheckerboardDetector d;
    d.SetImage(&subject.board, &subject.measured.shot);
    EXPECT_EQ(d.SetParam({6, 4}, size, subject.transform), 0);
    EXPECT_EQ(d.checkborderPrision(), 200);
  }
}

TEST(CheckerboardDetector, MissingInputEndsInACode) {
  const Subject subject(SmallScene());
  CheckerboardDetector d;
  EXPECT_EQ(d.checkerboard(), 200);
  d.SetImage(&subject.board, &subject.measured.shot);
  EXPECT_EQ(d.checkerboard(), 200);
  d.SetParam({6, 4}, subject.working, cv::Mat());
  EXPECT_EQ(d.checkerboard(), 200);
  const Shot empty;
  d.SetParam({6, 4}, subject.working, subject.transform);
  d.SetImage(&empty, &subject.measured.shot);
  EXPECT_EQ(d.checkerboard(), 200);
}

// --- detection ---

TEST(CheckerboardDetector, FindsEveryBlockOfASmallScreen) {
  for (const bool firstLit : {true, false}) {
    sim::Scene scene = SmallScene();
    scene.checkerboard.firstLit = firstLit;
    const Subject subject(scene);
    CheckerboardDetector d = subject.Prepared();
    LogCapture log;
    ASSERT_EQ(d.checkborderPrision(), 0);
    EXPECT_LT(WorstBound(d, subject), 1.5);
    EXPECT_THAT(log.Errors(), IsEmpty());
    EXPECT_THAT(log.Infos(), ElementsAre("CheckerboardDetector::checkborderPrision",
                                         "CheckerboardDetector::checkerboard"));
  }
}

TEST(CheckerboardDetector, IndexesARectangleForEveryPlace) {
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkerboard(), 0);
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

TEST(CheckerboardDetector, FillsTheMaskWithTheLedArea) {
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkerboard(), 0);
  const cv::Rect2d whole = subject.TrueCell(0) | subject.TrueCell(23);
  EXPECT_NEAR(cv::countNonZero(d.mask) / whole.area(), 1, 0.02);
}

TEST(CheckerboardDetector, ADarkCheckerboardGivesNoArea) {
  Subject subject(SmallScene());
  subject.board.image.setTo(0);
  CheckerboardDetector d = subject.Prepared();
  LogCapture log;
  EXPECT_EQ(d.checkborderPrision(), 200);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoArea));
}

TEST(CheckerboardDetector, ADarkMeasuredShotGivesNoArea) {
  Subject subject(SmallScene());
  subject.measured.shot.image.setTo(0);
  CheckerboardDetector d = subject.Prepared();
  LogCapture log;
  EXPECT_EQ(d.checkborderPrision(), 200);
  EXPECT_THAT(log.Errors(), ElementsAre(kNoArea));
}

TEST(CheckerboardDetector, AnotherGridIsRefused) {
  const Subject subject(SmallScene());
  for (const cv::Size grid : {cv::Size(5, 4), cv::Size(7, 4), cv::Size(6, 3), cv::Size(6, 5),
                              cv::Size(4, 6), cv::Size(3, 2), cv::Size(12, 8), cv::Size(100, 80)}) {
    CheckerboardDetector d = subject.Prepared(grid);
    LogCapture log;
    EXPECT_EQ(d.checkborderPrision(), 300) << grid;
    EXPECT_THAT(log.Errors(), ElementsAre(kNoGrid));
  }
}

TEST(CheckerboardDetector, AScreenWithoutPatternIsRefused) {
  const Subject subject(SmallScene());
  CheckerboardDetector d;
  d.SetImage(&subject.measured.shot, &subject.measured.shot);
  d.SetParam({6, 4}, subject.working, subject.transform);
  EXPECT_EQ(d.checkborderPrision(), 300);
}

TEST(CheckerboardDetector, AGridOfOneAlongAnAxisEndsInACode) {
  const Subject subject(SmallScene());
  for (const cv::Size grid : {cv::Size(1, 1), cv::Size(1, 4), cv::Size(6, 1)}) {
    CheckerboardDetector d = subject.Prepared(grid);
    EXPECT_EQ(d.checkborderPrision(), 300) << grid;
  }
}

TEST(CheckerboardDetector, ASingleRowOfBlocksIsFoundWhereThereIsOne) {
  sim::Scene scene = SmallScene();
  scene.screen.ledWidth = 80;
  scene.screen.ledHeight = 16;
  scene.checkerboard.block = 16;
  const Subject subject(scene);
  ASSERT_EQ(subject.measured.truth.grid, cv::Size(5, 1));
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  EXPECT_LT(WorstBound(d, subject), 2);
}

TEST(CheckerboardDetector, ADeadBlockIsInferredWithItsNeighbours) {
  sim::Scene scene = SmallScene();
  scene.checkerboard.deadBlock = {2, 2};
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  EXPECT_LT(WorstBound(d, subject), 2.5);
  EXPECT_LT(d.inferredFrom, d.contourRectangles.size());
}

TEST(CheckerboardDetector, TooManyDeadBlocksAreRefused) {
  Subject subject(SmallScene());
  const cv::Size size = subject.board.image.size();
  subject.board.image(cv::Rect(0, 0, size.width, size.height / 2)).setTo(16);
  CheckerboardDetector d = subject.Prepared();
  EXPECT_EQ(d.checkborderPrision(), 300);
  EXPECT_FALSE(d.contourRectangles.empty());
}

TEST(CheckerboardDetector, LitLevelsThatDifferByThreeAreFound) {
  sim::Scene scene = SmallScene();
  scene.checkerboard.levelRatio = 3;
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  EXPECT_LT(WorstBound(d, subject), 2.5);
}

TEST(CheckerboardDetector, AReflectionBesideTheScreenDoesNotDisturb) {
  sim::Scene scene = SmallScene();
  scene.sensor.margin = 90;
  scene.reflection = {2.0, {40, 120}, 35};
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  EXPECT_LT(WorstBound(d, subject), 1.5);
}

TEST(CheckerboardDetector, EightBitAndColourPicturesAreTakenToo) {
  Subject subject(SmallScene());
  cv::Mat grey;
  subject.board.image.convertTo(grey, CV_8U, 255.0 / 4095);
  cv::merge(std::vector<cv::Mat>{grey, grey, grey}, subject.board.image);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  EXPECT_LT(WorstBound(d, subject), 2);
}

TEST(CheckerboardDetector, ASecondRunGivesTheSameCells) {
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  const std::vector<cv::Rect> first = d.cells;
  ASSERT_EQ(d.checkborderPrision(), 0);
  EXPECT_EQ(d.cells, first);
}

TEST(CheckerboardDetector, AFailedRunForgetsTheRunBefore) {
  Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), 0);
  subject.board.image.setTo(0);
  EXPECT_EQ(d.checkborderPrision(), 200);
  EXPECT_TRUE(d.contourRectangles.empty());
  EXPECT_THAT(d.cellIndex, ::testing::Each(-1));
}

}  // namespace
}  // namespace dravix::test

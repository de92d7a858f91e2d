#include <dravix/dravix.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "checkerboard/subject.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"

namespace dravix::test {
namespace {

using ::testing::ElementsAre;

int CountOf(const cv::Mat& picture, const cv::Scalar& color) {
  cv::Mat same;
  cv::inRange(picture, color, color, same);
  return cv::countNonZero(same);
}

TEST(ExportCheckerboardResult, WithoutACheckerboardShotIsRefused) {
  const TempDir dir;
  LogCapture log;
  EXPECT_EQ(CheckerboardDetector().ExportCheckerboardResult(dir.File("a.png")),
            DRAVIX_NULL_ARGUMENT);
  EXPECT_THAT(
      log.Errors(),
      ElementsAre(
          "CheckerboardDetector::ExportCheckerboardResult--Error :: checkboard_shot empty."));
  EXPECT_TRUE(cv::imread(dir.File("a.png")).empty());
}

TEST(ExportCheckerboardResult, OfAnEmptyCheckerboardShotIsRefused) {
  const TempDir dir;
  const Shot empty;
  CheckerboardDetector d;
  d.SetImage(&empty, &empty);
  EXPECT_EQ(d.ExportCheckerboardResult(dir.File("a.png")), DRAVIX_NULL_ARGUMENT);
}

TEST(ExportCheckerboardResult, PaintsCellsOverTheRectifiedPicture) {
  const TempDir dir;
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  ASSERT_EQ(d.ExportCheckerboardResult(dir.File("a.png")), DRAVIX_OK);
  const cv::Mat picture = cv::imread(dir.File("a.png"));
  ASSERT_FALSE(picture.empty());
  const int scale = picture.cols / subject.working.width;
  EXPECT_EQ(picture.size(), subject.working * scale);
  const cv::Rect& cell = d.cells[7];
  EXPECT_EQ(picture.at<cv::Vec3b>(scale * cell.y, scale * (cell.x + cell.width / 4)),
            cv::Vec3b(0, 220, 0));
}

TEST(ExportCheckerboardResult, MarksInferredBlocksAndRejectedContours) {
  const TempDir dir;
  sim::Scene scene = SmallScene();
  scene.checkerboard.deadBlock = {2, 2};
  const Subject subject(scene);
  CheckerboardDetector d = subject.Prepared();
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_OK);
  ASSERT_FALSE(d.rejected.empty());
  ASSERT_EQ(d.ExportCheckerboardResult(dir.File("a.png")), DRAVIX_OK);
  const cv::Mat picture = cv::imread(dir.File("a.png"));
  EXPECT_GT(CountOf(picture, {0, 220, 255}), 0);
  cv::Mat reddish;
  cv::inRange(picture, cv::Scalar(0, 0, 180), cv::Scalar(90, 90, 255), reddish);
  EXPECT_GT(cv::countNonZero(reddish), 20);
}

TEST(ExportCheckerboardResult, ShowsTheShotItselfBeforeAnyDetection) {
  const TempDir dir;
  const Subject subject(SmallScene());
  const CheckerboardDetector d = subject.Prepared();
  EXPECT_EQ(d.ExportCheckerboardResult(dir.File("a.png")), DRAVIX_OK);
  CheckerboardDetector bare;
  bare.SetImage(&subject.board, &subject.measured.shot);
  EXPECT_EQ(bare.ExportCheckerboardResult(dir.File("b.png")), DRAVIX_OK);
}

TEST(ExportCheckerboardResult, ShowsTheContoursThatAFailedDetectionFound) {
  const TempDir dir;
  const Subject subject(SmallScene());
  CheckerboardDetector d = subject.Prepared({7, 4});
  ASSERT_EQ(d.checkborderPrision(), DRAVIX_NO_GRID);
  ASSERT_EQ(d.ExportCheckerboardResult(dir.File("a.png")), DRAVIX_OK);
  EXPECT_GT(CountOf(cv::imread(dir.File("a.png")), {255, 160, 0}), 100);
}

TEST(ExportCheckerboardResult, SaysThatAPictureCannotBeWritten) {
  const TempDir dir;
  const Subject subject(SmallScene());
  const CheckerboardDetector d = subject.Prepared();
  EXPECT_EQ(d.ExportCheckerboardResult(dir.File("no/such/folder/a.png")), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(d.ExportCheckerboardResult(dir.File("a.unknown")), DRAVIX_CANNOT_WRITE);
}

}  // namespace
}  // namespace dravix::test

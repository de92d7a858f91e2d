#include <gtest/gtest.h>

#include "checkerboard/checkerboard.h"
#include "extractor/extractor.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

CheckerboardDetector DetectorWith(const reference::Cells& cells) {
  CheckerboardDetector detector;
  detector.mask = cells.mask;
  detector.cells = cells.rects;
  detector.gridColumns = cells.columns;
  detector.gridRows = cells.rows;
  return detector;
}

Dravix ExtractorFor(const CellScene& scene) {
  Dravix dravix;
  dravix.ledWidth = scene.panel.ledWidth;
  dravix.ledHeight = scene.panel.ledHeight;
  dravix.singleAreaSize = scene.cells.side;
  dravix.lastColumnAreaWidth = scene.cells.lastWidth;
  dravix.lastRowAreaHeight = scene.cells.lastHeight;
  return dravix;
}

/// A grid of 30-pixel cells of 6 x 6 LEDs on a uniform image, all of it under the mask.
CellScene UniformScene(int columns, int rows) {
  CellScene scene;
  scene.cells = {
      cv::Mat(rows * 30, columns * 30, CV_8UC1, cv::Scalar(255)), {}, columns, rows, 6, 6, 6};
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) scene.cells.rects.emplace_back(30 * c, 30 * r, 30, 30);
  }
  scene.image = cv::Mat(rows * 30, columns * 30, CV_16UC1, cv::Scalar(500));
  scene.panel = {6 * columns, 6 * rows, -1, {}};
  return scene;
}

class LuminanceOfRandomCells : public testing::TestWithParam<int> {};

// Ten scenes a case: 200 in all.
TEST_P(LuminanceOfRandomCells, EqualsThePlainTranscriptionBitForBit) {
  for (int i = 0; i < 10; ++i) {
    const CellScene scene = MakeCellScene(static_cast<std::uint64_t>(GetParam() * 10 + i));
    const std::optional<cv::Mat> expected =
        reference::CellLuminance(scene.image, scene.cells, scene.panel);
    Dravix dravix = ExtractorFor(scene);
    const std::int32_t code = dravix.CalLum(scene.image, DetectorWith(scene.cells));
    ASSERT_EQ(code, expected ? DRAVIX_OK : DRAVIX_BAD_ARGUMENT) << "scene " << GetParam() * 10 + i;
    if (expected) {
      EXPECT_TRUE(SameBytes(dravix.lum, *expected)) << "scene " << GetParam() * 10 + i;
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, LuminanceOfRandomCells, testing::Range(0, 20));

TEST(CellLuminance, RandomCellsAreMostlyMeasurable) {
  int measured = 0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const CellScene scene = MakeCellScene(seed);
    if (reference::CellLuminance(scene.image, scene.cells, scene.panel)) ++measured;
  }
  EXPECT_GT(measured, 45);
}

TEST(CellLuminance, SingleCellConsultsTheMask) {
  CellScene scene = UniformScene(1, 1);
  scene.image.rowRange(0, 10) = 0;
  scene.cells.mask.rowRange(0, 10) = 0;
  Dravix dravix = ExtractorFor(scene);
  ASSERT_EQ(dravix.CalLum(scene.image, DetectorWith(scene.cells)), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(dravix.lum, cv::Mat(6, 6, CV_32FC1, cv::Scalar(500))));
}

TEST(CellLuminance, InnerCellAveragesDarkRowsInAndNeedsNoMask) {
  CellScene scene = UniformScene(3, 3);
  scene.image(cv::Rect(30, 30, 30, 5)) = 0;
  scene.cells.mask(cv::Rect(30, 30, 30, 30)) = 0;
  Dravix dravix = ExtractorFor(scene);
  ASSERT_EQ(dravix.CalLum(scene.image, DetectorWith(scene.cells)), DRAVIX_OK);
  EXPECT_EQ(dravix.lum(6, 8), 0.0F);
  EXPECT_EQ(dravix.lum(7, 8), 500.0F);
}

TEST(CellLuminance, NarrowLastColumnLiesFlushRight) {
  CellScene scene = UniformScene(3, 2);
  scene.cells.lastWidth = 4;
  scene.panel.ledWidth = 16;
  scene.image.colRange(60, 90) = 900;
  Dravix dravix = ExtractorFor(scene);
  ASSERT_EQ(dravix.CalLum(scene.image, DetectorWith(scene.cells)), DRAVIX_OK);
  EXPECT_EQ(dravix.lum.cols, 16);
  EXPECT_FLOAT_EQ(dravix.lum(5, 11), 500.0F);
  EXPECT_FLOAT_EQ(dravix.lum(5, 12), 900.0F);
  EXPECT_FLOAT_EQ(dravix.lum(5, 15), 900.0F);
}

TEST(CellLuminance, EdgesAreReplacedTwoDeep) {
  const CellScene uniform = UniformScene(2, 2);
  const cv::Mat image = RandomMat(uniform.image.size(), CV_16UC1, 9, 0, 4095);
  Dravix dravix = ExtractorFor(uniform);
  ASSERT_EQ(dravix.CalLum(image, DetectorWith(uniform.cells)), DRAVIX_OK);
  EXPECT_EQ(dravix.lum(0, 0), dravix.lum(2, 2));
  EXPECT_EQ(dravix.lum(1, 11), dravix.lum(2, 9));
  EXPECT_EQ(dravix.lum(11, 0), dravix.lum(9, 2));
  EXPECT_NE(dravix.lum(2, 2), dravix.lum(3, 3));
  EXPECT_TRUE(SameBytes(dravix.resultImage, cv::Mat(12, 12, CV_8UC1, cv::Scalar(2))));
}

TEST(CellLuminance, BorderColumnWithoutMaskIsRefusedWithLumPartlyWritten) {
  CellScene scene = UniformScene(2, 2);
  scene.cells.mask(cv::Rect(40, 30, 1, 30)) = 0;  // in the last cell
  Dravix dravix = ExtractorFor(scene);
  const LogCapture log;
  EXPECT_EQ(dravix.CalLum(scene.image, DetectorWith(scene.cells)), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(log.Errors(),
            std::vector<std::string>{"Dravix::CalLum--Error ::  height is error !!."});
  EXPECT_EQ(dravix.lum(0, 0), 500.0F);
  EXPECT_EQ(dravix.lum(11, 11), 0.0F);
  EXPECT_TRUE(dravix.resultImage.empty());
}

TEST(CellLuminance, MatrixThatSomeoneElseHoldsIsNotWrittenInto) {
  const CellScene scene = UniformScene(2, 2);
  Dravix dravix = ExtractorFor(scene);
  dravix.lum = cv::Mat(12, 12, CV_32FC1, cv::Scalar(7));
  const cv::Mat held = dravix.lum;
  ASSERT_EQ(dravix.CalLum(scene.image, DetectorWith(scene.cells)), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(held, cv::Mat(12, 12, CV_32FC1, cv::Scalar(7))));
}

TEST(CellLuminance, CellOutsideTheImageThrows) {
  CellScene scene = UniformScene(2, 2);
  scene.cells.rects[3].x += 1;
  Dravix dravix = ExtractorFor(scene);
  EXPECT_THROW(dravix.CalLum(scene.image, DetectorWith(scene.cells)), cv::Exception);
}

TEST(CellLuminance, InnerCellOfNegativeWidthThrows) {
  CellScene scene = UniformScene(3, 3);
  scene.cells.rects[4].width = -1;
  Dravix dravix = ExtractorFor(scene);
  EXPECT_THROW(dravix.CalLum(scene.image, DetectorWith(scene.cells)), cv::Exception);
}

TEST(CellLuminance, BlocksThatLeaveTheMatrixThrow) {
  const CellScene scene = UniformScene(2, 2);
  Dravix dravix = ExtractorFor(scene);
  dravix.ledWidth = 11;
  EXPECT_THROW(dravix.CalLum(scene.image, DetectorWith(scene.cells)), cv::Exception);
}

}  // namespace
}  // namespace dravix::test

#include <dravix/region.h>
#include <gtest/gtest.h>

#include "checkerboard/checkerboard.h"
#include "checkerboard/geometry/lit_area_share.h"
#include "extractor/extractor.h"
#include "reference/plain_transcription.h"
#include "sim/catalogue.h"
#include "sim/render.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

class SimulatedScreen : public testing::TestWithParam<int> {};

// Ten screens a case: 40 in all, as a 12-bit camera sees them.
TEST_P(SimulatedScreen, EqualsThePlainTranscriptionBitForBit) {
  const std::vector<sim::Scene> scenes = sim::LuminanceScenes();
  ASSERT_EQ(scenes.size(), 40U);
  for (std::size_t i = 0; i < 10; ++i) {
    const sim::Scene& scene = scenes[static_cast<std::size_t>(GetParam()) * 10 + i];
    const sim::Photograph photo = sim::Render(scene);
    const reference::Panel panel{scene.screen.ledWidth, scene.screen.ledHeight, -1, {}};
    const std::optional<cv::Mat> expected = reference::Extract(
        photo.shot.image, photo.truth.cornerPixels, photo.shot.device->cam_type, panel);
    Dravix dravix;
    ASSERT_EQ(dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0), DRAVIX_OK)
        << scene.name;
    ASSERT_TRUE(expected.has_value()) << scene.name;
    EXPECT_TRUE(SameBytes(dravix.lum, *expected)) << scene.name;
  }
}
INSTANTIATE_TEST_SUITE_P(Tens, SimulatedScreen, testing::Range(0, 4));

TEST(SimulatedCheckerboards, EqualThePlainTranscriptionBitForBit) {
  for (const sim::Scene& scene : sim::PlainScenes(6)) {
    const sim::Photograph photo = sim::Render(scene);
    const Shot board = sim::RenderCheckerboard(scene);
    const cv::Size grid = photo.truth.grid;
    const cv::Size last = sim::LastBlockOf(scene);
    RegionOI region;
    ASSERT_EQ(region.ManualSet(photo.shot.image.size(), photo.truth.cornerPixels), DRAVIX_OK);

    Dravix dravix;
    ASSERT_EQ(dravix.ExtractPro(&photo.shot, &board, {grid.width, grid.height}, region, last.width,
                                last.height),
              DRAVIX_OK)
        << scene.name;

    std::vector<cv::Point> corners;
    ASSERT_EQ(region.GetPrecision4Corner(corners), DRAVIX_OK);
    const cv::Mat working = reference::Rectified(photo.shot.image, corners);
    CheckerboardDetector detector;
    ASSERT_EQ(detector.SetImage(&board, &photo.shot), DRAVIX_OK);
    ASSERT_EQ(detector.SetParam(grid, working.size(),
                                reference::WorkingFromPhoto(corners, photo.shot.image.size())),
              DRAVIX_OK);
    ASSERT_EQ(detector.checkborderPrision(), DRAVIX_OK);
    const reference::Cells cells{detector.mask, detector.cells,           grid.width,
                                 grid.height,   scene.checkerboard.block, last.width,
                                 last.height};
    const std::optional<cv::Mat> expected = reference::CellLuminance(
        working, cells, {scene.screen.ledWidth, scene.screen.ledHeight, -1, {}});
    ASSERT_TRUE(expected.has_value()) << scene.name;
    EXPECT_TRUE(SameBytes(dravix.lum, *expected)) << scene.name;
    EXPECT_TRUE(SameBytes(dravix.resultImage, cv::Mat(expected->size(), CV_8UC1, cv::Scalar(2))));
  }
}

class OtherLitAreaShare : public testing::TestWithParam<double> {};

// With another share than the detector expects, its blocks are not found or the outer ones are cut.
TEST_P(OtherLitAreaShare, IsMeasuredAsTheUsualOne) {
  for (const sim::Scene& scene : sim::PlainScenes(2)) {
    const sim::Photograph photo = sim::Render(scene);
    const Shot board = sim::RenderCheckerboard(scene);
    const cv::Size grid = photo.truth.grid;
    const cv::Size last = sim::LastBlockOf(scene);
    RegionOI region;
    ASSERT_EQ(region.ManualSet(photo.shot.image.size(), photo.truth.cornerPixels), DRAVIX_OK);
    const auto measured = [&](double roiScale) {
      Dravix dravix;
      dravix.roiScale = roiScale;
      EXPECT_EQ(dravix.ExtractPro(&photo.shot, &board, {grid.width, grid.height}, region,
                                  last.width, last.height),
                DRAVIX_OK)
          << scene.name << " at " << roiScale;
      return dravix.lum;
    };
    const cv::Mat usual = measured(checkerboard::kLitAreaShare);
    const cv::Mat other = measured(GetParam());
    ASSERT_EQ(other.size(), usual.size());
    EXPECT_LT(cv::norm(other, usual) / cv::norm(usual), 0.01) << scene.name;
  }
}
INSTANTIATE_TEST_SUITE_P(Shares, OtherLitAreaShare, testing::Values(0.6, 0.95));

TEST(LitAreaShare, IsOneValueForExtractorAndDetector) {
  EXPECT_EQ(Dravix().roiScale, checkerboard::kLitAreaShare);
  EXPECT_EQ(CheckerboardDetector().areaScale, checkerboard::kLitAreaShare);
}

TEST(SimulatedScreens, EvenScreenIsMeasuredEven) {
  sim::Scene scene;
  scene.name = "even";
  const sim::Photograph photo = sim::Render(scene);
  Dravix dravix;
  ASSERT_EQ(dravix.Extract(&photo.shot, photo.truth.cornerPixels, 0, 0, 0), DRAVIX_OK);
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(dravix.lum, mean, deviation);
  EXPECT_NEAR(mean[0], photo.truth.blackLevel + photo.truth.samplesPerLuminance,
              0.03 * photo.truth.samplesPerLuminance);
  EXPECT_LT(deviation[0] / mean[0], 0.006);
}

}  // namespace
}  // namespace dravix::test

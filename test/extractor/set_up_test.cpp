#include <gtest/gtest.h>

#include <ostream>

#include "extractor/extractor.h"
#include "extractor/scenes.h"
#include "support/log_capture.h"

namespace dravix::test {
namespace {

constexpr const char* kHorizontal =
    "Dravix::SetsingleAreaSize--Error ::  checkerboard size wrong or illegal !!.";
constexpr const char* kVertical =
    "Dravix::SetsingleAreaSize--Error ::  checkboarder size wrong or illegal !!.";

TEST(FreshExtractor, HasItsDefaults) {
  const Dravix dravix;
  EXPECT_TRUE(dravix.Empty());
  EXPECT_TRUE(dravix.resultImage.empty());
  EXPECT_EQ(dravix.lum.type(), CV_32FC1);
  EXPECT_EQ(dravix.shot, nullptr);
  EXPECT_EQ(dravix.blurKernelSize, 11);
  EXPECT_EQ(dravix.blurSigma, 10.0F);
  EXPECT_EQ(dravix.singleAreaSize, -1);
  EXPECT_EQ(dravix.lastRowAreaHeight, -1);
  EXPECT_EQ(dravix.lastColumnAreaWidth, -1);
  EXPECT_EQ(dravix.reservedBlockValue, -1);
  EXPECT_EQ(dravix.roiScale, 0.85);
  EXPECT_EQ(dravix.warpScale, 1.3);
  EXPECT_EQ(dravix.ledWidth, 0);
  EXPECT_EQ(dravix.ledHeight, 0);
  EXPECT_EQ(dravix.rowGroup, -1);
  EXPECT_TRUE(dravix.rowLedNums.empty());
}

TEST(SetImage, TakesTheLitLedCountsOfThePattern) {
  const Shot shot = MakeShot(cv::Mat(4, 4, CV_16UC1, cv::Scalar(1)), 64, 32, 12);
  Dravix dravix;
  const LogCapture log;
  EXPECT_EQ(dravix.SetImage(&shot), DRAVIX_OK);
  EXPECT_EQ(log.Infos(), std::vector<std::string>{"Dravix::SetImage"});
  EXPECT_EQ(dravix.shot, &shot);
  EXPECT_EQ(dravix.ledWidth, 64);
  EXPECT_EQ(dravix.ledHeight, 32);
}

TEST(SetImage, WithoutAPatternThereAreNoLeds) {
  Shot shot = MakeShot(cv::Mat(4, 4, CV_16UC1, cv::Scalar(1)), 64, 32, 12);
  shot.pattern.reset();
  Dravix dravix;
  dravix.ledWidth = 7;
  EXPECT_EQ(dravix.SetImage(&shot), DRAVIX_OK);
  EXPECT_EQ(dravix.ledWidth, 0);
  EXPECT_EQ(dravix.ledHeight, 0);
}

TEST(SetImage, RefusedShotChangesNothing) {
  const Shot good = MakeShot(cv::Mat(4, 4, CV_16UC1, cv::Scalar(1)), 64, 32, 12);
  const Shot empty;
  Dravix dravix;
  ASSERT_EQ(dravix.SetImage(&good), DRAVIX_OK);
  EXPECT_EQ(dravix.SetImage(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(dravix.SetImage(&empty), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(dravix.shot, &good);
  EXPECT_EQ(dravix.ledWidth, 64);
}

struct Fit {
  int ledWidth, ledHeight, across, down, lastWidth, lastHeight;
  int code, side, lastColumn, lastRow;
};
// Names of tests show it.
void PrintTo(const Fit& fit, std::ostream* out) {
  *out << fit.ledWidth << " x " << fit.ledHeight << " LEDs in " << fit.across << " x " << fit.down
       << " blocks, last " << fit.lastWidth << " x " << fit.lastHeight;
}

class BlockFit : public testing::TestWithParam<Fit> {};

TEST_P(BlockFit, GivesSideAndLastBlocks) {
  const Fit fit = GetParam();
  Dravix dravix;
  dravix.ledWidth = fit.ledWidth;
  dravix.ledHeight = fit.ledHeight;
  const LogCapture log;
  EXPECT_EQ(dravix.SetsingleAreaSize(fit.across, fit.down, fit.lastWidth, fit.lastHeight),
            fit.code);
  EXPECT_EQ(dravix.singleAreaSize, fit.side);
  EXPECT_EQ(dravix.lastColumnAreaWidth, fit.lastColumn);
  EXPECT_EQ(dravix.lastRowAreaHeight, fit.lastRow);
  EXPECT_EQ(log.Errors().size(), fit.code == DRAVIX_OK ? 0U : 1U);
}
INSTANTIATE_TEST_SUITE_P(
    Fitting, BlockFit,
    testing::Values(Fit{120, 90, 4, 3, -1, -1, DRAVIX_OK, 30, 30, 30},   // all alike
                    Fit{120, 120, 4, 4, 21, 21, DRAVIX_OK, 33, 21, 21},  // narrower last ones
                    Fit{64, 64, 4, 4, -1, -1, DRAVIX_OK, 16, 16, 16},
                    Fit{64, 40, 4, 3, -1, 8, DRAVIX_OK, 16, 16, 8},  //
                    Fit{48, 32, 1, 2, -1, -1, DRAVIX_BAD_BLOCKS, 48, 48, 48}));
INSTANTIATE_TEST_SUITE_P(Horizontal, BlockFit,
                         testing::Values(Fit{100, 60, 3, 2, -1, -1, DRAVIX_BAD_BLOCKS, -1, -1,
                                             -1},  // a remainder
                                         Fit{120, 60, 4, 2, 20, -1, DRAVIX_BAD_BLOCKS, -1, 20, -1},
                                         Fit{120, 60, 0, 2, -1, -1, DRAVIX_BAD_BLOCKS, -1, -1,
                                             -1},  // would divide by zero
                                         Fit{120, 60, 1, 2, 30, -1, DRAVIX_BAD_BLOCKS, -1, 30, -1},
                                         Fit{120, 60, -7, 2, -1, -1, DRAVIX_BAD_BLOCKS, -1, -1,
                                             -1}));  // 120 / -7 leaves 1
INSTANTIATE_TEST_SUITE_P(
    NegativeCountsAreDividedLikeOthers, BlockFit,
    testing::Values(Fit{120, 60, -4, -2, -1, -1, DRAVIX_OK, -30, -30, -30},         // 90 / -3 = -30
                    Fit{120, 60, -4, 2, -1, -1, DRAVIX_BAD_BLOCKS, -30, -30, -30},  // 90 / 1 = 90
                    Fit{120, 10, -4, 3, 20, 50, DRAVIX_OK, -20, 20, 50},  // 100 / -5 = -40 / 2
                    Fit{64, 64, 4, -3, -1, -1, DRAVIX_BAD_BLOCKS, 16, 16, 16}));  // 48 / -4 = -12
INSTANTIATE_TEST_SUITE_P(Vertical, BlockFit,
                         testing::Values(Fit{64, 64, 4, 5, -1, -1, DRAVIX_BAD_BLOCKS, 16, 16,
                                             16},  // 12 is not 16; fields stay set
                                         Fit{64, 65, 4, 4, -1, -1, DRAVIX_BAD_BLOCKS, 16, 16,
                                             16},  // a remainder
                                         Fit{64, 64, 4, 1, -1, -1, DRAVIX_BAD_BLOCKS, 16, 16,
                                             16}));  // would divide by zero

TEST(BlockFit, HorizontalAndVerticalHaveTextsOfTheirOwn) {
  Dravix dravix;
  dravix.ledWidth = 100;
  dravix.ledHeight = 60;
  LogCapture log;
  dravix.SetsingleAreaSize(3, 2, -1, -1);
  dravix.SetsingleAreaSize(5, 2, -1, -1);
  EXPECT_EQ(log.Errors(), (std::vector<std::string>{kHorizontal, kVertical}));
}

TEST(BlockFit, ExtremeValuesDoNotOverflow) {
  constexpr int kLeast = std::numeric_limits<int>::min();
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const int a : {kLeast, -1, 0, 1, 2, kMost}) {
    for (const int b : {kLeast, -1, 0, 1, 2, kMost}) {
      Dravix dravix;
      dravix.ledWidth = kMost;
      dravix.ledHeight = kMost;
      const std::int32_t code = dravix.SetsingleAreaSize(a, b, b, a);
      EXPECT_TRUE(code == DRAVIX_OK || code == DRAVIX_BAD_BLOCKS);
    }
  }
}

TEST(TargetRectangle, IsTheCenteredPartOfTheWorkingImage) {
  const auto corners = Dravix().TargetRectangle({1300, 1040});
  EXPECT_EQ(corners[0], cv::Point2f(97.5F, 78));
  EXPECT_EQ(corners[1], cv::Point2f(1202.5F, 78));
  EXPECT_EQ(corners[2], cv::Point2f(1202.5F, 962));
  EXPECT_EQ(corners[3], cv::Point2f(97.5F, 962));
}

TEST(TargetRectangle, HalvesAreTruncated) {
  const auto corners = Dravix().TargetRectangle({11, 21});
  EXPECT_EQ(corners[0], cv::Point2f(static_cast<float>(5 - 11 * 0.85 / 2),
                                    static_cast<float>(10 - 21 * 0.85 / 2)));
}

TEST(Release, EmptiesBothMatricesAndKeepsTheRest) {
  Dravix dravix;
  dravix.lum = cv::Mat_<float>(2, 2, 1.0F);
  dravix.resultImage = cv::Mat(2, 2, CV_8UC1);
  dravix.ledWidth = 2;
  EXPECT_FALSE(dravix.Empty());
  dravix.Release();
  EXPECT_TRUE(dravix.Empty());
  EXPECT_TRUE(dravix.resultImage.empty());
  EXPECT_EQ(dravix.lum.type(), CV_32FC1);
  EXPECT_EQ(dravix.ledWidth, 2);
}

}  // namespace
}  // namespace dravix::test

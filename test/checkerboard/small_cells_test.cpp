// Blocks of a few pixels, and blocks that are much wider than high or the other way around: kernel
// and limits follow the shorter side.
#include <dravix/dravix.h>
#include <dravix/shot.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>
#include <tuple>

#include "checkerboard/cell_search.h"
#include "checkerboard/checkerboard.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

using ::testing::UnorderedElementsAreArray;

/// Blocks of any shape in black and white, the first one lit.
struct Blocks {
  explicit Blocks(cv::Size block) {
    const cv::Size size(5 * block.width + 40, 4 * block.height + 40);
    lit = cv::Mat::zeros(size, CV_8UC1);
    mask = cv::Mat::zeros(size, CV_8UC1);
    mask(cv::Rect(20, 20, 5 * block.width, 4 * block.height)) = 255;
    for (int r = 0; r < 4; ++r) {
      for (int c = 0; c < 5; ++c) {
        const cv::Rect at({20 + c * block.width, 20 + r * block.height}, block);
        ((r + c) % 2 == 0 ? litBlocks : darkBlocks).push_back(at);
        if ((r + c) % 2 == 0) lit(at) = 255;
      }
    }
  }
  cv::Mat lit, mask;
  std::vector<cv::Rect> litBlocks, darkBlocks;
};

FoundBlocks FirstSearch(const Blocks& blocks, const SearchParams& params) {
  CellSearch search(kernels::BitsOf(blocks.lit), kernels::BitsOf(blocks.mask), params);
  return search.Next();
}

TEST(SmallCells, OfEveryShapeAreFoundWithTheSmallestKernelThatPartsThem) {
  for (const cv::Size& shape :
       {cv::Size(8, 8), cv::Size(8, 40), cv::Size(40, 8), cv::Size(13, 9)}) {
    const Blocks blocks(shape);
    CellSearch search(kernels::BitsOf(blocks.lit), kernels::BitsOf(blocks.mask), {3, 1, 1e6});
    // The third search grows them back until they touch at their corners.
    for (int i = 0; i < 2; ++i) {
      const FoundBlocks found = search.Next();
      EXPECT_THAT(found.dark, UnorderedElementsAreArray(blocks.darkBlocks)) << shape << i;
      EXPECT_EQ(found.lit.size(), blocks.litBlocks.size()) << shape << i;
    }
  }
}

TEST(SmallCells, NarrowerThanTwiceTheKernelAreLost) {
  EXPECT_EQ(FirstSearch(Blocks({9, 30}), {5, 1, 1e6}).dark.size(), 10U);
  EXPECT_EQ(FirstSearch(Blocks({8, 30}), {5, 1, 1e6}).dark.size(), 0U);
  EXPECT_EQ(FirstSearch(Blocks({30, 13}), {7, 1, 1e6}).dark.size(), 10U);
  EXPECT_EQ(FirstSearch(Blocks({30, 12}), {7, 1, 1e6}).dark.size(), 0U);
}

TEST(SmallCells, LimitsOfTheAreaAreThemselvesAllowed) {
  const Blocks blocks({20, 30});  // eroded by 2 pixels on each side: 16 x 26 = 416
  EXPECT_EQ(FirstSearch(blocks, {3, 600, 1e6}).dark.size(), 10U);
  const FoundBlocks small = FirstSearch(blocks, {3, 601, 1e6});
  EXPECT_EQ(small.dark.size(), 0U);
  EXPECT_EQ(small.rejected.back().reason, std::string("too small"));
  EXPECT_EQ(small.rejected.back().rect.size(), cv::Size(20, 30));
  EXPECT_EQ(FirstSearch(blocks, {3, 1, 416}).dark.size(), 10U);
  const FoundBlocks large = FirstSearch(blocks, {3, 1, 415});
  EXPECT_EQ(large.dark.size(), 0U);
  EXPECT_EQ(large.rejected.back().reason, std::string("too large"));
  EXPECT_EQ(large.rejected.back().rect.size(), cv::Size(20, 30));
}

TEST(SmallCells, OutlineMustFillSixTenthsOfItsRectangle) {
  // An L of two arms, in the middle of a mask.
  const auto isBlock = [](int arm) {
    Blocks blocks({60, 60});
    blocks.lit.setTo(0);
    blocks.lit(cv::Rect(100, 100, 50, 50)) = 255;
    blocks.lit(cv::Rect(100 + arm, 100 + arm, 50 - arm, 50 - arm)) = 0;
    return !FirstSearch(blocks, {3, 1, 3000}).lit.empty();
  };
  // Eroded by 2 pixels on each side, an arm of n pixels keeps n - 4 of 46: 1 - (42 / 46)^2 and on.
  EXPECT_FALSE(isBlock(20));  // 1 - (30 / 46)^2 = 0.57
  EXPECT_TRUE(isBlock(22));   // 1 - (28 / 46)^2 = 0.63
}

// --- the whole detector ---

/// A board of single LEDs, straight in front of the camera, and the same screen with all of them
/// lit. `cell` and `pitch` in pixels; LEDs are squares of half the pitch.
struct LedBoard {
  LedBoard(cv::Size gridSize, cv::Size block, int pitch) : grid(gridSize), cell(block) {
    const cv::Size area(grid.width * cell.width, grid.height * cell.height);
    // The screen takes 0.85 of the picture's sides.
    const cv::Size picture(cvRound(area.width / 0.85), cvRound(area.height / 0.85));
    first = cv::Point((picture.width - area.width) / 2, (picture.height - area.height) / 2);
    for (Shot* shot : {&board, &measured}) {
      shot->type = CIE_Y;
      shot->image = cv::Mat::zeros(picture, CV_16UC1);
    }
    for (int y = 0; y < area.height; y += pitch) {
      for (int x = 0; x < area.width; x += pitch) {
        const cv::Rect led(first.x + x + pitch / 4, first.y + y + pitch / 4, (pitch + 1) / 2,
                           (pitch + 1) / 2);
        measured.image(led) = 9000;
        if ((x / cell.width + y / cell.height) % 2 == 0) board.image(led) = 9000;
      }
    }
  }
  CheckerboardDetector Prepared() const {
    CheckerboardDetector detector;
    detector.blurSigma = 1.0F;  // so little that the LEDs stay apart
    detector.SetImage(&board, &measured);
    detector.SetParam(grid, board.image.size(), cv::Mat::eye(3, 3, CV_64FC1));
    return detector;
  }
  cv::Rect Cell(int c, int r) const {
    return {first.x + c * cell.width, first.y + r * cell.height, cell.width, cell.height};
  }

  cv::Size grid, cell;
  cv::Point first;
  Shot board, measured;
};

class LedBoards : public testing::TestWithParam<std::tuple<cv::Size, cv::Size, int>> {};

TEST_P(LedBoards, AreFoundBlockByBlock) {
  const auto& [grid, cell, pitch] = GetParam();
  const LedBoard board(grid, cell, pitch);
  CheckerboardDetector detector = board.Prepared();
  ASSERT_EQ(detector.checkborderPrision(), DRAVIX_OK);
  EXPECT_EQ(detector.inferredFrom, detector.contourRectangles.size()) << "none is inferred";
  for (int r = 0; r < grid.height; ++r) {
    for (int c = 0; c < grid.width; ++c) {
      const cv::Rect& is = detector.cells.at(static_cast<std::size_t>(r * grid.width + c));
      const cv::Rect real = board.Cell(c, r);
      const int most = std::max(1, pitch / 3);
      SCOPED_TRACE(cv::format("block %d, %d", c, r));
      EXPECT_NEAR(is.x, real.x, most);
      EXPECT_NEAR(is.y, real.y, most);
      EXPECT_NEAR(is.br().x, real.br().x, most);
      EXPECT_NEAR(is.br().y, real.br().y, most);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, LedBoards,
                         testing::Values(std::tuple(cv::Size(8, 6), cv::Size(20, 20), 4),
                                         std::tuple(cv::Size(6, 10), cv::Size(64, 24), 4),
                                         std::tuple(cv::Size(10, 6), cv::Size(24, 64), 4),
                                         std::tuple(cv::Size(12, 16), cv::Size(96, 16), 4),
                                         std::tuple(cv::Size(3, 16), cv::Size(80, 16), 4),
                                         std::tuple(cv::Size(16, 12), cv::Size(16, 96), 4),
                                         std::tuple(cv::Size(6, 5), cv::Size(64, 64), 8),
                                         std::tuple(cv::Size(5, 4), cv::Size(96, 72), 8)));

/// Whether the mask is closed where one LED of its left side is dead. LEDs are 2 pixels wide and 4
/// apart, so that the gap between the neighbors of a dead one has 6 pixels.
bool GapOfADeadLedIsClosed(cv::Size grid, cv::Size cell) {
  LedBoard board(grid, cell, 4);
  const cv::Rect dead(board.first.x, board.first.y + 40, 12, 4);
  board.measured.image(dead) = 0;
  board.board.image(dead) = 0;
  CheckerboardDetector detector = board.Prepared();
  EXPECT_EQ(detector.checkerboard(), DRAVIX_OK);
  return detector.mask.at<uchar>(dead.tl() + cv::Point(4, 2)) != 0;
}

TEST(SmallCells, KernelThatClosesGapsFollowsTheShorterSideOfTheBlocks) {
  // 0.15 of the side, but at least 3 pixels: 3 leave the gap open, and 9 close it.
  EXPECT_FALSE(GapOfADeadLedIsClosed({8, 6}, {20, 20}));
  EXPECT_FALSE(GapOfADeadLedIsClosed({6, 10}, {64, 24}));
  EXPECT_FALSE(GapOfADeadLedIsClosed({10, 6}, {24, 64}));
  EXPECT_TRUE(GapOfADeadLedIsClosed({6, 5}, {64, 64}));
}

}  // namespace
}  // namespace dravix::checkerboard

// Placing rectangles in the grid where two of them, or two distances, are equal, and at the limits
// beyond which a board is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "checkerboard/grid.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

constexpr int kWidth = 40;
constexpr int kHeight = 24;
const cv::Size2d kTieCell(kWidth, kHeight);
const cv::Point kFirst(60, 50);

cv::Rect At(int column, int row) {
  return {kFirst.x + column * kWidth, kFirst.y + row * kHeight, kWidth, kHeight};
}

/// Blocks that are wider than high, the lit ones first.
struct FlatBoard {
  explicit FlatBoard(cv::Size size) : grid(size), mask(cv::Mat::zeros(400, 600, CV_8UC1)) {
    mask(cv::Rect(kFirst, cv::Size(grid.width * kWidth, grid.height * kHeight))).setTo(255);
    for (const int color : {0, 1}) {
      for (int r = 0; r < grid.height; ++r) {
        for (int c = 0; c < grid.width; ++c) {
          if ((r + c) % 2 == color) rects.push_back(At(c, r));
        }
      }
      if (color == 0) lit = rects.size();
    }
  }
  std::optional<Placement> Placed() const {
    return PlaceInGrid(rects, lit, grid, kTieCell, kernels::BitsOf(mask));
  }
  cv::Rect& Find(int column, int row) {
    return *std::find(rects.begin(), rects.end(), At(column, row));
  }

  cv::Size grid;
  cv::Mat mask;
  std::vector<cv::Rect> rects;
  std::size_t lit = 0;
};

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(GridTies, OfTwoEquallyLargeRectanglesAtOnePlaceTheFirstStays) {
  FlatBoard board({4, 4});
  board.rects.push_back(At(3, 2));  // dark, as (3, 2) is
  const auto first = std::find(board.rects.begin(), board.rects.end(), At(3, 2));
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->index[2 * 4 + 3], first - board.rects.begin());
  EXPECT_THAT(placement->beaten, ElementsAre(board.rects.size() - 1));
  EXPECT_THAT(placement->wrongColor, IsEmpty());
  EXPECT_EQ(placement->missing, 0);
}

TEST(GridTies, AreasDecideAndNotOneOfTheSides) {
  FlatBoard board({4, 4});
  // Twice as high but a quarter as wide, and the other way around: both are smaller.
  const cv::Rect place = At(3, 2);
  for (const cv::Size& size :
       {cv::Size(kWidth / 4, 2 * kHeight), cv::Size(2 * kWidth, kHeight / 4)}) {
    board.rects.push_back({(place.tl() + place.br() - cv::Point(size)) / 2, size});
  }
  const std::size_t count = board.rects.size();
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_THAT(placement->beaten, ElementsAre(count - 2, count - 1));
}

TEST(GridTies, OfThreeRectanglesAtOnePlaceBothSmallerAreNamed) {
  FlatBoard board({4, 4});
  const cv::Rect place = At(3, 2);
  const auto first = static_cast<std::size_t>(&board.Find(3, 2) - board.rects.data());
  board.rects.push_back({place.x - 2, place.y - 2, kWidth + 4, kHeight + 4});
  board.rects.push_back({place.x + 5, place.y + 5, kWidth - 10, kHeight - 10});
  const std::size_t count = board.rects.size();
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->index[2 * 4 + 3], static_cast<std::int32_t>(count - 2));
  EXPECT_THAT(placement->beaten, ElementsAre(first, count - 1));
}

TEST(GridTies, CentersAQuarterOfABlockApartStandInOneColumnAndABitMoreInTwo) {
  // The gap is a quarter of the width along x, 10 pixels, and of the height along y, 6 pixels.
  {
    FlatBoard board({4, 4});
    board.Find(2, 0).x += 10;
    board.Find(0, 2).y += 6;
    EXPECT_TRUE(board.Placed());
  }
  {
    FlatBoard board({4, 4});
    board.Find(2, 0).x += 11;
    EXPECT_FALSE(board.Placed());
  }
  {
    FlatBoard board({4, 4});
    board.Find(0, 2).y += 7;
    EXPECT_FALSE(board.Placed());
  }
}

/// A board whose mask goes on beyond one side by that many pixels.
bool IsPlacedWithStrip(cv::Rect strip) {
  FlatBoard board({4, 4});
  board.mask(strip).setTo(255);
  return board.Placed().has_value();
}

TEST(OuterGap, IsAShareOfABlockAndTwoPixelsOnEachSide) {
  // 2 + 0.15 * 40 = 8 pixels along x; 2 + 0.15 * 24 = 5.6 along y. The run of mask begins on the
  // block's own last pixel, on the right and below one pixel behind it.
  const int right = kFirst.x + 4 * kWidth;
  const int bottom = kFirst.y + 4 * kHeight;
  const int height = 4 * kHeight;
  const int width = 4 * kWidth;
  EXPECT_TRUE(IsPlacedWithStrip({right, kFirst.y, 8, height}));
  EXPECT_FALSE(IsPlacedWithStrip({right, kFirst.y, 9, height}));
  EXPECT_TRUE(IsPlacedWithStrip({kFirst.x - 7, kFirst.y, 7, height}));
  EXPECT_FALSE(IsPlacedWithStrip({kFirst.x - 8, kFirst.y, 8, height}));
  EXPECT_TRUE(IsPlacedWithStrip({kFirst.x, bottom, width, 5}));
  EXPECT_FALSE(IsPlacedWithStrip({kFirst.x, bottom, width, 6}));
  EXPECT_TRUE(IsPlacedWithStrip({kFirst.x, kFirst.y - 4, width, 4}));
  EXPECT_FALSE(IsPlacedWithStrip({kFirst.x, kFirst.y - 5, width, 5}));
}

TEST(OuterGap, MostOfTheBlocksOfASideDecideAndHalfOfThemAreTooFew) {
  // Beside one of four blocks the mask goes on.
  const int right = kFirst.x + 4 * kWidth;
  EXPECT_TRUE(IsPlacedWithStrip({right, kFirst.y, 30, kHeight}));
  EXPECT_FALSE(IsPlacedWithStrip({right, kFirst.y, 30, 2 * kHeight}));
}

TEST(OuterGap, MaskThatReachesThePicturesBorderEndsThere) {
  FlatBoard board({4, 4});
  board.mask = cv::Mat(kFirst.y + 4 * kHeight, kFirst.x + 4 * kWidth, CV_8UC1, cv::Scalar(255));
  board.mask.colRange(0, kFirst.x).setTo(0);
  board.mask.rowRange(0, kFirst.y).setTo(0);
  EXPECT_TRUE(board.Placed());
}

// --- empty rows and columns ---

/// What is left of a board when the blocks of one column or row are taken away.
void Remove(FlatBoard& board, cv::Point block) {
  const auto at = std::find(board.rects.begin(), board.rects.end(), At(block.x, block.y));
  if (at == board.rects.end()) return;
  if (static_cast<std::size_t>(at - board.rects.begin()) < board.lit) --board.lit;
  board.rects.erase(at);
}

TEST(EmptyLines, ColumnWhoseOnlyBlockIsInTheLastRowAndHasTheWrongColorIsRefused) {
  FlatBoard board({8, 5});
  for (int r = 0; r < 4; ++r) Remove(board, {7, r});
  // (7, 4) is dark. Among the lit ones, it makes the last column of the last row empty.
  Remove(board, {7, 4});
  board.rects.insert(board.rects.begin(), At(7, 4));
  ++board.lit;
  EXPECT_FALSE(board.Placed());
}

TEST(EmptyLines, InnerColumnWhoseOnlyBlockIsInTheLastRowAndHasTheWrongColorIsRefused) {
  FlatBoard board({8, 5});
  for (int r = 0; r < 5; ++r) Remove(board, {3, r});
  // (3, 4) is dark.
  board.rects.insert(board.rects.begin(), At(3, 4));
  ++board.lit;
  EXPECT_FALSE(board.Placed());
}

TEST(EmptyLines, ColumnWithOneBlockInTheLastRowIsEnough) {
  FlatBoard board({8, 5});
  for (int r = 0; r < 4; ++r) Remove(board, {7, r});
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->missing, 4);
}

TEST(EmptyLines, RowWithOneBlockInTheLastColumnIsEnough) {
  FlatBoard board({4, 8});
  for (int c = 0; c < 3; ++c) Remove(board, {c, 7});
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->missing, 3);
}

// --- inferred blocks ---

TEST(InferredTies, OfTwoBlocksEquallyFarTheOneToTheLeftOrAboveGivesTheEdges) {
  FlatBoard board({5, 5});
  Remove(board, {2, 2});
  auto placement = board.Placed();
  ASSERT_TRUE(placement);
  board.Find(0, 2) += cv::Point(0, 1);
  board.Find(4, 2) += cv::Point(0, 2);
  board.Find(2, 0) += cv::Point(3, 0);
  board.Find(2, 4) += cv::Point(4, 0);
  InferMissing(board.grid, board.rects, placement->index);
  EXPECT_EQ(board.rects.back(), At(2, 2) + cv::Point(3, 1));
}

TEST(InferredTies, TheNearerBlockOfTheSameColorGivesTheEdges) {
  FlatBoard board({7, 3});
  Remove(board, {2, 1});
  Remove(board, {0, 1});
  auto placement = board.Placed();
  ASSERT_TRUE(placement);
  board.Find(4, 1) += cv::Point(0, 1);
  board.Find(6, 1) += cv::Point(0, 2);
  const std::size_t found = board.rects.size();
  InferMissing(board.grid, board.rects, placement->index);
  // (0, 1) is inferred first. What was inferred does not serve for others.
  EXPECT_EQ(board.rects[found], At(0, 1) + cv::Point(0, 1));
  EXPECT_EQ(board.rects[found + 1], At(2, 1) + cv::Point(0, 1));
  EXPECT_EQ(placement->index[7 + 0], static_cast<std::int32_t>(found));
  EXPECT_EQ(placement->index[7 + 2], static_cast<std::int32_t>(found + 1));
}

TEST(InferredTies, BlockAtTheFarEndOfItsLineServesWhereItIsTheOnlyOne) {
  // In row 1 of 5 columns only the last block is left; it has the color of the first.
  std::vector<cv::Rect> rects = {At(4, 1) + cv::Point(0, 5), At(0, 0), At(0, 2)};
  std::vector<std::int32_t> index(15, -1);
  index[5 + 4] = 0;
  index[0] = 1;
  index[10] = 2;
  InferMissing({5, 3}, rects, index);
  const cv::Rect first = rects[static_cast<std::size_t>(index[5])];
  EXPECT_EQ(first.y, At(0, 1).y + 5);
  EXPECT_EQ(first.x, At(0, 0).x);
}

}  // namespace
}  // namespace dravix::checkerboard

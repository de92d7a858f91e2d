#include "checkerboard/grid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

constexpr int kCell = 40;
const cv::Size2d kCellSize(kCell, kCell);

/// A perfect board whose first block is at (kCell, kCell). The lit rectangles come first, as in
/// what the search gives.
struct Board {
  explicit Board(cv::Size size)
      : grid(size),
        mask(cv::Mat::zeros((size.height + 2) * kCell, (size.width + 2) * kCell, CV_8UC1)) {
    mask(cv::Rect(kCell, kCell, grid.width * kCell, grid.height * kCell)).setTo(255);
    for (const int color : {0, 1}) {
      for (int r = 0; r < grid.height; ++r) {
        for (int c = 0; c < grid.width; ++c) {
          if ((r + c) % 2 != color) continue;
          rects.push_back(At(c, r));
          lit += color == 0 ? 1 : 0;
        }
      }
    }
  }
  static cv::Rect At(int c, int r) { return {(c + 1) * kCell, (r + 1) * kCell, kCell, kCell}; }
  void Remove(int c, int r) {
    const auto it = std::find(rects.begin(), rects.end(), At(c, r));
    if (static_cast<std::size_t>(it - rects.begin()) < lit) --lit;
    rects.erase(it);
  }
  std::optional<Placement> Placed(cv::Size asked) const {
    return PlaceInGrid(rects, lit, asked, kCellSize, kernels::BitsOf(mask));
  }
  std::optional<Placement> Placed() const { return Placed(grid); }

  cv::Size grid;
  cv::Mat mask;
  std::vector<cv::Rect> rects;
  std::size_t lit = 0;
};

TEST(PlaceInGrid, GivesEveryBlockTheRectangleAtItsPlace) {
  const Board board({5, 4});
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->missing, 0);
  std::size_t place = 0;
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) {
      const auto i = static_cast<std::size_t>(placement->index[place++]);
      EXPECT_EQ(board.rects[i], Board::At(c, r));
    }
  }
}

TEST(PlaceInGrid, RefusesOtherCountsOfColumnsOrRows) {
  const Board board({5, 4});
  for (const cv::Size asked : {cv::Size(4, 4), cv::Size(6, 4), cv::Size(5, 3), cv::Size(4, 5)}) {
    EXPECT_FALSE(board.Placed(asked)) << asked;
  }
  EXPECT_FALSE(PlaceInGrid({}, 0, {5, 4}, kCellSize, kernels::BitsOf(board.mask)));
}

TEST(PlaceInGrid, RefusesColorsThatDoNotAlternate) {
  Board board({4, 4});
  board.lit = board.rects.size();
  EXPECT_FALSE(board.Placed());
}

TEST(PlaceInGrid, ARectangleOfTheWrongColorIsTakenAwayAndNamed) {
  Board board({4, 4});
  board.Remove(1, 1);
  board.rects.push_back(Board::At(1, 1));  // among the dark ones
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->missing, 1);
  EXPECT_EQ(placement->index[5], -1);
  EXPECT_THAT(placement->wrongColor, ::testing::ElementsAre(board.rects.size() - 1));
}

TEST(PlaceInGrid, OfTwoRectanglesAtOnePlaceTheLargerStays) {
  for (const int shrink : {3, -3}) {
    Board board({4, 4});
    const cv::Rect r = Board::At(2, 1);
    board.rects.push_back(
        {r.x + shrink, r.y + shrink, r.width - 2 * shrink, r.height - 2 * shrink});
    const auto placement = board.Placed();
    ASSERT_TRUE(placement);
    ASSERT_EQ(placement->beaten.size(), 1U);
    const std::size_t beaten = placement->beaten[0];
    EXPECT_EQ(beaten == board.rects.size() - 1, shrink > 0);
  }
}

TEST(PlaceInGrid, AQuarterOfTheBlocksMayBeMissingButNoMore) {
  Board board({4, 4});
  for (const cv::Point p : {cv::Point(0, 0), cv::Point(2, 0), cv::Point(1, 2), cv::Point(3, 3)}) {
    board.Remove(p.x, p.y);
  }
  const auto placement = board.Placed();
  ASSERT_TRUE(placement);
  EXPECT_EQ(placement->missing, 4);
  board.Remove(0, 3);
  EXPECT_FALSE(board.Placed());
}

TEST(PlaceInGrid, RefusesAnOuterColumnThatWasNotSeen) {
  Board board({5, 4});
  for (int r = 0; r < 4; ++r) board.Remove(4, r);
  EXPECT_FALSE(board.Placed({4, 4}));  // the mask goes on beyond what was found
  EXPECT_FALSE(board.Placed());
}

TEST(PlaceInGrid, RefusesARowWhoseOnlyBlockHasTheWrongColor) {
  Board board({8, 5});
  for (int c = 0; c < 8; ++c) {
    if (c != 3) board.Remove(c, 2);
  }
  // Block (3, 2) is dark, but now it stands among the lit ones.
  const cv::Rect odd = Board::At(3, 2);
  board.Remove(3, 2);
  board.rects.insert(board.rects.begin(), odd);
  ++board.lit;
  EXPECT_FALSE(board.Placed());
}

TEST(InferMissing, TakesEdgesFromTheNearestBlocksOfTheSameColor) {
  Board board({4, 4});
  board.Remove(1, 1);
  auto placement = board.Placed();
  ASSERT_TRUE(placement);
  // The blocks of the same color two to the right and two below are shifted; the neighbors, which
  // have the other color, are not.
  for (cv::Rect& r : board.rects) {
    if (r == Board::At(3, 1)) r += cv::Point(0, 3);
    if (r == Board::At(1, 3)) r += cv::Point(2, 0);
  }
  const std::size_t found = board.rects.size();
  InferMissing(board.grid, board.rects, placement->index);
  ASSERT_EQ(board.rects.size(), found + 1);
  EXPECT_EQ(placement->index[5], static_cast<std::int32_t>(found));
  EXPECT_EQ(board.rects[found], Board::At(1, 1) + cv::Point(2, 3));
}

TEST(InferMissing, TakesEdgesFromTheOtherColorWhereNoBlockHasTheSame) {
  Board board({2, 2});
  board.Remove(1, 1);
  auto placement = board.Placed();
  ASSERT_TRUE(placement);
  InferMissing(board.grid, board.rects, placement->index);
  EXPECT_EQ(board.rects.back(), Board::At(1, 1));
}

TEST(InferMissing, ABlockWithoutOthersToInferItFromIsEmpty) {
  std::vector<cv::Rect> rects;
  std::vector<std::int32_t> index{-1};
  InferMissing({1, 1}, rects, index);
  ASSERT_EQ(rects.size(), 1U);
  EXPECT_TRUE(rects[0].empty());
}

}  // namespace
}  // namespace dravix::checkerboard

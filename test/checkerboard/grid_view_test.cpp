#include "checkerboard/grid_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace dravix::checkerboard {
namespace {

using ::testing::ElementsAre;

TEST(RectOf, PutsASpanOnEitherAxis) {
  EXPECT_EQ(RectOf(Axis::kX, {1, 4}, {10, 30}), cv::Rect(1, 10, 3, 20));
  EXPECT_EQ(RectOf(Axis::kY, {1, 4}, {10, 30}), cv::Rect(10, 1, 20, 3));
}

TEST(SetSpan, LeavesTheOtherAxis) {
  cv::Rect r(1, 2, 3, 4);
  SetSpan(r, Axis::kY, {20, 25});
  EXPECT_EQ(r, cv::Rect(1, 20, 3, 5));
}

TEST(OuterBlocks, AreThoseOfOneSide) {
  const cv::Size grid(3, 2);
  EXPECT_THAT(OuterBlocks(grid, Axis::kX, End::kFirst), ElementsAre(0, 3));
  EXPECT_THAT(OuterBlocks(grid, Axis::kX, End::kLast), ElementsAre(2, 5));
  EXPECT_THAT(OuterBlocks(grid, Axis::kY, End::kFirst), ElementsAre(0, 1, 2));
  EXPECT_THAT(OuterBlocks(grid, Axis::kY, End::kLast), ElementsAre(3, 4, 5));
}

TEST(GridAlong, ReadsTheSameBlockAlongEitherAxis) {
  const std::vector<cv::Rect> rects{{0, 0, 1, 1}, {10, 20, 30, 40}};
  const std::vector<std::int32_t> index{0, 0, 0, 0, 0, 1};
  const Grid grid{{3, 2}, rects, index};
  const GridAlong rows(grid, Axis::kX);
  const GridAlong columns(grid, Axis::kY);
  EXPECT_EQ(rows.BlocksAlong(), 3);
  EXPECT_EQ(columns.BlocksAlong(), 2);
  EXPECT_EQ(rows.RectIndex(2, 1), 1U);
  EXPECT_EQ(columns.RectIndex(1, 2), 1U);
  EXPECT_EQ(columns.SpanAt(1, 2).begin, 20);
  EXPECT_EQ(rows.SpanAt(2, 1).end, 40);
}

}  // namespace
}  // namespace dravix::checkerboard

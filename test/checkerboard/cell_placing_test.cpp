#include "checkerboard/cell_placing.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace dravix::checkerboard {
namespace {

/// Three by three blocks of 20 pixels, the first at (100, 100). Each test shifts what it is about.
struct Blocks {
  Blocks() {
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c) {
        index.push_back(static_cast<std::int32_t>(rects.size()));
        rects.push_back({100 + 20 * c, 100 + 20 * r, 20, 20});
      }
    }
    mask(cv::Rect(100, 100, 60, 60)).setTo(255);
  }
  Grid Whole() const { return {{3, 3}, rects, index}; }
  cv::Rect& At(int c, int r) {
    return rects.at(static_cast<std::size_t>(std::ptrdiff_t{3} * r + c));
  }
  cv::Rect Placed(int c, int r) const { return Placed(c, r, {}); }
  cv::Rect Placed(int c, int r, const Sides& excess) const {
    return PlacedCells(Whole(), {5, 5}, mask, excess).at(static_cast<std::size_t>(3 * r + c));
  }

  std::vector<cv::Rect> rects;
  std::vector<std::int32_t> index;
  cv::Mat mask = cv::Mat::zeros(300, 300, CV_8UC1);
};

TEST(EstimatedCell, InAPerfectGridIsTheBlocksRectangle) {
  Blocks blocks;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) EXPECT_EQ(EstimatedCell(blocks.Whole(), c, r), blocks.At(c, r));
  }
}

TEST(EstimatedCell, ErosionOfAllBlocksCancelsOut) {
  Blocks blocks;
  for (cv::Rect& r : blocks.rects) r = {r.x + 3, r.y + 3, r.width - 6, r.height - 6};
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 1, 1), cv::Rect(120, 120, 20, 20));
}

TEST(EstimatedCell, BlocksOfOneColorThatAreTooLargeCancelOut) {
  Blocks blocks;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      const int by = (r + c) % 2 == 0 ? 2 : -2;
      const cv::Rect block = blocks.At(c, r);
      blocks.At(c, r) = {block.x - by, block.y - by, block.width + 2 * by, block.height + 2 * by};
    }
  }
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 1, 1), cv::Rect(120, 120, 20, 20));
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 0, 0).br(), cv::Point(120, 120));
}

TEST(EstimatedCell, AnAslantEdgeIsMetAtTheMiddleOfTheRow) {
  Blocks blocks;
  for (int c = 0; c < 3; ++c) {
    blocks.At(c, 0).x -= 4;
    blocks.At(c, 2).x += 4;
  }
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 1, 1).x, 120);
}

TEST(EstimatedCell, TruncatesTheMeanOfFourEdges) {
  Blocks blocks;
  blocks.At(1, 1).x += 3;  // 120.75
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 1, 1).x, 120);
  blocks.At(1, 1).x += 1;  // 121
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 1, 1).x, 121);
}

TEST(EstimatedCell, OuterBoundsAreThoseOfTheBlockItself) {
  Blocks blocks;
  blocks.At(0, 0) -= cv::Point(3, 5);
  blocks.At(2, 2) += cv::Size(4, 6);
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 0, 0).tl(), cv::Point(97, 95));
  EXPECT_EQ(EstimatedCell(blocks.Whole(), 2, 2).br(), cv::Point(164, 166));
}

TEST(EstimatedCell, BoundsInTheWrongOrderAreSwapped) {
  Blocks blocks;
  blocks.At(0, 1).x = 200;
  const cv::Rect cell = EstimatedCell(blocks.Whole(), 0, 1);
  EXPECT_GE(cell.width, 0);
}

TEST(EstimatedCell, ASingleBlockIsItself) {
  const std::vector<cv::Rect> rects{{10, 20, 30, 40}};
  const std::vector<std::int32_t> index{0};
  EXPECT_EQ(EstimatedCell({{1, 1}, rects, index}, 0, 0), rects[0]);
}

TEST(PlacedCells, InnerBlocksStayAsEstimated) {
  Blocks blocks;
  blocks.mask.setTo(0);
  EXPECT_EQ(blocks.Placed(1, 1), blocks.At(1, 1));
}

TEST(PlacedCells, OuterBoundsComeFromTheMask) {
  Blocks blocks;
  blocks.mask.setTo(0);
  blocks.mask(cv::Rect(97, 102, 66, 55)).setTo(255);
  EXPECT_EQ(blocks.Placed(0, 0), cv::Rect(cv::Point(97, 102), cv::Point(120, 120)));
  EXPECT_EQ(blocks.Placed(2, 2), cv::Rect(cv::Point(140, 140), cv::Point(163, 157)));
  EXPECT_EQ(blocks.Placed(1, 0), cv::Rect(cv::Point(120, 102), cv::Point(140, 120)));
  EXPECT_EQ(blocks.Placed(0, 1), cv::Rect(cv::Point(97, 120), cv::Point(120, 140)));
}

TEST(PlacedCells, ASingleLedThatSticksOutDoesNotMoveTheBound) {
  Blocks blocks;
  blocks.mask(cv::Rect(96, 108, 4, 3)).setTo(255);
  EXPECT_EQ(blocks.Placed(0, 0).x, 100);
}

TEST(PlacedCells, TheExcessOfTheMaskIsTakenOffEachSide) {
  const Blocks blocks;
  const Sides excess{2, 4, 3, 1};
  EXPECT_EQ(blocks.Placed(0, 0, excess).tl(), cv::Point(102, 103));
  EXPECT_EQ(blocks.Placed(2, 2, excess).br(), cv::Point(156, 159));
  EXPECT_EQ(blocks.Placed(1, 1, excess), cv::Rect(120, 120, 20, 20));
}

TEST(PlacedCells, ABoundOffTheLineOfItsSideIsReplacedByThatLine) {
  std::vector<cv::Rect> rects;
  std::vector<std::int32_t> index;
  cv::Mat mask = cv::Mat::zeros(60, 300, CV_8UC1);
  for (int c = 0; c < 8; ++c) {
    index.push_back(c);
    rects.push_back({20 + 30 * c, 20, 30, 20});
  }
  mask(cv::Rect(20, 20, 240, 20)).setTo(255);
  mask(cv::Rect(20 + 30 * 3 - 10, 20, 50, 3)).setTo(0);  // a dead LED
  const auto cells = PlacedCells({{8, 1}, rects, index}, {5, 4}, mask);
  for (const cv::Rect& cell : cells) EXPECT_EQ(cell.y, 20);
}

TEST(PlacedCells, WithoutMaskTheEstimateStays) {
  Blocks blocks;
  blocks.mask.setTo(0);
  EXPECT_EQ(blocks.Placed(0, 0), blocks.At(0, 0));
  EXPECT_EQ(blocks.Placed(2, 2), blocks.At(2, 2));
}

TEST(PlacedCells, AnEstimateOutsideTheMaskStays) {
  Blocks blocks;
  for (cv::Rect& r : blocks.rects) r += cv::Point(500, 500);
  EXPECT_EQ(blocks.Placed(0, 0), blocks.At(0, 0));
  EXPECT_EQ(blocks.Placed(2, 2), blocks.At(2, 2));
}

TEST(FillEmptyColumns, AnEmptyColumnTakesThePixelsOfTheNearestFilledOne) {
  const cv::Mat before = (cv::Mat_<uchar>(3, 7) << 0, 0, 9, 0, 0, 0, 0,  //
                          0, 0, 9, 0, 0, 7, 0,                           //
                          0, 0, 0, 0, 0, 0, 0);
  const cv::Mat after = (cv::Mat_<uchar>(3, 7) << 0, 9, 9, 9, 0, 0, 0,  //
                         0, 9, 9, 9, 7, 7, 0,                           //
                         0, 0, 0, 0, 0, 0, 0);
  cv::Mat mask = before.clone();
  FillEmptyColumns({1, 0, 5, 3}, mask);
  EXPECT_EQ(cv::countNonZero(mask != after), 0) << mask;
}

TEST(FillEmptyColumns, CellsWithoutMaskAndCellsOutsideThePictureStay) {
  cv::Mat mask = cv::Mat::zeros(10, 10, CV_8UC1);
  mask.at<uchar>(9, 9) = 255;
  const cv::Mat before = mask.clone();
  for (const cv::Rect& cell :
       {cv::Rect(0, 0, 5, 5), cv::Rect(5, 5, 6, 6), cv::Rect(-1, 0, 3, 3), cv::Rect()}) {
    FillEmptyColumns(cell, mask);
    EXPECT_EQ(cv::countNonZero(mask != before), 0) << cell;
  }
}

}  // namespace
}  // namespace dravix::checkerboard

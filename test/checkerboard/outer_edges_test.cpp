// Edges and bounds of the outer blocks, which have a neighbor on one side only. Here they differ
// from block to block, so that taking another block's edge does not go unnoticed.
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "checkerboard/block_edges.h"
#include "checkerboard/cell_placing.h"

namespace dravix::checkerboard {
namespace {

/// Blocks of 30 x 20 pixels, every edge of which is off by up to 4 pixels.
struct RaggedGrid {
  explicit RaggedGrid(cv::Size grid, std::uint64_t seed = 1) : size(grid) {
    cv::RNG random(seed);
    const auto off = [&random] { return random.uniform(-4, 5); };
    for (int r = 0; r < size.height; ++r) {
      for (int c = 0; c < size.width; ++c) {
        index.push_back(static_cast<std::int32_t>(rects.size()));
        const cv::Point first(100 + 30 * c + off(), 100 + 20 * r + off());
        const cv::Point past(130 + 30 * c + off(), 120 + 20 * r + off());
        rects.emplace_back(first, past);
      }
    }
  }
  const cv::Rect& At(int c, int r) const {
    return rects.at(static_cast<std::size_t>(size.width * r + c));
  }
  Grid Whole() const { return {size, rects, index}; }

  cv::Size size;
  std::vector<cv::Rect> rects;
  std::vector<std::int32_t> index;
};

/// The neighboring row or column that an edge takes its other two values from: the one before and
/// the one after, or the only one there is, or its own where it stands alone.
int Before(int line, int count) { return line > 0 ? line - 1 : std::min(1, count - 1); }
int After(int line, int count) { return line < count - 1 ? line + 1 : std::max(0, count - 2); }

double LeftEdge(const RaggedGrid& grid, int c, int r) {
  if (c == 0) return grid.At(0, r).x;
  const int rows = grid.size.height;
  return (grid.At(c, r).x + grid.At(c - 1, r).br().x + grid.At(c, Before(r, rows)).x +
          grid.At(c - 1, After(r, rows)).br().x) /
         4.0;
}
double RightEdge(const RaggedGrid& grid, int c, int r) {
  return c + 1 < grid.size.width ? LeftEdge(grid, c + 1, r) : grid.At(c, r).br().x;
}
double TopEdge(const RaggedGrid& grid, int c, int r) {
  if (r == 0) return grid.At(c, 0).y;
  const int columns = grid.size.width;
  return (grid.At(c, r).y + grid.At(c, r - 1).br().y + grid.At(Before(c, columns), r).y +
          grid.At(After(c, columns), r - 1).br().y) /
         4.0;
}
double BottomEdge(const RaggedGrid& grid, int c, int r) {
  return r + 1 < grid.size.height ? TopEdge(grid, c, r + 1) : grid.At(c, r).br().y;
}

TEST(RaggedBlocks, EveryCellIsTheTruncatedMeanOfFourEdgesInGridsOfAnyShape) {
  for (const cv::Size& size : {cv::Size(1, 1), cv::Size(2, 1), cv::Size(1, 2), cv::Size(2, 2),
                               cv::Size(3, 2), cv::Size(2, 3), cv::Size(5, 4), cv::Size(4, 6)}) {
    const RaggedGrid grid(size, static_cast<std::uint64_t>(size.area()));
    for (int r = 0; r < size.height; ++r) {
      for (int c = 0; c < size.width; ++c) {
        const cv::Point first(static_cast<int>(LeftEdge(grid, c, r)),
                              static_cast<int>(TopEdge(grid, c, r)));
        const cv::Point past(static_cast<int>(RightEdge(grid, c, r)),
                             static_cast<int>(BottomEdge(grid, c, r)));
        EXPECT_EQ(EstimatedCell(grid.Whole(), c, r), cv::Rect(first, past))
            << "block " << c << ", " << r << " of " << size;
      }
    }
  }
}

TEST(RaggedBlocks, OuterEdgesStayWhileInnerOnesMoveToWhereBlocksMeet) {
  RaggedGrid grid({5, 4});
  Rectified pictures;
  pictures.measured = cv::Mat(300, 350, CV_16UC1, cv::Scalar(8000));
  pictures.board = cv::Mat(300, 350, CV_16UC1, cv::Scalar(0));
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) {
      if ((r + c) % 2 == 0) pictures.board(cv::Rect(100 + 30 * c, 100 + 20 * r, 30, 20)) = 6000;
    }
  }
  cv::blur(pictures.board.Whole(), pictures.board.Whole(), {5, 5});
  std::vector<cv::Rect> placed = grid.rects;
  PlaceEdges(pictures, grid.size, grid.index, placed);
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) {
      SCOPED_TRACE(cv::format("block %d, %d", c, r));
      const cv::Rect& is = placed.at(static_cast<std::size_t>(5 * r + c));
      const cv::Rect& was = grid.At(c, r);
      EXPECT_NEAR(is.x, c > 0 ? 100 + 30 * c : was.x, c > 0 ? 1 : 0);
      EXPECT_NEAR(is.y, r > 0 ? 100 + 20 * r : was.y, r > 0 ? 1 : 0);
      EXPECT_NEAR(is.br().x, c < 4 ? 130 + 30 * c : was.br().x, c < 4 ? 1 : 0);
      EXPECT_NEAR(is.br().y, r < 3 ? 120 + 20 * r : was.br().y, r < 3 ? 1 : 0);
    }
  }
}

// --- outer bounds at the mask ---

/// Five by four even blocks of 30 x 20 pixels, the first at (100, 100).
RaggedGrid EvenGrid() {
  RaggedGrid grid({5, 4});
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) {
      grid.rects[static_cast<std::size_t>(5 * r + c)] = {100 + 30 * c, 100 + 20 * r, 30, 20};
    }
  }
  return grid;
}

TEST(OuterBounds, FollowAnAslantOutlineOnEachSide) {
  const RaggedGrid grid = EvenGrid();
  // The outline of a trapezoid: 100, 250, 100 and 180 in the middle of the sides.
  cv::Mat mask = cv::Mat::zeros(300, 350, CV_8UC1);
  for (int y = 0; y < mask.rows; ++y) {
    for (int x = 0; x < mask.cols; ++x) {
      const bool inside = x >= 100 + 0.1 * (y - 140) && x < 250 + 0.05 * (y - 140) &&
                          y >= 100 - 0.04 * (x - 175) && y < 180 + 0.08 * (x - 175);
      mask.at<uchar>(y, x) = inside ? 255 : 0;
    }
  }
  const std::vector<cv::Rect> cells = PlacedCells(grid.Whole(), {6, 6}, mask, {});
  for (int r = 0; r < 4; ++r) {
    const double middle = 110 + 20 * r;
    EXPECT_NEAR(cells.at(static_cast<std::size_t>(5 * r)).x, 100 + 0.1 * (middle - 140), 1.2) << r;
    EXPECT_NEAR(cells.at(static_cast<std::size_t>(5 * r + 4)).br().x, 250 + 0.05 * (middle - 140),
                1.2)
        << r;
  }
  for (int c = 0; c < 5; ++c) {
    const double middle = 115 + 30 * c;
    EXPECT_NEAR(cells.at(static_cast<std::size_t>(c)).y, 100 - 0.04 * (middle - 175), 1.2) << c;
    EXPECT_NEAR(cells.at(static_cast<std::size_t>(15 + c)).br().y, 180 + 0.08 * (middle - 175), 1.2)
        << c;
  }
}

/// The cells' common bounding rectangle.
cv::Rect Around(const std::vector<cv::Rect>& cells) {
  cv::Rect all = cells.front();
  for (const cv::Rect& cell : cells) all |= cell;
  return all;
}

TEST(OuterBounds, AreLookedForAsFarAsTheReachOfEachAxis) {
  const RaggedGrid grid = EvenGrid();
  cv::Mat mask = cv::Mat::zeros(300, 350, CV_8UC1);
  mask(cv::Rect(92, 96, 166, 88)) = 255;  // 8 pixels beyond on the x axis, 4 on the y axis
  EXPECT_EQ(Around(PlacedCells(grid.Whole(), {9, 3}, mask, {})), cv::Rect(92, 97, 166, 86));
  EXPECT_EQ(Around(PlacedCells(grid.Whole(), {5, 5}, mask, {})), cv::Rect(95, 96, 160, 88));
}

TEST(OuterBounds, MoveInwardByTheExcessOfTheirSide) {
  const RaggedGrid grid = EvenGrid();
  cv::Mat mask = cv::Mat::zeros(300, 350, CV_8UC1);
  mask(cv::Rect(98, 97, 156, 89)) = 255;
  const Sides excess{1, 2, 3, 4};  // left, right, top, bottom
  EXPECT_EQ(Around(PlacedCells(grid.Whole(), {6, 6}, mask, excess)),
            cv::Rect(cv::Point(99, 100), cv::Point(252, 182)));
}

TEST(OuterBounds, AreTruncatedWithTheirExcess) {
  const RaggedGrid grid = EvenGrid();
  cv::Mat mask = cv::Mat::zeros(300, 350, CV_8UC1);
  mask(cv::Rect(98, 97, 156, 89)) = 255;
  EXPECT_EQ(Around(PlacedCells(grid.Whole(), {6, 6}, mask, {0.9, 0.1, 0.9, 0.1})),
            cv::Rect(cv::Point(98, 97), cv::Point(253, 185)));
}

}  // namespace
}  // namespace dravix::checkerboard

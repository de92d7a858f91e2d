#include "checkerboard/block_edges.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

namespace dravix::checkerboard {
namespace {

constexpr int kColumns = 5;
constexpr int kRows = 4;
constexpr int kSide = 40;

cv::Rect Block(int c, int r) { return {30 + kSide * c, 30 + kSide * r, kSide, kSide}; }
bool Lit(int c, int r) { return (c + r) % 2 == 0; }

cv::Mat As(int depth, const cv::Mat& picture, double scale) {
  cv::Mat converted;
  picture.convertTo(converted, depth, scale);
  return converted;
}

/// A defocused checkerboard whose lit blocks differ, on a screen whose light falls off to the
/// right.
struct EdgeBoard {
  EdgeBoard() {
    cv::Mat screen = cv::Mat::zeros(240, 280, CV_32FC1);
    cv::Mat blocks = screen.clone();
    for (int r = 0; r < kRows; ++r) {
      for (int c = 0; c < kColumns; ++c) {
        index.push_back(static_cast<std::int32_t>(found.size()));
        screen(Block(c, r)).setTo(8000);
        if (Lit(c, r)) blocks(Block(c, r)).setTo(2000 + 1500 * ((c + 2 * r) % 5));
        // As a search finds them: lit blocks too large, dark ones too small.
        const int by = Lit(c, r) ? 3 : -3;
        const cv::Rect b = Block(c, r);
        found.push_back({b.x - by, b.y - by, b.width + 2 * by, b.height + 2 * by});
      }
    }
    for (cv::Mat* m : {&screen, &blocks}) {
      for (int x = 0; x < m->cols; ++x) m->col(x) *= 1 - 0.001 * x;
      cv::blur(*m, *m, {13, 13});
    }
    pictures = {As(CV_16U, blocks, 1), As(CV_16U, screen, 1)};
  }
  std::vector<cv::Rect> Placed() const {
    std::vector<cv::Rect> rects = found;
    PlaceEdges(pictures, {kColumns, kRows}, index, rects);
    return rects;
  }
  static void ExpectInner(const std::vector<cv::Rect>& rects, int tolerance) {
    for (int r = 0; r < kRows; ++r) {
      for (int c = 0; c < kColumns; ++c) {
        const cv::Rect& is = rects.at(static_cast<std::size_t>(kColumns * r + c));
        const cv::Rect real = Block(c, r);
        SCOPED_TRACE(cv::format("block %d, %d", c, r));
        EXPECT_NEAR(is.x, c > 0 ? real.x : is.x, tolerance);
        EXPECT_NEAR(is.y, r > 0 ? real.y : is.y, tolerance);
        EXPECT_NEAR(is.br().x, c + 1 < kColumns ? real.br().x : is.br().x, tolerance);
        EXPECT_NEAR(is.br().y, r + 1 < kRows ? real.br().y : is.br().y, tolerance);
      }
    }
  }

  Rectified pictures;
  std::vector<cv::Rect> found;
  std::vector<std::int32_t> index;
};

TEST(PlaceEdges, PutsEdgesWhereBlocksMeetWhateverTheirLevels) {
  const EdgeBoard board;
  EdgeBoard::ExpectInner(board.Placed(), 1);
}

TEST(PlaceEdges, LeavesOuterEdgesAsFound) {
  const EdgeBoard board;
  const auto rects = board.Placed();
  EXPECT_EQ(rects.front().tl(), board.found.front().tl());
  EXPECT_EQ(rects.back().br(), board.found.back().br());
}

TEST(PlaceEdges, EdgesBesideADeadBlockFollowTheOthersOfTheirLine) {
  EdgeBoard board;
  board.pictures.board(Block(2, 2)).setTo(0);
  EdgeBoard::ExpectInner(board.Placed(), 2);
}

TEST(PlaceEdges, BlocksOfADarkBoardStayAsFound) {
  EdgeBoard board;
  board.pictures.board.Whole().setTo(0);
  EXPECT_EQ(board.Placed(), board.found);
}

TEST(PlaceEdges, BlocksBeyondThePictureStayAsFound) {
  EdgeBoard board;
  for (cv::Rect& r : board.found) r += cv::Point(1000, 0);
  EXPECT_EQ(board.Placed(), board.found);
}

TEST(PlaceEdges, WorksOnEightBitPicturesToo) {
  EdgeBoard board;
  for (PartialPicture* picture : {&board.pictures.board, &board.pictures.measured}) {
    *picture = As(CV_8U, picture->Whole(), 1 / 40.0);
  }
  EdgeBoard::ExpectInner(board.Placed(), 1);
}

}  // namespace
}  // namespace dravix::checkerboard

// The local threshold on boards whose lit blocks differ so much that a single one fails. Blocks are
// upright, flat and wide, because windows and kernels follow the block's two sides.
#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "checkerboard/pictures/binarize.h"
#include "kernels/bits/bit_parts.h"

namespace dravix::checkerboard {
namespace {

constexpr int kColumns = 6;
constexpr int kRows = 4;

/// A board of 6 x 4 blocks. The lit ones of each column have a level of their own.
struct UnevenBoard {
  explicit UnevenBoard(cv::Size block, int blur = 0) : cell(block) {
    const cv::Size size(kColumns * cell.width, kRows * cell.height);
    measured = cv::Mat(size, CV_16UC1, cv::Scalar(8000));
    picture = cv::Mat::zeros(size, CV_16UC1);
    truth = cv::Mat::zeros(size, CV_8UC1);
    const double levels[kColumns] = {8000, 5000, 3000, 1700, 2600, 4200};
    for (int r = 0; r < kRows; ++r) {
      for (int c = 0; c < kColumns; ++c) {
        if ((r + c) % 2 != 0) continue;
        const cv::Rect at(c * cell.width, r * cell.height, cell.width, cell.height);
        picture(at).setTo(levels[c]);
        truth(at).setTo(255);
      }
    }
    if (blur > 0) cv::blur(picture, picture, {blur, blur});
  }
  cv::Mat Local(int edgeLevelPercent = 50) const {
    RectifyParams params;
    params.edgeLevelPercent = edgeLevelPercent;
    params.cell = cell;
    const kernels::BitPicture all =
        kernels::BitsOf(cv::Mat(measured.size(), CV_8UC1, cv::Scalar(255)));
    const Rectified both{picture, measured};
    return Binarized(Binarization::kLocal, both, Quotient(both, all), params).ToMat();
  }
  double Right(const cv::Mat& binary) const {
    return cv::countNonZero(binary == truth) / static_cast<double>(truth.total());
  }

  cv::Size cell;
  cv::Mat measured, picture, truth;
};

class LocalThreshold : public testing::TestWithParam<cv::Size> {};

TEST_P(LocalThreshold, IsRightNearlyEverywhereOnSharpBlocksOfAnyShape) {
  const UnevenBoard board(GetParam());
  EXPECT_GT(board.Right(board.Local()), 0.995);
}

TEST_P(LocalThreshold, IsRightButForTheEdgesOnBlurredBlocksOfAnyShape) {
  const cv::Size cell = GetParam();
  const UnevenBoard board(cell, std::min(cell.width, cell.height) / 6 | 1);
  EXPECT_GT(board.Right(board.Local()), 0.955);
}

INSTANTIATE_TEST_SUITE_P(Shapes, LocalThreshold,
                         testing::Values(cv::Size(40, 40), cv::Size(72, 40), cv::Size(40, 72),
                                         cv::Size(20, 20), cv::Size(100, 100), cv::Size(12, 12)));

TEST(LocalThresholdLevel, LiesAtTheShareOfTheWayFromDarkToLit) {
  // A blur of 13 pixels makes the edges ramps, on which each percent moves them by 0.13 pixels.
  const UnevenBoard board({60, 60}, 13);
  const auto lit = [&](int percent) { return cv::countNonZero(board.Local(percent)); };
  const double half = lit(50);
  EXPECT_NEAR(half / cv::countNonZero(board.truth), 1.0, 0.1);
  EXPECT_GT(lit(30), 1.06 * half);
  EXPECT_LT(lit(70), 0.94 * half);
}

}  // namespace
}  // namespace dravix::checkerboard

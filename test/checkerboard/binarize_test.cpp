#include "checkerboard/binarize.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/bit_parts.h"

namespace dravix::checkerboard {
namespace {

/// Two rows of four blocks of 40 pixels. The light falls off to the right.
struct Pictures {
  Pictures() {
    for (int x = 0; x < measured.cols; ++x) measured.col(x).setTo(2000 - 9 * x);
    board.setTo(0);
    for (int c = 0; c < 4; ++c) {
      const cv::Rect block(40 * c, 40 * (c % 2), 40, 40);
      measured(block).copyTo(board(block));
      lit.push_back(block);
      dark.push_back({40 * c, 40 * ((c + 1) % 2), 40, 40});
    }
  }
  Rectified Both() const { return {board, measured}; }
  RectifyParams Params() const {
    RectifyParams params;
    params.edgeLevelPercent = 50;
    params.cell = {40, 40};
    return params;
  }
  cv::Mat QuotientInside() const {
    const Rectified both = Both();
    const kernels::BitPicture bits = kernels::BitsOf(mask);
    return Quotient(both, bits).Picture();
  }
  void Dim(int block, double factor) {
    cv::Mat part = board(lit[static_cast<std::size_t>(block)]);
    part *= factor;
  }
  /// The share of pixels that are as the pattern says.
  double Right(Binarization way) const {
    const Rectified both = Both();
    const kernels::BitPicture bits = kernels::BitsOf(mask);
    const cv::Mat binary = Binarized(way, both, Quotient(both, bits), Params()).ToMat();
    int right = 0;
    for (const cv::Rect& r : lit) right += cv::countNonZero(binary(r));
    for (const cv::Rect& r : dark) right += r.area() - cv::countNonZero(binary(r));
    return right / static_cast<double>(binary.total());
  }

  cv::Mat measured = cv::Mat(80, 160, CV_16UC1);
  cv::Mat board = cv::Mat(80, 160, CV_16UC1);
  cv::Mat mask = cv::Mat(80, 160, CV_8UC1, cv::Scalar(255));
  std::vector<cv::Rect> lit;
  std::vector<cv::Rect> dark;
};

TEST(Quotient, CancelsWhatBothPicturesShare) {
  const Pictures p;
  const cv::Mat q = p.QuotientInside();
  EXPECT_EQ(q.type(), CV_8UC1);
  EXPECT_NEAR(q.at<uchar>(20, 20), 160, 4);
  EXPECT_NEAR(q.at<uchar>(60, 140), q.at<uchar>(20, 20), 1);
  EXPECT_EQ(q.at<uchar>(60, 20), 0);
}

TEST(Quotient, IsZeroOutsideTheMaskAndOfADarkBoard) {
  Pictures p;
  p.mask.colRange(0, 40).setTo(0);
  EXPECT_EQ(cv::countNonZero(p.QuotientInside().colRange(0, 40)), 0);
  p.board.setTo(0);
  EXPECT_EQ(cv::countNonZero(p.QuotientInside()), 0);
}

TEST(Binarized, EveryWayFindsAnEvenPattern) {
  const Pictures p;
  for (const Binarization way : kBinarizations) {
    EXPECT_GT(p.Right(way), 0.95);
  }
}

TEST(Binarized, ALocalThresholdSeesBlocksThatASingleOneMisses) {
  Pictures p;
  p.Dim(1, 0.6);
  p.Dim(2, 0.36);
  p.Dim(3, 0.2);
  const double one = p.Right(Binarization::kQuotient);
  const double local = p.Right(Binarization::kLocal);
  EXPECT_LT(one, 0.9);
  EXPECT_GT(local, one);
}

}  // namespace
}  // namespace dravix::checkerboard

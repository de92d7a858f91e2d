#include "checkerboard/pictures/binarize.h"

#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>

#include "kernels/bits/bit_parts.h"

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
    params.edgeLevelPercent = edgeLevelPercent;
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
  /// Light from elsewhere on the dark blocks, as a share of what lit ones give.
  void Stray(double share) {
    for (const cv::Rect& r : dark) measured(r).convertTo(board(r), CV_16U, share);
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

  int edgeLevelPercent = 50;
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

/// Dark blocks get 60 % of the light: at 30 % of the way up, the threshold is at 72 %. All of the
/// dark level counts: a threshold of the lit level's share alone lies below the dark one.
TEST(Binarized, ALocalThresholdStandsOnTheDarkLevel) {
  Pictures p;
  p.Stray(0.6);
  for (const int percent : {30, 50, 70}) {
    p.edgeLevelPercent = percent;
    EXPECT_GT(p.Right(Binarization::kLocal), 0.97) << percent;
  }
}

/// The outer thirds of lit blocks shine at 80 %, below the threshold at 70 % of the way up from
/// dark blocks of 60 % and above that at 30 %.
TEST(Binarized, ALocalThresholdIsTheShareOfTheWayUp) {
  Pictures p;
  p.Stray(0.6);
  for (const cv::Rect& r : p.lit) {
    for (const cv::Rect third :
         {cv::Rect(r.x, r.y, 13, r.height), cv::Rect(r.x + 27, r.y, 13, r.height)}) {
      p.measured(third).convertTo(p.board(third), CV_16U, 0.8);
    }
  }
  p.edgeLevelPercent = 30;
  EXPECT_GT(p.Right(Binarization::kLocal), 0.97);
  p.edgeLevelPercent = 70;
  EXPECT_NEAR(p.Right(Binarization::kLocal), 1 - 0.5 * 26 / 40, 0.05);
}

}  // namespace
}  // namespace dravix::checkerboard

#include "image/large_mat.h"

#include <gtest/gtest.h>

namespace dravix::test {
namespace {

TEST(LargeZeros, AreZerosThatLiveAsLongAsAnyHeader) {
  cv::Mat part;
  {
    cv::Mat whole = image::LargeZeros({700, 500}, CV_16UC1);
    EXPECT_EQ(cv::countNonZero(whole), 0);
    whole.setTo(7);
    part = whole(cv::Rect(10, 20, 30, 40));
  }
  EXPECT_EQ(cv::countNonZero(part == 7), 30 * 40);
  part.create(5, 5, CV_8UC1);  // another matrix, in ordinary memory
  part.setTo(1);
  EXPECT_EQ(cv::sum(part)[0], 25);
}

TEST(LargeZeros, OfNoSizeAreAnEmptyMatrix) {
  EXPECT_TRUE(image::LargeZeros({0, 5}, CV_8UC1).empty());
}

TEST(ForgetRows, LeavesAllOtherRows) {
  cv::Mat matrix = image::LargeZeros({3000, 300}, CV_8UC1);
  matrix.setTo(3);
  image::ForgetRows(cv::Range(0, 100), matrix);
  image::ForgetRows(cv::Range(200, 300), matrix);
  image::ForgetRows(cv::Range(150, 150), matrix);
  EXPECT_EQ(cv::countNonZero(matrix.rowRange(100, 200) == 3), 3000 * 100);
  cv::Mat ordinary(300, 300, CV_8UC1, cv::Scalar(3));
  image::ForgetRows(cv::Range(0, 300), ordinary);
  EXPECT_EQ(cv::countNonZero(ordinary == 3), 300 * 300);
}

}  // namespace
}  // namespace dravix::test

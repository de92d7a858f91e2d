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

}  // namespace
}  // namespace dravix::test

#include "extractor/resample.h"

#include <gtest/gtest.h>

#include "support/mats.h"

namespace dravix::extractor {
namespace {

TEST(FirstRuns, TellsTheFirstRunOfEachColumn) {
  const cv::Mat mask = (cv::Mat_<uchar>(5, 6) << 0, 1, 0, 9, 0, 0,  //
                        0, 1, 0, 9, 0, 0,                           //
                        1, 0, 0, 9, 0, 0,                           //
                        1, 1, 0, 9, 0, 7,                           //
                        1, 1, 0, 9, 3, 0);
  const std::vector<ColumnRun> expected{{2, 3}, {0, 2}, {0, 0}, {0, 5}, {4, 1}, {3, 1}};
  EXPECT_EQ(FirstRuns(mask), expected);
}

TEST(FirstRuns, SeesRowsThroughAWindowOfALargerMask) {
  cv::Mat large = cv::Mat::zeros(20, 20, CV_8UC1);
  large(cv::Rect(5, 5, 4, 4)) = 255;
  const std::vector<ColumnRun> expected{{0, 0}, {1, 4}, {1, 4}};
  EXPECT_EQ(FirstRuns(large(cv::Rect(4, 4, 3, 10))), expected);
}

TEST(ResampleColumns, RefusesColorAndAnotherNumberOfRuns) {
  const std::vector<ColumnRun> runs(4, ColumnRun{0, 4});
  EXPECT_THROW(static_cast<void>(ResampleColumns(cv::Mat(4, 4, CV_16UC3), runs, 2)), cv::Exception);
  EXPECT_THROW(static_cast<void>(ResampleColumns(cv::Mat(4, 5, CV_16UC1), runs, 2)), cv::Exception);
}

TEST(ResampleColumns, AveragesTheRunOnly) {
  const cv::Mat image = (cv::Mat_<ushort>(4, 1) << 9, 2, 4, 9);
  const cv::Mat result = ResampleColumns(image, {ColumnRun{1, 2}}, 1);
  EXPECT_EQ(result.at<float>(0, 0), 3.0F);
}

}  // namespace
}  // namespace dravix::extractor

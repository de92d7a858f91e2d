#include "extractor/column_averages.h"

#include <gtest/gtest.h>

#include "extractor/scenes.h"
#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using extractor::ColumnAverages;
using extractor::ColumnRun;

cv::Mat Averages(const cv::Mat& image, const std::vector<ColumnRun>& runs, int cells) {
  cv::Mat result(cells, image.cols, CV_32FC1, cv::Scalar(-1));
  ColumnAverages averages(runs, result);
  for (int y = 0; y < image.rows; ++y) averages.Add(y, image.ptr<std::uint16_t>(y));
  averages.Finish();
  return result;
}

/// Runs that change now and then, of every kind of length: below, at and above the cells' number,
/// and whole multiples of it.
std::vector<ColumnRun> RandomRuns(cv::RNG& random, cv::Size image, int cells) {
  std::vector<ColumnRun> runs;
  ColumnRun run;
  while (static_cast<int>(runs.size()) < image.width) {
    run.start = Between(random, 0, image.height - 1);
    run.length = Between(random, 1, image.height - run.start);
    if (random.uniform(0, 3) == 0 && run.length >= cells) run.length -= run.length % cells;
    runs.insert(runs.end(), static_cast<std::size_t>(Between(random, 1, 40)), run);
  }
  runs.resize(static_cast<std::size_t>(image.width));
  return runs;
}

class ColumnAveragesOfRandomRuns : public testing::TestWithParam<int> {};

TEST_P(ColumnAveragesOfRandomRuns, EqualResamplingFromAnImageBitForBit) {
  cv::RNG random(static_cast<std::uint64_t>(GetParam()) * 6151 + 3);
  const cv::Size size(Between(random, 1, 200), Between(random, 10, 300));
  const cv::Mat image = RandomMat(size, CV_16UC1, random.next(), 0, 65536);
  const int cells = Between(random, 1, 60);
  const std::vector<ColumnRun> runs = RandomRuns(random, size, cells);
  const cv::Mat expected = extractor::ResampleColumns(image, runs, cells);
  OnEachTarget([&] { EXPECT_TRUE(SameBytes(Averages(image, runs, cells), expected)); });
}
INSTANTIATE_TEST_SUITE_P(Seeds, ColumnAveragesOfRandomRuns, testing::Range(0, 40));

TEST(ColumnAverages, CellsOfManyBrightRowsAreRoundedInTheLibrarysOrder) {
  const cv::Mat image = RandomMat({5, 2400}, CV_16UC1, 8, 60000, 65536);
  const std::vector<ColumnRun> runs(5, {0, 2400});
  for (const int cells : {1, 2, 3, 5, 8}) {
    EXPECT_TRUE(
        SameBytes(Averages(image, runs, cells), extractor::ResampleColumns(image, runs, cells)))
        << cells;
  }
}

}  // namespace
}  // namespace dravix::test

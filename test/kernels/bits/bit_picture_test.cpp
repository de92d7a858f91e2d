#include "kernels/bits/bit_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "image/binary.h"
#include "image/lit_area.h"
#include "kernels/bits/areas.h"
#include "kernels/bits/histogram.h"
#include "kernels/each_target.h"
#include "support/mats.h"

namespace dravix::test {
namespace {

using kernels::BitPicture;

/// Bits of a gray picture above a level; the matrix is widened to whole words with noise.
BitPicture Above(const cv::Mat& gray, int level) {
  constexpr int kWord = BitPicture::kWordBits;
  cv::Mat padded =
      RandomMat({(gray.cols + kWord - 1) / kWord * kWord, gray.rows}, CV_8UC1, 99, 0, 256);
  gray.copyTo(padded.colRange(0, gray.cols));
  BitPicture bits(gray.size());
  bits.SetAbove(padded, level);
  return bits;
}

/// Blobs and specks: smoothed noise about a level of 128, at times with a frame that is white.
cv::Mat Blobs(std::uint64_t seed) {
  cv::RNG random(seed * 977 + 13);
  const cv::Size size(random.uniform(1, 300), random.uniform(1, 120));
  cv::Mat gray = RandomMat(size, CV_8UC1, random.next(), 0, 256);
  const int side = 2 * random.uniform(0, 5) + 1;
  cv::GaussianBlur(gray, gray, {side, side}, 0);
  if (random.uniform(0, 3) == 0)
    cv::rectangle(gray, {0, 0}, {size.width - 1, size.height - 1}, 255);
  return gray;
}

class BitsOfBlobs : public testing::TestWithParam<int> {};

TEST_P(BitsOfBlobs, ThresholdEqualsTheMatrixLibrary) {
  const cv::Mat gray = Blobs(static_cast<std::uint64_t>(GetParam()));
  for (const int level : {0, 100, 128, 254, 255}) {
    cv::Mat expected;
    cv::threshold(gray, expected, level, 255, cv::THRESH_BINARY);
    OnEachTarget([&] { EXPECT_TRUE(SameBytes(Above(gray, level).ToMat(), expected)) << level; });
  }
}

TEST_P(BitsOfBlobs, OtsuLevelEqualsTheMatrixLibrary) {
  const cv::Mat gray = Blobs(static_cast<std::uint64_t>(GetParam()));
  kernels::ValueCounter counter;
  for (int y = 0; y < gray.rows; ++y) {
    counter.Add(gray.ptr<std::uint8_t>(y), static_cast<std::size_t>(gray.cols));
  }
  cv::Mat ignored;
  const double expected = cv::threshold(gray, ignored, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  EXPECT_EQ(kernels::OtsuLevel(counter.Counts()), expected);
}

TEST_P(BitsOfBlobs, ClosingAndOpeningEqualTheMatrixLibrary) {
  const cv::Mat gray = Blobs(static_cast<std::uint64_t>(GetParam()));
  for (const int side : {1, 3, 7, 11, 65, 131}) {
    cv::Mat expected;
    cv::threshold(gray, expected, 128, 255, cv::THRESH_BINARY);
    image::CloseThenOpen(expected, side);
    OnEachTarget([&] {
      BitPicture bits = Above(gray, 128);
      kernels::CloseThenOpen(bits, side);
      EXPECT_TRUE(SameBytes(bits.ToMat(), expected)) << side;
    });
  }
}

TEST(BitPicture, IsClosedAndOpenedAlikeOnAnyNumberOfThreads) {
  cv::Mat gray = RandomMat({150, 333}, CV_8UC1, 4, 0, 256);  // parts of 111 and of 84 rows
  cv::GaussianBlur(gray, gray, {5, 5}, 0);
  cv::Mat expected = gray > 128;
  image::CloseThenOpen(expected, 11);
  const int before = cv::getNumThreads();
  for (int threads = 1; threads <= 4; ++threads) {
    cv::setNumThreads(threads);
    BitPicture bits = Above(gray, 128);
    kernels::CloseThenOpen(bits, 11);
    EXPECT_TRUE(SameBytes(bits.ToMat(), expected)) << threads;
  }
  cv::setNumThreads(before);
}

TEST_P(BitsOfBlobs, AreasAndHolesEqualTheOutlinesOfTheMatrixLibrary) {
  const BitPicture bits = Above(Blobs(static_cast<std::uint64_t>(GetParam())), 128);
  std::vector<std::vector<cv::Point>> outlines;
  std::vector<cv::Vec4i> hierarchy;
  cv::findContours(bits.ToMat(), outlines, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_NONE);
  const auto holes = std::count_if(hierarchy.begin(), hierarchy.end(),
                                   [](const cv::Vec4i& links) { return links[3] >= 0; });
  const kernels::Topology found = kernels::TopologyOf(bits);
  EXPECT_EQ(found.holes, holes);
  EXPECT_EQ(found.areas, static_cast<std::ptrdiff_t>(outlines.size()) - holes);
}

TEST_P(BitsOfBlobs, FirstStretchesEndAtTheFirstBlackPixel) {
  const BitPicture bits = Above(Blobs(static_cast<std::uint64_t>(GetParam())), 128);
  const cv::Mat mat = bits.ToMat();
  const std::vector<kernels::Stretch> found = kernels::FirstStretches(bits);
  ASSERT_EQ(found.size(), static_cast<std::size_t>(mat.cols));
  for (int x = 0; x < mat.cols; ++x) {
    int begin = 0;
    while (begin < mat.rows && mat.at<uchar>(begin, x) == 0) ++begin;
    int end = begin;
    while (end < mat.rows && mat.at<uchar>(end, x) != 0) ++end;
    const kernels::Stretch& stretch = found[static_cast<std::size_t>(x)];
    EXPECT_EQ(stretch.length, end - begin) << x;
    if (end > begin) {
      EXPECT_EQ(stretch.start, begin) << x;
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Seeds, BitsOfBlobs, testing::Range(0, 40));

TEST(OtsuLevel, IsZeroWhereAllValuesAreEqual) {
  kernels::Histogram histogram{};
  histogram[17] = 1000;
  EXPECT_EQ(kernels::OtsuLevel(histogram), 0);
}

}  // namespace
}  // namespace dravix::test

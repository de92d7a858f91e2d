// Matrix records at the limits of their 32-bit counts, and streams that end inside a record.
#include <dravix/bio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <streambuf>
#include <string>

#include "support/mats.h"
#include "support/record_bytes.h"

namespace {

using dravix::test::Le;
using dravix::test::RecordHeader;
using dravix::test::SameBytes;

/// A matrix whose memory nobody has written to: the system gives it only where it is touched.
std::optional<cv::Mat> Untouched(int rows, int cols, int type) {
  try {
    return cv::Mat(rows, cols, type);
  } catch (const cv::Exception&) {
    return std::nullopt;
  }
}

std::string RecordOf(const cv::Mat& m) {
  std::ostringstream out;
  WriteMat(m, out);
  return out.str();
}

TEST(RecordLimits, RecordOf2To31SamplesEndsAfterItsHeader) {
  const auto m = Untouched(1 << 16, 1 << 15, CV_8UC1);
  if (!m) GTEST_SKIP() << "no room for a matrix of 2 GiB";
  EXPECT_EQ(RecordOf(*m), Le(1 << 16) + Le(1 << 15) + Le(0) + Le(1));
}

TEST(RecordLimits, RecordOf2To32SamplesEndsAfterItsHeaderToo) {
  const auto m = Untouched(1 << 16, 1 << 16, CV_8UC1);
  if (!m) GTEST_SKIP() << "no room for a matrix of 4 GiB";
  EXPECT_EQ(RecordOf(*m), Le(1 << 16) + Le(1 << 16) + Le(0) + Le(1));
}

TEST(RecordLimits, RecordThatEndsAfterItsHeaderReadsBackEmptyAndTheNextOneIsNotThere) {
  // That is how a record of 2^31 samples stands in a file: what follows it belongs to it.
  const std::string bytes =
      Le(1 << 16) + Le(1 << 15) + Le(0) + Le(1) + Le(1) + Le(1) + Le(0) + Le(1) + "x";
  std::istringstream in(bytes);
  cv::Mat first = cv::Mat::ones(1, 1, CV_8UC1);
  cv::Mat second = cv::Mat::ones(1, 1, CV_8UC1);
  ReadMat(in, first);
  EXPECT_TRUE(first.empty());
  EXPECT_TRUE(in.eof());
  ReadMat(in, second);
  EXPECT_TRUE(second.empty());
}

/// A stream of that many bytes that counts how many were taken.
class CountingBuffer : public std::streambuf {
 public:
  explicit CountingBuffer(std::string bytes) : bytes_(std::move(bytes)) {}
  [[nodiscard]] std::size_t Taken() const { return taken_; }

 private:
  std::streamsize xsgetn(char* out, std::streamsize count) override {
    const std::size_t there = std::min(static_cast<std::size_t>(count), bytes_.size() - taken_);
    bytes_.copy(out, there, taken_);
    taken_ += there;
    return static_cast<std::streamsize>(there);
  }
  std::string bytes_;
  std::size_t taken_ = 0;
};

/// How many of 116 bytes are taken to see that they are too few for that record.
std::size_t TakenFor(const RecordHeader& header) {
  CountingBuffer buffer(header.Bytes() + std::string(100, 'x'));
  std::istream in(&buffer);
  cv::Mat m = cv::Mat::ones(1, 1, CV_8UC1);
  ReadMat(in, m);
  EXPECT_TRUE(m.empty());
  EXPECT_TRUE(in.eof());
  return buffer.Taken();
}

TEST(RecordLimits, PlaneOf2To31BytesIsTheFirstThatNobodyLooksFor) {
  constexpr int kMost = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(TakenFor({1, kMost, CV_8UC1, 1}), 116U);
  EXPECT_EQ(TakenFor({kMost, 1, CV_8UC1, 1}), 116U);
  EXPECT_EQ(TakenFor({1 << 15, (1 << 15) - 1, CV_16UC1, 1}), 116U);
  EXPECT_EQ(TakenFor({1 << 16, 1 << 15, CV_8UC1, 1}), 16U);
  EXPECT_EQ(TakenFor({1 << 15, 1 << 15, CV_16UC1, 1}), 16U);
  EXPECT_EQ(TakenFor({1 << 14, 1 << 14, CV_64FC1, 1}), 16U);
}

TEST(RecordLimits, PlanesTogetherMayHoldMore) {
  EXPECT_EQ(TakenFor({1 << 15, (1 << 15) - 1, CV_16UC1, 4}), 116U);
  EXPECT_EQ(TakenFor({1 << 15, 1 << 15, CV_16UC1, 4}), 16U);
}

TEST(RecordLimits, ClaimIsComparedWithAllPlanes) {
  // 4 planes of 17 MiB are 68 MiB, 4 MiB more than may be missing.
  EXPECT_EQ(TakenFor({17, 1 << 20, CV_8UC1, 4}), 116U);
}

/// What is read from a record of two planes of 2 x 3 16-bit samples that is cut after `length`
/// bytes.
cv::Mat CutAfter(std::size_t length, bool* eof) {
  const std::string whole = RecordHeader{2, 3, CV_16UC2, 2}.Bytes() + "ABCDEFGHIJKLabcdefghijkl";
  std::istringstream in(whole.substr(0, length));
  cv::Mat m;
  ReadMat(in, m);
  *eof = in.eof();
  return m;
}

TEST(RecordLimits, StreamThatEndsInsideAPlaneGivesZerosForTheRest) {
  const std::string text = "ABCDEFGHIJKLabcdefghijkl";
  for (std::size_t length = 16; length <= 40; ++length) {
    bool eof = false;
    const cv::Mat m = CutAfter(length, &eof);
    ASSERT_EQ(m.size(), cv::Size(3, 2)) << length;
    EXPECT_EQ(eof, length < 40) << length;
    const auto byteAt = [&](std::size_t i) {
      return i < length - 16 ? static_cast<unsigned>(text[i]) : 0U;
    };
    for (std::size_t sample = 0; sample < 6; ++sample) {
      const auto& pair =
          m.at<cv::Vec2w>(static_cast<int>(sample / 3), static_cast<int>(sample % 3));
      for (std::size_t plane = 0; plane < 2; ++plane) {
        const std::size_t at = 12 * plane + 2 * sample;
        EXPECT_EQ(pair[static_cast<int>(plane)], byteAt(at) | byteAt(at + 1) << 8U)
            << length << ' ' << sample;
      }
    }
  }
}

}  // namespace

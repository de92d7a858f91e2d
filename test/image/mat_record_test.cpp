#include "image/mat_record.h"

#include <dravix/bio.h>
#include <gmock/gmock.h>

#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "support/mats.h"
#include "support/record_bytes.h"

namespace {

using dravix::base::ByteReader;
using dravix::base::ByteWriter;
using dravix::base::ViewOf;
using dravix::image::ReadMatRecord;
using dravix::image::WriteMatRecord;
using dravix::image::WriteMatRecordAs;
using dravix::test::Le;
using dravix::test::RandomMat;
using dravix::test::RecordHeader;
using dravix::test::SameBytes;

constexpr int kMiB = 1 << 20;

std::string BytesOf(const cv::Mat& m) {
  std::ostringstream out;
  WriteMat(m, out);
  return out.str();
}

cv::Mat FromStream(const std::string& bytes) {
  std::istringstream in(bytes);
  cv::Mat m = cv::Mat::ones(1, 1, CV_8UC1);
  ReadMat(in, m);
  return m;
}

cv::Mat FromBytes(const std::string& bytes) {
  ByteReader in(ViewOf(bytes));
  return ReadMatRecord(in);
}

/// Gives its text in pieces of three bytes, and can neither seek nor say how much is left.
class DribblingBuffer : public std::streambuf {
 public:
  explicit DribblingBuffer(std::string text) : text_(std::move(text)) {}

 private:
  int_type underflow() override {
    if (at_ >= text_.size()) return traits_type::eof();
    const std::size_t bite = std::min<std::size_t>(3, text_.size() - at_);
    setg(&text_[at_], &text_[at_], &text_[at_] + bite);
    at_ += bite;
    return traits_type::to_int_type(*gptr());
  }
  std::string text_;
  std::size_t at_ = 0;
};

TEST(WriteMat, AnEmptyMatrixIsSixteenZeroBytes) {
  EXPECT_EQ(BytesOf(cv::Mat()), std::string(16, '\0'));
  EXPECT_EQ(BytesOf(cv::Mat(0, 5, CV_32FC3)), std::string(16, '\0'));
  EXPECT_EQ(BytesOf(cv::Mat(5, 0, CV_32FC3)), std::string(16, '\0'));
}

TEST(WriteMat, OneSampleIsAHeaderAndTwoBytesLowByteFirst) {
  const cv::Mat m(1, 1, CV_16UC1, cv::Scalar(0x1234));
  EXPECT_EQ(BytesOf(m), Le(1) + Le(1) + Le(2) + Le(1) + "\x34\x12");
}

TEST(WriteMat, ChannelsStandOneAfterAnother) {
  const cv::Mat m = (cv::Mat_<cv::Vec3b>(2, 3) << cv::Vec3b('a', 'A', '0'),
                     cv::Vec3b('b', 'B', '1'), cv::Vec3b('c', 'C', '2'), cv::Vec3b('d', 'D', '3'),
                     cv::Vec3b('e', 'E', '4'), cv::Vec3b('f', 'F', '5'));
  const std::string bytes = BytesOf(m);
  EXPECT_EQ(bytes, Le(2) + Le(3) + Le(int{CV_8UC3}) + Le(3) + "abcdef" + "ABCDEF" + "012345");
  EXPECT_TRUE(SameBytes(FromStream(bytes), m));
}

TEST(WriteMat, TheTypeCodeOfThreeFloatsIs21) {
  EXPECT_EQ(BytesOf(cv::Mat::zeros(1, 1, CV_32FC3)).substr(8, 8), Le(21) + Le(3));
}

TEST(WriteMat, APartOfALargerMatrixIsWrittenLikeItsCopy) {
  for (const int type : {CV_16UC1, CV_8UC3, CV_64FC2}) {
    const cv::Mat whole = RandomMat({9, 8}, type, 7, 0, 200);
    const cv::Mat part = whole(cv::Rect(2, 1, 5, 4));
    ASSERT_FALSE(part.isContinuous());
    EXPECT_EQ(BytesOf(part), BytesOf(part.clone())) << type;
  }
}

TEST(WriteMat, AppendsToWhatIsThere) {
  std::ostringstream out;
  out << "before";
  WriteMat(cv::Mat(), out);
  EXPECT_EQ(out.str(), "before" + std::string(16, '\0'));
}

TEST(WriteMat, ThreeDimensionsAreRefused) {
  const int sizes[] = {2, 2, 2};
  std::ostringstream out;
  EXPECT_THROW(WriteMat(cv::Mat(3, sizes, CV_8UC1, cv::Scalar(1)), out), cv::Exception);
  EXPECT_EQ(out.str(), "");
}

/// Every value of every depth: also those that are no numbers.
cv::Mat RandomBytes(cv::Size size, int type, std::uint64_t seed) {
  cv::Mat m(size, type);
  cv::Mat bytes(m.rows, static_cast<int>(m.step[0]), CV_8UC1, m.data);
  cv::RNG(seed).fill(bytes, cv::RNG::UNIFORM, 0, 256);
  return m;
}

std::string RecordOf(const cv::Mat& m, int depth) {
  ByteWriter out;
  WriteMatRecordAs(depth, m, out);
  dravix::base::ByteCounter counter;
  WriteMatRecordAs(depth, m, counter);
  EXPECT_EQ(counter.Count(), out.Size());
  return {static_cast<const char*>(static_cast<const void*>(out.Data().data())), out.Size()};
}

// The sizes reach from several rows at a time to a single row that is longer than that.
TEST(WriteMatRecordAs, WritesWhatTheConvertedMatrixWouldGive) {
  for (const int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F}) {
    for (const int channels : {1, 3}) {
      for (const cv::Size size : {cv::Size(1, 1), cv::Size(701, 613), cv::Size(300'001, 2)}) {
        const cv::Mat whole = RandomBytes(size + cv::Size(3, 2), CV_MAKETYPE(depth, channels),
                                          static_cast<std::uint64_t>(7 + depth));
        for (const cv::Mat& m : {whole, cv::Mat(whole, cv::Rect(cv::Point(2, 1), size))}) {
          cv::Mat converted;
          m.convertTo(converted, CV_16U);
          EXPECT_TRUE(RecordOf(m, CV_16U) == BytesOf(converted)) << m.type() << ' ' << size;
        }
      }
    }
  }
}

TEST(WriteMatRecordAs, WritesAnEmptyMatrixWhateverItsType) {
  EXPECT_EQ(RecordOf(cv::Mat(0, 5, CV_32FC3), CV_16U), std::string(16, '\0'));
}

TEST(WriteMatRecordAs, RefusesThreeDimensionsBeforeItAppends) {
  const int sizes[] = {2, 2, 2};
  const cv::Mat m(3, sizes, CV_32FC1, cv::Scalar(1));
  ByteWriter out;
  EXPECT_THROW(WriteMatRecordAs(CV_16U, m, out), cv::Exception);
  EXPECT_EQ(out.Size(), 0U);
}

// A plane that lies in one piece is not copied on its way.
TEST(WriteMatRecord, HandsOnAPlaneFromWhereItLies) {
  class Looker final : public dravix::base::ByteSink {
   public:
    void Append(dravix::base::ByteView bytes) override { seen_.push_back(bytes.data()); }
    std::vector<const void*> seen_;
  };
  const cv::Mat m = RandomMat({64, 48}, CV_16UC1, 1, 0, 65536);
  Looker looker;
  WriteMatRecord(m, looker);
  EXPECT_EQ(looker.seen_.back(), m.data);
}

class EveryType : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(EveryType, ReadsBackEqualFromStreamAndFromBytes) {
  const auto [depth, channels] = GetParam();
  cv::RNG rng(static_cast<std::uint64_t>(depth * 1000 + channels));
  for (int round = 0; round < 5; ++round) {
    const cv::Size size(rng.uniform(1, 20), rng.uniform(1, 20));
    // Noise in the bytes reaches every value of every depth, also those that are no numbers.
    cv::Mat m(size, CV_MAKETYPE(depth, channels));
    cv::Mat raw(size.height, static_cast<int>(m.step[0]), CV_8UC1, m.data);
    rng.fill(raw, cv::RNG::UNIFORM, 0, 256);
    const std::string bytes = BytesOf(m);
    EXPECT_EQ(bytes.size(), 16 + m.total() * m.elemSize());
    EXPECT_TRUE(SameBytes(FromStream(bytes), m));
    EXPECT_TRUE(SameBytes(FromBytes(bytes), m));
  }
}

INSTANTIATE_TEST_SUITE_P(ReadMat, EveryType,
                         testing::Combine(testing::Values(CV_8U, CV_8S, CV_16U, CV_16S, CV_32S,
                                                          CV_32F, CV_64F, CV_16F),
                                          testing::Values(1, 2, 3, 4, 5, 512)));

TEST(MatHeader, OfAnEmptyMatrixHasNoBytes) {
  using dravix::image::MatHeader;
  for (const MatHeader& header :
       {MatHeader{}, MatHeader{0, 5, CV_8UC1, 1}, MatHeader{5, -1, CV_8UC1, 999}}) {
    EXPECT_EQ(header.PlaneBytes(), 0U);
    EXPECT_EQ(header.AllPlanesBytes(), 0U);
  }
}

TEST(ReadMat, AnEmptyRecordEndsAfterItsHeader) {
  std::istringstream in(std::string(16, '\0') + "rest");
  cv::Mat m = cv::Mat::ones(2, 2, CV_8UC1);
  ReadMat(in, m);
  EXPECT_TRUE(m.empty());
  std::string rest;
  in >> rest;
  EXPECT_EQ(rest, "rest");
}

TEST(ReadMat, NegativeOrZeroSidesAreEmptyWhateverTheChannels) {
  for (const RecordHeader& header :
       {RecordHeader{-1, 5, 0, 1}, RecordHeader{5, -1, 0, 1}, RecordHeader{0, 5, 0, 9999},
        RecordHeader{5, 0, 0, -3}, RecordHeader{-2, -3, 0, 1}}) {
    EXPECT_TRUE(FromStream(header.Bytes() + "abcdef").empty());
    EXPECT_TRUE(FromBytes(header.Bytes() + "abcdef").empty());
  }
}

TEST(ReadMat, RecordsFollowOneAnother) {
  const cv::Mat first = RandomMat({3, 4}, CV_16UC3, 1, 0, 65536);
  const cv::Mat second = RandomMat({5, 2}, CV_32FC1, 2, -1, 1);
  std::istringstream in(BytesOf(first) + BytesOf(second));
  cv::Mat a;
  cv::Mat b;
  ReadMat(in, a);
  ReadMat(in, b);
  EXPECT_TRUE(SameBytes(a, first));
  EXPECT_TRUE(SameBytes(b, second));
}

TEST(ReadMat, TheChannelFieldCountsNotTheTypesChannelBits) {
  const std::string bytes = RecordHeader{1, 2, CV_8UC3, 1}.Bytes() + "ab";
  const cv::Mat m = FromStream(bytes);
  EXPECT_EQ(m.type(), CV_8UC1);
  EXPECT_EQ(m.at<uchar>(0, 1), 'b');
}

TEST(ReadMat, AHeaderCutShortIsAnEmptyMatrix) {
  const std::string header = RecordHeader{1, 1, CV_8UC1, 1}.Bytes();
  for (std::size_t length = 0; length < header.size(); ++length) {
    EXPECT_TRUE(FromStream(header.substr(0, length)).empty()) << length;
    EXPECT_TRUE(FromBytes(header.substr(0, length)).empty()) << length;
  }
}

TEST(ReadMat, WhatIsMissingFromAPlaneIsZero) {
  const std::string bytes = RecordHeader{2, 2, CV_16UC1, 2}.Bytes() + "\x01\x02\x03\x04\x05";
  const cv::Mat expected = (cv::Mat_<cv::Vec2w>(2, 2) << cv::Vec2w(0x0201, 0), cv::Vec2w(0x0403, 0),
                            cv::Vec2w(0x0005, 0), cv::Vec2w(0, 0));
  EXPECT_TRUE(SameBytes(FromStream(bytes), expected));
  EXPECT_TRUE(SameBytes(FromBytes(bytes), expected));
}

TEST(ReadMat, AClaimOf64MiBMoreThanThereIsGivesAMatrix) {
  const std::string bytes = RecordHeader{64, kMiB, CV_8UC1, 1}.Bytes();
  for (const cv::Mat& m : {FromStream(bytes), FromBytes(bytes)}) {
    EXPECT_EQ(m.size(), cv::Size(kMiB, 64));
    EXPECT_EQ(cv::countNonZero(m), 0);
  }
}

TEST(ReadMat, AClaimOfOneByteMoreThanThatGivesAnEmptyMatrix) {
  const std::string bytes = RecordHeader{1, 64 * kMiB + 2, CV_8UC1, 1}.Bytes() + "x";
  EXPECT_TRUE(FromStream(bytes).empty());
  EXPECT_TRUE(FromBytes(bytes).empty());
}

TEST(ReadMat, APlaneOf2GiBGivesAnEmptyMatrixAndConsumesTheRest) {
  for (const RecordHeader& header :
       {RecordHeader{1 << 16, 1 << 15, CV_8UC1, 1}, RecordHeader{1 << 28, 1, CV_64FC1, 1},
        RecordHeader{INT32_MAX, INT32_MAX, CV_64FC1, 512}}) {
    const std::string bytes = header.Bytes() + "rest";
    EXPECT_TRUE(FromStream(bytes).empty());
    ByteReader in(ViewOf(bytes));
    EXPECT_TRUE(ReadMatRecord(in).empty());
    EXPECT_FALSE(in.Has(1));
  }
}

TEST(ReadMat, AnAbsurdClaimConsumesTheRest) {
  const std::string bytes = RecordHeader{1 << 14, 1 << 14, CV_8UC1, 3}.Bytes() + "rest";
  std::istringstream in(bytes);
  cv::Mat m = cv::Mat::ones(1, 1, CV_8UC1);
  ReadMat(in, m);
  EXPECT_TRUE(m.empty());
  EXPECT_EQ(in.peek(), std::char_traits<char>::eof());
  ByteReader reader(ViewOf(bytes));
  EXPECT_TRUE(ReadMatRecord(reader).empty());
  EXPECT_FALSE(reader.Has(1));
}

TEST(ReadMat, AnImpossibleChannelCountThrowsAndLeavesTheMatrix) {
  for (const int channels : {0, -1, 513, INT32_MIN, INT32_MAX}) {
    const std::string bytes = RecordHeader{1, 1, CV_8UC1, channels}.Bytes() + "x";
    std::istringstream in(bytes);
    cv::Mat m(1, 1, CV_8UC1, cv::Scalar(77));
    EXPECT_THROW(ReadMat(in, m), cv::Exception) << channels;
    EXPECT_EQ(m.at<uchar>(0), 77);
    EXPECT_THROW(FromBytes(bytes), cv::Exception) << channels;
  }
}

TEST(ReadMat, ReadsFromAStreamThatCannotSeek) {
  const cv::Mat m = RandomMat({13, 11}, CV_16UC3, 5, 0, 65536);
  DribblingBuffer buffer(BytesOf(m) + "!");
  std::istream in(&buffer);
  cv::Mat read;
  ReadMat(in, read);
  EXPECT_TRUE(SameBytes(read, m));
  EXPECT_EQ(in.get(), '!');
}

/// A header and then zeros without end; counts the bytes that were taken.
class EndlessBuffer : public std::streambuf {
 public:
  explicit EndlessBuffer(std::string front) : front_(std::move(front)) {}
  [[nodiscard]] std::uint64_t Taken() const { return taken_; }

 private:
  std::streamsize xsgetn(char* out, std::streamsize count) override {
    for (std::streamsize i = 0; i < count; ++i, ++taken_) {
      out[i] = taken_ < front_.size() ? front_[static_cast<std::size_t>(taken_)] : '\0';
    }
    return count;
  }
  std::string front_;
  std::uint64_t taken_ = 0;
};

TEST(ReadMat, TakesNoMoreOfAnEndlessStreamThanItsRecord) {
  for (const RecordHeader& header :
       {RecordHeader{3, 5, CV_16UC1, 2}, RecordHeader{}, RecordHeader{1 << 13, 9000, CV_8UC1, 1}}) {
    EndlessBuffer buffer(header.Bytes());
    std::istream in(&buffer);
    cv::Mat m;
    ReadMat(in, m);
    EXPECT_EQ(m.size(), cv::Size(header.cols, header.rows));
    EXPECT_EQ(buffer.Taken(), 16 + m.total() * m.elemSize());
    EXPECT_TRUE(in.good());
  }
}

TEST(ReadMat, APlaneOf2GiBIsNotLookedForInAnEndlessStream) {
  EndlessBuffer buffer(RecordHeader{1 << 16, 1 << 15, CV_8UC1, 1}.Bytes());
  std::istream in(&buffer);
  cv::Mat m = cv::Mat::ones(1, 1, CV_8UC1);
  ReadMat(in, m);
  EXPECT_TRUE(m.empty());
  EXPECT_EQ(buffer.Taken(), 16U);
  EXPECT_EQ(in.peek(), std::char_traits<char>::eof());
}

TEST(ReadMat, PlanesLargerThanOneChunkReadBack) {
  const cv::Mat m = RandomMat({1500, 1200}, CV_16UC1, 9, 0, 65536);
  EXPECT_TRUE(SameBytes(FromStream(BytesOf(m)), m));
}

TEST(ReadMat, TheReadMatrixOwnsItsPixels) {
  cv::Mat m;
  {
    const std::string bytes = RecordHeader{1, 2, CV_8UC1, 1}.Bytes() + "ab";
    m = FromBytes(bytes);
  }
  EXPECT_EQ(m.at<uchar>(0, 0), 'a');
}

}  // namespace

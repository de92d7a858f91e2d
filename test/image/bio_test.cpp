#include <dravix/bio.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <locale>
#include <sstream>

#include "support/log_capture.h"
#include "support/mats.h"
#include "support/pipe_writer.h"
#include "support/record_bytes.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::Le;
using dravix::test::LogCapture;
#ifndef _WIN32
using dravix::test::PipeWriter;
#endif
using dravix::test::RandomMat;
using dravix::test::RecordHeader;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::SpillWithHoles;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

class Bio : public testing::Test {
 protected:
  /// The one error line of a call that could not open `name`.
  static std::string Unopened(const std::string& function, const std::string& name) {
    return "BIO::" + function + " -- Failed to Open file. fullname = " + name;
  }
  TempDir dir_;
  LogCapture log_;
  std::string name_ = dir_.File("a.bin");
  std::string missing_ = dir_.File("missing/a.bin");
};

// --- matrix files ---

TEST_F(Bio, ABinFileHoldsMarkAndRecord) {
  EXPECT_TRUE(BIO::SaveMatToBin(name_, cv::Mat(1, 1, CV_16UC1, cv::Scalar(0x1234))));
  EXPECT_EQ(Slurp(name_), "L" + Le(1) + Le(1) + Le(2) + Le(1) + "\x34\x12");
  EXPECT_TRUE(BIO::SaveMatToBin(name_, cv::Mat()));
  EXPECT_EQ(Slurp(name_), "L" + std::string(16, '\0'));
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(Bio, ABinFileReadsBackEqual) {
  for (const int type : {CV_8UC1, CV_16UC3, CV_64FC2}) {
    const cv::Mat m = RandomMat({17, 9}, type, 4, 0, 200);
    EXPECT_TRUE(BIO::SaveMatToBin(name_, m));
    cv::Mat read;
    EXPECT_TRUE(BIO::LoadBinToMat(name_, read));
    EXPECT_TRUE(SameBytes(read, m));
  }
}

TEST_F(Bio, AnotherFirstByteLeavesTheMatrix) {
  for (const std::string& bytes : {std::string(), "B" + RecordHeader{1, 1, 0, 1}.Bytes() + "x"}) {
    Spill(name_, bytes);
    cv::Mat m(1, 1, CV_8UC1, cv::Scalar(77));
    EXPECT_TRUE(BIO::LoadBinToMat(name_, m));
    EXPECT_EQ(m.at<uchar>(0), 77);
  }
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(Bio, ReadsOnlyTheRecordOfAFile) {
  const std::string name = dir_.File("huge.bin");
  cv::Mat m(1, 1, CV_8UC1, cv::Scalar(9));
  if (!SpillWithHoles(name, "x")) GTEST_SKIP() << "no files of this size here";
  EXPECT_TRUE(BIO::LoadBinToMat(name, m));
  EXPECT_EQ(m.at<uchar>(0), 9);
  ASSERT_TRUE(SpillWithHoles(name, "L" + RecordHeader{1, 2, CV_8UC1, 1}.Bytes() + "ab"));
  EXPECT_TRUE(BIO::LoadBinToMat(name, m));
  EXPECT_TRUE(SameBytes(m, (cv::Mat_<uchar>(1, 2) << 'a', 'b')));
  ASSERT_TRUE(SpillWithHoles(name, "3 4\n"));
  EXPECT_TRUE(BIO::LoadTxtToMat(name, {2, 1}, m));
  EXPECT_TRUE(SameBytes(m, (cv::Mat_<float>(1, 2) << 3, 4)));
}

#ifndef _WIN32
TEST_F(Bio, DevicesWithoutAnEndAreAnswered) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  cv::Mat m(1, 1, CV_8UC1, cv::Scalar(77));
  EXPECT_TRUE(BIO::LoadBinToMat("/dev/zero", m));
  EXPECT_EQ(m.at<uchar>(0), 77);
  EXPECT_TRUE(BIO::LoadTxtToMat("/dev/zero", {2, 1}, m));
  EXPECT_TRUE(SameBytes(m, cv::Mat::zeros(1, 2, CV_32FC1)));
  EXPECT_THAT(log_.Lines(), IsEmpty());
  std::vector<std::string> names;
  EXPECT_FALSE(BIO::ReadFullNameListTxt("/dev/zero", names));
  EXPECT_THAT(names, IsEmpty());
  EXPECT_THAT(log_.Errors(), ElementsAre(Unopened("ReadFullNameListTxt", "/dev/zero")));
}

TEST_F(Bio, APipeIsReadAsFarAsItsRecordGoes) {
  const cv::Mat expected = RandomMat({1500, 1200}, CV_16UC3, 9, 0, 65536);
  std::ostringstream record;
  WriteMat(expected, record);
  cv::Mat m;
  const PipeWriter pipe(name_, "L" + record.str());
  EXPECT_TRUE(BIO::LoadBinToMat(name_, m));
  EXPECT_TRUE(SameBytes(m, expected));
}

TEST_F(Bio, ARecordInAPipeWithoutAnEndTakesNoMoreThanItClaims) {
  constexpr int kPlane = 1 << 27;
  constexpr std::uint64_t kOnTheWay = 3 << 16;
  cv::Mat m;
  const PipeWriter pipe(name_, "L" + RecordHeader{1, kPlane, CV_8UC1, 1}.Bytes(),
                        PipeWriter::Then::kZerosWithoutEnd);
  EXPECT_TRUE(BIO::LoadBinToMat(name_, m));
  EXPECT_EQ(m.size(), cv::Size(kPlane, 1));
  EXPECT_LE(pipe.Written(), kPlane + kOnTheWay);
}

TEST_F(Bio, NumbersWithoutAnEndAreAnswered) {
  constexpr std::uint64_t kMostOfANumber = (1 << 20) + (3 << 16);
  for (const char* const front : {"1 2 3", "1 2 ", "1 2 0.3"}) {
    const std::string name = dir_.File(std::string("pipe") + front);
    const PipeWriter pipe(name, front, PipeWriter::Then::kLastByteWithoutEnd);
    cv::Mat m;
    EXPECT_TRUE(BIO::LoadTxtToMat(name, {4, 1}, m));
    EXPECT_EQ(m.at<float>(1), 2) << front;
    EXPECT_EQ(m.at<float>(3), 0) << front;
    EXPECT_LE(pipe.Written(), kMostOfANumber) << front;
  }
}
#endif

TEST_F(Bio, ANumberMayBeLong) {
  cv::Mat m;
  for (const std::string& blank : {std::string(1'000'000, ' '), std::string(1'000'000, '0')}) {
    Spill(name_, blank + "1 " + blank + "2.5 3");
    EXPECT_TRUE(BIO::LoadTxtToMat(name_, {3, 1}, m));
    EXPECT_TRUE(SameBytes(m, (cv::Mat_<float>(1, 3) << 1, 2.5F, 3)));
    Spill(name_, "1 " + blank + blank + "2.5 3");
    EXPECT_TRUE(BIO::LoadTxtToMat(name_, {3, 1}, m));
    EXPECT_TRUE(SameBytes(m, (cv::Mat_<float>(1, 3) << 1, 0, 0)));
  }
}

TEST_F(Bio, AnEmptyOrAbsurdRecordGivesAnEmptyMatrix) {
  for (const RecordHeader& header : {RecordHeader{}, RecordHeader{1 << 14, 1 << 14, 0, 1}}) {
    Spill(name_, "L" + header.Bytes());
    cv::Mat m(1, 1, CV_8UC1, cv::Scalar(77));
    EXPECT_TRUE(BIO::LoadBinToMat(name_, m));
    EXPECT_TRUE(m.empty());
  }
}

TEST_F(Bio, AnImpossibleChannelCountThrowsAndLeavesTheMatrix) {
  Spill(name_, "L" + RecordHeader{1, 1, 0, 0}.Bytes() + "x");
  cv::Mat m(1, 1, CV_8UC1, cv::Scalar(77));
  EXPECT_THROW(BIO::LoadBinToMat(name_, m), cv::Exception);
  EXPECT_EQ(m.at<uchar>(0), 77);
}

TEST_F(Bio, MoreThanTwoDimensionsThrowAndLeaveTheFile) {
  Spill(name_, "old");
  const int sizes[] = {2, 2, 2};
  EXPECT_THROW(BIO::SaveMatToBin(name_, cv::Mat(3, sizes, CV_8UC1, cv::Scalar(1))), cv::Exception);
  EXPECT_EQ(Slurp(name_), "old");
}

TEST_F(Bio, FilesThatCannotBeOpenedAreReported) {
  cv::Mat m;
  EXPECT_FALSE(BIO::SaveMatToBin(missing_, m));
  EXPECT_FALSE(BIO::LoadBinToMat(missing_, m));
  EXPECT_FALSE(BIO::LoadBinToMat(dir_.File(""), m));
  EXPECT_THAT(log_.Errors(),
              ElementsAre(Unopened("SaveMatToBin", missing_), Unopened("LoadBinToMat", missing_),
                          Unopened("LoadBinToMat", dir_.File(""))));
}

#ifdef __linux__
TEST_F(Bio, AFullDeviceIsReported) {
  EXPECT_FALSE(BIO::SaveMatToBin("/dev/full", cv::Mat::zeros(1, 1, CV_8UC1)));
  EXPECT_THAT(log_.Errors(),
              ElementsAre("BIO::SaveMatToBin -- Failed to write file. fullname = /dev/full"));
}
#endif

// --- tables ---

TEST_F(Bio, NumbersAreSeparatedByAnyWhiteSpace) {
  Spill(name_, " 1\t2.5\r\n\n-3e2\v4\f5 \n 6 7");
  cv::Mat m;
  EXPECT_TRUE(BIO::LoadTxtToMat(name_, {3, 2}, m));
  EXPECT_TRUE(SameBytes(m, (cv::Mat_<float>(2, 3) << 1, 2.5F, -300, 4, 5, 6)));
}

TEST_F(Bio, TheRestIsZeroWhereNoNumberCanBeRead) {
  for (const char* text : {"1 2 x 4", "1 2", "1 2 -", "1 2 1e99 4"}) {
    Spill(name_, text);
    cv::Mat m;
    EXPECT_TRUE(BIO::LoadTxtToMat(name_, {2, 2}, m));
    EXPECT_TRUE(SameBytes(m, (cv::Mat_<float>(2, 2) << 1, 2, 0, 0))) << text;
  }
}

TEST_F(Bio, ASizeWithoutElementsGivesAnEmptyMatrix) {
  Spill(name_, "1 2 3");
  for (const cv::Size size : {cv::Size(0, 0), cv::Size(0, 3), cv::Size(3, 0), cv::Size(-1, -1)}) {
    cv::Mat m(1, 1, CV_8UC1);
    EXPECT_TRUE(BIO::LoadTxtToMat(name_, size, m));
    EXPECT_TRUE(m.empty());
  }
}

/// The numbers of a language that has a decimal comma and separates thousands by points.
class CommaNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(Bio, TheHostsLanguageDoesNotMatter) {
  Spill(name_, "1.5 2.25");
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
  cv::Mat m;
  EXPECT_TRUE(BIO::LoadTxtToMat(name_, {2, 1}, m));
  std::locale::global(before);
  EXPECT_TRUE(SameBytes(m, (cv::Mat_<float>(1, 2) << 1.5F, 2.25F)));
}

TEST_F(Bio, ATableThatCannotBeOpenedLeavesTheMatrix) {
  cv::Mat m(1, 1, CV_8UC1, cv::Scalar(77));
  EXPECT_FALSE(BIO::LoadTxtToMat(missing_, {2, 2}, m));
  EXPECT_THAT(log_.Errors(), ElementsAre(Unopened("LoadTxtToMat", missing_)));
  EXPECT_EQ(m.at<uchar>(0), 77);
}

// --- lists of names ---

TEST_F(Bio, EveryLineIsAName) {
  Spill(name_, "a\n\nb");
  std::vector<std::string> names{"before"};
  EXPECT_TRUE(BIO::ReadFullNameListTxt(name_, names));
  EXPECT_THAT(names, ElementsAre("before", "a", "", "b"));
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(Bio, ALineBreakAtTheEndAddsNoName) {
  std::vector<std::string> names;
  for (const char* text : {"", "a\n", "\n", "a b \n\n"}) {
    Spill(name_, text);
    EXPECT_TRUE(BIO::ReadFullNameListTxt(name_, names));
  }
  EXPECT_THAT(names, ElementsAre("a", "", "a b ", ""));
}

TEST_F(Bio, AListThatCannotBeOpenedAddsNothing) {
  std::vector<std::string> names{"before"};
  EXPECT_FALSE(BIO::ReadFullNameListTxt(missing_, names));
  EXPECT_THAT(names, ElementsAre("before"));
  EXPECT_THAT(log_.Errors(), ElementsAre(Unopened("ReadFullNameListTxt", missing_)));
}

}  // namespace

#include <dravix/bimage.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <thread>

#include "raw/camera_bytes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/pipe_writer.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::HighFirst;
using dravix::test::LogCapture;
using dravix::test::LowFirst;
#ifndef _WIN32
using dravix::test::PipeWriter;
#endif
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::Spill;
using dravix::test::SpillWithHoles;
using dravix::test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

class InFolder : public testing::Test {
 protected:
  /// Makes a file of these bytes; gives its full name.
  std::string FileOf(const std::string& bytes) {
    const std::string name = dir_.File("camera.file");
    Spill(name, bytes);
    return name;
  }
  TempDir dir_;
  LogCapture log_;
};

// --- raw dumps ---

using ReadOrvelRaw = InFolder;

TEST_F(ReadOrvelRaw, LowByteComesFirst) {
  const cv::Mat m = BImage::ReadOrvelRaw(FileOf("\x34\x12\xff\xee"), 1, 2);
  EXPECT_TRUE(SameBytes(m, (cv::Mat_<std::uint16_t>(1, 2) << 0x1234, 0xeeff)));
}

TEST_F(ReadOrvelRaw, RowsFollowFromTheTop) {
  for (const cv::Size size : {cv::Size(7, 5), cv::Size(1, 64), cv::Size(640, 481)}) {
    const cv::Mat expected = RandomMat(size, CV_16UC1, 4, 0, 65536);
    EXPECT_TRUE(SameBytes(BImage::ReadOrvelRaw(FileOf(LowFirst(expected)), size.height, size.width),
                          expected));
  }
  EXPECT_THAT(log_.Errors(), IsEmpty());
}

TEST_F(ReadOrvelRaw, OneByteMoreOrLessIsRefused) {
  for (const std::size_t bytes : {11U, 13U, 0U, 24U}) {
    const std::string name = FileOf(std::string(bytes, 'x'));
    log_.Clear();
    EXPECT_TRUE(BImage::ReadOrvelRaw(name, 2, 3).empty()) << bytes;
    EXPECT_THAT(log_.Errors(),
                ElementsAre("BImage::ReadOrvelRaw -- Check file size, fullname = " + name));
  }
}

TEST_F(ReadOrvelRaw, LooksAtTheSizeFirst) {
  const std::string name = dir_.File("huge.raw");
  if (!SpillWithHoles(name, "")) GTEST_SKIP() << "no files of this size here";
  EXPECT_TRUE(BImage::ReadOrvelRaw(name, 2, 3).empty());
  EXPECT_THAT(log_.Errors(),
              ElementsAre("BImage::ReadOrvelRaw -- Check file size, fullname = " + name));
}

#ifndef _WIN32
TEST_F(ReadOrvelRaw, ADeviceWithoutAnEndIsRefusedAfterOneByteTooMany) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  EXPECT_TRUE(BImage::ReadOrvelRaw("/dev/zero", 2, 3).empty());
  EXPECT_THAT(log_.Errors(),
              ElementsAre("BImage::ReadOrvelRaw -- Check file size, fullname = /dev/zero"));
}

TEST_F(ReadOrvelRaw, APipeThatHoldsThePictureIsRead) {
  const cv::Mat expected = RandomMat({640, 481}, CV_16UC1, 4, 0, 65536);
  const std::string name = dir_.File("pipe.raw");
  std::thread reader;
  cv::Mat read;
  {
    const PipeWriter pipe(name, LowFirst(expected));
    reader = std::thread([&] { read = BImage::ReadOrvelRaw(name, 481, 640); });
  }
  reader.join();
  EXPECT_TRUE(SameBytes(read, expected));
}
#endif

TEST_F(ReadOrvelRaw, SidesWhoseProductWrapsAreRefused) {
  const std::string name = FileOf("abcdefghijkl");
  EXPECT_TRUE(BImage::ReadOrvelRaw(name, -2, -3).empty());
  EXPECT_TRUE(BImage::ReadOrvelRaw(name, 6, -1).empty());
  EXPECT_TRUE(BImage::ReadOrvelRaw(name, -6, 1).empty());
  EXPECT_TRUE(BImage::ReadOrvelRaw(FileOf(""), 1 << 16, 1 << 16).empty());
  EXPECT_TRUE(BImage::ReadOrvelRaw(FileOf(""), INT32_MAX, INT32_MAX).empty());
  EXPECT_EQ(log_.Errors().size(), 5U);
}

TEST_F(ReadOrvelRaw, AnEmptyFileIsAPictureWithoutRows) {
  EXPECT_TRUE(BImage::ReadOrvelRaw(FileOf(""), 0, 7).empty());
  EXPECT_THAT(log_.Errors(), IsEmpty());
}

TEST_F(ReadOrvelRaw, RowsWithoutSamplesAreNotLookedAt) {
  // There are as many as would take a loop seconds.
  EXPECT_TRUE(BImage::ReadOrvelRaw(FileOf(""), INT32_MAX, 0).empty());
  EXPECT_TRUE(BImage::ReadOrvelRaw(FileOf(""), 0, INT32_MAX).empty());
  EXPECT_THAT(log_.Errors(), IsEmpty());
}

TEST_F(ReadOrvelRaw, AMissingFileAndAFolderCannotBeOpened) {
  for (const std::string& name : {dir_.File("missing"), dir_.File("")}) {
    log_.Clear();
    EXPECT_TRUE(BImage::ReadOrvelRaw(name, 2, 3).empty());
    EXPECT_THAT(log_.Errors(),
                ElementsAre("BImage::ReadOrvelRaw -- Open file failure, fullname = " + name));
  }
}

// --- gray maps ---

class ReadPgm16 : public InFolder {
 protected:
  /// Reads a file of these bytes. Fails the test when a refused one changes the image or when
  /// anything is logged.
  bool Reads(const std::string& bytes) {
    image_ = cv::Mat(1, 1, CV_8UC1, cv::Scalar(99));
    const bool read = BImage::ReadPgm16(FileOf(bytes), image_);
    EXPECT_THAT(log_.Lines(), IsEmpty());
    if (!read) {
      EXPECT_EQ(image_.at<uchar>(0), 99);
    }
    return read;
  }
  cv::Mat image_;
};

TEST_F(ReadPgm16, HighByteComesFirst) {
  EXPECT_TRUE(Reads("P5\n2 1\n65535\n\x12\x34\xee\xff"));
  EXPECT_TRUE(SameBytes(image_, (cv::Mat_<std::uint16_t>(1, 2) << 0x1234, 0xeeff)));
}

TEST_F(ReadPgm16, WidthComesBeforeHeight) {
  const cv::Mat expected = RandomMat({5, 3}, CV_16UC1, 8, 0, 65536);
  EXPECT_TRUE(Reads("P5\n5 3\n65535\n" + HighFirst(expected)));
  EXPECT_TRUE(SameBytes(image_, expected));
}

TEST_F(ReadPgm16, TheLargestValueIsNotUsed) {
  EXPECT_TRUE(Reads("P5\n1 1\n255\n\x12\x34"));
  EXPECT_EQ(image_.at<std::uint16_t>(0), 0x1234);
}

TEST_F(ReadPgm16, BytesBehindThePictureDoNotMatter) {
  EXPECT_TRUE(Reads("P5\n1 1\n65535\n\x12\x34more"));
  EXPECT_EQ(image_.size(), cv::Size(1, 1));
}

TEST_F(ReadPgm16, AMissingFileIsReportedOnTheStandardOutput) {
  const std::string name = dir_.File("missing");
  cv::Mat image(1, 1, CV_8UC1, cv::Scalar(99));
  CaptureStdout();
  EXPECT_FALSE(BImage::ReadPgm16(name, image));
  EXPECT_EQ(GetCapturedStdout(), "Open file failure, fullname = " + name + "\n");
  EXPECT_EQ(image.at<uchar>(0), 99);
}

TEST_F(ReadPgm16, AnotherFirstLineIsReportedOnTheStandardError) {
  for (const char* first : {"P2\n", "P5 \n", " P5\n", "P5\r\n", "P5 1 1\n", "", "\n", "P55\n"}) {
    CaptureStderr();
    EXPECT_FALSE(Reads(std::string(first) + "1 1\n65535\nxy")) << first;
    EXPECT_EQ(GetCapturedStderr(), "Version error\n") << first;
  }
}

TEST_F(ReadPgm16, AHeaderThatIsNotThreeLinesIsRefused) {
  for (const char* rest : {"# comment\n1 1\n65535\nxyz", "1\n1\n65535\nxyz", "a b\n65535\nxyz",
                           "1 1\n# comment\n65535\nxy", "1 1\n\nxyz", "1 1\nabc\nxyz", "1 1", "",
                           "1 b\n65535\nxyz", "99999999999999999999 1\n65535\nxyz"}) {
    EXPECT_FALSE(Reads(std::string("P5\n") + rest)) << rest;
  }
}

TEST_F(ReadPgm16, SizesThatTheFileDoesNotHoldAreRefused) {
  for (const char* size : {"2 1", "1 2", "0 1", "1 0", "-1 1", "-1 -1", "2147483647 2147483647",
                           "2147483648 1", "1 4294967297", "9223372036854775807 2"}) {
    EXPECT_FALSE(Reads("P5\n" + std::string(size) + "\n65535\nxyz")) << size;
  }
}

TEST_F(ReadPgm16, LooksAtTheFrontFirst) {
  const std::string name = dir_.File("huge.pgm");
  if (!SpillWithHoles(name, "P6\n")) GTEST_SKIP() << "no files of this size here";
  CaptureStdout();
  CaptureStderr();
  EXPECT_FALSE(BImage::ReadPgm16(name, image_));
  EXPECT_EQ(GetCapturedStderr(), "Version error\n");
  ASSERT_TRUE(SpillWithHoles(name, "P5\n2 1\n"));
  EXPECT_FALSE(BImage::ReadPgm16(name, image_));  // a line without an end
  ASSERT_TRUE(SpillWithHoles(name, "P5\n2 1\n65535\n\1\2\3\4"));
  EXPECT_TRUE(BImage::ReadPgm16(name, image_));
  EXPECT_TRUE(SameBytes(image_, (cv::Mat_<std::uint16_t>(1, 2) << 0x0102, 0x0304)));
  EXPECT_EQ(GetCapturedStdout(), "");
}

#ifndef _WIN32
TEST_F(ReadPgm16, ADeviceWithoutAnEndIsAnsweredByItsFirstLine) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  CaptureStderr();
  EXPECT_FALSE(BImage::ReadPgm16("/dev/zero", image_));
  EXPECT_EQ(GetCapturedStderr(), "Version error\n");
}

TEST_F(ReadPgm16, APipeIsReadAsFarAsItsPictureGoes) {
  const PipeWriter wrong(dir_.File("wrong.pgm"), "X");
  CaptureStderr();
  EXPECT_FALSE(BImage::ReadPgm16(dir_.File("wrong.pgm"), image_));
  EXPECT_EQ(GetCapturedStderr(), "Version error\n");
  const PipeWriter right(dir_.File("right.pgm"), "P5\n2 1\n65535\n\1\2\3\4");
  EXPECT_TRUE(BImage::ReadPgm16(dir_.File("right.pgm"), image_));
  EXPECT_TRUE(SameBytes(image_, (cv::Mat_<std::uint16_t>(1, 2) << 0x0102, 0x0304)));
}
#endif

TEST_F(ReadPgm16, LinesMayBeLong) {
  EXPECT_TRUE(Reads("P5\n2 1" + std::string(200'000, ' ') + "\n65535\n" + "\1\2\3\4"));
  EXPECT_TRUE(SameBytes(image_, (cv::Mat_<std::uint16_t>(1, 2) << 0x0102, 0x0304)));
}

TEST_F(ReadPgm16, AShortFileIsRefused) {
  EXPECT_FALSE(Reads("P5\n2 2\n65535\n1234567"));
  EXPECT_TRUE(Reads("P5\n2 2\n65535\n12345678"));
}

}  // namespace

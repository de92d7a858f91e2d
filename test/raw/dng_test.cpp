#include <dravix/bimage.h>
#include <gmock/gmock.h>

#include <filesystem>

#include "raw/camera_bytes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/pipe_writer.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::DngFile;
using dravix::test::DngOf;
using dravix::test::HighFirst;
using dravix::test::Le;
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

const char* const kNotDng = "        Error :: file not dng image \n";

/// Tests both readers. The parameter is true for the one whose strip tag points at an array of
/// offsets.
class ReadDng : public testing::TestWithParam<bool> {
 protected:
  static bool Indirect() { return GetParam(); }
  static cv::Mat ReadNamed(const std::string& name) {
    return Indirect() ? BImage::ReadRggbDng(name) : BImage::ReadDngToup(name);
  }
  /// The picture as it lies in the file, and what the reader printed.
  cv::Mat Read(const std::string& bytes) {
    const std::string name = dir_.File("camera.dng");
    Spill(name, bytes);
    testing::internal::CaptureStdout();
    cv::Mat m = ReadNamed(name);
    printed_ = testing::internal::GetCapturedStdout();
    if (!Indirect() && !m.empty()) cv::flip(m, m, 0);
    return m;
  }
  TempDir dir_;
  LogCapture log_;
  std::string printed_;
};

INSTANTIATE_TEST_SUITE_P(BImage, ReadDng, testing::Bool(), [](const auto& reader) {
  return reader.param ? std::string("Rggb") : std::string("Toup");
});

TEST_P(ReadDng, LowByteComesFirstAfterII) {
  const cv::Mat samples = RandomMat({6, 4}, CV_16UC1, 2, 0, 65536);
  EXPECT_TRUE(SameBytes(Read(DngOf({6, 4}, LowFirst(samples), Indirect()).Bytes()), samples));
  EXPECT_EQ(printed_, "");
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_P(ReadDng, HighByteComesFirstAfterAnythingElse) {
  const cv::Mat samples = RandomMat({6, 4}, CV_16UC1, 3, 0, 65536);
  DngFile file = DngOf({6, 4}, HighFirst(samples), Indirect());
  for (const char* mark : {"MM", "Ix", "xI", "  "}) {
    file.byteOrder = mark;  // the numbers of the header stay low byte first
    EXPECT_TRUE(SameBytes(Read(file.Bytes()), samples)) << mark;
  }
}

TEST_P(ReadDng, OtherTagsAndFieldTypesDoNotMatter) {
  const cv::Mat samples = RandomMat({5, 2}, CV_16UC1, 4, 0, 65536);
  DngFile file;
  file.entries = {{254, 1}, {256, 5, 3}, {257, 2, 99, 12345}, {258, 8}, {259, 7},
                  {273, 0}, {279, 1}};
  file.entries[5].value = file.TailAt();
  file.tail = (Indirect() ? Le(file.TailAt() + 4) : "") + LowFirst(samples);
  EXPECT_TRUE(SameBytes(Read(file.Bytes()), samples));
}

TEST_P(ReadDng, OfEqualTagsTheLastCounts) {
  const cv::Mat samples = RandomMat({3, 2}, CV_16UC1, 5, 0, 65536);
  DngFile file;
  file.entries = {{256, 99}, {257, 99}, {273, 99}, {256, 3}, {257, 2}, {273, 0}};
  file.entries[5].value = file.TailAt();
  file.tail = (Indirect() ? Le(file.TailAt() + 4) : "") + LowFirst(samples);
  EXPECT_TRUE(SameBytes(Read(file.Bytes()), samples));
}

TEST_P(ReadDng, TheDirectoryMayLieBehindTheSamples) {
  const cv::Mat samples = RandomMat({4, 3}, CV_16UC1, 6, 0, 65536);
  const std::string pixels = LowFirst(samples);
  const auto at = static_cast<std::uint32_t>(8 + pixels.size());
  const std::string directory = Le(std::uint16_t{3}) + Le(std::uint16_t{256}) +
                                Le(std::uint16_t{4}) + Le(1) + Le(4) + Le(std::uint16_t{257}) +
                                Le(std::uint16_t{4}) + Le(1) + Le(3) + Le(std::uint16_t{273}) +
                                Le(std::uint16_t{4}) + Le(1);
  const std::uint32_t arrayAt = at + static_cast<std::uint32_t>(directory.size()) + 4;
  const std::string bytes = "II" + Le(std::uint16_t{42}) + Le(at) + pixels + directory +
                            Le(Indirect() ? arrayAt : 8U) + Le(8U);
  EXPECT_TRUE(SameBytes(Read(bytes), samples));
}

TEST_P(ReadDng, AnotherMagicIsNoDng) {
  DngFile file = DngOf({1, 1}, "ab", Indirect());
  for (const int magic : {0, 41, 43, 0x2a00, 42 + 256}) {
    file.magic = static_cast<std::uint16_t>(magic);
    EXPECT_TRUE(Read(file.Bytes()).empty()) << magic;
    EXPECT_EQ(printed_, kNotDng) << magic;
  }
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_P(ReadDng, AFileStoredHighByteFirstThroughoutIsNoDng) {
  EXPECT_TRUE(Read(std::string("MM\0\x2a\0\0\0\x08", 8)).empty());
  EXPECT_EQ(printed_, kNotDng);
}

TEST_P(ReadDng, AFileWithoutAMagicIsNoDng) {
  for (const std::size_t length : {0U, 1U, 2U, 3U}) {
    EXPECT_TRUE(Read(std::string("II*\0", 4).substr(0, length)).empty()) << length;
    EXPECT_EQ(printed_, kNotDng) << length;
  }
}

TEST_P(ReadDng, EveryCutGivesAnEmptyMatrix) {
  const DngFile file = DngOf({3, 2}, "abcdefghijkl", Indirect());
  const std::string whole = file.Bytes();
  ASSERT_FALSE(Read(whole).empty());
  for (std::size_t length = 4; length < whole.size(); ++length) {
    EXPECT_TRUE(Read(whole.substr(0, length)).empty()) << length;
    // A file that ends within its directory has not told where its samples are.
    EXPECT_EQ(printed_, length < file.TailAt() ? kNotDng : "") << length;
  }
}

TEST_P(ReadDng, AFileWithoutANeededTagIsNoDng) {
  const DngFile whole = DngOf({1, 1}, "abcdefgh", Indirect());
  for (std::size_t i = 0; i < whole.entries.size(); ++i) {
    DngFile file = whole;
    file.entries[i].tag = 300;
    EXPECT_TRUE(Read(file.Bytes()).empty()) << i;
    EXPECT_EQ(printed_, kNotDng) << i;
  }
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

#ifndef _WIN32
TEST_P(ReadDng, ADeviceWithoutAnEndIsAnsweredByItsMagic) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  testing::internal::CaptureStdout();
  EXPECT_TRUE(ReadNamed("/dev/zero").empty());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), kNotDng);
}

TEST_P(ReadDng, APipeIsReadAsFarAsItsPictureGoes) {
  const cv::Mat expected = RandomMat({6, 4}, CV_16UC1, 12, 0, 65536);
  const PipeWriter pipe(dir_.File("pipe.dng"),
                        DngOf({6, 4}, LowFirst(expected), Indirect()).Bytes());
  cv::Mat m = ReadNamed(dir_.File("pipe.dng"));
  ASSERT_FALSE(m.empty());
  if (!Indirect()) cv::flip(m, m, 0);
  EXPECT_TRUE(SameBytes(m, expected));
}
#endif

TEST_P(ReadDng, AbsurdSizesGiveAnEmptyMatrix) {
  for (const std::uint32_t width : {0U, 2U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
    for (const std::uint32_t height : {0U, 2U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
      DngFile file = DngOf({1, 1}, "ab", Indirect());
      file.entries[0].value = width;
      file.entries[1].value = height;
      EXPECT_TRUE(Read(file.Bytes()).empty()) << width << " x " << height;
    }
  }
}

TEST_P(ReadDng, OffsetsOutsideTheFileGiveAnEmptyMatrix) {
  const DngFile whole = DngOf({1, 1}, "ab", Indirect());
  const auto length = static_cast<std::uint32_t>(whole.Bytes().size());
  for (const std::uint32_t offset : {length - 1, length, length + 1, 0x7fffffffU, 0xffffffffU}) {
    DngFile directory = whole;
    directory.directoryAt = offset;
    EXPECT_TRUE(Read(directory.Bytes()).empty()) << offset;
    DngFile strip = whole;
    strip.entries[2].value = offset;
    EXPECT_TRUE(Read(strip.Bytes()).empty()) << offset;
  }
}

TEST_P(ReadDng, ADirectoryThatClaimsMoreEntriesThanItHasGivesAnEmptyMatrix) {
  std::string bytes = DngOf({1, 1}, "ab", Indirect()).Bytes();
  bytes[8] = '\xff';
  bytes[9] = '\xff';
  EXPECT_TRUE(Read(bytes).empty());
}

TEST_P(ReadDng, OnlyWhatBelongsToThePictureIsRead) {
  const cv::Mat expected = RandomMat({6, 4}, CV_16UC1, 11, 0, 65536);
  const std::string bytes = DngOf({6, 4}, LowFirst(expected), Indirect()).Bytes();
  const std::string name = dir_.File("huge.dng");
  if (!SpillWithHoles(name, bytes)) GTEST_SKIP() << "no files of this size here";
  cv::Mat m = ReadNamed(name);
  ASSERT_FALSE(m.empty());
  if (!Indirect()) cv::flip(m, m, 0);
  EXPECT_TRUE(SameBytes(m, expected));
  ASSERT_TRUE(SpillWithHoles(name, "II"));
  testing::internal::CaptureStdout();
  EXPECT_TRUE(ReadNamed(name).empty());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), kNotDng);
}

TEST_P(ReadDng, AMissingFileAndAFolderAreLogged) {
  const std::string reader = Indirect() ? "ReadRggbDng" : "ReadDngToup";
  for (const std::string& name : {dir_.File("missing.dng"), dir_.File("")}) {
    log_.Clear();
    EXPECT_TRUE(ReadNamed(name).empty());
    EXPECT_THAT(log_.Errors(),
                ElementsAre("BImage::" + reader + " -- Failed to Open file. fullname = " + name));
  }
}

TEST(ReadRggbDng, AnOffsetBehindTheEndGivesAnEmptyMatrix) {
  const TempDir dir;
  const std::string name = dir.File("camera.dng");
  for (const std::uint32_t offset : {51U, 52U, 0x7fffffffU, 0xffffffffU}) {
    DngFile file = DngOf({1, 1}, "ab", true);
    ASSERT_EQ(file.Bytes().size(), 52U);
    file.tail = Le(offset) + "ab";
    Spill(name, file.Bytes());
    EXPECT_TRUE(BImage::ReadRggbDng(name).empty()) << offset;
  }
}

TEST(ReadDngToup, TheFirstRowIsTheLastInTheFile) {
  const TempDir dir;
  const std::string name = dir.File("camera.dng");
  Spill(name, DngOf({1, 3}, std::string("\1\0\2\0\3\0", 6), false).Bytes());
  EXPECT_TRUE(SameBytes(BImage::ReadDngToup(name), (cv::Mat_<std::uint16_t>(3, 1) << 3, 2, 1)));
}

TEST(ReadRggbDng, TheFirstRowIsTheFirstInTheFile) {
  const TempDir dir;
  const std::string name = dir.File("camera.dng");
  Spill(name, DngOf({1, 3}, std::string("\1\0\2\0\3\0", 6), true).Bytes());
  EXPECT_TRUE(SameBytes(BImage::ReadRggbDng(name), (cv::Mat_<std::uint16_t>(3, 1) << 1, 2, 3)));
}

TEST(ReadDng, SurvivesFilesOfNoise) {
  const TempDir dir;
  const LogCapture log;
  const std::string name = dir.File("noise.dng");
  const std::string whole = DngOf({3, 2}, "abcdefghijkl", true).Bytes();
  cv::RNG rng(11);
  testing::internal::CaptureStdout();
  for (int round = 0; round < 300; ++round) {
    std::string bytes = whole;
    for (int i = 0; i < 3; ++i) {
      bytes[static_cast<std::size_t>(rng.uniform(4, static_cast<int>(bytes.size())))] =
          static_cast<char>(rng.uniform(0, 256));
    }
    Spill(name, bytes);
    for (const cv::Mat& m : {BImage::ReadRggbDng(name), BImage::ReadDngToup(name)}) {
      ASSERT_LE(m.total() * 2, bytes.size());
    }
  }
  std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed.size() % std::string(kNotDng).size(), 0U);
  while (printed.starts_with(kNotDng)) printed.erase(0, std::string(kNotDng).size());
  EXPECT_EQ(printed, "");
}

}  // namespace

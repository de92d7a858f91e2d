// Files that other programs wrote: some are kept in a folder of their own, some are made here.
#include <dravix/bimage.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "raw/camera_bytes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::LogCapture;
using dravix::test::LowFirst;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

// --- kept samples ---

/// What an independent reader found in a file.
struct Expected {
  int rows = 0, cols = 0;
  std::uint64_t sum = 0;
  int first = 0, last = 0;
  std::string fnv1a64;
};

std::map<std::string, Expected> ReadExpected(const std::string& fullname) {
  std::map<std::string, Expected> all;
  std::ifstream in(fullname);
  for (std::string line; std::getline(in, line);) {
    std::istringstream fields(line);
    std::string name;
    Expected e;
    if (fields >> name >> e.rows >> e.cols >> e.sum >> e.first >> e.last >> e.fnv1a64)
      all[name] = e;
  }
  return all;
}

std::string Fnv1a64(const std::string& bytes) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char byte : bytes) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  }
  std::ostringstream hex;
  hex << std::hex;
  hex.width(16);
  hex.fill('0');
  hex << hash;
  return hex.str();
}

class Samples : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(File("expected.txt"))) {
      GTEST_SKIP() << "no camera files in " << DRAVIX_SAMPLES_DIR;
    }
    expected_ = ReadExpected(File("expected.txt"));
  }
  static std::string File(const std::string& name) {
    return (std::filesystem::path(DRAVIX_SAMPLES_DIR) / name).string();
  }
  void ExpectFound(const std::string& name, const cv::Mat& m) {
    SCOPED_TRACE(name);
    ASSERT_EQ(expected_.count(name), 1U);
    const Expected& expected = expected_[name];
    ASSERT_EQ(m.size(), cv::Size(expected.cols, expected.rows));
    ASSERT_EQ(m.type(), CV_16UC1);
    EXPECT_EQ(cv::sum(m)[0], static_cast<double>(expected.sum));
    EXPECT_EQ(m.at<std::uint16_t>(0, 0), expected.first);
    EXPECT_EQ(m.at<std::uint16_t>(m.rows - 1, m.cols - 1), expected.last);
    EXPECT_EQ(Fnv1a64(LowFirst(m)), expected.fnv1a64);
  }
  std::map<std::string, Expected> expected_;
};

TEST_F(Samples, OneStripFilesHoldWhatAnIndependentReaderFinds) {
  for (const char* name :
       {"16bit.cropped.tif", "16bit.s.tif", "uint16_1_4660.tif", "emubayer_test.dng"}) {
    cv::Mat m = BImage::ReadDngToup(File(name));
    ASSERT_FALSE(m.empty()) << name;
    cv::flip(m, m, 0);
    ExpectFound(name, m);
  }
}

TEST_F(Samples, AdjoiningStripsHoldWhatAnIndependentReaderFinds) {
  for (const char* name : {"12in16bit.tif", "16_bit_noise.tif", "minisblack-1c-i16b.tiff",
                           "seq-1c-16b-multistrip.tiff"}) {
    ExpectFound(name, BImage::ReadRggbDng(File(name)));
  }
}

TEST_F(Samples, GrayMapsHoldWhatAnIndependentReaderFinds) {
  for (const char* name : {"hopper_16bit.pgm", "16_bit_binary.pgm"}) {
    cv::Mat m;
    ASSERT_TRUE(BImage::ReadPgm16(File(name), m)) << name;
    ExpectFound(name, m);
  }
}

TEST_F(Samples, HighByteFirstFilesAreNoDng) {
  for (const char* name : {"16bit.MM.cropped.tif", "flower-minisblack-16.tif"}) {
    CaptureStdout();
    EXPECT_TRUE(BImage::ReadRggbDng(File(name)).empty());
    EXPECT_TRUE(BImage::ReadDngToup(File(name)).empty());
    const std::string line = "        Error :: file not dng image \n";
    EXPECT_EQ(GetCapturedStdout(), line + line) << name;
  }
}

TEST_F(Samples, PackedSamplesAreRefused) {
  EXPECT_TRUE(BImage::ReadRggbDng(File("packed14_colorchart.dng")).empty());
  EXPECT_TRUE(BImage::ReadDngToup(File("packed14_colorchart.dng")).empty());
}

TEST_F(Samples, ACommentInTheHeaderIsRefused) {
  cv::Mat m;
  EXPECT_FALSE(BImage::ReadPgm16(File("random-fp16.pgm"), m));
  EXPECT_TRUE(m.empty());
}

TEST_F(Samples, AnAsciiFileIsAnotherVersion) {
  cv::Mat m;
  CaptureStderr();
  EXPECT_FALSE(BImage::ReadPgm16(File("ascii_p2_l16a.pgm"), m));
  EXPECT_EQ(GetCapturedStderr(), "Version error\n");
}

TEST_F(Samples, EveryReaderSurvivesEveryFile) {
  const LogCapture log;
  CaptureStdout();
  CaptureStderr();
  for (const auto& entry : std::filesystem::directory_iterator(DRAVIX_SAMPLES_DIR)) {
    const std::string name = entry.path().string();
    cv::Mat m;
    BImage::ReadRggbDng(name);
    BImage::ReadDngToup(name);
    BImage::ReadPgm16(name, m);
    BImage::ReadOrvelRaw(name, 1024, 1024);
  }
  EXPECT_NE(GetCapturedStdout(), "");
  EXPECT_NE(GetCapturedStderr(), "");
}

// --- files made here ---

#ifndef _WIN32

class Programs : public testing::Test {
 protected:
  /// Skips the test when a program is not installed.
  static bool Has(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
  }
  void Run(const std::string& command) {
    ASSERT_EQ(std::system(("cd '" + dir_.Path().string() + "' && " + command).c_str()), 0)
        << command;
  }
  /// The plane that a headerless dump of the other program holds.
  cv::Mat Dump(const std::string& name) {
    return BImage::ReadOrvelRaw(dir_.File(name), size_.height, size_.width);
  }
  cv::Mat OneStrip(const std::string& name) {
    cv::Mat m = BImage::ReadDngToup(dir_.File(name));
    if (!m.empty()) cv::flip(m, m, 0);
    return m;
  }

  TempDir dir_;
  const cv::Size size_{37, 23};
  const cv::Mat samples_ = RandomMat(size_, CV_16UC1, 77, 0, 65536);
};

#define DRAVIX_NEEDS(program) \
  if (!Has(program)) GTEST_SKIP() << program << " is not installed"

TEST_F(Programs, ImageMagickGrayMapsReadBackEqual) {
  DRAVIX_NEEDS("convert");
  Spill(dir_.File("in.raw"), LowFirst(samples_));
  Run("convert -size 37x23 -depth 16 -endian LSB gray:in.raw out.pgm");
  Run("convert out.pgm -depth 16 -endian LSB gray:said.raw");
  cv::Mat m;
  ASSERT_TRUE(BImage::ReadPgm16(dir_.File("out.pgm"), m));
  EXPECT_TRUE(SameBytes(m, samples_));
  EXPECT_TRUE(SameBytes(m, Dump("said.raw")));
}

TEST_F(Programs, NetpbmGrayMapsReadBackEqual) {
  DRAVIX_NEEDS("pgmnoise");
  DRAVIX_NEEDS("pamtopnm");
  Run("pgmnoise -maxval=65535 -randomseed=5 37 23 > noise.pgm");
  Run("pgmramp -lr -maxval=60000 37 23 > ramp.pgm");
  Run("pamdepth 65535 ramp.pgm > deeper.pgm");
  for (const std::string name : {"noise", "ramp", "deeper"}) {
    SCOPED_TRACE(name);
    Run("pamtopnm -plain " + name + ".pgm > " + name + ".txt");
    cv::Mat m;
    ASSERT_TRUE(BImage::ReadPgm16(dir_.File(name + ".pgm"), m));
    std::istringstream plain(Slurp(dir_.File(name + ".txt")));
    std::string version;
    cv::Size size;
    int largest = 0;
    plain >> version >> size.width >> size.height >> largest;
    ASSERT_EQ(version, "P2");
    cv::Mat said(size, CV_16UC1);
    for (auto it = said.begin<std::uint16_t>(); it != said.end<std::uint16_t>(); ++it) plain >> *it;
    ASSERT_TRUE(plain.good() || plain.eof());
    EXPECT_TRUE(SameBytes(m, said));
  }
}

TEST_F(Programs, LibtiffOneStripFilesReadBackEqual) {
  DRAVIX_NEEDS("raw2tiff");
  DRAVIX_NEEDS("tiffcp");
  Spill(dir_.File("in.raw"), LowFirst(samples_));
  Run("raw2tiff -M -c none -w 37 -l 23 -d short in.raw made.tif");
  Run("tiffcp -L -c none -r 23 made.tif copied.tif");
  EXPECT_TRUE(SameBytes(OneStrip("made.tif"), samples_));
  EXPECT_TRUE(SameBytes(OneStrip("copied.tif"), samples_));
}

TEST_F(Programs, LibtiffFilesOfSeveralStripsReadBackEqual) {
  DRAVIX_NEEDS("raw2tiff");
  DRAVIX_NEEDS("tiffcp");
  Spill(dir_.File("in.raw"), LowFirst(samples_));
  Run("raw2tiff -M -c none -w 37 -l 23 -d short in.raw made.tif");
  Run("tiffcp -L -c none -r 4 made.tif strips.tif");
  EXPECT_TRUE(SameBytes(BImage::ReadRggbDng(dir_.File("strips.tif")), samples_));
}

TEST_F(Programs, LibtiffHighByteFirstIsNoDng) {
  DRAVIX_NEEDS("raw2tiff");
  DRAVIX_NEEDS("tiffcp");
  Spill(dir_.File("in.raw"), LowFirst(samples_));
  Run("raw2tiff -M -c none -w 37 -l 23 -d short in.raw made.tif");
  Run("tiffcp -B -c none made.tif swapped.tif");
  CaptureStdout();
  EXPECT_TRUE(BImage::ReadDngToup(dir_.File("swapped.tif")).empty());
  EXPECT_EQ(GetCapturedStdout(), "        Error :: file not dng image \n");
}

TEST_F(Programs, ImageMagickOneStripFilesReadBackEqual) {
  DRAVIX_NEEDS("convert");
  Spill(dir_.File("in.raw"), LowFirst(samples_));
  Run("convert -size 37x23 -depth 16 -endian LSB gray:in.raw -compress none -endian LSB "
      "-define tiff:rows-per-strip=23 out.tif");
  Run("convert out.tif -depth 16 -endian LSB gray:said.raw");
  EXPECT_TRUE(SameBytes(OneStrip("out.tif"), samples_));
  EXPECT_TRUE(SameBytes(OneStrip("out.tif"), Dump("said.raw")));
}

#endif

}  // namespace

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>

#include "base/bytes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::LogCapture;
using dravix::test::LogLevel;
using dravix::test::LogLine;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::Slurp;
using dravix::test::Spill;
using dravix::test::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <class T>
std::string Little(T value) {
  std::string bytes;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    bytes += static_cast<char>(static_cast<std::make_unsigned_t<T>>(value) >> (8 * i));
  }
  return bytes;
}

/// A .roi file written out by hand.
struct Record {
  char mark = 'L';
  std::int32_t version = 1;
  std::int32_t frameWidth = 4000, frameHeight = 3000;
  std::int32_t x = -7, y = 300, width = 3, height = 2;
  std::int32_t rows = 2, cols = 3, type = CV_8UC1, channels = 1;
  std::string pixels = std::string("\x00\xff\x01\x80\x00\xff", 6);

  std::string Bytes() const {
    std::string bytes(1, mark);
    for (const std::int32_t field :
         {version, frameWidth, frameHeight, x, y, width, height, rows, cols, type, channels}) {
      bytes += Little(field);
    }
    return bytes + pixels;
  }
};

RegionOI Expected() {
  RegionOI region;
  region.frameWidth = 4000;
  region.frameHeight = 3000;
  region.rect = cv::Rect(-7, 300, 3, 2);
  region.mask = (cv::Mat_<uchar>(2, 3) << 0, 255, 1, 128, 0, 255);
  return region;
}

void ExpectSameArea(const RegionOI& actual, const RegionOI& expected) {
  EXPECT_EQ(actual.frameWidth, expected.frameWidth);
  EXPECT_EQ(actual.frameHeight, expected.frameHeight);
  EXPECT_EQ(actual.rect, expected.rect);
  EXPECT_TRUE(SameBytes(actual.mask, expected.mask));
}

std::string BufferOf(const RegionOI& region) {
  std::string buffer(1 << 16, '?');
  std::size_t size = buffer.size();
  EXPECT_EQ(region.ToBuffer(buffer.data(), &size), DRAVIX_OK);
  buffer.resize(size);
  return buffer;
}

TEST(RegionFile, LayoutIsMarkVersionFrameRectangleMask) {
  const TempDir dir;
  const std::string name = dir.File("area.roi");
  const LogCapture log;
  ASSERT_EQ(Expected().Save(name), DRAVIX_OK);
  const std::string bytes = Slurp(name);
  EXPECT_EQ(bytes, Record().Bytes());
  ASSERT_EQ(bytes.size(), 29U + 16U + 6U);
  EXPECT_EQ(bytes[0], 'L');
  EXPECT_EQ(bytes.substr(1, 4), Little<std::int32_t>(1)) << "version";
  EXPECT_EQ(bytes.substr(5, 4), Little<std::int32_t>(4000)) << "frame width";
  EXPECT_EQ(bytes.substr(9, 4), Little<std::int32_t>(3000)) << "frame height";
  EXPECT_EQ(bytes.substr(13, 4), std::string("\xf9\xff\xff\xff")) << "x = -7";
  EXPECT_EQ(bytes.substr(17, 4), std::string("\x2c\x01\x00\x00", 4)) << "y = 300";
  EXPECT_EQ(bytes.substr(21, 4), Little<std::int32_t>(3)) << "width";
  EXPECT_EQ(bytes.substr(25, 4), Little<std::int32_t>(2)) << "height";
  EXPECT_EQ(bytes.substr(29, 4), Little<std::int32_t>(2)) << "mask's rows";
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::Save"}}));
}

TEST(RegionFile, FileWrittenByHandIsRead) {
  const TempDir dir;
  Spill(dir.File("area.roi"), Record().Bytes());
  RegionOI region;
  const LogCapture log;
  ASSERT_EQ(region.Load(dir.File("area.roi")), DRAVIX_OK);
  ExpectSameArea(region, Expected());
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::Load"}}));
}

TEST(RegionFile, LoadKeepsWhatIsNotStored) {
  const TempDir dir;
  ASSERT_EQ(Expected().Save(dir.File("area.roi")), DRAVIX_OK);
  RegionOI region;
  ASSERT_EQ(region.PerspectiveSet({{0, 0}, {9, 0}, {9, 9}, {0, 9}}), DRAVIX_OK);
  region.blurKernelSize = 9;
  ASSERT_EQ(region.Load(dir.File("area.roi")), DRAVIX_OK);
  EXPECT_EQ(region.mode, 3);
  EXPECT_FALSE(region.perspective.empty());
  EXPECT_EQ(region.blurKernelSize, 9);
}

TEST(RegionFile, EmptyRegionIsSavedAndReadBack) {
  const TempDir dir;
  ASSERT_EQ(RegionOI().Save(dir.File("empty.roi")), DRAVIX_OK);
  EXPECT_EQ(Slurp(dir.File("empty.roi")).size(), 29U + 16U);
  RegionOI region = Expected();
  ASSERT_EQ(region.Load(dir.File("empty.roi")), DRAVIX_OK);
  ExpectSameArea(region, RegionOI());
}

TEST(RegionFile, OtherExtensionsAreRefused) {
  const TempDir dir;
  for (const char* name : {"area.ROI", "area.roi2", "area", "area.shot", "arearoi"}) {
    const LogCapture log;
    EXPECT_EQ(Expected().Save(dir.File(name)), DRAVIX_WRONG_EXTENSION) << name;
    RegionOI region = Expected();
    EXPECT_EQ(region.Load(dir.File(name)), DRAVIX_WRONG_EXTENSION) << name;
    ExpectSameArea(region, Expected());
    EXPECT_THAT(log.Errors(), ElementsAre("RegionOI::Save--Error :: ext filename mismatch.",
                                          "LedRegion::Load--Error :: ext filename mismatch."));
    EXPECT_FALSE(std::filesystem::exists(dir.File(name)));
  }
  EXPECT_EQ(Expected().Save(".roi"), DRAVIX_WRONG_EXTENSION) << "an extension is no name";
  EXPECT_EQ(Expected().Save(""), DRAVIX_WRONG_EXTENSION);
}

TEST(RegionFile, FolderThatIsNotThereCannotBeWrittenTo) {
  const TempDir dir;
  const std::string name = dir.File("none") + "/area.roi";
  const LogCapture log;
  EXPECT_EQ(Expected().Save(name), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log.Errors(),
              ElementsAre("LedRegion::Save -- Failed to Open file. fullname = " + name));
}

TEST(RegionFile, FolderIsNoFile) {
  const TempDir dir;
  const std::string name = dir.File("folder.roi");
  std::filesystem::create_directory(name);
  RegionOI region = Expected();
  EXPECT_EQ(region.Save(name), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(region.Load(name), DRAVIX_CANNOT_READ);
}

#ifdef __linux__
TEST(RegionFile, FullDiskIsAFailureWithOneErrorLine) {
  const TempDir dir;
  const std::string name = dir.File("full.roi");
  std::filesystem::create_symlink("/dev/full", name);
  const LogCapture log;
  EXPECT_EQ(Expected().Save(name), DRAVIX_CANNOT_WRITE);
  EXPECT_THAT(log.Errors(),
              ElementsAre("LedRegion::Save -- Failed to write file. fullname = " + name));
}
#endif

TEST(RegionFile, MissingFileCannotBeRead) {
  const TempDir dir;
  const std::string name = dir.File("none.roi");
  RegionOI region = Expected();
  const LogCapture log;
  EXPECT_EQ(region.Load(name), DRAVIX_CANNOT_READ);
  EXPECT_THAT(log.Errors(),
              ElementsAre("LedRegion::Load -- Failed to Open file. fullname = " + name));
  ExpectSameArea(region, Expected());
}

TEST(RegionFile, MarkIsCheckedBeforeTheVersion) {
  const TempDir dir;
  const std::string name = dir.File("area.roi");
  RegionOI region = Expected();
  for (const std::string& content :
       {Record{.mark = 'B', .version = 9, .pixels = {}}.Bytes(), std::string(), std::string("B")}) {
    Spill(name, content);
    const LogCapture log;
    EXPECT_EQ(region.Load(name), DRAVIX_WRONG_BYTE_ORDER);
    EXPECT_THAT(log.Errors(), ElementsAre("LedRegion::Load -- Error file endianness."));
  }
  ExpectSameArea(region, Expected());
}

TEST(RegionFile, OtherVersionsAreRefused) {
  const TempDir dir;
  const std::string name = dir.File("area.roi");
  RegionOI region = Expected();
  for (const std::string& content : {Record{.version = 2, .frameWidth = 1, .pixels = {}}.Bytes(),
                                     Record{.version = 0, .pixels = {}}.Bytes(),
                                     std::string("L\x01\x00\x00", 4), std::string("L")}) {
    Spill(name, content);
    const LogCapture log;
    EXPECT_EQ(region.Load(name), DRAVIX_WRONG_VERSION);
    EXPECT_THAT(log.Errors(), ElementsAre("LedRegion::Load -- Error version in file."));
  }
  ExpectSameArea(region, Expected());
}

TEST(RegionFile, CutOffAnywhereNeverFailsAndReadsZeros) {
  const std::string whole = Record().Bytes();
  for (std::size_t length = 5; length < whole.size(); ++length) {
    RegionOI region;
    EXPECT_EQ(region.FromBuffer(whole.data(), length), DRAVIX_OK) << length;
    EXPECT_EQ(region.frameWidth, length < 9 ? 0 : 4000) << length;
    EXPECT_EQ(region.mask.empty(), length < 45) << length;
  }
  RegionOI cut;
  ASSERT_EQ(cut.FromBuffer(whole.data(), whole.size() - 2), DRAVIX_OK);
  const cv::Mat expected = (cv::Mat_<uchar>(2, 3) << 0, 255, 1, 128, 0, 0);
  EXPECT_TRUE(SameBytes(cut.mask, expected));
}

TEST(RegionFile, AbsurdMaskGivesAnEmptyOne) {
  const std::string bytes = Record{.rows = INT_MAX, .cols = INT_MAX}.Bytes();
  RegionOI region = Expected();
  ASSERT_EQ(region.FromBuffer(bytes.data(), bytes.size()), DRAVIX_OK);
  EXPECT_TRUE(region.mask.empty());
  EXPECT_EQ(region.frameWidth, 4000);
}

TEST(RegionFile, ImpossibleChannelCountRaisesAndChangesNothing) {
  const std::string bytes = Record{.frameWidth = 1, .x = 1, .channels = 0}.Bytes();
  RegionOI region = Expected();
  EXPECT_THROW(region.FromBuffer(bytes.data(), bytes.size()), cv::Exception);
  ExpectSameArea(region, Expected());
}

TEST(RegionFile, EveryRegionComesBackAsItWas) {
  const TempDir dir;
  RegionOI region;
  region.frameWidth = INT_MAX;
  region.frameHeight = INT_MIN;
  region.rect = cv::Rect(1, INT_MIN, 317, 211);
  region.mask = RandomMat({317, 211}, CV_8UC1, 4, 0, 256);
  ASSERT_EQ(region.Save(dir.File("area.roi")), DRAVIX_OK);
  RegionOI loaded;
  ASSERT_EQ(loaded.Load(dir.File("area.roi")), DRAVIX_OK);
  ExpectSameArea(loaded, region);
}

TEST(RegionFile, PartOfALargerMaskIsStoredAsItsOwnPixels) {
  RegionOI region = Expected();
  const cv::Mat large = RandomMat({9, 9}, CV_8UC1, 4, 0, 256);
  region.mask = large(cv::Rect(2, 3, 3, 2));
  RegionOI read;
  const std::string buffer = BufferOf(region);
  ASSERT_EQ(read.FromBuffer(buffer.data(), buffer.size()), DRAVIX_OK);
  EXPECT_TRUE(SameBytes(read.mask, region.mask));
}

// --- buffers ---

TEST(RegionBuffer, HoldsTheBytesOfTheFile) {
  const LogCapture log;
  EXPECT_EQ(BufferOf(Expected()), Record().Bytes());
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::ToBuffer"}}));
}

TEST(RegionBuffer, SizeIsTheNumberOfBytes) {
  std::size_t size = 0;
  const LogCapture log;
  EXPECT_EQ(Expected().GetBufferSize(&size), DRAVIX_OK);
  EXPECT_EQ(size, Record().Bytes().size());
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::GetBufferSize"}}));
}

TEST(RegionBuffer, EmptyRegionHasNoSize) {
  std::size_t size = 77;
  EXPECT_EQ(RegionOI().GetBufferSize(&size), DRAVIX_NO_RESULT);
  RegionOI region = Expected();
  region.rect.width = 0;
  EXPECT_EQ(region.GetBufferSize(&size), DRAVIX_NO_RESULT);
  region = Expected();
  region.rect.height = -1;
  EXPECT_EQ(region.GetBufferSize(&size), DRAVIX_NO_RESULT);
  region = Expected();
  region.mask.release();
  EXPECT_EQ(region.GetBufferSize(&size), DRAVIX_NO_RESULT);
  EXPECT_EQ(size, 77U);
}

TEST(RegionBuffer, NullPointersAreRefused) {
  std::size_t size = 100;
  char byte = 0;
  RegionOI region = Expected();
  EXPECT_EQ(region.GetBufferSize(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(region.ToBuffer(nullptr, &size), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(region.ToBuffer(&byte, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(region.FromBuffer(nullptr, 100), DRAVIX_NULL_ARGUMENT);
  ExpectSameArea(region, Expected());
}

TEST(RegionBuffer, OneByteShortIsTooSmallAndTouchesNothing) {
  const std::size_t length = Record().Bytes().size();
  std::string buffer(length, '?');
  std::size_t size = length - 1;
  EXPECT_EQ(Expected().ToBuffer(buffer.data(), &size), DRAVIX_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, length - 1);
  EXPECT_EQ(buffer, std::string(length, '?'));
}

TEST(RegionBuffer, ExactSizeIsEnough) {
  const std::size_t length = Record().Bytes().size();
  std::string buffer(length, '?');
  std::size_t size = length;
  EXPECT_EQ(Expected().ToBuffer(buffer.data(), &size), DRAVIX_OK);
  EXPECT_EQ(size, length);
  EXPECT_EQ(buffer, Record().Bytes());
}

TEST(RegionBuffer, LargerBufferIsToldTheLengthAndKeepsItsTail) {
  const std::size_t length = Record().Bytes().size();
  std::string buffer(length + 3, '?');
  std::size_t size = buffer.size();
  EXPECT_EQ(Expected().ToBuffer(buffer.data(), &size), DRAVIX_OK);
  EXPECT_EQ(size, length);
  EXPECT_EQ(buffer.substr(length), "???");
}

TEST(RegionBuffer, EmptyRegionIsWrittenAllTheSame) { EXPECT_EQ(BufferOf(RegionOI()).size(), 45U); }

TEST(RegionBuffer, IsRead) {
  const std::string bytes = Record().Bytes();
  RegionOI region;
  const LogCapture log;
  EXPECT_EQ(region.FromBuffer(bytes.data(), bytes.size()), DRAVIX_OK);
  ExpectSameArea(region, Expected());
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "RegionOI::FromBuffer"}}));
}

TEST(RegionBuffer, WrongMarkOrVersionChangesNothing) {
  RegionOI region = Expected();
  const std::string otherMark = Record{.mark = 'B', .frameWidth = 1, .pixels = {}}.Bytes();
  const std::string otherVersion = Record{.version = -1, .frameWidth = 1, .pixels = {}}.Bytes();
  const LogCapture log;
  EXPECT_EQ(region.FromBuffer(otherMark.data(), otherMark.size()), DRAVIX_WRONG_BYTE_ORDER);
  EXPECT_EQ(region.FromBuffer(otherMark.data(), 0), DRAVIX_WRONG_BYTE_ORDER);
  EXPECT_EQ(region.FromBuffer(otherVersion.data(), otherVersion.size()), DRAVIX_WRONG_VERSION);
  EXPECT_THAT(log.Errors(), ElementsAre("RegionOI::FromBuffer -- Error file endianness.",
                                        "RegionOI::FromBuffer -- Error file endianness.",
                                        "RegionOI::FromBuffer -- Error version in file."));
  ExpectSameArea(region, Expected());
}

TEST(RegionBuffer, BytesBehindTheRecordAreNotLookedAt) {
  const std::string bytes = Record().Bytes() + "tail";
  RegionOI region;
  EXPECT_EQ(region.FromBuffer(bytes.data(), bytes.size()), DRAVIX_OK);
  ExpectSameArea(region, Expected());
}

}  // namespace

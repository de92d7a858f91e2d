/// What a file or buffer says about itself costs nothing: no reader uses more than 64 MiB beyond
/// what the bytes that are there can fill, or does more work than they are worth.
#include <dravix/bimage.h>
#include <dravix/bio.h>
#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "extractor/extractor.h"
#include "support/log_capture.h"
#include "support/record_bytes.h"
#include "support/temp_dir.h"
#include "support/watched_memory.h"

namespace dravix::test {
namespace {

constexpr std::ptrdiff_t kMiB = std::ptrdiff_t{1} << 20;
constexpr std::ptrdiff_t kMostBeyond = 64 * kMiB;
/// Buffers of reading, texts of the log and the like.
constexpr std::ptrdiff_t kSmall = 3 * kMiB;

const std::string kHead = "L" + Le(std::int32_t{1});

/// Records that claim about 64 MiB more than their bytes, in one plane and in many, and far more.
std::vector<std::string> Claims(int type) {
  std::vector<std::string> claims;
  const int bytes = static_cast<int>(CV_ELEM_SIZE1(type));
  const auto add = [&](std::int32_t rows, std::int32_t cols, std::int32_t channels) {
    claims.push_back(RecordHeader{rows, cols, CV_MAKETYPE(type, 1), channels}.Bytes());
  };
  for (const int channels : {1, 3, 512}) {
    add(1024, static_cast<int>(kMostBeyond / 1024 / bytes / channels), channels);
    add(1, static_cast<int>(kMostBeyond / bytes / channels), channels);
    add(1 << 15, 1 << 15, channels);
    add(0x7FFFFFFF, 0x7FFFFFFF, channels);
  }
  return claims;
}

using Reader = std::function<void(const std::string& bytes, const TempDir& folder)>;

/// Every reader of a format with a matrix record, from memory and from a file, with what comes
/// before its records.
struct RecordReader {
  std::string before;
  int type;
  Reader read;
};
std::map<std::string, RecordReader> RecordReaders() {
  const auto spilled = [](const TempDir& folder, const char* name, const std::string& bytes) {
    Spill(folder.File(name), bytes);
    return folder.File(name);
  };
  const std::string frame = kHead + std::string(24, '\0');
  const std::string shot = kHead + Le(std::uint32_t{CIE_Y});
  return {
      {"ReadMat",
       {"", CV_16U,
        [](auto& bytes, auto&) {
          std::istringstream in(bytes);
          cv::Mat m;
          ReadMat(in, m);
        }}},
      {"LoadBinToMat",
       {"L", CV_32F,
        [=](auto& bytes, auto& folder) {
          cv::Mat m;
          BIO::LoadBinToMat(spilled(folder, "m.bin", bytes), m);
        }}},
      {"Shot::Load",
       {shot, CV_16U, [=](auto& b, auto& folder) { Shot().Load(spilled(folder, "m.shot", b)); }}},
      {"Shot::FromBuffer",
       {shot, CV_16U, [](auto& bytes, auto&) { Shot().FromBuffer(bytes.data(), bytes.size()); }}},
      {"RegionOI::Load",
       {frame, CV_8U,
        [=](auto& b, auto& folder) { RegionOI().Load(spilled(folder, "m.roi", b)); }}},
      {"RegionOI::FromBuffer",
       {frame, CV_8U,
        [](auto& bytes, auto&) { RegionOI().FromBuffer(bytes.data(), bytes.size()); }}},
      {"DravixLoad",
       {kHead, CV_32F,
        [=](auto& bytes, auto& folder) {
          Dravix dravix;
          DravixLoad(&dravix, spilled(folder, "m.lum", bytes).c_str());
        }}},
      {"DravixFromBuffer",
       {kHead, CV_32F,
        [](auto& bytes, auto&) {
          Dravix dravix;
          DravixFromBuffer(&dravix, bytes.data(), static_cast<std::int64_t>(bytes.size()));
        }}},
  };
}

TEST(Claims, OfRecordsCostAtMost64MiBBeyondTheirBytes) {
  const LogCapture log;
  for (const auto& [name, reader] : RecordReaders()) {
    for (const std::string& claim : Claims(reader.type)) {
      const TempDir folder;
      const std::string bytes = reader.before + claim + std::string(1000, 'x');
      const CountedMemory memory;
      try {
        reader.read(bytes, folder);
      } catch (const cv::Exception&) {
        // An impossible count of channels.
      }
      EXPECT_LE(memory.Peak(), kMostBeyond + kSmall) << name;
      EXPECT_LE(memory.Requests(), 2000) << name;
    }
  }
}

/// Bytes of one megabyte that each reader could take for its own, and what they may be worth: twice
/// their size for what is made of them, beside what a claim may cost.
TEST(Claims, AMegabyteIsAnsweredWithWorkForAMegabyte) {
  const LogCapture log;
  for (const auto& [name, reader] : RecordReaders()) {
    for (const char fill : {'\0', '\1', '\xFF'}) {
      const TempDir folder;
      const std::string bytes = reader.before + std::string(static_cast<std::size_t>(kMiB), fill);
      const CountedMemory memory;
      try {
        reader.read(bytes, folder);
      } catch (const cv::Exception&) {
        // An impossible count of channels.
      }
      EXPECT_LE(memory.Peak(), 2 * kMiB + kMostBeyond + kSmall) << name;
      EXPECT_LE(memory.Requests(), 2000) << name;
    }
  }
}

/// The readers of camera files, and of lists.
std::map<std::string, std::function<void(const std::string& file)>> FileReaders() {
  return {
      {"ReadOrvelRaw", [](auto& file) { BImage::ReadOrvelRaw(file, 20000, 20000); }},
      {"ReadRggbDng", [](auto& file) { BImage::ReadRggbDng(file); }},
      {"ReadDngToup", [](auto& file) { BImage::ReadDngToup(file); }},
      {"ReadPgm16",
       [](auto& file) {
         cv::Mat m;
         BImage::ReadPgm16(file, m);
       }},
      {"LoadTxtToMat",
       [](auto& file) {
         cv::Mat m;
         BIO::LoadTxtToMat(file, {1000, 1000}, m);
       }},
      {"ReadFullNameListTxt",
       [](auto& file) {
         std::vector<std::string> names;
         BIO::ReadFullNameListTxt(file, names);
       }},
  };
}

/// A TIFF directory with the three tags that matter, which claims that size.
std::string ClaimingDng(std::uint32_t width, std::uint32_t height, std::uint32_t strips) {
  const auto entry = [](std::uint16_t tag, std::uint32_t count, std::uint32_t value) {
    return Le(tag) + Le(std::uint16_t{4}) + Le(count) + Le(value);
  };
  return "II" + Le(std::uint16_t{42}) + Le(std::uint32_t{8}) + Le(std::uint16_t{3}) +
         entry(256, 1, width) + entry(257, 1, height) + entry(273, strips, 50) +
         Le(std::uint32_t{0}) + std::string(64, '\1');
}

TEST(Claims, OfCameraFilesCostAtMost64MiBBeyondTheirBytes) {
  const LogCapture log;
  std::vector<std::string> files = {
      "",
      "P5\n60000 60000\n65535\n\1\2",
      "P5\n2147483647 2147483647\n65535\n",
      std::string(static_cast<std::size_t>(kMiB), '\n'),
      std::string(static_cast<std::size_t>(kMiB), '\0'),
      std::string(static_cast<std::size_t>(kMiB), '1'),
      "II*" + std::string(static_cast<std::size_t>(kMiB), '\xFF'),
  };
  for (const std::uint32_t side : {6000U, 60000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    files.push_back(ClaimingDng(side, side, 1));
    files.push_back(ClaimingDng(side, 1, side));
  }
  for (const auto& [name, read] : FileReaders()) {
    for (std::size_t i = 0; i < files.size(); ++i) {
      const TempDir folder;
      const std::string file = folder.File("f");
      Spill(file, files[i]);
      testing::internal::CaptureStdout();
      testing::internal::CaptureStderr();
      {
        const CountedMemory memory;
        read(file);
        // A line of a list may be empty: one byte, and a text of its own.
        const auto filled = static_cast<std::ptrdiff_t>(files[i].size() * sizeof(std::string));
        EXPECT_LE(memory.Peak(), kMostBeyond + kSmall + filled) << name << " of file " << i;
        EXPECT_LE(memory.Requests(), 2000) << name << " of file " << i;
      }
      testing::internal::GetCapturedStdout();
      testing::internal::GetCapturedStderr();
    }
  }
}

/// The width of such a matrix is -1, which OpenCV's TIFF encoder takes for 4 billion pixels.
TEST(Claims, OfMatricesOfThreeDimensionsMakeNoPicture) {
  const LogCapture log;
  const TempDir folder;
  Shot shot;
  shot.type = CIE_Y;
  for (const int type : {CV_8UC1, CV_8UC3, CV_16UC1}) {
    shot.image = cv::Mat({2, 3, 4}, type, cv::Scalar(1));
    for (const char* name : {"p.tif", "p.tiff", "p.png", "p.jpg", "p.bmp", "p.pgm"}) {
      const CountedMemory memory;
      EXPECT_EQ(shot.ExportGrayImage(folder.File(name)), DRAVIX_CANNOT_WRITE) << name;
      EXPECT_EQ(shot.ExportColorImage(folder.File(name)), DRAVIX_CANNOT_WRITE) << name;
      EXPECT_LE(memory.Requested(), kSmall) << name << " of type " << type;
    }
  }
}

}  // namespace
}  // namespace dravix::test

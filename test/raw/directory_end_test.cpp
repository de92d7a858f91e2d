// Where a DNG's directory ends: with the file, before other bytes, or too early. The samples stand
// before it, so that nothing but the directory itself can be missing.
#include <dravix/bimage.h>
#include <gmock/gmock.h>

#include "raw/camera_bytes.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace {

using dravix::test::Le;
using dravix::test::LogCapture;
using dravix::test::LowFirst;
using dravix::test::RandomMat;
using dravix::test::SameBytes;
using dravix::test::Spill;
using dravix::test::TempDir;

const char* const kRefused = "        Error :: file not dng image \n";
const cv::Size kSize(4, 3);

struct Answer {
  cv::Mat picture;
  std::string printed;
};

/// What the reader whose strip tag points at the samples makes of the bytes, in file order.
Answer Read(const std::string& bytes) {
  const TempDir dir;
  const std::string name = dir.File("camera.dng");
  Spill(name, bytes);
  testing::internal::CaptureStdout();
  Answer answer;
  answer.picture = BImage::ReadDngToup(name);
  answer.printed = testing::internal::GetCapturedStdout();
  if (!answer.picture.empty()) cv::flip(answer.picture, answer.picture, 0);
  return answer;
}

std::string Entry(std::uint16_t tag, std::uint32_t value) {
  return Le(tag) + Le(std::uint16_t{4}) + Le(1U) + Le(value);
}

/// Header, samples and then the directory, which says that it has `claimed` entries.
std::string FileWith(const std::string& samples, const std::string& entries, int claimed) {
  const auto directoryAt = static_cast<std::uint32_t>(8 + samples.size());
  return "II" + Le(std::uint16_t{42}) + Le(directoryAt) + samples +
         Le(static_cast<std::uint16_t>(claimed)) + entries;
}

/// The three entries that are needed; the samples lie right behind the header.
std::string Needed(cv::Size size = kSize) {
  return Entry(256, static_cast<std::uint32_t>(size.width)) +
         Entry(257, static_cast<std::uint32_t>(size.height)) + Entry(273, 8);
}

class DngDirectory : public testing::Test {
 protected:
  cv::Mat samples_ = RandomMat(kSize, CV_16UC1, 11, 0, 65536);
  std::string stored_ = LowFirst(samples_);
  LogCapture log_;
};

TEST_F(DngDirectory, MayEndWithTheFile) {
  const Answer answer = Read(FileWith(stored_, Needed(), 3));
  EXPECT_TRUE(SameBytes(answer.picture, samples_));
  EXPECT_EQ(answer.printed, "");
}

TEST_F(DngDirectory, MayBeFollowedByAnyNumberOfBytes) {
  for (std::size_t more = 1; more < 30; ++more) {
    const Answer answer = Read(FileWith(stored_, Needed(), 3) + std::string(more, '\x7f'));
    EXPECT_TRUE(SameBytes(answer.picture, samples_)) << more;
    EXPECT_EQ(answer.printed, "") << more;
  }
}

TEST_F(DngDirectory, EntriesBehindTheClaimedOnesDoNotCount) {
  const std::string entries = Needed() + Entry(256, 1) + Entry(257, 1) + Entry(273, 0);
  EXPECT_TRUE(SameBytes(Read(FileWith(stored_, entries, 3)).picture, samples_));
  EXPECT_EQ(Read(FileWith(stored_, entries, 4)).picture.cols, 1);
  EXPECT_EQ(Read(FileWith(stored_, entries, 5)).picture.rows, 1);
}

TEST_F(DngDirectory, CutShortAnywhereIsNoDngEvenWhereTheNeededEntriesAreThere) {
  // The entry that is cut is one that nobody needs.
  const std::string whole = FileWith(stored_, Needed() + Entry(50706, 1), 4);
  EXPECT_TRUE(SameBytes(Read(whole).picture, samples_));
  for (std::size_t missing = 1; missing <= 12; ++missing) {
    const Answer answer = Read(whole.substr(0, whole.size() - missing));
    EXPECT_TRUE(answer.picture.empty()) << missing;
    EXPECT_EQ(answer.printed, kRefused) << missing;
  }
  EXPECT_TRUE(log_.Errors().empty());
}

TEST_F(DngDirectory, WithoutEntriesOrWithoutTheirNumberIsNoDng) {
  EXPECT_EQ(Read(FileWith(stored_, "", 0)).printed, kRefused);
  const std::string whole = FileWith(stored_, Needed(), 3);
  const std::size_t directoryAt = 8 + stored_.size();
  for (const std::size_t length : {directoryAt, directoryAt + 1}) {
    EXPECT_EQ(Read(whole.substr(0, length)).printed, kRefused) << length;
  }
}

TEST_F(DngDirectory, PictureWithoutRowsOrColumnsIsEmptyAndNoError) {
  for (const cv::Size& size : {cv::Size(4, 0), cv::Size(0, 3), cv::Size(0, 0)}) {
    const Answer answer = Read(FileWith(stored_, Needed(size), 3));
    EXPECT_TRUE(answer.picture.empty()) << size;
    EXPECT_EQ(answer.printed, "") << size;
  }
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(DngDirectory, OnePixelIsAPicture) {
  const Answer answer = Read(FileWith(stored_, Needed({1, 1}), 3));
  EXPECT_TRUE(SameBytes(answer.picture, samples_(cv::Rect(0, 0, 1, 1))));
}

// --- other pictures without rows or columns ---

TEST(PicturesWithoutRows, DumpIsAPictureWithoutRowsOrColumnsIfTheFileIsEmpty) {
  const TempDir dir;
  const std::string empty = dir.File("empty.raw");
  const std::string full = dir.File("full.raw");
  Spill(empty, "");
  Spill(full, "ab");
  for (const cv::Size& size :
       {cv::Size(7, 0), cv::Size(0, 7), cv::Size(0, 0), cv::Size(70000, 0)}) {
    LogCapture log;
    const cv::Mat picture = BImage::ReadOrvelRaw(empty, size.height, size.width);
    EXPECT_EQ(picture.size(), size);
    EXPECT_TRUE(log.Lines().empty()) << size;
    EXPECT_TRUE(BImage::ReadOrvelRaw(full, size.height, size.width).empty());
    EXPECT_EQ(log.Errors(), std::vector<std::string>{
                                "BImage::ReadOrvelRaw -- Check file size, fullname = " + full});
  }
}

TEST(PicturesWithoutRows, GrayMapIsRefusedAndTheImageStays) {
  const TempDir dir;
  const std::string name = dir.File("map.pgm");
  for (const char* size : {"7 0", "0 7", "0 0", "-1 7", "7 -1"}) {
    Spill(name, std::string("P5\n") + size + "\n65535\nabcdefghijklmnop");
    cv::Mat image(1, 1, CV_8UC1, cv::Scalar(5));
    EXPECT_FALSE(BImage::ReadPgm16(name, image)) << size;
    EXPECT_EQ(image.at<uchar>(0, 0), 5);
  }
  Spill(name, "P5\n1 1\n65535\n\x12\x34");
  cv::Mat image;
  ASSERT_TRUE(BImage::ReadPgm16(name, image));
  EXPECT_EQ(image.at<std::uint16_t>(0, 0), 0x1234);
}

}  // namespace

#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>

#include "extractor/extractor.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace dravix::test {
namespace {

using Strings = std::vector<std::string>;

/// A handle that ends with its test; hosts have no way to end one.
class Handle {
 public:
  Handle() { EXPECT_EQ(DravixCreateHandle(&handle_), 0); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { delete handle_; }
  operator DravixHandle() const { return handle_; }

 private:
  DravixHandle handle_ = nullptr;
};

Shot LitShot() {
  Shot shot;
  shot.image = cv::Mat(320, 400, CV_16UC1, cv::Scalar(20));
  shot.image(cv::Rect(50, 40, 300, 240)) = 2000;
  shot.type = CIE_Y;
  shot.pattern = Shot::Pattern{1, 1, 1, 0, 0, 20, 16};
  return shot;
}

constexpr std::array<std::int32_t, 10> kCorners{50, 40, 349, 40, 349, 279, 50, 279, 0, 0};

std::int32_t Measure(DravixHandle handle, const Shot& shot) {
  return DravixExtract(handle, &shot, kCorners.data(), 4, 0, 0, 0);
}

TEST(Exports, HandleIsMade) {
  EXPECT_EQ(DravixCreateHandle(nullptr), 1);
  const Handle handle;
  EXPECT_NE(static_cast<DravixHandle>(handle), nullptr);
}

TEST(Exports, NullHandleComesBeforeEverythingElse) {
  const LogCapture log;
  EXPECT_EQ(DravixExtract(nullptr, nullptr, nullptr, 99, 0, 0, 0), 1);
  EXPECT_EQ(DravixExtractPro(nullptr, nullptr, nullptr, nullptr, {0, 0}, 0, 0), 1);
  EXPECT_EQ(DravixGet(nullptr, nullptr, 0), 1);
  EXPECT_EQ(DravixRelease(nullptr), 1);
  EXPECT_EQ(DravixSave(nullptr, nullptr), 1);
  EXPECT_EQ(DravixLoad(nullptr, nullptr), 1);
  EXPECT_EQ(DravixGetBufferSize(nullptr, nullptr), 1);
  EXPECT_EQ(DravixToBuffer(nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(DravixFromBuffer(nullptr, nullptr, 0), 1);
  EXPECT_EQ(DravixExportImage(nullptr, nullptr, 0), 1);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(Exports, OtherNullsAreAnsweredWithOne) {
  const Handle handle;
  const Shot shot = LitShot();
  const RegionOI region;
  char byte = 0;
  std::uint64_t size = 0;
  EXPECT_EQ(DravixExtract(handle, nullptr, kCorners.data(), 4, 0, 0, 0), 1);
  EXPECT_EQ(DravixExtract(handle, &shot, nullptr, 4, 0, 0, 0), 1);
  EXPECT_EQ(DravixExtractPro(handle, nullptr, &shot, &shot, {2, 2}, -1, -1), 1);
  EXPECT_EQ(DravixExtractPro(handle, &region, nullptr, &shot, {2, 2}, -1, -1), 1);
  EXPECT_EQ(DravixExtractPro(handle, &region, &shot, nullptr, {2, 2}, -1, -1), 1);
  EXPECT_EQ(DravixGet(handle, nullptr, 0), 1);
  EXPECT_EQ(DravixSave(handle, nullptr), 1);
  EXPECT_EQ(DravixLoad(handle, nullptr), 1);
  EXPECT_EQ(DravixGetBufferSize(handle, nullptr), 1);
  EXPECT_EQ(DravixToBuffer(handle, nullptr, &size), 1);
  EXPECT_EQ(DravixToBuffer(handle, &byte, nullptr), 1);
  EXPECT_EQ(DravixFromBuffer(handle, nullptr, 5), 1);
  EXPECT_EQ(DravixExportImage(handle, nullptr, 0), 1);
}

TEST(Exports, WrongCornerCountsAreRefusedWithoutALineAndWithoutTouchingTheExtractor) {
  const Handle handle;
  const Shot shot = LitShot();
  const LogCapture log;
  for (const std::int32_t count : {-1, 0, 2, 5}) {
    EXPECT_EQ(DravixExtract(handle, &shot, kCorners.data(), count, 0, 0, 0), 280);
  }
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(static_cast<DravixHandle>(handle)->shot, nullptr);
}

TEST(Exports, FreshHandleHasNoResult) {
  const Handle handle;
  DravixResult result{};
  std::uint64_t size = 7;
  const LogCapture log;
  EXPECT_EQ(DravixGet(handle, &result, 1), 5);
  EXPECT_EQ(DravixExportImage(handle, "x.png", 1), 5);
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(DravixGetBufferSize(handle, &size), 5);
  EXPECT_EQ(size, 7U);
}

TEST(Exports, MeasurementIsHandedOutByReferenceAndByCopy) {
  const Handle handle;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(handle, shot), 0);
  DravixResult own{};
  DravixResult copy{};
  ASSERT_EQ(DravixGet(handle, &own, 0), 0);
  ASSERT_EQ(DravixGet(handle, &copy, 1), 0);
  const std::unique_ptr<char[]> marks(static_cast<char*>(copy.resultImage.data));
  const std::unique_ptr<char[]> lum(static_cast<char*>(copy.lum.data));
  EXPECT_EQ(own.lum.data, static_cast<DravixHandle>(handle)->lum.data);
  EXPECT_NE(copy.lum.data, own.lum.data);
  for (const DravixResult& result : {own, copy}) {
    EXPECT_EQ(result.lum.rows, 16);
    EXPECT_EQ(result.lum.cols, 20);
    EXPECT_EQ(result.lum.type, 5);
    EXPECT_EQ(result.lum.size, 16 * 20 * 4);
    EXPECT_EQ(result.resultImage.rows, 16);
    EXPECT_EQ(result.resultImage.cols, 20);
    EXPECT_EQ(result.resultImage.type, 0);
    EXPECT_EQ(result.resultImage.size, 16 * 20);
    EXPECT_EQ(*static_cast<const char*>(result.resultImage.data), 2);
  }
  EXPECT_EQ(std::memcmp(copy.lum.data, own.lum.data, 16 * 20 * 4), 0);
}

TEST(Exports, EmptyMatrixIsDescribedByZeros) {
  const Handle handle;
  const Shot shot = LitShot();
  ASSERT_EQ(DravixExtract(handle, &shot, kCorners.data(), 3, 0, 0, 0), 0);
  for (const int copy : {0, 1}) {
    DravixResult result;
    std::memset(&result, 0xAB, sizeof result);
    ASSERT_EQ(DravixGet(handle, &result, copy), 0);
    EXPECT_EQ(result.resultImage.rows, 0);
    EXPECT_EQ(result.resultImage.cols, 0);
    EXPECT_EQ(result.resultImage.type, 0);
    EXPECT_EQ(result.resultImage.size, 0);
    EXPECT_EQ(result.resultImage.data, nullptr);
    EXPECT_EQ(*static_cast<const float*>(result.lum.data), 2048.0F);
    if (copy == 1) delete[] static_cast<char*>(result.lum.data);
  }
}

TEST(Exports, DestroyedHandleStaysUsable) {
  const Handle handle;
  EXPECT_EQ(DravixDestroyHandle(handle), 0);
  EXPECT_EQ(DravixDestroyHandle(nullptr), 0);
  EXPECT_EQ(Measure(handle, LitShot()), 0);
}

TEST(Exports, ReleasedResultIsGoneAndANewOneCanBeMade) {
  const Handle handle;
  const Shot shot = LitShot();
  DravixResult result{};
  ASSERT_EQ(Measure(handle, shot), 0);
  EXPECT_EQ(DravixRelease(handle), 0);
  EXPECT_EQ(DravixGet(handle, &result, 0), 5);
  EXPECT_EQ(Measure(handle, shot), 0);
  EXPECT_EQ(DravixGet(handle, &result, 0), 0);
}

TEST(Exports, ResultGoesThroughFileAndBuffer) {
  const TempDir dir;
  const Handle handle;
  const Handle other;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(handle, shot), 0);
  ASSERT_EQ(DravixSave(handle, dir.File("a.lum").c_str()), 0);
  ASSERT_EQ(DravixLoad(other, dir.File("a.lum").c_str()), 0);
  EXPECT_TRUE(
      SameBytes(static_cast<DravixHandle>(other)->lum, static_cast<DravixHandle>(handle)->lum));
  std::uint64_t size = 0;
  ASSERT_EQ(DravixGetBufferSize(handle, &size), 0);
  std::string buffer(size, '\0');
  ASSERT_EQ(DravixToBuffer(handle, buffer.data(), &size), 0);
  EXPECT_EQ(buffer, Slurp(dir.File("a.lum")));
  ASSERT_EQ(DravixRelease(other), 0);
  ASSERT_EQ(DravixFromBuffer(other, buffer.data(), static_cast<std::int64_t>(size)), 0);
  EXPECT_TRUE(
      SameBytes(static_cast<DravixHandle>(other)->lum, static_cast<DravixHandle>(handle)->lum));
}

TEST(Exports, CodesOfTheFileOperationsArePassedOn) {
  const TempDir dir;
  const Handle handle;
  EXPECT_EQ(DravixSave(handle, "result.LUM"), 8);
  EXPECT_EQ(DravixLoad(handle, ".lum"), 8);
  EXPECT_EQ(DravixLoad(handle, dir.File("missing.lum").c_str()), 2);
  EXPECT_EQ(DravixSave(handle, dir.File("missing/a.lum").c_str()), 4);
  EXPECT_EQ(DravixFromBuffer(handle, "B", 1), 10);
  EXPECT_EQ(DravixFromBuffer(handle, "L", 1), 3);
  EXPECT_EQ(DravixFromBuffer(handle, "L", 0), 10);
  std::uint64_t size = 36;
  std::array<char, 37> buffer{};
  EXPECT_EQ(DravixToBuffer(handle, buffer.data(), &size), 13);
  size = 37;
  EXPECT_EQ(DravixToBuffer(handle, buffer.data(), &size), 0);
}

TEST(Exports, PictureIsColouredFromOneOn) {
  const TempDir dir;
  const Handle handle;
  Shot shot = LitShot();
  shot.color = 2;
  ASSERT_EQ(Measure(handle, shot), 0);
  EXPECT_EQ(DravixExportImage(handle, dir.File("grey.pgm").c_str(), 0), 0);
  EXPECT_EQ(DravixExportImage(handle, dir.File("negative.pgm").c_str(), -1), 0);
  EXPECT_EQ(DravixExportImage(handle, dir.File("colour.ppm").c_str(), 1), 0);
  EXPECT_EQ(Slurp(dir.File("grey.pgm")).substr(0, 2), "P5");
  EXPECT_EQ(Slurp(dir.File("negative.pgm")), Slurp(dir.File("grey.pgm")));
  EXPECT_EQ(Slurp(dir.File("colour.ppm")).substr(0, 2), "P6");
  EXPECT_EQ(DravixExportImage(handle, dir.File("x.unknown").c_str(), 0), 4);
}

TEST(Exports, DamagedRecordThatTheMatrixLibraryRefusesIsACodeAndTheResultStays) {
  const Handle handle;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(handle, shot), 0);
  const std::array<std::int32_t, 4> record{1, 1, 0, 0};  // one row and column of no channel
  std::string bytes("L\1\0\0\0", 5);
  bytes.append(reinterpret_cast<const char*>(record.data()), sizeof record);
  const LogCapture log;
  EXPECT_EQ(DravixFromBuffer(handle, bytes.data(), static_cast<std::int64_t>(bytes.size())), 9);
  ASSERT_EQ(log.Errors().size(), 1U);
  EXPECT_EQ(log.Errors()[0].rfind("DravixFromBuffer: ", 0), 0U);
  DravixResult result{};
  EXPECT_EQ(DravixGet(handle, &result, 0), 0);
}

TEST(Exports, ResultTooLargeForItsDescriptorIsACode) {
  const Handle handle;
  auto& lum = static_cast<cv::Mat&>(static_cast<DravixHandle>(handle)->lum);
  float pixel = 0;
  // A window whose rows all lie at one pixel: large without the memory.
  lum = cv::Mat(1 << 20, 1 << 20, CV_32FC1, &pixel, cv::Mat::AUTO_STEP);
  DravixResult result{};
  EXPECT_EQ(DravixGet(handle, &result, 0), 9);
  EXPECT_EQ(DravixGet(handle, &result, 1), 9);
}

TEST(Exports, HandlesAreIndependent) {
  const Handle a;
  const Handle b;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(a, shot), 0);
  DravixResult result{};
  EXPECT_EQ(DravixGet(b, &result, 0), 5);
}

TEST(Layout, RecordsAreAsHostsKnowThem) {
  EXPECT_EQ(sizeof(DravixMatrix), 24U);
  EXPECT_EQ(offsetof(DravixMatrix, data), 16U);
  EXPECT_EQ(sizeof(DravixResult), 48U);
  EXPECT_EQ(offsetof(DravixResult, lum), 24U);
  EXPECT_EQ(sizeof(DravixBlockCounts), 8U);
}

}  // namespace
}  // namespace dravix::test

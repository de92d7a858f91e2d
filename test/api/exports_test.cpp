#include <dravix/dravix.h>
#include <dravix/region.h>
#include <dravix/shot.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

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
  Handle() { EXPECT_EQ(DravixCreateHandle(&handle_), DRAVIX_OK); }
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
  EXPECT_EQ(DravixCreateHandle(nullptr), DRAVIX_NULL_ARGUMENT);
  const Handle handle;
  EXPECT_NE(static_cast<DravixHandle>(handle), nullptr);
}

TEST(Exports, NullHandleComesBeforeEverythingElse) {
  const LogCapture log;
  EXPECT_EQ(DravixExtract(nullptr, nullptr, nullptr, 99, 0, 0, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExtractPro(nullptr, nullptr, nullptr, nullptr, {0, 0}, 0, 0),
            DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixGet(nullptr, nullptr, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixRelease(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixSave(nullptr, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixLoad(nullptr, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixGetBufferSize(nullptr, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixToBuffer(nullptr, nullptr, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixFromBuffer(nullptr, nullptr, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExportImage(nullptr, nullptr, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(Exports, OtherNullArgumentsAreRefused) {
  const Handle handle;
  const Shot shot = LitShot();
  const RegionOI region;
  char byte = 0;
  std::uint64_t size = 0;
  EXPECT_EQ(DravixExtract(handle, nullptr, kCorners.data(), 4, 0, 0, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExtract(handle, &shot, nullptr, 4, 0, 0, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExtractPro(handle, nullptr, &shot, &shot, {2, 2}, -1, -1), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExtractPro(handle, &region, nullptr, &shot, {2, 2}, -1, -1),
            DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExtractPro(handle, &region, &shot, nullptr, {2, 2}, -1, -1),
            DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixGet(handle, nullptr, 0), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixSave(handle, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixLoad(handle, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixGetBufferSize(handle, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixToBuffer(handle, nullptr, &size), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixToBuffer(handle, &byte, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixFromBuffer(handle, nullptr, 5), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(DravixExportImage(handle, nullptr, 0), DRAVIX_NULL_ARGUMENT);
}

TEST(Exports, WrongCornerCountsAreRefusedWithoutALineAndWithoutTouchingTheExtractor) {
  const Handle handle;
  const Shot shot = LitShot();
  const LogCapture log;
  for (const std::int32_t count : {-1, 0, 2, 5}) {
    EXPECT_EQ(DravixExtract(handle, &shot, kCorners.data(), count, 0, 0, 0),
              DRAVIX_WRONG_CORNER_COUNT);
  }
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(static_cast<DravixHandle>(handle)->shot, nullptr);
}

TEST(Exports, FreshHandleHasNoResult) {
  const Handle handle;
  DravixResult result{};
  std::uint64_t size = 7;
  const LogCapture log;
  EXPECT_EQ(DravixGet(handle, &result, 1), DRAVIX_NO_RESULT);
  EXPECT_EQ(DravixExportImage(handle, "x.png", 1), DRAVIX_NO_RESULT);
  EXPECT_TRUE(log.Lines().empty());
  EXPECT_EQ(DravixGetBufferSize(handle, &size), DRAVIX_NO_RESULT);
  EXPECT_EQ(size, 7U);
}

TEST(Exports, MeasurementIsHandedOutByReferenceAndByCopy) {
  const Handle handle;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(handle, shot), DRAVIX_OK);
  DravixResult own{};
  DravixResult copy{};
  ASSERT_EQ(DravixGet(handle, &own, 0), DRAVIX_OK);
  ASSERT_EQ(DravixGet(handle, &copy, 1), DRAVIX_OK);
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
  ASSERT_EQ(DravixExtract(handle, &shot, kCorners.data(), 3, 0, 0, 0), DRAVIX_OK);
  for (const int copy : {0, 1}) {
    DravixResult result;
    std::memset(&result, 0xAB, sizeof result);
    ASSERT_EQ(DravixGet(handle, &result, copy), DRAVIX_OK);
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
  EXPECT_EQ(DravixDestroyHandle(handle), DRAVIX_OK);
  EXPECT_EQ(DravixDestroyHandle(nullptr), DRAVIX_OK);
  EXPECT_EQ(Measure(handle, LitShot()), DRAVIX_OK);
}

TEST(Exports, ReleasedResultIsGoneAndANewOneCanBeMade) {
  const Handle handle;
  const Shot shot = LitShot();
  DravixResult result{};
  ASSERT_EQ(Measure(handle, shot), DRAVIX_OK);
  EXPECT_EQ(DravixRelease(handle), DRAVIX_OK);
  EXPECT_EQ(DravixGet(handle, &result, 0), DRAVIX_NO_RESULT);
  EXPECT_EQ(Measure(handle, shot), DRAVIX_OK);
  EXPECT_EQ(DravixGet(handle, &result, 0), DRAVIX_OK);
}

TEST(Exports, ResultGoesThroughFileAndBuffer) {
  const TempDir dir;
  const Handle handle;
  const Handle other;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(handle, shot), DRAVIX_OK);
  ASSERT_EQ(DravixSave(handle, dir.File("a.lum").c_str()), DRAVIX_OK);
  ASSERT_EQ(DravixLoad(other, dir.File("a.lum").c_str()), DRAVIX_OK);
  EXPECT_TRUE(
      SameBytes(static_cast<DravixHandle>(other)->lum, static_cast<DravixHandle>(handle)->lum));
  std::uint64_t size = 0;
  ASSERT_EQ(DravixGetBufferSize(handle, &size), DRAVIX_OK);
  std::string buffer(size, '\0');
  ASSERT_EQ(DravixToBuffer(handle, buffer.data(), &size), DRAVIX_OK);
  EXPECT_EQ(buffer, Slurp(dir.File("a.lum")));
  ASSERT_EQ(DravixRelease(other), DRAVIX_OK);
  ASSERT_EQ(DravixFromBuffer(other, buffer.data(), static_cast<std::int64_t>(size)), DRAVIX_OK);
  EXPECT_TRUE(
      SameBytes(static_cast<DravixHandle>(other)->lum, static_cast<DravixHandle>(handle)->lum));
}

TEST(Exports, CodesOfTheFileOperationsArePassedOn) {
  const TempDir dir;
  const Handle handle;
  EXPECT_EQ(DravixSave(handle, "result.LUM"), DRAVIX_WRONG_EXTENSION);
  EXPECT_EQ(DravixLoad(handle, ".lum"), DRAVIX_WRONG_EXTENSION);
  EXPECT_EQ(DravixLoad(handle, dir.File("missing.lum").c_str()), DRAVIX_CANNOT_READ);
  EXPECT_EQ(DravixSave(handle, dir.File("missing/a.lum").c_str()), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(DravixFromBuffer(handle, "B", 1), DRAVIX_WRONG_BYTE_ORDER);
  EXPECT_EQ(DravixFromBuffer(handle, "L", 1), DRAVIX_WRONG_VERSION);
  EXPECT_EQ(DravixFromBuffer(handle, "L", 0), DRAVIX_WRONG_BYTE_ORDER);
  std::uint64_t size = 36;
  std::array<char, 37> buffer{};
  EXPECT_EQ(DravixToBuffer(handle, buffer.data(), &size), DRAVIX_BUFFER_TOO_SMALL);
  size = 37;
  EXPECT_EQ(DravixToBuffer(handle, buffer.data(), &size), DRAVIX_OK);
}

TEST(Exports, PictureIsColoredWhenTheFlagIsOneOrMore) {
  const TempDir dir;
  const Handle handle;
  Shot shot = LitShot();
  shot.color = 2;
  ASSERT_EQ(Measure(handle, shot), DRAVIX_OK);
  EXPECT_EQ(DravixExportImage(handle, dir.File("gray.pgm").c_str(), 0), DRAVIX_OK);
  EXPECT_EQ(DravixExportImage(handle, dir.File("negative.pgm").c_str(), -1), DRAVIX_OK);
  EXPECT_EQ(DravixExportImage(handle, dir.File("color.ppm").c_str(), 1), DRAVIX_OK);
  EXPECT_EQ(Slurp(dir.File("gray.pgm")).substr(0, 2), "P5");
  EXPECT_EQ(Slurp(dir.File("negative.pgm")), Slurp(dir.File("gray.pgm")));
  EXPECT_EQ(Slurp(dir.File("color.ppm")).substr(0, 2), "P6");
  EXPECT_EQ(DravixExportImage(handle, dir.File("x.unknown").c_str(), 0), DRAVIX_CANNOT_WRITE);
}

TEST(Exports, DamagedRecordThatTheMatrixLibraryRefusesIsACodeAndTheResultStays) {
  const Handle handle;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(handle, shot), DRAVIX_OK);
  const std::array<std::int32_t, 4> record{1, 1, 0, 0};  // one row and column of no channel
  std::string bytes("L\1\0\0\0", 5);
  bytes.append(reinterpret_cast<const char*>(record.data()), sizeof record);
  const LogCapture log;
  EXPECT_EQ(DravixFromBuffer(handle, bytes.data(), static_cast<std::int64_t>(bytes.size())),
            DRAVIX_BAD_ARGUMENT);
  ASSERT_EQ(log.Errors().size(), 1U);
  EXPECT_EQ(log.Errors()[0].rfind("DravixFromBuffer: ", 0), 0U);
  DravixResult result{};
  EXPECT_EQ(DravixGet(handle, &result, 0), DRAVIX_OK);
}

TEST(Exports, ResultTooLargeForItsDescriptorIsACode) {
  const Handle handle;
  auto& lum = static_cast<cv::Mat&>(static_cast<DravixHandle>(handle)->lum);
  float pixel = 0;
  // A window whose rows all lie at one pixel: large without the memory.
  lum = cv::Mat(1 << 20, 1 << 20, CV_32FC1, &pixel, cv::Mat::AUTO_STEP);
  DravixResult result{};
  EXPECT_EQ(DravixGet(handle, &result, 0), DRAVIX_BAD_ARGUMENT);
  EXPECT_EQ(DravixGet(handle, &result, 1), DRAVIX_BAD_ARGUMENT);
}

TEST(Exports, HandlesAreIndependent) {
  const Handle a;
  const Handle b;
  const Shot shot = LitShot();
  ASSERT_EQ(Measure(a, shot), DRAVIX_OK);
  DravixResult result{};
  EXPECT_EQ(DravixGet(b, &result, 0), DRAVIX_NO_RESULT);
}

// Hosts compare with the numbers; every other test uses the names.
TEST(ResultCodes, HaveTheNumbersThatHostsKnow) {
  const std::vector<std::pair<int, int>> codes{{DRAVIX_OK, 0},
                                               {DRAVIX_NULL_ARGUMENT, 1},
                                               {DRAVIX_CANNOT_READ, 2},
                                               {DRAVIX_WRONG_VERSION, 3},
                                               {DRAVIX_CANNOT_WRITE, 4},
                                               {DRAVIX_NO_RESULT, 5},
                                               {DRAVIX_WRONG_EXTENSION, 8},
                                               {DRAVIX_BAD_ARGUMENT, 9},
                                               {DRAVIX_WRONG_BYTE_ORDER, 10},
                                               {DRAVIX_BUFFER_TOO_SMALL, 13},
                                               {DRAVIX_UNKNOWN_CAMERA, 100},
                                               {DRAVIX_SHOT_MISMATCH, 101},
                                               {DRAVIX_PATTERN_MISMATCH, 103},
                                               {DRAVIX_BAD_PATTERN, 104},
                                               {DRAVIX_NO_DEVICE, 105},
                                               {DRAVIX_BAD_PANEL, 106},
                                               {DRAVIX_BAD_PARTITION, 108},
                                               {DRAVIX_BAD_IMAGE, 109},
                                               {DRAVIX_BAD_TYPE, 110},
                                               {DRAVIX_NO_COLOR, 111},
                                               {DRAVIX_NO_MOSAIC_CODE, 112},
                                               {DRAVIX_NO_LED_AREA, 200},
                                               {DRAVIX_NOT_FOUR_CORNERS, 201},
                                               {DRAVIX_NO_PERSPECTIVE, 202},
                                               {DRAVIX_CORNER_OUTSIDE, 203},
                                               {DRAVIX_NO_CORNERS, 204},
                                               {DRAVIX_WRONG_CORNER_COUNT, 280},
                                               {DRAVIX_BAD_BLOCKS, 281},
                                               {DRAVIX_NO_GRID, 300}};
  for (const auto& [name, number] : codes) EXPECT_EQ(name, number);
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

#include <gtest/gtest.h>

#include "extractor/extractor.h"
#include "support/log_capture.h"
#include "support/mats.h"
#include "support/temp_dir.h"

namespace dravix::test {
namespace {

using Strings = std::vector<std::string>;

std::string Int32(std::int32_t value) { return {reinterpret_cast<const char*>(&value), 4}; }

/// Two rows of three LEDs.
Dravix Measured() {
  Dravix dravix;
  dravix.lum = (cv::Mat_<float>(2, 3) << 1, 2, 3, 4, 5, 6);
  dravix.resultImage = cv::Mat(2, 3, CV_8UC1, cv::Scalar(2));
  return dravix;
}

/// The bytes of Measured(), field by field.
std::string MeasuredBytes() {
  std::string bytes = "L" + Int32(1);
  bytes += Int32(2) + Int32(3) + Int32(CV_8UC1) + Int32(1) + std::string(6, '\2');
  bytes += Int32(2) + Int32(3) + Int32(CV_32FC1) + Int32(1);
  for (const float value : {1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F}) {
    bytes.append(reinterpret_cast<const char*>(&value), 4);
  }
  return bytes;
}

std::string Buffer(const Dravix& dravix) {
  std::string buffer(1000, '\0');
  std::uint64_t size = buffer.size();
  EXPECT_EQ(dravix.ToBuffer(buffer.data(), &size), DRAVIX_OK);
  return buffer.substr(0, size);
}

TEST(ResultFile, HoldsMarkVersionAndBothMatrices) {
  const TempDir dir;
  const LogCapture log;
  ASSERT_EQ(Measured().Save(dir.File("result.lum")), DRAVIX_OK);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "Dravix::Save"}}));
  EXPECT_EQ(Slurp(dir.File("result.lum")), MeasuredBytes());
}

TEST(ResultFile, ReadsBackEqual) {
  const TempDir dir;
  ASSERT_EQ(Measured().Save(dir.File("result.lum")), DRAVIX_OK);
  Dravix dravix;
  const LogCapture log;
  ASSERT_EQ(dravix.Load(dir.File("result.lum")), DRAVIX_OK);
  EXPECT_EQ(log.Lines(), (std::vector<LogLine>{{LogLevel::kInfo, "Dravix::Load"}}));
  EXPECT_TRUE(SameBytes(dravix.lum, Measured().lum));
  EXPECT_TRUE(SameBytes(dravix.resultImage, Measured().resultImage));
}

TEST(ResultFile, FreshExtractorWritesTwoEmptyRecords) {
  const TempDir dir;
  ASSERT_EQ(Dravix().Save(dir.File("fresh.lum")), DRAVIX_OK);
  EXPECT_EQ(Slurp(dir.File("fresh.lum")), "L" + Int32(1) + std::string(32, '\0'));
  Dravix dravix = Measured();
  ASSERT_EQ(dravix.Load(dir.File("fresh.lum")), DRAVIX_OK);
  EXPECT_TRUE(dravix.Empty());
  EXPECT_TRUE(dravix.resultImage.empty());
}

TEST(ResultFile, OtherExtensionsAreRefused) {
  const TempDir dir;
  for (const char* name : {"result.LUM", ".lum", "result", "result.lum.bak", ""}) {
    // A name of just the extension must not have a folder before it to be one.
    const std::string fullname = std::string(name) == ".lum" ? name : dir.File(name);
    const LogCapture log;
    EXPECT_EQ(Measured().Save(fullname), DRAVIX_WRONG_EXTENSION) << name;
    Dravix dravix = Measured();
    EXPECT_EQ(dravix.Load(fullname), DRAVIX_WRONG_EXTENSION) << name;
    EXPECT_EQ(log.Errors(), (Strings{"Dravix::Save--Error :: ext filename mismatch.",
                                     "Dravix::Load--Error :: ext filename mismatch."}));
  }
}

TEST(ResultFile, NamesThatCannotBeOpenedAreReported) {
  const TempDir dir;
  const std::string missing = dir.File("no/such/folder.lum");
  LogCapture log;
  EXPECT_EQ(Measured().Save(missing), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(Dravix().Load(missing), DRAVIX_CANNOT_READ);
  EXPECT_EQ(log.Errors(), (Strings{"Dravix::Save -- Failed to Open file. fullname = " + missing,
                                   "Dravix::Load -- Failed to Open file.  fullname = " + missing}));
  std::filesystem::create_directory(dir.Path() / "folder.lum");
  EXPECT_EQ(Measured().Save(dir.File("folder.lum")), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(Dravix().Load(dir.File("folder.lum")), DRAVIX_CANNOT_READ);
}

#ifndef _WIN32
TEST(ResultFile, FullDeviceIsAFailedWriteWithOneLine) {
  const TempDir dir;
  const std::string full = dir.File("full.lum");
  std::filesystem::create_symlink("/dev/full", full);
  const LogCapture log;
  EXPECT_EQ(Measured().Save(full), DRAVIX_CANNOT_WRITE);
  EXPECT_EQ(log.Errors(), Strings{"Dravix::Save -- Failed to write file. fullname = " + full});
}
#endif

TEST(ResultFile, WrongMarksAndVersionsAreRefusedAndTheResultStays) {
  const TempDir dir;
  const std::string name = dir.File("bad.lum");
  const struct {
    std::string content;
    int code;
    const char* text;
  } cases[] = {
      {"B" + MeasuredBytes().substr(1), DRAVIX_WRONG_BYTE_ORDER, "Error file endianness."},
      {"", DRAVIX_WRONG_BYTE_ORDER, "Error file endianness."},
      {"L" + Int32(2) + MeasuredBytes().substr(5), DRAVIX_WRONG_VERSION, "Error version in file."},
      {"L", DRAVIX_WRONG_VERSION, "Error version in file."},
      {"L\1\0", DRAVIX_WRONG_VERSION, "Error version in file."},
  };
  for (const auto& [content, code, text] : cases) {
    Spill(name, content);
    Dravix dravix = Measured();
    const LogCapture log;
    EXPECT_EQ(dravix.Load(name), code);
    EXPECT_EQ(dravix.FromBuffer(content.data(), static_cast<std::int64_t>(content.size())), code);
    EXPECT_EQ(log.Errors(), (Strings{std::string("Dravix::Load -- ") + text,
                                     std::string("Dravix::FromBuffer -- ") + text}));
    EXPECT_EQ(Buffer(dravix), MeasuredBytes());
  }
}

TEST(ResultFile, CutShortAnywhereBehindTheHeaderItLoadsAsFarAsItGoes) {
  const std::string whole = MeasuredBytes();
  for (std::size_t size = 5; size < whole.size(); ++size) {
    Dravix dravix;
    EXPECT_EQ(dravix.FromBuffer(whole.data(), static_cast<std::int64_t>(size)), DRAVIX_OK) << size;
  }
  Dravix dravix;
  ASSERT_EQ(dravix.FromBuffer(whole.data(), static_cast<std::int64_t>(whole.size() - 4)),
            DRAVIX_OK);
  EXPECT_EQ(dravix.lum(1, 1), 5.0F);
  EXPECT_EQ(dravix.lum(1, 2), 0.0F);
}

TEST(ResultFile, MatricesOfOtherTypesAreKeptAsStored) {
  Dravix odd;
  static_cast<cv::Mat&>(odd.lum) = cv::Mat(2, 2, CV_64FC1, cv::Scalar(1.5));
  const std::string bytes = Buffer(odd);
  Dravix dravix;
  ASSERT_EQ(dravix.FromBuffer(bytes.data(), static_cast<std::int64_t>(bytes.size())), DRAVIX_OK);
  EXPECT_EQ(static_cast<const cv::Mat&>(dravix.lum).type(), CV_64FC1);
  EXPECT_EQ(Buffer(dravix), bytes);
}

TEST(ResultBuffer, HasTheFilesBytesAndItsSizeIsTold) {
  const Dravix dravix = Measured();
  std::uint64_t size = 0;
  const LogCapture log;
  ASSERT_EQ(dravix.GetBufferSize(&size), DRAVIX_OK);
  EXPECT_EQ(size, MeasuredBytes().size());
  std::string buffer(size, '\0');
  ASSERT_EQ(dravix.ToBuffer(buffer.data(), &size), DRAVIX_OK);
  EXPECT_EQ(size, MeasuredBytes().size());
  EXPECT_EQ(buffer, MeasuredBytes());
  EXPECT_EQ(log.Infos(), (Strings{"Dravix::GetBufferSize", "Dravix::ToBuffer"}));
}

TEST(ResultBuffer, ReadsBackEqual) {
  Dravix dravix;
  const LogCapture log;
  ASSERT_EQ(
      dravix.FromBuffer(MeasuredBytes().data(), static_cast<std::int64_t>(MeasuredBytes().size())),
      DRAVIX_OK);
  EXPECT_EQ(log.Infos(), Strings{"Dravix::FromBuffer"});
  EXPECT_TRUE(SameBytes(dravix.lum, Measured().lum));
}

TEST(ResultBuffer, OneByteShortIsTooSmallAndNothingIsTouched) {
  std::uint64_t size = MeasuredBytes().size() - 1;
  std::string buffer(size, 'x');
  EXPECT_EQ(Measured().ToBuffer(buffer.data(), &size), DRAVIX_BUFFER_TOO_SMALL);
  EXPECT_EQ(size, MeasuredBytes().size() - 1);
  EXPECT_EQ(buffer, std::string(size, 'x'));
}

TEST(ResultBuffer, WithoutAResultThereIsNoSizeButABuffer) {
  std::uint64_t size = 99;
  EXPECT_EQ(Dravix().GetBufferSize(&size), DRAVIX_NO_RESULT);
  EXPECT_EQ(size, 99U);
  EXPECT_EQ(Buffer(Dravix()).size(), 37U);
}

TEST(ResultBuffer, NullsAreRefused) {
  char byte = 0;
  std::uint64_t size = 1;
  Dravix dravix = Measured();
  EXPECT_EQ(dravix.GetBufferSize(nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(dravix.ToBuffer(nullptr, &size), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(dravix.ToBuffer(&byte, nullptr), DRAVIX_NULL_ARGUMENT);
  EXPECT_EQ(dravix.FromBuffer(nullptr, 5), DRAVIX_NULL_ARGUMENT);
}

TEST(ResultBuffer, LengthOfZeroOrLessHasNoMark) {
  Dravix dravix = Measured();
  for (const std::int64_t length :
       {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(dravix.FromBuffer("L", length), DRAVIX_WRONG_BYTE_ORDER);
  }
}

}  // namespace
}  // namespace dravix::test

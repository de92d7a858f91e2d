#include "base/input_file.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "base/file_texts.h"
#include "support/limit.h"
#include "support/pipe_writer.h"
#include "support/sanitized.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using dravix::base::Access;
using dravix::base::ByteReader;
using dravix::base::Bytes;
using dravix::base::InputFile;
using dravix::base::ReadFailure;
using dravix::base::ReadFile;
using dravix::base::ReadFileWith;
using dravix::test::LongText;
using dravix::test::Spill;
using dravix::test::TempDir;
using dravix::test::TextOf;

class InputFileTest : public testing::Test {
 protected:
  TempDir dir_;
  std::string name_ = dir_.File("a.bin");
};

TEST_F(InputFileTest, AFileIsReadWhole) {
  for (const std::string& text : {std::string(), std::string("a\0b\r\n\x1a", 6), LongText()}) {
    Spill(name_, text);
    EXPECT_EQ(TextOf(ReadFile(name_)), text);
  }
}

TEST_F(InputFileTest, AMissingFileAndAFolderAreNotOpened) {
  for (const std::string& name : {name_, dir_.File(""), std::string()}) {
    EXPECT_EQ(ReadFile(name), std::nullopt) << name;
    EXPECT_EQ(InputFile::Open(name, Access::kForward), nullptr) << name;
  }
}

TEST_F(InputFileTest, ANameWithAZeroByteIsNoFile) {
  Spill(name_, "x");
  EXPECT_EQ(ReadFile(name_ + std::string("\0.shot", 6)), std::nullopt);
}

TEST_F(InputFileTest, AnEmptyFileIsAtItsEnd) {
  Spill(name_, "");
  const auto file = InputFile::Open(name_, Access::kForward);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(file->Has(1));
}

TEST_F(InputFileTest, BytesComeAsTheyAreAskedFor) {
  const std::string text = LongText();
  Spill(name_, text);
  const auto file = InputFile::Open(name_, Access::kAnyOrder);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Size(), text.size());
  ByteReader in(*file);
  EXPECT_EQ(in.Read<char>(), text[0]);
  in.Skip(99'999);
  Bytes some(200'000);
  EXPECT_EQ(in.ReadUpTo(some), some.size());
  EXPECT_EQ(TextOf(some), text.substr(100'000, some.size()));
  EXPECT_TRUE(in.Has(text.size() - 300'000));
  EXPECT_FALSE(in.Has(text.size() - 299'999));
  file->SeekTo(text.size() - 2);
  EXPECT_EQ(file->Fetch(some), 2U);
  EXPECT_EQ(file->FetchSome().size(), 0U);
  file->SeekTo(std::uint64_t{1} << 60);
  EXPECT_FALSE(file->Has(1));
  file->SeekTo(1);
  EXPECT_EQ(ByteReader(*file).Read<char>(), text[1]);
  file->End();
  EXPECT_FALSE(file->Has(1));
}

TEST_F(InputFileTest, AFileThatBecomesShorterEndsEarlier) {
  Spill(name_, LongText());
  const auto file = InputFile::Open(name_, Access::kForward);
  ASSERT_NE(file, nullptr);
  fs::resize_file(name_, 5);
  Bytes some(10);
  EXPECT_EQ(file->Fetch(some), 5U);
  EXPECT_FALSE(file->Has(1));
}

TEST_F(InputFileTest, AReaderThatFailsMakesTheFileUnreadable) {
  Spill(name_, "x");
  int calls = 0;
  EXPECT_FALSE(ReadFileWith(dir_.File("missing"), Access::kForward, [&](InputFile&) { ++calls; }));
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(ReadFileWith(name_, Access::kForward, [&](InputFile&) { ++calls; }));
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(ReadFileWith(name_, Access::kForward, [](InputFile&) { throw ReadFailure(); }));
  EXPECT_THROW((void)ReadFileWith(name_, Access::kForward,
                                  [](InputFile&) { throw std::runtime_error("another"); }),
               std::runtime_error);
}

#ifndef _WIN32

using dravix::test::PipeWriter;

TEST_F(InputFileTest, AFileOfProcIsReadThoughItSaysItIsEmpty) {
  if (!fs::exists("/proc/self/status")) GTEST_SKIP() << "no /proc";
  EXPECT_THAT(TextOf(ReadFile("/proc/self/status")), testing::HasSubstr("Name:"));
}

TEST_F(InputFileTest, BytesOfAFileOfProcCanBeSkipped) {
  if (!fs::exists("/proc/version")) GTEST_SKIP() << "no /proc";
  const std::string whole = TextOf(ReadFile("/proc/version"));
  for (const Access access : {Access::kForward, Access::kAnyOrder}) {
    const auto file = InputFile::Open("/proc/version", access);
    ASSERT_NE(file, nullptr);
    file->Skip(6);
    Bytes some(5);
    some.resize(file->Fetch(some));
    EXPECT_EQ(TextOf(some), whole.substr(6, 5));
    file->Skip(1 << 20);
    EXPECT_EQ(file->Fetch(some), 0U);
  }
}

TEST_F(InputFileTest, AFailureWhileReadingIsNoticed) {
  if (!fs::exists("/proc/self/mem")) GTEST_SKIP() << "no /proc";
  EXPECT_EQ(ReadFile("/proc/self/mem"), std::nullopt);  // its first bytes cannot be read
  const auto file = InputFile::Open("/proc/self/mem", Access::kForward);
  ASSERT_NE(file, nullptr);
  EXPECT_THROW((void)file->Has(1), ReadFailure);
}

TEST_F(InputFileTest, ADeviceWithoutAnEndGivesWhatIsAskedFor) {
  if (!fs::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  const auto file = InputFile::Open("/dev/zero", Access::kForward);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Size(), std::nullopt);
  Bytes some(LongText().size(), std::byte{1});
  EXPECT_EQ(file->Fetch(some), some.size());
  EXPECT_EQ(std::ranges::count(some, std::byte{0}), std::ssize(some));
  EXPECT_TRUE(file->Has(1));
  file->End();
  EXPECT_FALSE(file->Has(1));
}

TEST_F(InputFileTest, ADeviceWithoutAnEndIsNotReadWhole) {
  if (!fs::exists("/dev/zero")) GTEST_SKIP() << "no /dev/zero";
  EXPECT_EQ(ReadFile("/dev/zero"), std::nullopt);
}

TEST_F(InputFileTest, BytesOfAPipeComeBeforeItCloses) {
  const PipeWriter pipe(name_, "abcd");
  const auto file = InputFile::Open(name_, Access::kForward);
  ASSERT_NE(file, nullptr);
  ByteReader in(*file);
  EXPECT_TRUE(in.Has(2));
  EXPECT_EQ(in.Read<char>(), 'a');
  in.Skip(1);
  EXPECT_EQ(in.Read<std::uint16_t>(), 'c' + ('d' << 8));
}

TEST_F(InputFileTest, NoMoreIsTakenOutOfAPipeThanIsAskedFor) {
  const PipeWriter pipe(name_, "", PipeWriter::Then::kZerosWithoutEnd);
  const auto file = InputFile::Open(name_, Access::kForward);
  ASSERT_NE(file, nullptr);
  constexpr std::uint64_t kAsked = 10'000'000;
  constexpr std::uint64_t kOnTheWay = 3 << 16;  // in the pipe, in the stream, in the writer's hand
  EXPECT_TRUE(file->Has(kAsked));
  EXPECT_LE(pipe.Written(), kAsked + kOnTheWay);
}

TEST_F(InputFileTest, APipeCanBeReadInAnyOrder) {
  const std::string text = LongText();
  const PipeWriter pipe(name_, text);
  const auto file = InputFile::Open(name_, Access::kAnyOrder);
  ASSERT_NE(file, nullptr);
  for (const std::size_t at : {2'999'990U, 5U, 1'048'570U}) {
    file->SeekTo(at);
    Bytes some(10);
    EXPECT_EQ(file->Fetch(some), some.size());
    EXPECT_EQ(TextOf(some), text.substr(at, some.size()));
  }
}

// The sanitizers end the process where the system's own allocator throws.
#if !DRAVIX_TEST_SANITIZED
TEST_F(InputFileTest, AFileLargerThanTheMemoryIsNotRead) {
  if (!dravix::test::SpillWithHoles(name_, "x")) GTEST_SKIP() << "no files of this size here";
  const dravix::test::Limit littleMemory(RLIMIT_AS, rlim_t{1} << 40);
  EXPECT_EQ(ReadFile(name_), std::nullopt);
}
#endif

#endif

}  // namespace

#include <gmock/gmock.h>
#include <windows.h>

#include <filesystem>
#include <iterator>
#include <optional>
#include <string>

#include "base/files.h"
#include "base/input_file.h"
#include "base/paths.h"
#include "support/temp_dir.h"

namespace dravix::base {
namespace {

using test::TempDir;

const std::string kText = "content";

TEST(FileName, IsUtf8WhateverTheCodePage) {
  const TempDir folder;
  ASSERT_EQ(WriteFile(folder.File("Größe 屏幕.bin"), {ViewOf(kText)}).result,
            WriteResult::kWritten);
  EXPECT_TRUE(std::filesystem::exists(folder.Path() / L"Gr\u00f6\u00dfe \u5c4f\u5e55.bin"));
}

/// The name in the system's code page, as Windows itself understands it; empty where it does not.
std::wstring InCodePage(const std::string& name) {
  std::wstring wide(name.size() * 2, L'\0');
  const int length =
      MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, name.data(), static_cast<int>(name.size()),
                          wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

TEST(FileName, ThatIsNotUtf8IsTakenInTheSystemsCodePage) {
  const std::string name =
      "Gr\xf6\xdf"
      "e.bin";
  const std::wstring wide = InCodePage(name);
  if (wide.empty()) GTEST_SKIP() << "the code page has no such characters";
  const std::optional<std::filesystem::path> path = PathOf(name);
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(path->native(), wide);
  const TempDir folder;
  const std::string fullname = folder.Path().string() + "\\" + name;
  ASSERT_EQ(WriteFile(fullname, {ViewOf(kText)}).result, WriteResult::kWritten);
  EXPECT_TRUE(std::filesystem::exists(folder.Path() / wide));
  EXPECT_TRUE(ReadFile(fullname).has_value());
}

TEST(FileName, ThatIsUtf8IsNotTakenInTheCodePage) {
  const std::optional<std::filesystem::path> path = PathOf("Gr\xc3\xb6\xc3\x9f");
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(path->native(), L"Gr\u00f6\u00df");
}

TEST(WriteFile, WritesInPlaceWhatAReaderHoldsOpen) {
  const TempDir folder;
  const std::string name = folder.File("held.bin");
  ASSERT_EQ(WriteFile(name, {ViewOf("old content")}).result, WriteResult::kWritten);
  // Without FILE_SHARE_DELETE nothing may be renamed over the file.
  const HANDLE reader =
      CreateFileW(PathOf(name)->c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  const WriteOutcome outcome = WriteFile(name, {ViewOf(kText)});
  CloseHandle(reader);
  EXPECT_EQ(outcome.result, WriteResult::kWritten);
  EXPECT_EQ(test::Slurp(name), kText);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()),
                          std::filesystem::directory_iterator()),
            1);
}

TEST(WriteFile, FailsWhereAReaderLetsNobodyWrite) {
  const TempDir folder;
  const std::string name = folder.File("held.bin");
  ASSERT_EQ(WriteFile(name, {ViewOf("old")}).result, WriteResult::kWritten);
  const HANDLE reader = CreateFileW(PathOf(name)->c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  const WriteOutcome outcome = WriteFile(name, {ViewOf(kText)});
  CloseHandle(reader);
  EXPECT_EQ(outcome.result, WriteResult::kCannotOpen);
  EXPECT_TRUE(outcome.reason);
  EXPECT_EQ(test::Slurp(name), "old");
}

TEST(FileName, MayBeLongerThan260Characters) {
  const TempDir folder;
  const std::string name = folder.File(std::string(251, 'n') + ".bin");
  ASSERT_GT(name.size(), 260U);
  ASSERT_EQ(WriteFile(name, {ViewOf(kText)}).result, WriteResult::kWritten);
  ASSERT_EQ(WriteFile(name, {ViewOf(kText)}).result, WriteResult::kWritten);
  const std::optional<Bytes> read = ReadFile(name);
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->size(), kText.size());
}

TEST(FileName, MayUseForwardAndBackwardSlashes) {
  const TempDir folder;
  std::string name = folder.File("slashes.bin");
  ASSERT_EQ(WriteFile(name, {ViewOf(kText)}).result, WriteResult::kWritten);
  for (char& character : name) character = character == '\\' ? '/' : character;
  EXPECT_TRUE(ReadFile(name).has_value());
}

}  // namespace
}  // namespace dravix::base

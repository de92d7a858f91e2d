#include <gmock/gmock.h>

#include <filesystem>
#include <string>

#include "base/files.h"
#include "support/temp_dir.h"

namespace dravix::base {
namespace {

using test::TempDir;

const std::string kText = "content";

TEST(FileName, IsUtf8WhateverTheCodePage) {
  const TempDir folder;
  ASSERT_EQ(WriteFile(folder.File("Größe 屏幕.bin"), {ViewOf(kText)}), WriteResult::kWritten);
  EXPECT_TRUE(std::filesystem::exists(folder.Path() / L"Gr\u00f6\u00dfe \u5c4f\u5e55.bin"));
}

TEST(FileName, ThatIsNotUtf8NamesNoFile) {
  EXPECT_EQ(PathOf("Gr\xf6\xdf"
                   "e.bin"),
            std::nullopt);
  EXPECT_EQ(ReadFile("Gr\xf6\xdf"
                     "e.bin"),
            std::nullopt);
  EXPECT_EQ(WriteFile("Gr\xf6\xdf"
                      "e.bin",
                      {}),
            WriteResult::kCannotOpen);
}

TEST(FileName, MayBeLongerThan260Characters) {
  const TempDir folder;
  const std::string name = folder.File(std::string(251, 'n') + ".bin");
  ASSERT_GT(name.size(), 260U);
  ASSERT_EQ(WriteFile(name, {ViewOf(kText)}), WriteResult::kWritten);
  ASSERT_EQ(WriteFile(name, {ViewOf(kText)}), WriteResult::kWritten);
  const std::optional<Bytes> read = ReadFile(name);
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->size(), kText.size());
}

TEST(FileName, MayUseForwardAndBackwardSlashes) {
  const TempDir folder;
  std::string name = folder.File("slashes.bin");
  ASSERT_EQ(WriteFile(name, {ViewOf(kText)}), WriteResult::kWritten);
  for (char& character : name) character = character == '\\' ? '/' : character;
  EXPECT_TRUE(ReadFile(name).has_value());
}

}  // namespace
}  // namespace dravix::base

#include "tools/output_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "support/temp_dir.h"
#include "tools/tool_runner.h"

namespace dravix::test {
namespace {

namespace fs = std::filesystem;

constexpr int kOutput = 4;  // the exit code

Outcome RunInto(const std::vector<std::string>& words, const std::string& folder) {
  return RunTool(Joined(words, {"-o", folder}));
}

#ifndef _WIN32
/// The content of all files by their names.
std::map<std::string, std::string> ContentOf(const std::string& folder) {
  std::map<std::string, std::string> content;
  for (const auto& entry : fs::directory_iterator(folder)) {
    content[entry.path().filename().string()] = Slurp(entry.path().string());
  }
  return content;
}
#endif

}  // namespace

void ExpectFolderRefused(const std::vector<std::string>& words) {
  const TempDir folder;
  const std::string file = folder.File("file");
  Spill(file, "a file");
  ExpectRefused(RunInto(words, file), kOutput, file + ": is a file, expected a folder");
  ExpectRefused(RunInto(words, file + "/in"), kOutput, file + "/in: cannot be made");
  EXPECT_EQ(Slurp(file), "a file");
#ifdef __linux__
  // Not even root can make files or folders there.
  ExpectRefused(RunInto(words, "/proc"), kOutput, ": cannot be written: ");
  ExpectRefused(RunInto(words, "/proc/in"), kOutput, "/proc/in: cannot be made: ");
#endif
}

#ifndef _WIN32
void ExpectWholeFilesOnFullDisk(const std::vector<std::string>& words) {
  const TempDir folder;
  const std::string out = folder.File("out");
  const std::vector<std::string> all = Joined(words, {"-o", out});
  ExpectRefused(RunToolAfter("ulimit -f 1; ", all), kOutput, "cannot be written: ");
  EXPECT_TRUE(fs::is_empty(out));
  ASSERT_EQ(RunTool(all).exit, 0);
  const auto before = ContentOf(out);
  ExpectRefused(RunToolAfter("ulimit -f 1; ", all), kOutput, "cannot be written: ");
  EXPECT_EQ(ContentOf(out), before);
}
#endif

}  // namespace dravix::test

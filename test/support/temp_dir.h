/// A folder of its own for a test, removed with all that is in it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace dravix::test {

class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  /// Full name of a file in the folder, as a host would pass it.
  std::string File(std::string_view name) const;
  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// The whole file as text; fails the test and gives "" when it cannot be read.
std::string Slurp(const std::string& fullname);
/// Writes `content` as the whole file.
void Spill(const std::string& fullname, std::string_view content);

}  // namespace dravix::test

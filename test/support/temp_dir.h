/// A folder of its own for a test; it is removed with all that is in it.
#pragma once

#include <cstdint>
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

/// More bytes than any memory holds, and fewer than file systems allow.
inline constexpr std::uintmax_t kBeyondMemory = std::uintmax_t{1} << 43;
/// Writes `content` and fills the file up to `size` bytes with holes. False where files cannot be
/// that large.
[[nodiscard]] bool SpillWithHoles(const std::string& fullname, std::string_view content,
                                  std::uintmax_t size = kBeyondMemory);

}  // namespace dravix::test

/// A file to whose end one process at a time adds lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace dravix::tool {

/// While the object lives, no other one, in this process or another, can open the same file. The
/// system ends that when the process ends, however it does.
class AppendFile {
 public:
  enum class Opened {
    kYes,
    kInUse,  ///< another process has it open
    kNo,     ///< it cannot be written; see Reason
  };

  AppendFile() = default;
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;
  ~AppendFile();

  /// Opens the file, or makes it. Waits up to two seconds for another process to end, since one
  /// that was killed may take a moment.
  [[nodiscard]] Opened Open(const std::filesystem::path& path);
  [[nodiscard]] std::error_code Reason() const { return reason_; }

  /// All that the file holds, up to `most` bytes of it.
  [[nodiscard]] std::string Content(std::uintmax_t most) const;

  /// Adds the line, which has its line's end; the reason where that fails. What was written of a
  /// line before a failure, by this process or an earlier one, gets an end of its own.
  [[nodiscard]] std::error_code Add(std::string_view line);

 private:
  [[nodiscard]] Opened TryOpen(const std::filesystem::path& path);
  [[nodiscard]] std::error_code Write(std::string_view bytes) const;

  std::intptr_t handle_ = -1;  ///< a descriptor, or a handle of Windows
  std::filesystem::path path_;
  std::error_code reason_;
  bool isTorn_ = false;  ///< the last line has no end
};

}  // namespace dravix::tool

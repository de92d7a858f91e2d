/// Folders that last for one save.
#pragma once

#include <filesystem>
#include <system_error>

namespace dravix::base {

/// A folder beside a file, for its owner only, in which the file's new content has a name until it
/// takes the file's. It goes with the object, and with it what is in it.
///
/// A process that ends meanwhile leaves its folder behind. The names are few, so that every later
/// save into the same place finds such folders: who makes one holds a lock on it, which the system
/// releases when the process ends. Where there are no locks (Windows, some network file systems), a
/// folder is left over when it is an hour old and none of its files is open.
class TemporaryFolder {
 public:
  TemporaryFolder() = default;
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { Remove(); }

  /// Makes the folder in `parent`; the reason when that fails.
  [[nodiscard]] std::error_code Make(const std::filesystem::path& parent);
  /// Removes the folder and what is in it. What it cannot remove, a later save will.
  void Remove() noexcept;
  /// The name for a new file in the folder, which does not exist yet.
  [[nodiscard]] std::filesystem::path FileName(const std::filesystem::path& extension) const;

  /// Removes what ended processes have left in `parent`.
  static void RemoveLeftOvers(const std::filesystem::path& parent);

 private:
  std::filesystem::path path_;
  int lock_ = -1;  ///< the open folder itself, where systems know such a thing
};

}  // namespace dravix::base

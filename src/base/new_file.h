/// A file's new content, until it takes the place of the old.
#pragma once

#include <filesystem>
#include <system_error>

#include "base/output_file.h"
#include "base/temporary_folder.h"

namespace dravix::base {

/// Gives the open file `made` the owner, the group, the access list and the mode of the open file
/// `old`, so that it is never open to anybody to whom the old one is closed.
///
/// Owner and group are kept where the system lets the process do so. Where it does not, the new
/// file belongs to who writes it; a group that is not the old one gets no more than everybody. The
/// reason when the rest cannot be had. Windows: the file has what its folder gives it.
[[nodiscard]] std::error_code TakeOwnerAndMode(const OutputFile& old, const OutputFile& made);

/// A folder whose entries may change.
class OpenFolder {
 public:
  /// Opens it; the reason when there is a shortage of something. A folder that may not be read is
  /// left alone.
  [[nodiscard]] std::error_code Open(const std::filesystem::path& folder);
  OpenFolder() = default;
  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;
#ifdef _WIN32
  ~OpenFolder() = default;
#else
  ~OpenFolder();
#endif
  /// Waits until the disk has the folder's entries; the reason when that fails. A folder that may
  /// not be read cannot be flushed. Windows does it when a file is renamed.
  [[nodiscard]] std::error_code Flush() const;

 private:
  int descriptor_ = -1;
};

/// Gives the file another name, in place of what has it; the reason when that fails.
[[nodiscard]] std::error_code Rename(const std::filesystem::path& from,
                                     const std::filesystem::path& to);

/// A new file in the folder of its target. Where the system can, it has no name until it is whole,
/// so that a process that ends meanwhile leaves nothing. Else it lies in a TemporaryFolder.
class NewFile {
 public:
  enum class Name {
    kLate,   ///< the file gets its name when it is whole, where the system can do that
    kEarly,  ///< the file has a name from the beginning
  };

  /// Makes the file; `old`, which may be null, is what it will replace. The reason when that fails.
  [[nodiscard]] std::error_code Make(const std::filesystem::path& target, const OutputFile* old,
                                     Name name);
  [[nodiscard]] OutputFile& File() { return file_; }
  /// Closes the file and gives it the target's name; the reason when that fails.
  [[nodiscard]] std::error_code TakeNameOf(const std::filesystem::path& target, bool replaces);
  /// True when TakeNameOf failed for a reason that Name::kEarly does not have.
  [[nodiscard]] bool WantsEarlyName() const { return wantsEarlyName_; }

 private:
  [[nodiscard]] std::error_code Open(const std::filesystem::path& folder, bool isPrivate,
                                     Name name);
  [[nodiscard]] std::error_code Link(const std::filesystem::path& name);

  // The file closes before its folder goes: Windows removes no open file.
  TemporaryFolder folder_;
  OutputFile file_;
  bool hasName_ = false;
  bool wantsEarlyName_ = false;
};

/// The folder in which a file of that name lies.
[[nodiscard]] std::filesystem::path FolderOf(const std::filesystem::path& file);

}  // namespace dravix::base

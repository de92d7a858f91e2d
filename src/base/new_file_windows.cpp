#include "base/new_file.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace dravix::base {

namespace fs = std::filesystem;

fs::path FolderOf(const fs::path& file) {
  const fs::path folder = file.parent_path();
  return folder.empty() ? fs::path(L".") : folder;
}

std::error_code TakeOwnerAndMode(const OutputFile& /*old*/, const OutputFile& /*made*/) {
  return {};
}

std::error_code OpenFolder::Open(const fs::path& /*folder*/) { return {}; }
std::error_code OpenFolder::Flush() const { return {}; }

std::error_code Rename(const fs::path& from, const fs::path& to) {
  if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return {};
  }
  return {static_cast<int>(GetLastError()), std::system_category()};
}

std::error_code NewFile::Make(const fs::path& target, const OutputFile* /*old*/, Name /*name*/) {
  const fs::path folder = FolderOf(target);
  TemporaryFolder::RemoveLeftOvers(folder);
  std::error_code reason = folder_.Make(folder);
  if (!reason) file_ = OutputFile(folder_.FileName({}), OutputFile::How::kNew, &reason);
  return reason;
}

std::error_code NewFile::TakeNameOf(const fs::path& target, bool /*replaces*/) {
  if (const std::error_code reason = file_.Close()) return reason;
  const std::error_code reason = Rename(folder_.FileName({}), target);
  folder_.Remove();
  return reason;
}

}  // namespace dravix::base

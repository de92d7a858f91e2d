#include "base/file_target.h"

#include <system_error>

#ifdef __linux__
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <charconv>
#include <string>
#endif

namespace dravix::base {

namespace fs = std::filesystem;

#ifdef __linux__

bool IsLinkToOpenFile(const fs::path& path) {
  std::error_code error;
  if (!fs::is_symlink(path, error)) return false;
  const fs::path folder = path.parent_path();
  struct statfs system {};
  return statfs(folder.empty() ? "." : folder.c_str(), &system) == 0 &&
         system.f_type == PROC_SUPER_MAGIC;
}

std::optional<int> OwnDescriptor(const fs::path& path) {
  if (!IsLinkToOpenFile(path)) return std::nullopt;
  std::error_code error;
  const fs::path own = fs::canonical("/proc/self/fd", error);
  if (error || fs::canonical(path.parent_path(), error) != own) return std::nullopt;
  const std::string number = path.filename().string();
  int descriptor = -1;
  const auto [end, wrong] =
      std::from_chars(number.data(), number.data() + number.size(), descriptor);
  if (wrong != std::errc() || end != number.data() + number.size()) return std::nullopt;
  const int flags = fcntl(descriptor, F_GETFL);
  const int access = flags & O_ACCMODE;
  if (flags < 0 || (access != O_WRONLY && access != O_RDWR)) return std::nullopt;
  return descriptor;
}

#else

bool IsLinkToOpenFile(const fs::path& /*path*/) { return false; }

std::optional<int> OwnDescriptor(const fs::path& /*path*/) { return std::nullopt; }

#endif

fs::path FollowLinks(fs::path path) {
  constexpr int kMostLinks = 40;  // Linux follows no more either
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    if (IsLinkToOpenFile(path)) break;
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

}  // namespace dravix::base

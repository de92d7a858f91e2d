#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "base/new_file.h"

#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kAllBits = 07777;
constexpr mode_t kPrivate = 0600;
constexpr mode_t kUsual = 0666;

/// The mode without what it gives to the group beyond what everybody has.
mode_t WithoutGroup(mode_t mode) {
  constexpr unsigned kFromOthersToGroup = 3;  // bits
  return (mode & ~static_cast<mode_t>(S_IRWXG | S_ISGID)) | (mode & S_IRWXO) << kFromOthersToGroup;
}

#ifdef __linux__
constexpr const char* kAccessList = "system.posix_acl_access";

bool HasNoLists(int error) { return error == ENODATA || error == ENOTSUP; }

/// Gives `made` the access list of `old`, or none where that has none: a folder may have given it
/// one. False when the list cannot be set.
bool TakeAccessList(int old, int made) {
  std::vector<char> list;
  const ssize_t size = fgetxattr(old, kAccessList, nullptr, 0);
  if (size > 0) {
    list.resize(static_cast<std::size_t>(size));
    const ssize_t read = fgetxattr(old, kAccessList, list.data(), list.size());
    return read == size && fsetxattr(made, kAccessList, list.data(), list.size(), 0) == 0;
  }
  if (size < 0 && !HasNoLists(errno)) return false;
  return fremovexattr(made, kAccessList) == 0 || HasNoLists(errno);
}
#else
bool TakeAccessList(int /*old*/, int /*made*/) { return true; }
#endif

/// How the system names a file that is open in this process.
std::string OpenName(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

/// True when a file that lies in a folder from the beginning may do where a late name did not: not
/// for a shortage or a broken disk.
bool MayDoWithEarlyName(int error) {
  return error == EPERM || error == EACCES || error == ENOENT || error == ENOTSUP ||
         error == EXDEV || error == EINVAL;
}

}  // namespace

fs::path FolderOf(const fs::path& file) {
  const fs::path folder = file.parent_path();
  return folder.empty() ? fs::path(".") : folder;
}

std::error_code TakeOwnerAndMode(const OutputFile& old, const OutputFile& made) {
  constexpr auto kSame = static_cast<uid_t>(-1);
  struct stat wanted {};
  struct stat given {};
  const int to = made.Descriptor();
  if (fstat(old.Descriptor(), &wanted) != 0 || fstat(to, &given) != 0) return LastReason();
  mode_t mode = wanted.st_mode & kAllBits;
  if (given.st_gid != wanted.st_gid && fchown(to, kSame, wanted.st_gid) != 0) {
    mode = WithoutGroup(mode);
  }
  if (given.st_uid != wanted.st_uid && fchown(to, wanted.st_uid, kSame) != 0) {
    mode &= ~static_cast<mode_t>(S_ISUID);
  }
  if (!TakeAccessList(old.Descriptor(), to)) mode = WithoutGroup(mode);
  if (fchmod(to, mode) == 0) return {};
  const std::error_code reason = LastReason();
  // Some file systems have one mode for all files, and refuse to set even that.
  if (fstat(to, &given) == 0 && (given.st_mode & kAllBits) == mode) return {};
  return reason;
}

std::error_code OpenFolder::Open(const fs::path& folder) {
  descriptor_ = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return descriptor_ >= 0 || errno == EACCES ? std::error_code() : LastReason();
}

OpenFolder::~OpenFolder() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::error_code OpenFolder::Flush() const {
  // Some file systems have nothing to flush and say that they cannot.
  if (descriptor_ < 0 || fsync(descriptor_) == 0 || errno == EINVAL || errno == ENOTSUP) return {};
  return LastReason();
}

std::error_code Rename(const fs::path& from, const fs::path& to) {
  return std::rename(from.c_str(), to.c_str()) == 0 ? std::error_code() : LastReason();
}

std::error_code NewFile::Open(const fs::path& folder, bool isPrivate, Name name) {
#ifdef O_TMPFILE
  const mode_t mode = isPrivate ? kPrivate : kUsual;
  if (name == Name::kLate) {
    file_ = OutputFile(open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
    if (file_.IsOpen()) return {};
    if (errno == ENOSPC || errno == EMFILE || errno == ENFILE || errno == EIO) return LastReason();
  }
#endif
  hasName_ = true;
  std::error_code reason = folder_.Make(folder);
  if (reason) return reason;
  // The folder is for its owner only, so the mode does not matter while the file lies there.
  file_ = OutputFile(folder_.FileName({}), OutputFile::How::kNew, &reason);
  return reason;
}

std::error_code NewFile::Make(const fs::path& target, const OutputFile* old, Name name) {
  const fs::path folder = FolderOf(target);
  TemporaryFolder::RemoveLeftOvers(folder);
  const std::error_code reason = Open(folder, old != nullptr, name);
  if (reason || old == nullptr) return reason;
  return TakeOwnerAndMode(*old, file_);
}

std::error_code NewFile::Link(const fs::path& name) {
  if (linkat(AT_FDCWD, OpenName(file_.Descriptor()).c_str(), AT_FDCWD, name.c_str(),
             AT_SYMLINK_FOLLOW) == 0) {
    return {};
  }
  wantsEarlyName_ = MayDoWithEarlyName(errno);
  return LastReason();
}

std::error_code NewFile::TakeNameOf(const fs::path& target, bool replaces) {
  if (!hasName_ && !replaces) {
    const std::error_code reason = Link(target);
    if (!reason) (void)file_.Close();  // its bytes are flushed
    if (!reason) return {};
    if (reason != std::errc::file_exists) return reason;  // else somebody has just made one
  }
  if (!hasName_) {
    if (const std::error_code reason = folder_.Make(FolderOf(target))) return reason;
    if (const std::error_code reason = Link(folder_.FileName({}))) return reason;
  }
  if (const std::error_code reason = file_.Close()) return reason;
  const std::error_code reason = Rename(folder_.FileName({}), target);
  folder_.Remove();
  return reason;
}

}  // namespace dravix::base

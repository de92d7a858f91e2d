#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "batch/jobs/append_file.h"

namespace dravix::tool {
namespace {

std::error_code LastReason() { return {errno, std::generic_category()}; }

}  // namespace

AppendFile::~AppendFile() {
  if (handle_ >= 0) close(static_cast<int>(handle_));
}

AppendFile::Opened AppendFile::TryOpen(const std::filesystem::path& path) {
  constexpr mode_t kUsual = 0666;
  const int descriptor = open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, kUsual);
  if (descriptor < 0) {
    reason_ = LastReason();
    return Opened::kNo;
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
    handle_ = descriptor;
    return Opened::kYes;
  }
  const bool isInUse = errno == EWOULDBLOCK;
  reason_ = LastReason();
  close(descriptor);
  return isInUse ? Opened::kInUse : Opened::kNo;
}

std::error_code AppendFile::Write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t written = write(static_cast<int>(handle_), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return LastReason();
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

}  // namespace dravix::tool

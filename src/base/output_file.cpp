#include "base/output_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#ifdef _WIN32
#include <io.h>
#include <sys/stat.h>
#else
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

// What both kinds of systems offer under names of their own.
#ifdef _WIN32

int OpenFile(const fs::path& path, OutputFile::How how) {
  const int isNew = how == OutputFile::How::kNew ? _O_CREAT | _O_EXCL : 0;
  return _wopen(path.c_str(), _O_WRONLY | _O_BINARY | _O_NOINHERIT | isNew, _S_IREAD | _S_IWRITE);
}
std::int64_t WriteSome(int file, ByteView bytes) {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  return _write(file, bytes.data(), static_cast<unsigned>(std::min(bytes.size(), kMost)));
}
bool MayWaitFor(int /*file*/, int /*error*/) { return false; }
bool IsOnDisk(int file) {
  struct _stat64 status {};
  return _fstat64(file, &status) == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
}
bool Sync(int file) { return _commit(file) == 0; }
bool CloseFile(int file) { return _close(file) == 0; }
std::int64_t PositionOf(int file) { return _lseeki64(file, 0, SEEK_CUR); }
void SeekTo(int file, std::uint64_t at) {
  _lseeki64(file, static_cast<std::int64_t>(at), SEEK_SET);
}
bool Cut(int file, std::uint64_t at) { return _chsize_s(file, static_cast<std::int64_t>(at)) == 0; }

#else

int OpenFile(const fs::path& path, OutputFile::How how) {
  constexpr mode_t kUsual = 0666;
  const int isNew = how == OutputFile::How::kNew ? O_CREAT | O_EXCL | O_NOFOLLOW : 0;
  return open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | isNew, kUsual);
}
std::int64_t WriteSome(int file, ByteView bytes) {
  constexpr std::size_t kMost = std::size_t{1} << 30;  // Linux takes up to 2 GiB at a time
  return write(file, bytes.data(), std::min(bytes.size(), kMost));
}
/// True when the same may be tried again: after a signal, or once a pipe that the host made
/// non-blocking takes bytes again.
bool MayWaitFor(int file, int error) {
  if (error == EINTR) return true;
  if (error != EAGAIN) return false;
  pollfd wanted{file, POLLOUT, 0};
  return poll(&wanted, 1, -1) > 0 || errno == EINTR;
}
bool IsOnDisk(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}
bool Sync(int file) {
  // Some file systems have nothing to flush and say that they cannot.
  return fsync(file) == 0 || errno == EINVAL || errno == ENOTSUP;
}
/// After an interrupted close the file is closed.
bool CloseFile(int file) { return close(file) == 0 || errno == EINTR; }
std::int64_t PositionOf(int file) {
  const int flags = fcntl(file, F_GETFL);
  return lseek(file, 0, flags >= 0 && (flags & O_APPEND) != 0 ? SEEK_END : SEEK_CUR);
}
void SeekTo(int file, std::uint64_t at) { lseek(file, static_cast<off_t>(at), SEEK_SET); }
bool Cut(int file, std::uint64_t at) { return ftruncate(file, static_cast<off_t>(at)) == 0; }

#endif

std::error_code WriteAll(int file, ByteView bytes) {
  while (!bytes.empty()) {
    const std::int64_t count = WriteSome(file, bytes);
    if (count > 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else if (count == 0) {
      return std::make_error_code(std::errc::io_error);
    } else if (!MayWaitFor(file, errno)) {
      return LastReason();
    }
  }
  return {};
}

}  // namespace

std::error_code LastReason() {
  return errno != 0 ? std::error_code(errno, std::generic_category())
                    : std::make_error_code(std::errc::io_error);
}

OutputFile::OutputFile(const fs::path& path, How how, std::error_code* reason)
    : descriptor_(OpenFile(path, how)) {
  *reason = IsOpen() ? std::error_code() : LastReason();
}

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
  if (this == &other) return *this;
  (void)Close();
  descriptor_ = std::exchange(other.descriptor_, kNone);
  collected_ = std::move(other.collected_);
  failure_ = other.failure_;
  taken_ = other.taken_;
  return *this;
}

void OutputFile::Append(ByteView bytes) {
  constexpr std::size_t kCollected = std::size_t{1} << 16;  // bytes; above, a call costs little
  if (bytes.size() > kCollected) return AppendAtOnce(bytes);
  if (collected_.size() + bytes.size() > kCollected) HandOnCollected();
  collected_.reserve(kCollected);
  collected_.insert(collected_.end(), bytes.begin(), bytes.end());
  taken_ += bytes.size();
}

void OutputFile::AppendAtOnce(ByteView bytes) {
  HandOnCollected();
  HandOn(bytes);
  taken_ += bytes.size();
}

void OutputFile::HandOn(ByteView bytes) {
  if (!failure_) failure_ = WriteAll(descriptor_, bytes);
}

void OutputFile::HandOnCollected() {
  HandOn(collected_);
  collected_.clear();
}

std::error_code OutputFile::Flush() {
  HandOnCollected();
  if (!failure_ && IsOnDisk(descriptor_) && !Sync(descriptor_)) failure_ = LastReason();
  return failure_;
}

std::error_code OutputFile::Close() {
  if (!IsOpen()) return {};
  return CloseFile(std::exchange(descriptor_, kNone)) ? std::error_code() : LastReason();
}

bool OutputFile::IsRegular() const {
  struct stat status {};
  return fstat(descriptor_, &status) == 0 && (status.st_mode & S_IFMT) == S_IFREG;
}

std::uint64_t OutputFile::Position() const {
  const std::int64_t position = PositionOf(descriptor_);
  return position < 0 ? 0 : static_cast<std::uint64_t>(position);
}

std::error_code OutputFile::CutAt(std::uint64_t size) const {
  return Cut(descriptor_, size) ? std::error_code() : LastReason();
}

void OutputFile::StartAgainAt(std::uint64_t position) {
  collected_.clear();
  failure_.clear();
  SeekTo(descriptor_, position);
}

}  // namespace dravix::base

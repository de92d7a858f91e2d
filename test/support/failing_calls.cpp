#include "support/failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace {

using dravix::test::Call;

struct State {
  bool armed = false;
  Call call = Call::kOpen;
  int left = 0;  ///< calls until the one that fails
  int error = 0;
  bool happened = false;
  ino_t flushed = 0;  ///< the file that was not flushed
  bool halting = false;
  bool interrupted = false;  ///< the last write was
};

thread_local State state;

/// True when this call is to fail; errno is then set.
bool Fails(Call call) {
  if (!state.armed || state.call != call || --state.left != 0) return false;
  state.happened = true;
  errno = state.error;
  return true;
}

/// What the dynamic linker would have taken.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

ssize_t WriteHalting(int file, const void* data, std::size_t size) {
  constexpr std::size_t kMost = 3;
  state.interrupted = !state.interrupted;
  if (state.interrupted) {
    errno = EINTR;
    return -1;
  }
  return syscall(SYS_write, file, data, std::min(size, kMost));
}

ino_t NumberOf(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 ? status.st_ino : 0;
}

/// The third argument of open, where there is one.
#define MODE_OF(flags)                                              \
  mode_t mode = 0;                                                  \
  if (((flags)&O_CREAT) != 0 || ((flags)&O_TMPFILE) == O_TMPFILE) { \
    va_list more;                                                   \
    va_start(more, flags);                                          \
    mode = va_arg(more, mode_t);                                    \
    va_end(more);                                                   \
  }

}  // namespace

// The shared libraries must find these, too.
#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  MODE_OF(flags)
  if (Fails(Call::kOpen)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
int open64(const char* path, int flags, ...) {
  MODE_OF(flags)
  if (Fails(Call::kOpen)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
FILE* fopen(const char* path, const char* mode) {
  if (Fails(Call::kOpen)) return nullptr;
  static auto* const next = Next<FILE*(const char*, const char*)>("fopen");
  return next(path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
  if (Fails(Call::kOpen)) return nullptr;
  static auto* const next = Next<FILE*(const char*, const char*)>("fopen64");
  return next(path, mode);
}
ssize_t read(int file, void* data, size_t size) {
  if (Fails(Call::kRead)) return -1;
  return syscall(SYS_read, file, data, size);
}
ssize_t write(int file, const void* data, size_t size) {
  if (Fails(Call::kWrite)) return -1;
  if (state.halting) return WriteHalting(file, data, size);
  return syscall(SYS_write, file, data, size);
}
ssize_t writev(int file, const iovec* pieces, int count) {
  if (Fails(Call::kWrite)) return -1;
  return syscall(SYS_writev, file, pieces, count);
}
int fsync(int file) {
  if (Fails(Call::kFlush)) {
    state.flushed = NumberOf(file);
    errno = state.error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, file));
}
int close(int file) {
  const bool fails = Fails(Call::kClose);
  const auto result = static_cast<int>(syscall(SYS_close, file));
  if (!fails) return result;
  errno = state.error;
  return -1;
}
int fclose(FILE* file) {
  const bool fails = Fails(Call::kClose);
  static auto* const next = Next<int(FILE*)>("fclose");
  const int result = next(file);
  if (!fails) return result;
  errno = state.error;
  return EOF;
}
int rename(const char* from, const char* to) noexcept {
  if (Fails(Call::kRename)) return -1;
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  if (Fails(Call::kLink)) return -1;
  return static_cast<int>(syscall(SYS_linkat, fromFolder, from, toFolder, to, flags));
}
int mkdir(const char* path, mode_t mode) noexcept {
  if (Fails(Call::kMakeFolder)) return -1;
  return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}
int rmdir(const char* path) noexcept {
  if (Fails(Call::kRemove)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
}
int unlinkat(int folder, const char* path, int flags) noexcept {
  if (Fails(Call::kRemove)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, folder, path, flags));
}
int fchmod(int file, mode_t mode) noexcept {
  if (Fails(Call::kMode)) return -1;
  return static_cast<int>(syscall(SYS_fchmod, file, mode));
}
int fchown(int file, uid_t user, gid_t group) noexcept {
  if (Fails(Call::kOwner)) return -1;
  return static_cast<int>(syscall(SYS_fchown, file, user, group));
}
ssize_t fgetxattr(int file, const char* name, void* value, size_t size) noexcept {
  if (Fails(Call::kAccessList)) return -1;
  return syscall(SYS_fgetxattr, file, name, value, size);
}
int fsetxattr(int file, const char* name, const void* value, size_t size, int flags) noexcept {
  if (Fails(Call::kAccessList)) return -1;
  return static_cast<int>(syscall(SYS_fsetxattr, file, name, value, size, flags));
}
int fremovexattr(int file, const char* name) noexcept {
  if (Fails(Call::kAccessList)) return -1;
  return static_cast<int>(syscall(SYS_fremovexattr, file, name));
}
// The C library has a structure of this name, too.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
int flock(int file, int operation) noexcept {
  if (Fails(Call::kLock)) return -1;
  return static_cast<int>(syscall(SYS_flock, file, operation));
}
#pragma GCC diagnostic pop
int ftruncate(int file, off_t size) noexcept {
  if (Fails(Call::kCut)) return -1;
  return static_cast<int>(syscall(SYS_ftruncate, file, size));
}
off_t lseek(int file, off_t offset, int from) noexcept {
  if (Fails(Call::kSeek)) return -1;
  return syscall(SYS_lseek, file, offset, from);
}
off64_t lseek64(int file, off64_t offset, int from) noexcept {
  if (Fails(Call::kSeek)) return -1;
  return syscall(SYS_lseek, file, offset, from);
}

}  // extern "C"
#pragma GCC visibility pop

namespace dravix::test {

std::vector<Call> AllCalls() {
  std::vector<Call> calls;
  for (int i = 0; i <= static_cast<int>(Call::kSeek); ++i) calls.push_back(static_cast<Call>(i));
  return calls;
}

std::string NameOf(Call call) {
  constexpr const char* kNames[] = {"open",   "read",        "write", "flush",  "close",
                                    "rename", "link",        "mkdir", "remove", "mode",
                                    "owner",  "access list", "lock",  "cut",    "seek"};
  return kNames[static_cast<int>(call)];
}

FailingCall::FailingCall(Call call, int n, int error) {
  state = State{};
  state.call = call;
  state.left = n;
  state.error = error;
  state.armed = true;
}
FailingCall::~FailingCall() { state.armed = false; }
bool FailingCall::Happened() const { return state.happened; }
bool FailingCall::WasFlushOf(const std::filesystem::path& path) const {
  struct stat status {};
  return state.flushed != 0 && stat(path.c_str(), &status) == 0 && status.st_ino == state.flushed;
}

HaltingWrites::HaltingWrites() { state.halting = true; }
HaltingWrites::~HaltingWrites() { state.halting = false; }

}  // namespace dravix::test

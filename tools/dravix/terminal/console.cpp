#include "terminal/console.h"

#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include "terminal/failure.h"

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace dravix::tool {
namespace {

#ifdef _WIN32
int Duplicate(int fd) { return _dup(fd); }
void Replace(int from, int to) { _dup2(from, to); }
void Close(int fd) { _close(fd); }
int OpenNothing() { return _open("NUL", _O_WRONLY); }
#else
int Duplicate(int fd) { return fcntl(fd, F_DUPFD_CLOEXEC, 3); }
void Replace(int from, int to) { dup2(from, to); }
void Close(int fd) { close(fd); }
int OpenNothing() { return open("/dev/null", O_WRONLY | O_CLOEXEC); }
#endif

constexpr int kStdout = 1;
constexpr int kStderr = 2;

void Restore(int saved, int fd) {
  if (saved < 0) return;
  Replace(saved, fd);
  Close(saved);
}

}  // namespace

void IgnoreClosedPipes() {
#ifndef _WIN32
  // SIG_IGN cannot fail for SIGPIPE.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
#endif
}

void Print(std::string_view text) {
  errno = 0;
  const bool written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
  if (written || errno == EPIPE) return;
  const std::string reason = std::strerror(errno);
  throw Failure(ExitCode::kOutput, "standard output: cannot be written: " + reason);
}

void PrintJson(const Json& json) {
  // The name of a file may hold any bytes. Those that are not UTF-8 appear as replacement
  // characters.
  Print(json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

Hushed::Hushed() {
  std::fflush(stdout);
  std::fflush(stderr);
  out_ = Duplicate(kStdout);
  err_ = Duplicate(kStderr);
  const int nothing = OpenNothing();
  if (nothing < 0) return;
  Replace(nothing, kStdout);
  Replace(nothing, kStderr);
  Close(nothing);
}

Hushed::~Hushed() {
  std::fflush(stdout);
  std::fflush(stderr);
  Restore(out_, kStdout);
  Restore(err_, kStderr);
}

}  // namespace dravix::tool

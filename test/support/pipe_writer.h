/// Named pipes for tests of what reads them.
#pragma once

#ifndef _WIN32
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include "base/write_signals.h"

namespace dravix::test {

/// Makes a pipe of that name and writes `content` into it. The pipe stays open for as long as the
/// object lives: a reader that wants more than there is waits forever.
class PipeWriter {
 public:
  enum class Then { kWait, kZerosWithoutEnd, kLastByteWithoutEnd };

  PipeWriter(const std::string& name, std::string content, Then then = Then::kWait) {
    EXPECT_EQ(mkfifo(name.c_str(), 0600), 0);
    writer_ = std::thread([this, name, then, text = std::move(content)] {
      const base::HoldWriteSignals hold;
      const int pipe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
      Write(pipe, text);
      const char again = then == Then::kLastByteWithoutEnd ? text.back() : '\0';
      const std::string more(1 << 16, again);
      while (then != Then::kWait && Write(pipe, more)) continue;
      done_.get_future().wait();
      close(pipe);
    });
  }
  PipeWriter(const PipeWriter&) = delete;
  PipeWriter& operator=(const PipeWriter&) = delete;
  ~PipeWriter() {
    done_.set_value();
    writer_.join();
  }

  /// What readers have taken out of the pipe so far, and what the pipe itself holds: up to 64 KiB.
  [[nodiscard]] std::uint64_t Written() const { return written_; }

 private:
  bool Write(int pipe, const std::string& text) {
    const ssize_t count = write(pipe, text.data(), text.size());
    if (count > 0) written_ += static_cast<std::uint64_t>(count);
    return count > 0;
  }

  std::promise<void> done_;
  std::atomic<std::uint64_t> written_ = 0;
  std::thread writer_;
};

}  // namespace dravix::test
#endif

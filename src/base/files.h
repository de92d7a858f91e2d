/// Whole files in and out: the one place where dravix opens files of its own formats.
///
/// Names are the platform's 8-bit file names; on Windows they are UTF-8.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <istream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/bytes.h"

namespace dravix::base {

/// The path that a host's file name stands for; empty for a name with a zero byte in it, which the
/// system would silently cut short, and on Windows for one that is not UTF-8 or that
/// no file can have.
[[nodiscard]] std::optional<std::filesystem::path> PathOf(const std::string& fullname);

/// A file that was open and then could not be read after all.
class ReadFailure : public std::runtime_error {
 public:
  ReadFailure() : std::runtime_error("a file cannot be read") {}
};

/// An open file. Of a regular one only what is asked for is read, so that a look at its front costs
/// no more than that, however large it says it is; pipes and devices are read whole when opened.
/// All reading throws ReadFailure when the system fails to.
class InputFile final : public ByteSource {
 public:
  /// Null when the file cannot be opened (a folder cannot), or not be read where it is read whole.
  [[nodiscard]] static std::unique_ptr<InputFile> Open(const std::string& fullname);

  [[nodiscard]] std::uint64_t Size() const { return size_; }
  /// Goes on at that byte, or at the end when it lies behind that.
  void SeekTo(std::uint64_t offset);

  std::size_t Fetch(std::span<std::byte> out) override;
  ByteView FetchSome() override;
  void Skip(std::size_t count) override;
  [[nodiscard]] std::size_t Left() const override;
  /// The file from where it stands, as a stream for formatted reading. Fetch nothing afterwards.
  [[nodiscard]] std::istream& Stream() { return *in_; }

 private:
  InputFile(std::unique_ptr<std::istream> in, std::uint64_t size)
      : in_(std::move(in)), size_(size) {}

  std::unique_ptr<std::istream> in_;
  std::uint64_t size_, at_ = 0;
  Bytes some_;
};

/// All bytes of a file; empty when it cannot be opened or read, or is larger than the memory.
[[nodiscard]] std::optional<Bytes> ReadFile(const std::string& fullname);

enum class WriteResult {
  kWritten,
  kCannotOpen,  ///< the name cannot be written to; nothing has changed
  kFailed,      ///< writing broke off; what was under the name before is still there
};

/// Writes the pieces, one after another, as the whole content of a file.
///
/// A regular file is written beside its name and renamed over it when it is complete, so that the
/// name holds the old bytes or the new ones, never half; links are followed, permissions kept. A
/// device or pipe is written straight.
[[nodiscard]] WriteResult WriteFile(const std::string& fullname,
                                    std::initializer_list<ByteView> pieces);

}  // namespace dravix::base

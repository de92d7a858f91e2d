/// Files that are read: the one place where dravix opens a file for reading.
#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/bytes.h"
#include "base/stream_source.h"

namespace dravix::base {

/// A file that was open and then could not be read after all.
class ReadFailure : public std::runtime_error {
 public:
  ReadFailure() : std::runtime_error("a file cannot be read") {}
};

/// In which order a file's bytes are wanted.
enum class Access {
  kForward,   ///< each byte once: of a pipe or device, nothing is kept that has been read
  kAnyOrder,  ///< with SeekTo: of a pipe or device, all that has been read is kept, and no more
              ///< than kMostFromStream is read
};

/// An open file, of which only what is asked for is read: a look at its front costs no more than
/// that, however large it says it is, also where it is a pipe or a device without an end. All
/// reading throws ReadFailure when the system fails to.
class InputFile : public ByteSource {
 public:
  /// Null when the file cannot be opened, as a folder cannot.
  [[nodiscard]] static std::unique_ptr<InputFile> Open(const std::string& fullname, Access access);

  /// Bytes in all; empty for a pipe, a device or a file of /proc, which do not say.
  [[nodiscard]] virtual std::optional<std::uint64_t> Size() const = 0;
  /// Goes on at that byte, or at the end when it lies behind that. Needs Access::kAnyOrder.
  virtual void SeekTo(std::uint64_t offset) = 0;

 protected:
  explicit InputFile(std::ifstream in) : in_(std::move(in)) {}
  void RequireGood() const {
    if (in_.bad()) throw ReadFailure();
  }

  std::ifstream in_;
};

/// Opens the file and lets `read` have it. False when it cannot be opened, or when `read` finds
/// that it cannot be read (ReadFailure): that is no more use.
[[nodiscard]] bool ReadFileWith(const std::string& fullname, Access access,
                                const std::function<void(InputFile&)>& read);

/// All bytes of a file; empty when it cannot be opened or read, is larger than the memory, or is a
/// pipe or device that gives more than kMostFromStream.
[[nodiscard]] std::optional<Bytes> ReadFile(const std::string& fullname);

}  // namespace dravix::base

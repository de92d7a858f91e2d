/// Whole files in and out: the one place where dravix opens files. Names are those of base/paths.h.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <istream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "base/bytes.h"

namespace dravix::base {

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

/// How writing ended, and why.
struct WriteOutcome {
  WriteResult result = WriteResult::kWritten;
  std::error_code reason;  ///< what the system says; empty when it was written or says nothing
};

/// Writes the pieces, one after another, as the whole content of a file.
///
/// A regular file is written beside its name and renamed over it when it is complete, so that the
/// name holds the old bytes or the new ones, never half. Links are followed and permissions kept. A
/// device or pipe is written straight.
///
/// Where no new file can be made beside the old one or renamed over it (the folder may not be
/// written, or on Windows a reader holds the old file open), but the old file itself may be
/// written, it is written in place. That is not safe against a crash: a process that ends meanwhile
/// leaves half a file. When only the writing fails, the old bytes are put back.
[[nodiscard]] WriteOutcome WriteFile(const std::string& fullname,
                                     std::initializer_list<ByteView> pieces);

/// As WriteFile, for a writer that wants a name: `write` makes the whole file under the name that
/// it is given and answers whether it succeeded. The name has the extension of `fullname` and
/// stands for an empty file in the same folder, which then takes the place of `fullname`. It is
/// `fullname` itself for devices, pipes and files that are written in place. A `write` that answers
/// false has failed without a reason: it knows its own.
[[nodiscard]] WriteOutcome WriteByName(const std::string& fullname,
                                       const std::function<bool(const std::string& name)>& write);

}  // namespace dravix::base

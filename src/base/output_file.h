/// A file that is open for writing.
#pragma once

#include <filesystem>
#include <system_error>
#include <utility>

#include "base/bytes.h"

namespace dravix::base {

/// What the system's last failing call left as its reason.
[[nodiscard]] std::error_code LastReason();

/// Takes bytes into an open file. Small pieces are collected, large ones go to the system from
/// where they lie. The first failure is remembered, and what follows it is dropped: Flush tells.
class OutputFile final : public ByteSink {
 public:
  enum class How {
    kExisting,  ///< a file that exists, as it is
    kNew,       ///< a file that does not exist yet
  };

  OutputFile() = default;
  /// Owns the descriptor from now on.
  explicit OutputFile(int descriptor) : descriptor_(descriptor) {}
  /// Opens a file; *reason says why that fails. A terminal does not become the process's own.
  OutputFile(const std::filesystem::path& path, How how, std::error_code* reason);
  OutputFile(OutputFile&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, kNone)),
        collected_(std::move(other.collected_)),
        failure_(other.failure_),
        taken_(other.taken_) {}
  OutputFile& operator=(OutputFile&& other) noexcept;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile() override { (void)Close(); }

  [[nodiscard]] bool IsOpen() const { return descriptor_ != kNone; }
  [[nodiscard]] int Descriptor() const { return descriptor_; }
  /// Bytes appended so far.
  [[nodiscard]] std::uint64_t Taken() const { return taken_; }

  void Append(ByteView bytes) override;
  /// The same without collecting, and so without memory: hands on what was collected, then these.
  void AppendAtOnce(ByteView bytes);
  /// Hands all bytes to the system and, where the file lies on a disk, waits until the disk has
  /// them. The first failure since the file was opened.
  [[nodiscard]] std::error_code Flush();
  /// Gives the file back to the system. Bytes that were not flushed are lost.
  [[nodiscard]] std::error_code Close();

  // --- for files that are written in place ---

  [[nodiscard]] bool IsRegular() const;
  /// Bytes from the front to where the next one goes: to the end where the file is only appended
  /// to. 0 where the system does not say.
  [[nodiscard]] std::uint64_t Position() const;
  /// Cuts the file off at that many bytes; the reason when that fails.
  [[nodiscard]] std::error_code CutAt(std::uint64_t size) const;
  /// Writes on at that byte, all failures forgotten.
  void StartAgainAt(std::uint64_t position);

 private:
  static constexpr int kNone = -1;
  void HandOn(ByteView bytes);
  void HandOnCollected();

  int descriptor_ = kNone;
  Bytes collected_;
  std::error_code failure_;
  std::uint64_t taken_ = 0;
};

}  // namespace dravix::base

/// Bytes of a stream whose length nobody knows.
#pragma once

#include <cstdint>
#include <deque>
#include <istream>

#include "base/bytes.h"

namespace dravix::base {

/// The most that is kept of a stream, which may have no end: 256 MiB.
inline constexpr std::uint64_t kMostFromStream = std::uint64_t{256} << 20;

/// Reads a stream that it does not own: a pipe, a device, a file of /proc, a host's own stream. No
/// byte is taken from the stream before somebody asks for it or asks whether it is there, so that
/// what follows stays for whoever reads the stream next. A stream that fails is at its end.
///
/// Bytes are kept in chunks. A chunk goes when it has been consumed, so that memory holds no more
/// than what was looked at ahead, or it stays where the reader wants to go back. A stream of which
/// everything is kept ends after kMostFromStream bytes.
class StreamSource final : public ByteSource {
 public:
  enum class Consumed { kDropped, kKept };

  explicit StreamSource(std::istream& in, Consumed consumed = Consumed::kDropped)
      : in_(in), consumed_(consumed) {}

  [[nodiscard]] bool Has(std::uint64_t count) override;
  std::size_t Fetch(std::span<std::byte> out) override;
  ByteView FetchSome() override;
  void Skip(std::uint64_t count) override;
  /// The stream, too, says that it is at its end.
  void End() override;

  /// Goes on at that byte, counted from where the stream stood at first, or at the end when it lies
  /// behind that. Only for a source that keeps what was consumed.
  void SeekTo(std::uint64_t offset);

 private:
  void ReadMore(std::uint64_t most);
  void DropConsumed();
  [[nodiscard]] ByteView AtHand() const;

  std::istream& in_;
  Consumed consumed_;
  std::deque<Bytes> chunks_;
  // Counted in bytes from where the stream stood at first.
  std::uint64_t dropped_ = 0, at_ = 0, read_ = 0;
  bool ended_ = false;
};

}  // namespace dravix::base

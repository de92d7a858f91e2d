/// The bytes that a fuzzer invents, handed out from the front as numbers and pieces.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string>

#include "base/bytes.h"

namespace dravix::fuzz {

/// Bytes that have run out read as zeros, so that every input means something. Nothing is refused
/// here: what is too large or makes no sense is for the code under test to refuse.
class Input {
 public:
  explicit Input(base::ByteView bytes) : rest_(bytes) {}
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  ~Input() = default;

  template <base::PlainNumber T>
  [[nodiscard]] T Take() {
    std::array<std::byte, sizeof(T)> raw{};
    const base::ByteView there = TakeBytes(raw.size());
    std::copy(there.begin(), there.end(), raw.begin());
    return std::bit_cast<T>(raw);
  }
  [[nodiscard]] bool TakeBool() { return (Take<std::uint8_t>() & 1U) != 0; }
  /// One of the numbers below `count`, from one byte.
  [[nodiscard]] unsigned TakeBelow(unsigned count) { return Take<std::uint8_t>() % count; }
  /// The next bytes, or as many as are left.
  [[nodiscard]] base::ByteView TakeBytes(std::size_t count) {
    const base::ByteView taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  /// Bytes whose count, of 16 bits, stands before them.
  [[nodiscard]] base::ByteView TakePiece() { return TakeBytes(Take<std::uint16_t>()); }
  [[nodiscard]] base::ByteView Rest() const { return rest_; }
  [[nodiscard]] bool Empty() const { return rest_.empty(); }

 private:
  base::ByteView rest_;
};

[[nodiscard]] inline const char* Chars(base::ByteView bytes) {
  return static_cast<const char*>(static_cast<const void*>(bytes.data()));
}
[[nodiscard]] inline std::string Text(base::ByteView bytes) {
  return bytes.empty() ? std::string() : std::string(Chars(bytes), bytes.size());
}

}  // namespace dravix::fuzz

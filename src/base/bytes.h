/// Bounds-checked little-endian reading and writing, the only way to bytes for every format.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace dravix::base {

using Bytes = std::vector<std::byte>;
using ByteView = std::span<const std::byte>;

static_assert(std::endian::native == std::endian::little,
              "samples are moved as whole planes, without swapping");

template <class T>
concept PlainNumber = std::is_arithmetic_v<T>;

/// The bytes of a text or of a host's buffer. Does not own.
inline ByteView ViewOf(const char* data, std::size_t size) {
  return std::as_bytes(std::span<const char>(data, size));
}
inline ByteView ViewOf(std::string_view text) { return ViewOf(text.data(), text.size()); }

/// Reads forward through bytes it does not own; never past their end.
class ByteReader {
 public:
  explicit ByteReader(ByteView bytes) : rest_(bytes) {}

  /// The next number; empty, with nothing consumed, when fewer bytes are left.
  template <PlainNumber T>
  [[nodiscard]] std::optional<T> Read() {
    if (rest_.size() < sizeof(T)) return std::nullopt;
    std::array<std::byte, sizeof(T)> raw{};
    Take(raw);
    return std::bit_cast<T>(raw);
  }

  /// The next number, or `fallback` when it is cut short (what is left is then consumed).
  template <PlainNumber T>
  [[nodiscard]] T ReadOr(T fallback) {
    const std::optional<T> value = Read<T>();
    if (!value) rest_ = {};
    return value.value_or(fallback);
  }

  /// Fills `out`, with zeros where the bytes have run out. Returns how many were there.
  std::size_t ReadUpTo(std::span<std::byte> out) {
    const std::size_t there = out.size() < rest_.size() ? out.size() : rest_.size();
    Take(out.first(there));
    for (std::byte& rest : out.subspan(there)) rest = std::byte{0};
    return there;
  }

  /// The next `count` bytes as a view; empty, with nothing consumed, when fewer are left.
  [[nodiscard]] std::optional<ByteView> View(std::size_t count) {
    if (rest_.size() < count) return std::nullopt;
    const ByteView view = rest_.first(count);
    rest_ = rest_.subspan(count);
    return view;
  }

  /// Passes over up to `count` bytes.
  void Skip(std::size_t count) {
    rest_ = rest_.subspan(count < rest_.size() ? count : rest_.size());
  }

  [[nodiscard]] std::size_t Remaining() const { return rest_.size(); }

 private:
  void Take(std::span<std::byte> out) {
    if (out.empty()) return;
    std::memcpy(out.data(), rest_.data(), out.size());
    rest_ = rest_.subspan(out.size());
  }

  ByteView rest_;
};

/// Grows a byte string; the mirror of ByteReader.
class ByteWriter {
 public:
  template <PlainNumber T>
  void Write(T value) {
    Append(std::as_bytes(std::span<const T, 1>(&value, 1)));
  }
  void Append(ByteView bytes) {
    if (bytes.empty()) return;
    const std::size_t before = bytes_.size();
    bytes_.resize(before + bytes.size());
    std::memcpy(&bytes_[before], bytes.data(), bytes.size());
  }
  /// Makes room once, so that large planes are not copied while growing.
  void Reserve(std::size_t more) { bytes_.reserve(bytes_.size() + more); }

  [[nodiscard]] const Bytes& Data() const& { return bytes_; }
  [[nodiscard]] Bytes Data() && { return std::move(bytes_); }
  [[nodiscard]] std::size_t Size() const { return bytes_.size(); }

 private:
  Bytes bytes_;
};

}  // namespace dravix::base

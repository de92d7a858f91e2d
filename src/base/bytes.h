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

/// Bytes that are fetched as they are asked for, front to back.
class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Fills `out` from its front with the next bytes; returns how many there were.
  virtual std::size_t Fetch(std::span<std::byte> out) = 0;
  /// A few of the next bytes, at least one unless there are none. Good until the next call.
  virtual ByteView FetchSome() = 0;
  /// Passes over `count` bytes, no more than are left.
  virtual void Skip(std::size_t count) = 0;
  [[nodiscard]] virtual std::size_t Left() const = 0;
};

/// Reads forward through bytes, or a source, that it does not own; never past their end.
class ByteReader {
 public:
  explicit ByteReader(ByteView bytes) : rest_(bytes) {}
  explicit ByteReader(ByteSource& source) : source_(&source) {}
  ByteReader(const ByteReader&) = delete;  // two readers of one source would share its place
  ByteReader& operator=(const ByteReader&) = delete;
  ~ByteReader() = default;

  /// The next number; empty, with nothing consumed, when fewer bytes are left.
  template <PlainNumber T>
  [[nodiscard]] std::optional<T> Read() {
    std::array<std::byte, sizeof(T)> raw{};
    if (rest_.size() >= sizeof(T)) {
      Take(raw);
    } else if (Remaining() < sizeof(T) || ReadUpTo(raw) < sizeof(T)) {
      return std::nullopt;
    }
    return std::bit_cast<T>(raw);
  }

  /// The next number, or `fallback` when it is cut short (what is left is then consumed).
  template <PlainNumber T>
  [[nodiscard]] T ReadOr(T fallback) {
    const std::optional<T> value = Read<T>();
    if (!value) Skip(Remaining());
    return value.value_or(fallback);
  }

  /// Fills `out`, with zeros where the bytes have run out. Returns how many were there.
  std::size_t ReadUpTo(std::span<std::byte> out) {
    std::size_t there = Take(out);
    if (there < out.size() && source_ != nullptr) there += FromSource(out.subspan(there));
    for (std::byte& rest : out.subspan(there)) rest = std::byte{0};
    return there;
  }

  /// Passes over up to `count` bytes.
  void Skip(std::size_t count) {
    const std::size_t here = count < rest_.size() ? count : rest_.size();
    rest_ = rest_.subspan(here);
    if (count == here || source_ == nullptr) return;
    const std::size_t more = count - here;
    source_->Skip(more < source_->Left() ? more : source_->Left());
  }

  [[nodiscard]] std::size_t Remaining() const {
    return rest_.size() + (source_ == nullptr ? 0 : source_->Left());
  }

 private:
  /// As much of `out` as is at hand.
  std::size_t Take(std::span<std::byte> out) {
    const std::size_t here = out.size() < rest_.size() ? out.size() : rest_.size();
    if (here > 0) std::memcpy(out.data(), rest_.data(), here);
    rest_ = rest_.subspan(here);
    return here;
  }
  /// Planes come straight from the source; numbers, many of them, from what it has at hand.
  std::size_t FromSource(std::span<std::byte> out) {
    constexpr std::size_t kNumber = sizeof(std::uint64_t);
    if (out.size() > kNumber) return source_->Fetch(out);
    rest_ = source_->FetchSome();
    const std::size_t there = Take(out);
    return there < out.size() && there > 0 ? there + FromSource(out.subspan(there)) : there;
  }

  ByteView rest_;
  ByteSource* source_ = nullptr;
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

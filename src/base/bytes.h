/// Reading and writing of little-endian bytes within their bounds. Every format goes through it.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
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

/// The bytes of a text or of a host's buffer, which the view does not own.
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

  /// True when at least `count` bytes are left. A source that cannot know its length looks ahead
  /// and keeps what it has seen for the next Fetch: what it costs is paid for in bytes that exist.
  [[nodiscard]] virtual bool Has(std::uint64_t count) = 0;
  /// Fills `out` from its front with the next bytes; returns how many there were.
  virtual std::size_t Fetch(std::span<std::byte> out) = 0;
  /// A few of the next bytes, at least one unless there are none, and no more than can be given
  /// without waiting. Good until the next Fetch, FetchSome or Skip.
  virtual ByteView FetchSome() = 0;
  /// Passes over up to `count` bytes.
  virtual void Skip(std::uint64_t count) = 0;
  /// Is at its end from now on. Does not read what it passes over, which may be without end.
  virtual void End() = 0;
  /// False for a source that may go on forever, as a pipe and a device may.
  [[nodiscard]] virtual bool HasAnEnd() const { return false; }
};

/// Reads forward through bytes, or a source, that it does not own; never past their end.
class ByteReader {
 public:
  explicit ByteReader(ByteView bytes) : rest_(bytes) {}
  explicit ByteReader(ByteSource& source) : source_(&source) {}
  ByteReader(const ByteReader&) = delete;  // two readers of one source would share its place
  ByteReader& operator=(const ByteReader&) = delete;
  ~ByteReader() = default;

  /// True when at least `count` bytes are left.
  [[nodiscard]] bool Has(std::uint64_t count) const {
    if (count <= rest_.size()) return true;
    return source_ != nullptr && source_->Has(count - rest_.size());
  }

  /// The next number; empty, with nothing consumed, when fewer bytes are left.
  template <PlainNumber T>
  [[nodiscard]] std::optional<T> Read() {
    if (!Has(sizeof(T))) return std::nullopt;
    std::array<std::byte, sizeof(T)> raw{};
    if (ReadUpTo(raw) < sizeof(T)) return std::nullopt;
    return std::bit_cast<T>(raw);
  }

  /// The next number, or `fallback` when it is cut short (what is left is then consumed).
  template <PlainNumber T>
  [[nodiscard]] T ReadOr(T fallback) {
    const std::optional<T> value = Read<T>();
    if (!value) SkipRest();
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
  void Skip(std::uint64_t count) {
    const std::size_t here = count < rest_.size() ? static_cast<std::size_t>(count) : rest_.size();
    rest_ = rest_.subspan(here);
    if (count > here && source_ != nullptr) source_->Skip(count - here);
  }

  /// False when the bytes may go on forever.
  [[nodiscard]] bool HasAnEnd() const { return source_ == nullptr || source_->HasAnEnd(); }

  /// Passes over all that is left.
  void SkipRest() {
    rest_ = {};
    if (source_ != nullptr) source_->End();
  }

 private:
  /// Fills as much of `out` as the bytes at hand allow.
  std::size_t Take(std::span<std::byte> out) {
    const std::size_t here = out.size() < rest_.size() ? out.size() : rest_.size();
    if (here > 0) std::memcpy(out.data(), rest_.data(), here);
    rest_ = rest_.subspan(here);
    return here;
  }
  /// Fetches planes straight into `out`. Numbers are many and small: they are taken out of what the
  /// source has at hand.
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

/// Takes bytes, front to back: the opposite of ByteSource.
class ByteSink {
 public:
  ByteSink() = default;
  ByteSink(const ByteSink&) = delete;
  ByteSink& operator=(const ByteSink&) = delete;
  virtual ~ByteSink() = default;

  virtual void Append(ByteView bytes) = 0;
  /// True when the sink takes note of `count` bytes without seeing them, so that they need not be
  /// made. False, with nothing done, when it must see them.
  virtual bool Pass(std::uint64_t /*count*/) { return false; }

  template <PlainNumber T>
  void Write(T value) {
    Append(std::as_bytes(std::span<const T, 1>(&value, 1)));
  }
};

/// Puts content into the sink: the same bytes each time that it is called.
using Content = std::function<void(ByteSink&)>;

/// Only counts the bytes.
class ByteCounter final : public ByteSink {
 public:
  void Append(ByteView bytes) override { count_ += bytes.size(); }
  bool Pass(std::uint64_t count) override {
    count_ += count;
    return true;
  }
  [[nodiscard]] std::uint64_t Count() const { return count_; }

 private:
  std::uint64_t count_ = 0;
};

/// Fills a buffer that it does not own, which must be large enough.
class BufferFiller final : public ByteSink {
 public:
  explicit BufferFiller(std::span<std::byte> buffer) : rest_(buffer) {}
  void Append(ByteView bytes) override {
    if (!bytes.empty()) std::memcpy(rest_.data(), bytes.data(), bytes.size());
    rest_ = rest_.subspan(bytes.size());
  }

 private:
  std::span<std::byte> rest_;
};

/// Makes a byte string.
class ByteWriter final : public ByteSink {
 public:
  void Append(ByteView bytes) override { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  /// Makes room for that many more bytes, so that large planes are not copied while the string
  /// grows.
  void Reserve(std::size_t more) { bytes_.reserve(bytes_.size() + more); }

  [[nodiscard]] const Bytes& Data() const& { return bytes_; }
  [[nodiscard]] Bytes Data() && { return std::move(bytes_); }
  [[nodiscard]] std::size_t Size() const { return bytes_.size(); }

 private:
  Bytes bytes_;
};

}  // namespace dravix::base

/// The directories of a TIFF file, or of the EXIF block of another one: fields with their values.
///
/// Nothing here trusts the file. Values are given only where they lie within it; a field that
/// points elsewhere has none.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dravix::tool {

/// The bytes of a TIFF file, which it does not own, in the file's byte order. Classic files and
/// those with 64-bit offsets are understood.
class TiffBytes {
 public:
  /// Reads bytes of a file into their place in memory: so many from there on, as far as there are.
  using Fetch = std::function<void(std::uint64_t at, std::uint64_t count)>;

  /// Empty when the bytes do not begin as a TIFF does. With `fetch`, which must live as long, all
  /// bytes are asked for before they are looked at.
  [[nodiscard]] static std::optional<TiffBytes> Of(std::string_view bytes,
                                                   const Fetch* fetch = nullptr);

  [[nodiscard]] bool LittleEndian() const { return little_; }
  [[nodiscard]] bool Wide() const { return wide_; }
  [[nodiscard]] std::uint64_t Size() const { return bytes_.size(); }
  [[nodiscard]] std::uint64_t FirstDirectory() const { return Value(wide_ ? 8 : 4, OffsetSize()); }
  [[nodiscard]] unsigned OffsetSize() const { return wide_ ? 8 : 4; }
  /// Up to 8 bytes as a number; bytes beyond the end read as 0.
  [[nodiscard]] std::uint64_t Value(std::uint64_t at, unsigned count) const;
  [[nodiscard]] bool Holds(std::uint64_t at, std::uint64_t count) const {
    return at <= bytes_.size() && count <= bytes_.size() - at;
  }
  [[nodiscard]] std::string_view Piece(std::uint64_t at, std::uint64_t count) const;

 private:
  TiffBytes(std::string_view bytes, const Fetch* fetch, bool little, bool wide)
      : bytes_(bytes), fetch_(fetch), little_(little), wide_(wide) {}
  std::string_view bytes_;
  const Fetch* fetch_;  ///< null where all bytes are there
  bool little_;
  bool wide_;
};

class TiffDirectory {
 public:
  /// The first place behind the fields of a directory that begins at `at`; 0 where none can.
  [[nodiscard]] static std::uint64_t EndOf(const TiffBytes& bytes, std::uint64_t at);
  /// Empty when there is no whole directory at that place.
  [[nodiscard]] static std::optional<TiffDirectory> At(const TiffBytes& bytes, std::uint64_t at);

  [[nodiscard]] bool Has(std::uint32_t tag) const { return Find(tag) != nullptr; }
  /// How many values the field claims; 0 without the field.
  [[nodiscard]] std::uint64_t Count(std::uint32_t tag) const;
  /// The values of a field of numbers, at most `most` of them; empty where they are not in the
  /// file. Fractions are divided out, and those with the denominator 0 are 0.
  [[nodiscard]] std::vector<double> Numbers(std::uint32_t tag, std::uint64_t most = 65536) const;
  /// Whole numbers alone.
  [[nodiscard]] std::vector<std::uint64_t> Wholes(std::uint32_t tag,
                                                  std::uint64_t most = 65536) const;
  [[nodiscard]] std::optional<double> Number(std::uint32_t tag) const;
  [[nodiscard]] std::uint64_t Whole(std::uint32_t tag, std::uint64_t fallback) const;
  /// A text, cut at its zero and with blanks trimmed; signs that are not printable ASCII are '?'.
  [[nodiscard]] std::string Text(std::uint32_t tag) const;
  [[nodiscard]] std::string_view Raw(std::uint32_t tag) const;
  /// The place behind the last byte of all its values, wherever the fields point.
  [[nodiscard]] std::uint64_t End() const;
  [[nodiscard]] std::uint64_t Next() const { return next_; }
  [[nodiscard]] const TiffBytes& Bytes() const { return bytes_; }

 private:
  struct Field {
    std::uint32_t tag = 0, type = 0;
    std::uint64_t count = 0, at = 0;  ///< `at` is the place of the values
  };
  explicit TiffDirectory(const TiffBytes& bytes) : bytes_(bytes) {}
  [[nodiscard]] const Field* Find(std::uint32_t tag) const;
  [[nodiscard]] double NumberAt(const Field& field, std::uint64_t index) const;

  TiffBytes bytes_;
  std::vector<Field> fields_;
  std::uint64_t next_ = 0;
};

/// Printable ASCII up to the first zero, without blanks at the ends; other signs become '?'.
[[nodiscard]] std::string PlainText(std::string_view raw);

}  // namespace dravix::tool

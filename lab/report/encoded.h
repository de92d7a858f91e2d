/// How binary data and texts travel inside an HTML page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dravix::lab {

/// Compresses what it is given piece by piece (zlib format, RFC 1950).
class Deflater {
 public:
  /// `most` is the number of bytes from which on the output is of no use.
  explicit Deflater(std::size_t most);
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  ~Deflater();

  /// False once the output has grown beyond `most`; nothing more needs to be added then.
  [[nodiscard]] bool Add(std::span<const std::uint8_t> bytes);
  /// The whole output, or nothing when it has more than `most` bytes.
  [[nodiscard]] std::optional<std::vector<std::uint8_t>> Finish();

 private:
  struct Stream;
  void Run(std::span<const std::uint8_t> bytes, int flush);

  Stream* stream_;
  std::size_t most_;
  std::vector<std::uint8_t> output_;
};

/// RFC 4648, with padding.
[[nodiscard]] std::string Base64(std::span<const std::uint8_t> bytes);
/// The base64 of 32-bit floats, little-endian.
[[nodiscard]] std::string Base64Floats(std::span<const float> values);

/// Text between tags: the signs that HTML gives a meaning are written as references.
[[nodiscard]] std::string HtmlText(std::string_view text);
/// JSON that may stand inside a script element: no text in it can end the element or open a
/// comment, because `<`, `>` and `&` appear as escapes. They occur in strings only.
[[nodiscard]] std::string JsonForScript(std::string_view json);

}  // namespace dravix::lab

/// SHA-256 (FIPS 180-4) of bytes and files, by the system's own library: OpenSSL, or CNG on
/// Windows, which use the processor's instructions for it.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace dravix::tool {

/// A hash that takes its bytes piece by piece.
class Sha256 {
 public:
  Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;
  ~Sha256();

  void Add(std::string_view bytes);
  /// 64 lower-case hexadecimal digits. Nothing may be added after it.
  [[nodiscard]] std::string Digits();

 private:
  static constexpr std::size_t kBytes = 32;
  struct State;
  std::array<unsigned char, kBytes> Finish();
  std::unique_ptr<State> state_;
};

/// The digits of these bytes.
[[nodiscard]] std::string Sha256Of(std::string_view bytes);
/// The digits of a file's bytes; empty when it cannot be read, or is a folder, pipe or device.
[[nodiscard]] std::optional<std::string> Sha256OfFile(const std::string& name);

}  // namespace dravix::tool

/// What the first bytes of picture files say about their samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace dravix::tool {

/// Numbers as the file claims them; nothing is checked.
struct PictureHead {
  std::uint64_t width = 0, height = 0;
  int channels = 0;  ///< without transparency; 0 where that shows only when the file is decoded
  int bits = 0;      ///< per sample
};

/// Empty where the bytes do not begin as a PNG with its header.
[[nodiscard]] std::optional<PictureHead> HeadOfPng(std::string_view first);
/// More bytes than cameras put in front of a JPEG's frame.
inline constexpr std::size_t kBeforeFrame = std::size_t{1} << 18;
/// Empty where the bytes do not begin as a JPEG, or do not reach to its frame.
[[nodiscard]] std::optional<PictureHead> HeadOfJpeg(std::string_view first);

}  // namespace dravix::tool

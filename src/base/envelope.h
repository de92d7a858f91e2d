/// What every versioned file and buffer has in common: mark, version, the caller's buffer, the
/// name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/bytes.h"

namespace dravix::base {

/// First byte of every file and buffer: the integers behind it are little-endian.
inline constexpr char kLittleEndianMark = 'L';
inline constexpr std::int32_t kFormatVersion = 1;

/// True when `fullname` is longer than `extension` (dot included) and ends in exactly it.
[[nodiscard]] bool HasExtension(std::string_view fullname, std::string_view extension);

/// Writes mark and version.
void WriteHeader(ByteWriter& out);

enum class Header { kGood, kWrongMark, kWrongVersion };

/// Reads mark, then version; a version cut short is a wrong one.
[[nodiscard]] Header ReadHeader(ByteReader& in);

/// Copies `data` into the caller's buffer of *size bytes and stores its length in *size. Returns 0,
/// or 13 with nothing changed when the buffer is too small.
[[nodiscard]] std::int32_t CopyToBuffer(ByteView data, char* buffer, std::uint64_t* size);

}  // namespace dravix::base

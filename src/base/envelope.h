/// What all versioned files and buffers have in common: the mark and the version at their front,
/// the extension of the name, and how the bytes get into the caller's buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/bytes.h"

namespace dravix::base {

/// The first byte of every file and buffer. It says that the integers behind it are little-endian.
inline constexpr char kLittleEndianMark = 'L';
inline constexpr std::int32_t kFormatVersion = 1;

/// True when `fullname` ends in exactly `extension`, dot included, and is longer than it.
[[nodiscard]] bool HasExtension(std::string_view fullname, std::string_view extension);

/// Writes mark and version.
void WriteHeader(ByteSink& out);

enum class Header { kGood, kWrongMark, kWrongVersion };

/// Reads the mark and then the version; a version that is cut short is a wrong one.
[[nodiscard]] Header ReadHeader(ByteReader& in);

/// How many bytes the content has.
[[nodiscard]] std::uint64_t SizeOf(const Content& content);

/// Puts the content into the caller's buffer of *size bytes and stores its length in *size. Returns
/// 0, or 13 with nothing changed when the buffer is too small.
[[nodiscard]] std::int32_t PutIntoBuffer(const Content& content, char* buffer, std::uint64_t* size);

}  // namespace dravix::base

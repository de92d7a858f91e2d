/// How large a picture will be, by its file's first bytes.
#pragma once

#include <cstdint>
#include <string>

namespace dravix::tool {

/// Samples of one file's picture, all channels together. Where the first bytes do not say it, as
/// in most cameras' raw files, there is taken to be one for each byte of the file, which is more
/// than an uncompressed file of 16 bits holds. 0 for a file that cannot be read.
[[nodiscard]] std::uint64_t SamplesIn(const std::string& name);

}  // namespace dravix::tool

/// Whole files in and out: the one place where dravix opens files of its own formats.
///
/// Names are the platform's 8-bit file names; on Windows they are UTF-8.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>

#include "base/bytes.h"

namespace dravix::base {

/// The path that a host's file name stands for; empty for a name with a zero byte in it, which the
/// system would silently cut short, and on Windows for one that is not UTF-8 or that
/// no file can have.
[[nodiscard]] std::optional<std::filesystem::path> PathOf(const std::string& fullname);

/// All bytes of a file; empty when it cannot be opened (a folder cannot) or read, or is larger than
/// the memory.
[[nodiscard]] std::optional<Bytes> ReadFile(const std::string& fullname);

enum class WriteResult {
  kWritten,
  kCannotOpen,  ///< the name cannot be written to; nothing has changed
  kFailed,      ///< writing broke off; what was under the name before is still there
};

/// Writes the pieces, one after another, as the whole content of a file.
///
/// A regular file is written beside its name and renamed over it when it is complete, so that the
/// name holds the old bytes or the new ones, never half; links are followed, permissions kept. A
/// device or pipe is written straight.
[[nodiscard]] WriteResult WriteFile(const std::string& fullname,
                                    std::initializer_list<ByteView> pieces);

}  // namespace dravix::base

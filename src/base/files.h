/// Files that are written: the one place where dravix opens a file for writing.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <system_error>

#include "base/bytes.h"

namespace dravix::base {

enum class WriteResult {
  kWritten,
  kCannotOpen,  ///< the name cannot be written to; nothing has changed
  kFailed,      ///< writing broke off; what was under the name before is still there
};

/// How writing ended, and why.
struct WriteOutcome {
  WriteResult result = WriteResult::kWritten;
  std::error_code reason;  ///< what the system says; empty when it was written or says nothing
};

/// Writes the content as the whole of a file. It may be asked for twice.
///
/// A regular file is written beside its name and renamed over it when it is complete, so that the
/// name holds the old bytes or the new ones, never half. Links are followed and permissions kept. A
/// device or pipe is written straight.
///
/// Where no new file can be made beside the old one or renamed over it (the folder may not be
/// written, or on Windows a reader holds the old file open), but the old file itself may be
/// written, it is written in place. That is not safe against a crash: a process that ends meanwhile
/// leaves half a file. When only the writing fails, the old bytes are put back.
[[nodiscard]] WriteOutcome WriteFile(const std::string& fullname, const Content& content);

/// The same with the pieces, one after another, as the content.
[[nodiscard]] WriteOutcome WriteFile(const std::string& fullname,
                                     std::initializer_list<ByteView> pieces);

/// As WriteFile, for a writer that wants a name: `write` makes the whole file under the name that
/// it is given and answers whether it succeeded. The name has the extension of `fullname` and
/// stands for an empty file in the same folder, which then takes the place of `fullname`. It is
/// `fullname` itself for devices, pipes and files that are written in place. A `write` that answers
/// false has failed without a reason: it knows its own.
[[nodiscard]] WriteOutcome WriteByName(const std::string& fullname,
                                       const std::function<bool(const std::string& name)>& write);

}  // namespace dravix::base

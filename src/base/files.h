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
  kFailed,  ///< writing broke off; what was under the name before is still there, but see WriteFile
};

/// How writing ended, and why.
struct WriteOutcome {
  WriteResult result = WriteResult::kWritten;
  std::error_code reason;  ///< what the system says; empty when it was written or says nothing
};

/// Writes the content as the whole of a file. It may be asked for twice.
///
/// A regular file is made beside the old one and takes its name when it is complete and on the
/// disk, so that the name holds the old bytes or the new ones, never half, also when the process is
/// killed or the power fails. The new file has the owner, the group, the mode and the access list
/// of the old one before its first byte, as far as the process may give them away (see
/// TakeOwnerAndMode); a new name gets what the user's mask and the folder say. Other hard links to
/// the old file keep the old bytes. Links are followed.
///
/// A device or pipe is written straight. So is what a link of /proc stands for: where it is a file
/// that this process has open, as it is behind /dev/stdout, writing goes on where the process
/// stands in that file, and the file ends there.
///
/// Where no new file can be made beside the old one, have its mode or be renamed over it (the
/// folder may not be written, or on Windows a reader holds the old file open), but the old file
/// itself may be written, it is written in place. That is not safe against a crash: a process that
/// ends meanwhile leaves half a file. When only the writing fails, the old bytes are put back.
///
/// All of it is flushed to the disk: the file, and the folder that holds its name. When only the
/// folder cannot be flushed, the outcome is kFailed although the new bytes are under the name: a
/// power failure may still take them back.
[[nodiscard]] WriteOutcome WriteFile(const std::string& fullname, const Content& content);

/// The same with the pieces, one after another, as the content.
[[nodiscard]] WriteOutcome WriteFile(const std::string& fullname,
                                     std::initializer_list<ByteView> pieces);

/// As WriteFile, for a writer that wants a name: `write` makes the whole file under the name that
/// it is given and answers whether it succeeded. The name has the extension of `fullname` and lies
/// in a new folder, open to nobody else, beside the file whose place it then takes. It is the file
/// itself for devices, pipes and files that are written in place. A `write` that answers false has
/// failed without a reason: it knows its own.
[[nodiscard]] WriteOutcome WriteByName(const std::string& fullname,
                                       const std::function<bool(const std::string& name)>& write);

}  // namespace dravix::base

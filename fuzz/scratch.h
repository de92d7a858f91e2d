/// A folder of the process for the files that the code under test reads and writes.
#pragma once

#include <string>

#include "fuzz/input.h"

namespace dravix::fuzz {

/// The full name of a file in the folder, which goes with the process, unless that crashes:
/// scripts/fuzz removes it then. `name` is a plain name that a target chose, never the fuzzer.
[[nodiscard]] std::string ScratchName(const std::string& name);

/// Makes the bytes the whole content of that file; returns its full name.
std::string ScratchFile(const std::string& name, base::ByteView bytes);

/// The whole content of a file that must be there.
[[nodiscard]] std::string ContentOf(const std::string& fullname);

}  // namespace dravix::fuzz

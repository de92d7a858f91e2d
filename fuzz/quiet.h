/// Keeps what the code under test prints out of the fuzzer's own output.
#pragma once

namespace dravix::fuzz {

/// Silences the standard streams of C++ and the matrix library's log, and keeps the matrix library
/// to one thread, so that the same input takes the same way.
void WorkQuietly();

}  // namespace dravix::fuzz

/// Which vector instructions the kernels run on. The choice is made when the program runs.
#pragma once

namespace dravix::kernels {

/// True when the processor shuffles bytes (SSSE3 and later, NEON): without that the kernels run
/// too, with the same results, but slower than the matrix library.
[[nodiscard]] bool VectorsAvailable();

}  // namespace dravix::kernels

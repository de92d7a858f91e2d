#include "kernels/targets.h"

#include <hwy/highway.h>

namespace dravix::kernels {

bool VectorsAvailable() {
  return (hwy::SupportedTargets() & ~static_cast<std::int64_t>(HWY_EMU128 | HWY_SCALAR)) != 0;
}

}  // namespace dravix::kernels

#include "batch/workers/memory_budget.h"

#include <algorithm>

namespace dravix::tool {

MemoryBudget::Part MemoryBudget::Take(std::uint64_t bytes) {
  const std::uint64_t part = std::min(bytes, all_);
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return free_ >= part; });
  free_ -= part;
  return Part(*this, part);
}

void MemoryBudget::GiveBack(std::uint64_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    free_ += bytes;
  }
  changed_.notify_all();
}

}  // namespace dravix::tool

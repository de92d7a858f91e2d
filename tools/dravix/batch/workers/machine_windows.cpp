#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <thread>

#include "batch/workers/machine.h"

namespace dravix::tool {

unsigned UsableCores() {
  DWORD_PTR own = 0;
  DWORD_PTR all = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &own, &all) != FALSE && own != 0) {
    unsigned cores = 0;
    for (; own != 0; own &= own - 1) ++cores;
    return cores;
  }
  return std::max(1U, std::thread::hardware_concurrency());
}

std::optional<std::uint64_t> AvailableMemory() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  if (GlobalMemoryStatusEx(&status) == FALSE) return std::nullopt;
  return status.ullAvailPhys;
}

}  // namespace dravix::tool

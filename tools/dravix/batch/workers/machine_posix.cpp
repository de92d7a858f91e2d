#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "batch/workers/machine.h"

namespace dravix::tool {
namespace {

/// A file of the system, which is short; "" where there is none.
std::string TextOf(const std::string& name) {
  std::ifstream in(name);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The folders of the process's control group and of those around it, which also limit it. In a
/// container the group's own name may not be visible; the top folder is the container's group then.
std::vector<std::string> GroupFolders(const std::string& top, const std::string& controller) {
  std::vector<std::string> folders = {top};
  std::ifstream groups("/proc/self/cgroup");
  for (std::string line; std::getline(groups, line);) {
    const auto colon = line.find(':');
    const auto second = line.find(':', colon + 1);
    if (colon == std::string::npos || second == std::string::npos) continue;
    if (line.substr(colon + 1, second - colon - 1) != controller) continue;
    std::string path = line.substr(second + 1);
    while (path.size() > 1) {
      folders.push_back(top + path);
      path.resize(path.rfind('/'));
    }
  }
  return folders;
}

/// What a group may still use. Its page cache counts as used although the system would give it up,
/// so that what is inactive of it is added.
std::optional<std::uint64_t> LeftIn(const std::string& folder, const char* limit, const char* used,
                                    std::string_view inactive) {
  const auto most = LimitIn(TextOf(folder + limit));
  if (!most) return std::nullopt;
  std::uint64_t taken = LimitIn(TextOf(folder + used)).value_or(0);
  const std::string statistics = TextOf(folder + "/memory.stat");
  const auto at = statistics.find(inactive);
  if (at != std::string::npos) {
    const auto cache = LimitIn(std::string_view(statistics).substr(at + inactive.size()));
    taken -= std::min(taken, cache.value_or(0));
  }
  return *most - std::min(*most, taken);
}

void Lower(std::optional<std::uint64_t>& least, std::optional<std::uint64_t> other) {
  if (other && (!least || *other < *least)) least = other;
}

}  // namespace

unsigned UsableCores() {
  unsigned cores = std::max(1U, std::thread::hardware_concurrency());
#ifdef __linux__
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
    cores = std::max(1U, static_cast<unsigned>(CPU_COUNT(&allowed)));
  }
  for (const std::string& folder : GroupFolders("/sys/fs/cgroup", "")) {
    cores = std::min(cores, CoresIn(TextOf(folder + "/cpu.max")).value_or(cores));
  }
#endif
  return cores;
}

std::optional<std::uint64_t> AvailableMemory() {
  std::optional<std::uint64_t> available = MemoryIn(TextOf("/proc/meminfo"));
  for (const std::string& folder : GroupFolders("/sys/fs/cgroup", "")) {
    Lower(available, LeftIn(folder, "/memory.max", "/memory.current", "\ninactive_file "));
  }
  for (const std::string& folder : GroupFolders("/sys/fs/cgroup/memory", "memory")) {
    Lower(available, LeftIn(folder, "/memory.limit_in_bytes", "/memory.usage_in_bytes",
                            "\ntotal_inactive_file "));
  }
  return available;
}

}  // namespace dravix::tool

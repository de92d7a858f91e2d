#include "batch/workers/machine.h"

#include <algorithm>
#include <charconv>

namespace dravix::tool {
namespace {

/// The number at the beginning of the text, behind blanks.
std::optional<std::uint64_t> NumberAt(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  std::uint64_t value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
  return read.ec == std::errc() ? std::optional(value) : std::nullopt;
}

}  // namespace

std::optional<std::uint64_t> MemoryIn(std::string_view memInfo) {
  constexpr std::string_view kName = "MemAvailable:";
  constexpr std::uint64_t kBytes = 1024;
  const auto at = memInfo.find(kName);
  if (at == std::string_view::npos) return std::nullopt;
  const auto value = NumberAt(memInfo.substr(at + kName.size()));
  return value ? std::optional(*value * kBytes) : std::nullopt;
}

std::optional<std::uint64_t> LimitIn(std::string_view text) { return NumberAt(text); }

std::optional<unsigned> CoresIn(std::string_view cpuMax) {
  const auto quota = NumberAt(cpuMax);
  const auto blank = cpuMax.find(' ');
  if (!quota || blank == std::string_view::npos) return std::nullopt;
  const auto period = NumberAt(cpuMax.substr(blank));
  if (!period || *period == 0 || *quota == 0) return std::nullopt;
  constexpr std::uint64_t kMost = 1U << 20U;
  return static_cast<unsigned>(std::clamp<std::uint64_t>((*quota - 1) / *period + 1, 1, kMost));
}

}  // namespace dravix::tool

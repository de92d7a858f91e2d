/// What this machine, or the part of it that the process was given, has to offer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dravix::tool {

/// Processors that the process may use, at least 1: those it may run on, and no more than its
/// control group has time for.
[[nodiscard]] unsigned UsableCores();

/// Bytes of memory that are free for the process's use, now: what the system has available, and no
/// more than what is left of its control group's limit. Empty where the system does not say.
[[nodiscard]] std::optional<std::uint64_t> AvailableMemory();

/// The bytes that "MemAvailable" of /proc/meminfo gives in kB; empty without that line.
[[nodiscard]] std::optional<std::uint64_t> MemoryIn(std::string_view memInfo);

/// The limit of a control group's file: a number, or "max", which is none.
[[nodiscard]] std::optional<std::uint64_t> LimitIn(std::string_view text);

/// The processors that a "cpu.max" file allows, "QUOTA PERIOD", rounded up; empty for "max".
[[nodiscard]] std::optional<unsigned> CoresIn(std::string_view cpuMax);

}  // namespace dravix::tool

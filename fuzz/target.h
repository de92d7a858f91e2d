/// What a fuzz target is made of: a function of some bytes that must return, and the promises that
/// it checks.
#pragma once

#include <concepts>
#include <opencv2/core.hpp>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/input.h"

namespace dravix::fuzz {

struct Target {
  std::string_view name;
  void (*run)(Input& input);
};

/// All targets that are linked into the program: one for libFuzzer, many for the replay.
[[nodiscard]] std::vector<Target>& Targets();

struct Registration {
  Registration(std::string_view name, void (*run)(Input&)) { Targets().push_back({name, run}); }
};

/// Runs one target with one input.
void Run(const Target& target, base::ByteView bytes);

/// Ends the process, which is a find, unless the promise holds.
void Require(bool holds, const char* promise);

/// Whether `work` was refused by the matrix library's exception, which the headers allow to methods
/// that work on matrices. Any other exception is a find.
template <std::invocable Work>
[[nodiscard]] bool Refused(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const cv::Exception&) {
    return true;
  }
  return false;
}

}  // namespace dravix::fuzz

/// Defines the target of a source file: FUZZ_TARGET(name, input) { ... }
#define FUZZ_TARGET(name, input)                                                 \
  static void Fuzz_##name(dravix::fuzz::Input& input);                           \
  static const dravix::fuzz::Registration registered_##name(#name, Fuzz_##name); \
  static void Fuzz_##name(dravix::fuzz::Input& input)

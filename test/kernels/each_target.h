/// Runs a check on every set of vector instructions that this machine has.
#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>
#include <string>

namespace dravix::test {

/// Makes the kernels run on one target (or, for 0, on the best one) until destroyed.
class ForcedTarget {
 public:
  explicit ForcedTarget(std::int64_t target) { Choose(target); }
  ~ForcedTarget() { Choose(0); }
  ForcedTarget(const ForcedTarget&) = delete;
  ForcedTarget& operator=(const ForcedTarget&) = delete;

 private:
  static void Choose(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

/// `check` is called once for each target, the portable one included.
template <class Check>
void OnEachTarget(Check&& check) {
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    const ForcedTarget forced(target);
    check();
  }
}

}  // namespace dravix::test

#include "fuzz/target.h"

#include <cstdio>
#include <cstdlib>

namespace dravix::fuzz {

std::vector<Target>& Targets() {
  static std::vector<Target> targets;
  return targets;
}

void Run(const Target& target, base::ByteView bytes) {
  Input input(bytes);
  target.run(input);
}

void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: a promise does not hold: %s\n", promise);
  std::abort();
}

}  // namespace dravix::fuzz

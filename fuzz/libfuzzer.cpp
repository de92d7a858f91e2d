// Where libFuzzer enters a program with one target.
#include <cstddef>
#include <cstdint>

#include "fuzz/quiet.h"
#include "fuzz/target.h"

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  dravix::fuzz::WorkQuietly();
  dravix::fuzz::Require(dravix::fuzz::Targets().size() == 1, "a fuzzer has one target");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  dravix::fuzz::Run(dravix::fuzz::Targets().front(), std::as_bytes(std::span(data, size)));
  return 0;
}

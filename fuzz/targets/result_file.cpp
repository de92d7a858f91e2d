// A measurement's result, .lum, as file and as buffer.
#include "extractor/extractor.h"
#include "fuzz/record_format.h"

namespace dravix::fuzz {

FUZZ_TARGET(result_file, input) {
  CheckRecordFormat<Dravix, std::uint64_t, std::int64_t>(input.Rest(), ".lum");
}

}  // namespace dravix::fuzz

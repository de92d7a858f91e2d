// A region, .roi, as file and as buffer.
#include <dravix/region.h>

#include "fuzz/record_format.h"

namespace dravix::fuzz {

FUZZ_TARGET(region_file, input) {
  CheckRecordFormat<RegionOI, std::size_t, std::size_t>(input.Rest(), ".roi");
}

}  // namespace dravix::fuzz

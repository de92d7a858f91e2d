#include "terminal/warning.h"

#include <cstdio>

#include "terminal/failure.h"

namespace dravix::tool {

void PrintWarning(std::string_view text) {
  std::fprintf(stderr, "dravix: warning: %s\n", OneLine(text).c_str());
}

}  // namespace dravix::tool

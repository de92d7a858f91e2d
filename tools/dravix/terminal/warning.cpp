#include "terminal/warning.h"

#include <cstdio>

#include "base/one_line.h"

namespace dravix::tool {

void PrintWarning(std::string_view text) {
  std::fprintf(stderr, "dravix: warning: %s\n", base::OneLine(text).c_str());
}

}  // namespace dravix::tool

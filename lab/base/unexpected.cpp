#include "lab/base/unexpected.h"

namespace dravix::lab {

std::invalid_argument Unexpected(const std::string& name, const std::string& found,
                                 const std::string& expected) {
  return std::invalid_argument(name + ": found " + found + ", expected " + expected);
}

}  // namespace dravix::lab

/// Arguments that a function of the lab cannot use.
#pragma once

#include <stdexcept>
#include <string>

namespace dravix::lab {

/// To be thrown: "NAME: found FOUND, expected EXPECTED".
[[nodiscard]] std::invalid_argument Unexpected(const std::string& name, const std::string& found,
                                               const std::string& expected);

}  // namespace dravix::lab

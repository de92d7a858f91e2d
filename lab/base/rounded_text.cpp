#include "lab/base/rounded_text.h"

#include <array>
#include <cstdio>

namespace dravix::lab {

std::string RoundedText(double value) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.3g", value);
  return text.data();
}

std::string RoundedPercent(double share) { return RoundedText(100 * share) + " %"; }

}  // namespace dravix::lab

#include "screens/plane_names.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "terminal/failure.h"

namespace dravix::tool {
namespace {

/// With the longest ending, a name stays below the 255 bytes that file systems allow.
constexpr std::size_t kLongest = 100;

/// A plane "A.count" would have a file of the plane "A".
constexpr std::string_view kCounts = ".COUNT";

std::string InCapitals(std::string_view text) {
  std::string capitals(text);
  std::transform(capitals.begin(), capitals.end(), capitals.begin(), [](char c) {
    return static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  });
  return capitals;
}

bool IsRefusedSign(char sign) {
  constexpr std::string_view kRefused = "/\\:*?\"<>|";
  const auto code = static_cast<unsigned char>(sign);
  return code < 0x20 || code == 0x7F || kRefused.find(sign) != std::string_view::npos;
}

/// Windows takes CON, COM1 and so on for devices, whatever extension follows.
bool IsDevice(std::string_view name) {
  constexpr std::array<std::string_view, 4> kDevices = {"CON", "PRN", "AUX", "NUL"};
  const std::string stem = InCapitals(name.substr(0, name.find('.')));
  const bool isNumbered = stem.size() == 4 &&
                          (stem.starts_with("COM") || stem.starts_with("LPT")) && stem[3] >= '0' &&
                          stem[3] <= '9';
  return isNumbered || std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end();
}

}  // namespace

void RequirePlaneName(const std::string& name) {
  const auto refuse = [&](const std::string& expected) {
    throw Unexpected("plane", InQuotes(name), expected);
  };
  if (name.empty()) refuse("a name for its files");
  if (name.size() > kLongest) refuse("at most " + std::to_string(kLongest) + " bytes");
  if (std::any_of(name.begin(), name.end(), IsRefusedSign)) {
    refuse("a name for files, without / \\ : * ? \" < > | and control characters");
  }
  if (name.front() == '.' || name.front() == ' ' || name.back() == '.' || name.back() == ' ') {
    refuse("a name for files, without a dot or blank at its beginning or end");
  }
  if (IsDevice(name)) refuse("another name: on Windows this is a device");
  if (InCapitals(name).ends_with(kCounts))
    refuse("another ending: .count is for how often LEDs were measured");
}

bool DifferOnlyInCase(const std::string& a, const std::string& b) {
  return a != b && InCapitals(a) == InCapitals(b);
}

}  // namespace dravix::tool

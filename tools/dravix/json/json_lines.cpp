#include "json/json_lines.h"

#include <algorithm>
#include <cstdint>

#include "files/files.h"
#include "json/json_file.h"

namespace dravix::tool {
namespace {

constexpr std::uintmax_t kMostBytesOfLines = std::uintmax_t{64} << 20;

std::string PlaceOf(const std::string& name, int line) {
  return name + ": line " + std::to_string(line);
}

bool IsEmpty(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

Failure LineFailure(const std::string& name, int line, std::string_view text) {
  return InputFailure(PlaceOf(name, line), text);
}

void AtLine(const std::string& name, int line, const std::function<void()>& work) {
  try {
    work();
  } catch (const Failure& failure) {
    throw LineFailure(name, line, failure.what());
  }
}

void ForEachJsonLine(const std::string& name, int most,
                     const std::function<void(int line, const Json& value)>& use) {
  const std::string text = ReadFile(name, kMostBytesOfLines);
  std::string_view rest = text;
  int used = 0;
  for (int number = 1; !rest.empty(); ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    if (IsEmpty(line)) continue;
    if (++used > most) {
      throw LineFailure(
          name, number,
          "found more than " + std::to_string(most) + " lines that are not empty, expected fewer");
    }
    const Json value = ParseJson(PlaceOf(name, number), line);
    AtLine(name, number, [&] { use(number, value); });
  }
}

}  // namespace dravix::tool

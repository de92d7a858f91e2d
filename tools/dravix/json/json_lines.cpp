#include "json/json_lines.h"

#include <algorithm>
#include <cstdint>

#include "files/files.h"
#include "json/json_file.h"

namespace dravix::tool {
namespace {

constexpr std::uintmax_t kMostBytesOfLines = std::uintmax_t{64} << 20;

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

std::string LinePlace(const std::string& name, std::size_t number) {
  return name + ": line " + std::to_string(number);
}

void ForEachLine(std::string_view text,
                 const std::function<void(std::size_t number, std::string_view line)>& use) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (!IsBlank(line)) use(number, line);
  }
}

Failure LineFailure(const std::string& name, int line, std::string_view text) {
  return InputFailure(LinePlace(name, static_cast<std::size_t>(line)), text);
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
  int used = 0;
  ForEachLine(text, [&](std::size_t counted, std::string_view line) {
    const auto number = static_cast<int>(counted);  // lines are fewer than bytes
    if (++used > most) {
      throw LineFailure(
          name, number,
          "found more than " + std::to_string(most) + " lines that are not empty, expected fewer");
    }
    const Json value = ParseJson(LinePlace(name, counted), line);
    AtLine(name, number, [&] { use(number, value); });
  });
}

}  // namespace dravix::tool

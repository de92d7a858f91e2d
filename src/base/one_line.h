/// Messages of other libraries in the form that the log takes: one line each.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace dravix::base {

/// The text with one blank in place of every line break and the white space around it. OpenCV
/// begins each line of a longer message with "> "; those marks are removed.
[[nodiscard]] inline std::string OneLine(std::string_view text) {
  constexpr std::string_view kBreaks = "\r\n";
  const bool several = text.find_first_of(kBreaks) != std::string_view::npos;
  const std::string_view before = several ? " \t>" : " \t";
  std::string line;
  while (!text.empty()) {
    std::string_view part = text.substr(0, text.find_first_of(kBreaks));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    part.remove_prefix(std::min(part.find_first_not_of(before), part.size()));
    part = part.substr(0, part.find_last_not_of(" \t") + 1);
    if (!line.empty() && !part.empty()) line += ' ';
    line += part;
  }
  return line;
}

}  // namespace dravix::base

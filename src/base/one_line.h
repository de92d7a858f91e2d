/// Messages of other libraries as the log takes them: one line each.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace dravix::base {

/// `text` with every line break, and the white space around it, as one blank.
[[nodiscard]] inline std::string OneLine(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  constexpr std::string_view kBreaks = "\r\n";
  std::string line;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find_first_of(kBreaks, begin);
    std::string_view part = text.substr(begin, end - begin);
    part.remove_prefix(std::min(part.find_first_not_of(kBlanks), part.size()));
    part.remove_suffix(part.size() - (part.find_last_not_of(kBlanks) + 1));
    if (!line.empty() && !part.empty()) line += ' ';
    line += part;
    if (end == std::string_view::npos) break;
    begin = end + 1;
  }
  return line;
}

}  // namespace dravix::base

#include "base/one_line.h"

#include <algorithm>
#include <cstddef>

namespace dravix::base {
namespace {

unsigned char At(std::string_view text, std::size_t i) {
  return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
}

/// How many bytes the control character at the front of the text has; 0 when there is another one.
std::size_t ControlAtFront(std::string_view text) {
  const unsigned char first = At(text, 0);
  constexpr unsigned char kDelete = 0x7F;
  if (first < ' ' || first == kDelete) return 1;
  if (first == 0xC2 && At(text, 1) >= 0x80 && At(text, 1) <= 0x9F) return 2;
  if (first == 0xE2 && At(text, 1) == 0x80 && (At(text, 2) == 0xA8 || At(text, 2) == 0xA9)) {
    return 3;
  }
  return 0;
}

void AppendWrittenOut(char control, std::string& line) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::string_view kNamed = "\n\r\t";
  constexpr std::string_view kNames = "nrt";
  line += '\\';
  if (const std::size_t at = kNamed.find(control); at != std::string_view::npos) {
    line += kNames[at];
    return;
  }
  const auto byte = static_cast<unsigned char>(control);
  line += 'x';
  line += kDigits[byte / 16];
  line += kDigits[byte % 16];
}

}  // namespace

std::string Visible(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  while (!text.empty()) {
    const std::size_t control = ControlAtFront(text);
    for (const char byte : text.substr(0, control)) AppendWrittenOut(byte, line);
    if (control == 0) line += text.front();
    text.remove_prefix(std::max<std::size_t>(control, 1));
  }
  return line;
}

std::string OneLine(std::string_view text) {
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
    line += Visible(part);
  }
  return line;
}

}  // namespace dravix::base

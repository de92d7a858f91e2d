/// Fixed lines of the log that are handed around before they are written.
///
/// The logging library gets the text itself as its format, as from a call that has the text in it,
/// and a file's name as the format's one value. A text that is a format must not hold anything
/// foreign: the constructors only take what the compiler knows, and look at it.
#pragma once

#include <string>
#include <string_view>

namespace dravix::base {

/// A line without values.
class LogText {
 public:
  consteval LogText(const char* text) : text_(text) {
    if (std::string_view(text).find('%') != std::string_view::npos) throw "a text without values";
  }
  [[nodiscard]] constexpr const char* Format() const { return text_; }

 private:
  const char* text_;
};

/// A line with one value: "%s", where the name of a file comes.
class LogTextWithName {
 public:
  consteval LogTextWithName(const char* text) : text_(text) {
    const std::string_view view(text);
    const std::size_t at = view.find("%s");
    if (at == std::string_view::npos || view.find('%') != at || view.rfind('%') != at) {
      throw "a text with one %s and no other value";
    }
  }
  [[nodiscard]] constexpr const char* Format() const { return text_; }

 private:
  const char* text_;
};

/// Writes the line at error level. Control characters of the name are written out, so that it stays
/// one line.
void LogError(LogText text);
void LogError(LogTextWithName text, const std::string& fullname);

}  // namespace dravix::base

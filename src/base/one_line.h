/// Foreign text in the form that a log or a terminal takes: one line, without control characters.
///
/// The name of a file, the text of a camera or the message of another library may hold line breaks,
/// with which it could put lines of its own making into a log, or the sequences that steer a
/// terminal. Every such text passes through here before it is written.
#pragma once

#include <string>
#include <string_view>

namespace dravix::base {

/// The text with every control character written out: \n, \r, \t, others as \x1b and so on.
/// These are the bytes below a blank and DEL, and in UTF-8 the controls from U+0080 to U+009F and
/// the separators of lines and paragraphs, U+2028 and U+2029. All other bytes stay as they are.
[[nodiscard]] std::string Visible(std::string_view text);

/// The text with one blank in place of every line break and the white space around it, and other
/// control characters written out. OpenCV begins each line of a longer message with "> "; those
/// marks are removed.
[[nodiscard]] std::string OneLine(std::string_view text);

}  // namespace dravix::base

/// Names of files as hosts give them, and the paths of the system that they stand for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace dravix::base {

/// The path that a host's file name stands for. Names are the platform's 8-bit names; on Windows
/// they are UTF-8, and a name that is not valid UTF-8 is taken in the system's code page. Empty for
/// a name with a zero byte in it, which the system would silently cut short, and on Windows for one
/// that is in neither encoding or that no file can have.
[[nodiscard]] std::optional<std::filesystem::path> PathOf(const std::string& fullname);

/// The name that PathOf turns into this path.
[[nodiscard]] std::string NameOf(const std::filesystem::path& path);

/// The same name with another extension, dot included, in place of its last one, if any. A name
/// that stands for no path gets the extension appended.
[[nodiscard]] std::string WithExtension(const std::string& fullname, std::string_view extension);

}  // namespace dravix::base

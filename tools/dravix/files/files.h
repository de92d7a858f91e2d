/// The tool's own files: read whole, written beside their name and renamed when complete, so that
/// nothing that existed is lost.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <string_view>

namespace dravix::tool {

/// The path that a name of the command line (UTF-8 on Windows) stands for.
[[nodiscard]] std::filesystem::path PathOf(const std::string& name);
/// The extension with its dot, in lower case; "" when there is none.
[[nodiscard]] std::string ExtensionOf(const std::string& name);
/// The same name with another extension.
[[nodiscard]] std::string WithExtension(const std::string& name, std::string_view extension);
/// Fails as wrong usage when the name does not end in the extension, which the library asks for.
void RequireExtension(const std::string& option, const std::string& name,
                      std::string_view extension);

/// All bytes of a file; fails when it cannot be read.
[[nodiscard]] std::string ReadFile(const std::string& name);
/// The first bytes of a file and its size in all; fails when it cannot be read.
struct FileHead {
  std::uintmax_t size = 0;
  std::string first;
};
[[nodiscard]] FileHead ReadHead(const std::string& name, std::size_t count);

/// Writes the whole file; fails with what was under the name untouched.
void WriteFile(const std::string& name, std::string_view content);
/// Lets `write` make the file under a temporary name with the same extension in the same folder,
/// then gives it its own name. `write` answers whether it succeeded.
void WriteByName(const std::string& name, const std::function<bool(const std::string&)>& write);

/// An 8-bit, 16-bit or float picture in the format that the name's extension says.
void WritePicture(const std::string& name, const cv::Mat& picture);
/// A picture as stored, no conversion; fails when it is none.
[[nodiscard]] cv::Mat ReadPicture(const std::string& name);

}  // namespace dravix::tool

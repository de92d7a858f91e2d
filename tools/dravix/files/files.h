/// The tool's own files. They are read whole, and written so that what was under a name before
/// stays until the new content is complete; messages say what the system gave as the reason.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "terminal/exit_codes.h"

namespace dravix::tool {

/// The path that a name of the command line (UTF-8 on Windows) stands for. Fails as wrong usage
/// when no file can have that name.
[[nodiscard]] std::filesystem::path PathOf(const std::string& name);
/// The extension with its dot, in lower case; "" when there is none.
[[nodiscard]] std::string ExtensionOf(const std::string& name);
/// Whether the name ends in the extension, letter for letter, as the library asks for.
[[nodiscard]] bool HasExtension(const std::string& name, std::string_view extension);
/// `expected a name ending in ".shot"`, and why ".SHOT" is none where the name ends in that.
[[nodiscard]] std::string ExpectedExtension(const std::string& name, std::string_view extension);
/// Fails as wrong usage when the name does not end in the extension.
void RequireExtension(const std::string& option, const std::string& name,
                      std::string_view extension);

/// The most that any file is read for, in bytes: 2 GiB, which is more than the largest photograph.
inline constexpr std::uintmax_t kMostBytes = std::uintmax_t{1} << 31;
/// All bytes of a file. Fails when it cannot be read or has more than `most` of them. Pipes and
/// devices are refused: commands look at a file more than once, and a pipe without a writer would
/// never answer.
[[nodiscard]] std::string ReadFile(const std::string& name, std::uintmax_t most = kMostBytes);
struct FileHead {
  std::uintmax_t size = 0;  ///< bytes of the whole file
  std::string first;
};
/// The first bytes of a file and its size. Fails as ReadFile does.
[[nodiscard]] FileHead ReadHead(const std::string& name, std::size_t count);

/// Writes the whole file. When it fails, what was under the name is untouched.
void WriteFile(const std::string& name, std::string_view content);
/// The same for content that is made piece by piece, so that a large file needs no memory.
void WriteFile(const std::string& name, const base::Content& content);
/// Makes the folder, and those above it, unless it is there. Fails as an output of that name.
void MakeFolder(const std::filesystem::path& folder, const std::string& name);
void MakeFolder(const std::string& name);
/// Lets `write` make a picture file under the name it is given, which has the extension of `name`,
/// and gives that file its own name when it is complete. `write` answers whether it succeeded.
void WriteByName(const std::string& name, const std::function<bool(const std::string&)>& write);

/// Fails with that exit code unless the name, if there is one, has the extension of a picture
/// format. To be asked before any work is done for the picture.
void RequirePictureFormat(ExitCode exit, const std::string& name);
/// An 8-bit, 16-bit or float picture in the format that the name's extension says.
void WritePicture(const std::string& name, const cv::Mat& picture);
/// A picture as it is stored, without conversion, from the bytes of the file `name`. Fails when
/// they are none.
[[nodiscard]] cv::Mat DecodePicture(const std::string& name, std::string_view bytes);

}  // namespace dravix::tool

/// Which kind of file one is: the library's own, or a picture of a camera or another program.
#pragma once

#include <string>

namespace dravix::tool {

enum class FileKind {
  kShot,
  kLum,
  kRegion,
  kNpy,
  kTruth,
  kRaw,        ///< a dump of samples
  kCameraRaw,  ///< a camera's own format
  kTiff,
  kPgm,
  kPicture
};

/// The kind of a file. The library's formats and truth files go by their extension, pictures by
/// their first bytes where these are known.
[[nodiscard]] FileKind KindOf(const std::string& name);

}  // namespace dravix::tool

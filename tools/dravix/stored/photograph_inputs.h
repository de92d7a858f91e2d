/// Inputs that belong to a photograph and make no sense beside one of another size.
#pragma once

#include <dravix/region.h>
#include <dravix/shot.h>

#include <string>

namespace dravix::tool {

/// The largest photograph that is made from numbers alone: two and a half times as large as those
/// of the largest sensors.
inline constexpr double kMostPixels = 250e6;

/// Loads a region (.roi). Fails, naming both sizes, when it was made for a photograph of another
/// size than `photo`, which was loaded from `photoName`.
[[nodiscard]] RegionOI LoadRegionOf(const std::string& name, const std::string& photoName,
                                    const Shot& photo);

/// The same condition for a checkerboard photograph, which was loaded from `name`.
void RequireCheckerboardOf(const std::string& name, const Shot& board, const std::string& photoName,
                           const Shot& photo);

/// The same for any other photograph; `advice` ends the message.
void RequireSizeOfPhotograph(const std::string& name, const Shot& other,
                             const std::string& photoName, const Shot& photo,
                             const std::string& advice);

/// The same for a photograph that must also hold the same single plane: what a lens does is another
/// for another color.
void RequireSameCamera(const std::string& name, const Shot& other, const std::string& photoName,
                       const Shot& photo);

}  // namespace dravix::tool

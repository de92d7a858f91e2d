/// What a photograph's file says about it.
#pragma once

#include <dravix/shot.h>

#include <string>

namespace dravix::tool {

/// The type and the groups of metadata of a .shot file, without its pixels, which are not read: the
/// image is empty. Fails when the file cannot be opened, holds something else or is cut short.
[[nodiscard]] Shot LoadShotMetadata(const std::string& name);

}  // namespace dravix::tool

/// Which of the library's three formats a file holds, whatever its name says.
#pragma once

#include <string>

namespace dravix::tool {

enum class StoredKind { kShot, kResult, kRegion };

/// Fails when the file is evidently one of the other two formats. The formats begin with the same
/// five bytes, so a file under the wrong extension would be read as a damaged one of that kind.
void RequireContent(const std::string& name, StoredKind expected);

}  // namespace dravix::tool

/// Names of planes, which become names of files.
#pragma once

#include <string>

namespace dravix::tool {

/// Fails as wrong usage unless a plane's files can have that name on every system: it is no path,
/// has no sign that some system refuses, is no device, and has at most 100 bytes.
void RequirePlaneName(const std::string& name);

/// Whether two names are the same where file systems do not tell capital letters from small ones.
[[nodiscard]] bool DifferOnlyInCase(const std::string& a, const std::string& b);

}  // namespace dravix::tool

/// The names of the files that one command reads and writes.
#pragma once

#include <string>
#include <vector>

namespace dravix::tool {

/// A file of the command line. An empty name, of an option that was not given, is ignored.
struct NamedFile {
  std::string option;  ///< "-o", "--image", or the name of the positional argument
  std::string name;
};

/// Fails as wrong usage when two outputs are the same file, or when an output is one of the inputs.
///
/// Links, and spellings such as "./x", do not hide that two names are the same file. Devices such
/// as /dev/null keep nothing that could be lost and may be named more than once. Call it before the
/// command reads or writes anything.
void RequireDistinctFiles(const std::vector<NamedFile>& inputs,
                          const std::vector<NamedFile>& outputs);

}  // namespace dravix::tool

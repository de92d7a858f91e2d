/// What every command promises that writes its files into a folder.
#pragma once

#include <string>
#include <vector>

namespace dravix::test {

/// Expects that the command, whose words lack the folder, ends with the code of outputs and one
/// line where the folder is a file, cannot be made, or takes no files, and that nothing changes.
void ExpectFolderRefused(const std::vector<std::string>& words);

#ifndef _WIN32
/// Expects the same of a disk that is full after 512 bytes, which must be fewer than the first file
/// has: nothing is left in the folder, and what an earlier run wrote stays.
void ExpectWholeFilesOnFullDisk(const std::vector<std::string>& words);
#endif

}  // namespace dravix::test

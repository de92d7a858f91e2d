/// A folder of its own for a test that writes one file.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>

#include "support/temp_dir.h"

namespace dravix::test {

class OneFile : public testing::Test {
 protected:
  /// How many files and folders the folder has.
  [[nodiscard]] std::size_t Entries() const {
    namespace fs = std::filesystem;
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(dir_.Path()), fs::directory_iterator()));
  }

  TempDir dir_;
  std::string name_ = dir_.File("a.bin");
};

}  // namespace dravix::test

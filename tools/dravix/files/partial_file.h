/// A file of which only the pieces are read that somebody looks at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/large_buffer.h"

namespace dravix::tool {

class PartialFile {
 public:
  /// Fails as ReadFile does where the file cannot be opened or is larger than that reads.
  explicit PartialFile(const std::string& name);

  /// As many bytes as the file has. Those that were not fetched are 0, and take no memory.
  [[nodiscard]] std::string_view Bytes() const;
  /// Reads the file's bytes from `at` on, as far as there are so many. What cannot be read stays 0.
  void Fetch(std::uint64_t at, std::uint64_t count);

 private:
  void ReadPage(std::size_t page);

  std::size_t size_;
  base::LargeBuffer bytes_;
  std::vector<bool> isRead_;  ///< of every page
  std::ifstream file_;
};

}  // namespace dravix::tool

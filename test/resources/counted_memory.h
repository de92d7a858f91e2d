/// The memory that this program has taken: from operator new, and for the elements of matrices.
#pragma once

#include <cstddef>

namespace dravix::test {

/// Counts while it lives; one at a time. Blocks taken before are not counted when they are freed.
class CountedMemory {
 public:
  CountedMemory();
  CountedMemory(const CountedMemory&) = delete;
  CountedMemory& operator=(const CountedMemory&) = delete;
  ~CountedMemory();

  /// Bytes taken and not freed, less those freed that had been taken before.
  [[nodiscard]] std::ptrdiff_t Live() const;
  /// The most that Live() has been.
  [[nodiscard]] std::ptrdiff_t Peak() const;
  /// How many blocks have been taken.
  [[nodiscard]] std::size_t Blocks() const;
};

/// While it lives, operator new refuses blocks of more than so many bytes.
class LargestBlock {
 public:
  explicit LargestBlock(std::size_t bytes);
  LargestBlock(const LargestBlock&) = delete;
  LargestBlock& operator=(const LargestBlock&) = delete;
  ~LargestBlock();
};

}  // namespace dravix::test

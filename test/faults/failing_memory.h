/// Memory that runs out when a test wants it to.
///
/// A program that links failing_memory.cpp has its own operator new, which all of its libraries
/// use, and an allocator of its own for matrices.
#pragma once

#include <cstdint>

namespace dravix::test {

/// To be called once, before any matrix is made.
void TakeOverMatrices();

/// While it lives, the n-th request for memory (from 1) in this thread is refused. Where the matrix
/// library asks a second time for the memory of a matrix, it is refused again.
class FailingMemory {
 public:
  explicit FailingMemory(std::int64_t n);
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
  ~FailingMemory();
  /// True when there was an n-th request.
  [[nodiscard]] bool Happened() const;
};

/// How many blocks of memory are in use.
std::int64_t BlocksInUse();

/// While it lives, it counts what this thread asks for and gives back. Blocks of operator new and
/// of matrices count.
class CountedMemory {
 public:
  CountedMemory();
  CountedMemory(const CountedMemory&) = delete;
  CountedMemory& operator=(const CountedMemory&) = delete;
  ~CountedMemory();
  [[nodiscard]] std::int64_t Requests() const;
  /// The most bytes that were in use at a time beyond those at the beginning.
  [[nodiscard]] std::int64_t Peak() const;
};

}  // namespace dravix::test

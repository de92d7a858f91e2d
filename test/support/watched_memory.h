/// Memory that a test watches, and that runs out when the test wants it to.
///
/// A program that links dravix_watched_memory has its own operator new, which all of its libraries
/// use (on Windows only the program itself), and an allocator of its own for matrices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace dravix::test {

/// How many blocks of operator new and of matrices are in use.
[[nodiscard]] std::int64_t BlocksInUse();

/// Counts what the program asks for and gives back while it lives; one at a time.
class CountedMemory {
 public:
  CountedMemory();
  CountedMemory(const CountedMemory&) = delete;
  CountedMemory& operator=(const CountedMemory&) = delete;
  ~CountedMemory() = default;

  /// Requests for a block, also those that were refused.
  [[nodiscard]] std::ptrdiff_t Requests() const;
  /// The bytes that were asked for, given back or not.
  [[nodiscard]] std::ptrdiff_t Requested() const;
  /// Bytes taken and not given back, less those given back that had been taken before. A block may
  /// be some bytes larger than what was asked for.
  [[nodiscard]] std::ptrdiff_t Live() const;
  /// The most that Live() has been.
  [[nodiscard]] std::ptrdiff_t Peak() const;
};

/// The bytes that `work` asks for, given back or not.
[[nodiscard]] std::ptrdiff_t BytesFor(const std::function<void()>& work);

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

/// While it lives, operator new refuses blocks of more than so many bytes.
class LargestBlock {
 public:
  explicit LargestBlock(std::size_t bytes);
  LargestBlock(const LargestBlock&) = delete;
  LargestBlock& operator=(const LargestBlock&) = delete;
  ~LargestBlock();
};

}  // namespace dravix::test

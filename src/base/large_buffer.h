/// Memory for arrays of many megabytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace dravix::base {

/// Bytes that are 0 at first, given back to the system as soon as they are not needed.
/// Where the system has large pages, they lie in such: memory that is touched for the first time
/// costs more than most work done on it, and large pages a tenth of small ones. What is never
/// written to costs nothing.
class LargeBuffer {
 public:
  /// Throws std::bad_alloc.
  explicit LargeBuffer(std::size_t bytes);
  ~LargeBuffer();
  LargeBuffer(const LargeBuffer&) = delete;
  LargeBuffer& operator=(const LargeBuffer&) = delete;

  [[nodiscard]] std::uint8_t* Data() { return bytes_; }
  /// Gives bytes begin to end - 1 back, as far as the system takes parts; they hold nothing useful
  /// from then on.
  void Forget(std::size_t begin, std::size_t end);
  [[nodiscard]] const std::uint8_t* Data() const { return bytes_; }

 private:
  std::size_t size_;
  std::uint8_t* bytes_;
};

/// Zeros, from such memory where they are many. Throws std::bad_alloc.
[[nodiscard]] void* AllocateZeros(std::size_t bytes);
void FreeZeros(void* memory, std::size_t bytes);

/// For vectors that get their size when they are made: elements without a value are zeros.
template <class T>
struct ZeroAllocator {
  using value_type = T;

  ZeroAllocator() = default;
  template <class U>
  explicit ZeroAllocator(const ZeroAllocator<U>& /*other*/) {}

  [[nodiscard]] T* allocate(std::size_t count) {
    return static_cast<T*>(AllocateZeros(count * sizeof(T)));
  }
  void deallocate(T* elements, std::size_t count) { FreeZeros(elements, count * sizeof(T)); }
  template <class U>
  void construct(U* /*zero*/) {}
  template <class U, class... Values>
  void construct(U* element, Values&&... values) {
    ::new (static_cast<void*>(element)) U(std::forward<Values>(values)...);
  }
  bool operator==(const ZeroAllocator& /*other*/) const { return true; }
};

}  // namespace dravix::base

/// Memory for arrays of many megabytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dravix::base {

/// Bytes that are 0 at first, given back to the system as soon as they are not needed.
/// Where the system has large pages, they lie in such: memory that is touched for the first time
/// costs more than most work done on it, and large pages a tenth of small ones. What is never written
/// to costs nothing.
class LargeBuffer {
 public:
  /// Throws std::bad_alloc.
  explicit LargeBuffer(std::size_t bytes);
  ~LargeBuffer();
  LargeBuffer(const LargeBuffer&) = delete;
  LargeBuffer& operator=(const LargeBuffer&) = delete;

  [[nodiscard]] std::uint8_t* Data() { return bytes_; }
  [[nodiscard]] const std::uint8_t* Data() const { return bytes_; }

  /// Gives bytes `begin` to `end` - 1 back to the system where it takes parts; they lose their
  /// values and may be written again.
  void GiveBack(std::size_t begin, std::size_t end);

 private:
  std::size_t size_;
  std::uint8_t* bytes_;
};

}  // namespace dravix::base

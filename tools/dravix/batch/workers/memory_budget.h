/// Memory that several workers share, so that no more of them work at once than it is enough for.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace dravix::tool {

class MemoryBudget {
 public:
  explicit MemoryBudget(std::uint64_t bytes) : free_(bytes), all_(bytes) {}

  /// Part of the budget, which goes back with the object.
  class Part {
   public:
    Part(MemoryBudget& budget, std::uint64_t bytes) : budget_(budget), bytes_(bytes) {}
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;
    ~Part() { budget_.GiveBack(bytes_); }

   private:
    MemoryBudget& budget_;
    std::uint64_t bytes_;
  };

  /// Waits until so much is free. What is more than the whole budget waits until all of it is, and
  /// then works alone: it may be too much, but nobody else makes it worse.
  [[nodiscard]] Part Take(std::uint64_t bytes);

 private:
  void GiveBack(std::uint64_t bytes);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t free_;
  std::uint64_t all_;
};

}  // namespace dravix::tool

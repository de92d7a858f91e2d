#include "resources/counted_memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <opencv2/core.hpp>

namespace dravix::test {
namespace {

std::atomic<std::ptrdiff_t> live{0};
std::atomic<std::ptrdiff_t> peak{0};
std::atomic<std::size_t> blocks{0};
std::atomic<std::size_t> largest{SIZE_MAX};

void Add(std::ptrdiff_t bytes) {
  const std::ptrdiff_t now = live += bytes;
  if (bytes > 0) ++blocks;
  std::ptrdiff_t most = peak;
  while (now > most && !peak.compare_exchange_weak(most, now)) continue;
}

/// Fails as operator new does.
void RequireAllowed(std::size_t size) {
  if (size > largest) throw std::bad_alloc();
}

void* Taken(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  Add(static_cast<std::ptrdiff_t>(malloc_usable_size(memory)));
  return memory;
}

/// The matrix library's own allocator, counted.
class CountedMats : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    cv::UMatData* made = Standard()->allocate(dims, sizes, type, data, step, flags, usage);
    made->prevAllocator = made->currAllocator = this;
    if (data == nullptr) Add(static_cast<std::ptrdiff_t>(made->size));
    return made;
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag, cv::UMatUsageFlags) const override {
    return data != nullptr;
  }
  void deallocate(cv::UMatData* data) const override {
    if (data == nullptr) return;
    if ((data->flags & cv::UMatData::USER_ALLOCATED) == 0) {
      Add(-static_cast<std::ptrdiff_t>(data->size));
    }
    Standard()->deallocate(data);
  }

 private:
  static cv::MatAllocator* Standard() { return cv::Mat::getStdAllocator(); }
};

CountedMats& Mats() {
  static CountedMats mats;
  return mats;
}

}  // namespace

CountedMemory::CountedMemory() {
  cv::Mat::setDefaultAllocator(&Mats());
  live = 0;
  peak = 0;
  blocks = 0;
}

CountedMemory::~CountedMemory() { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }

std::ptrdiff_t CountedMemory::Live() const { return live; }
std::ptrdiff_t CountedMemory::Peak() const { return peak; }
std::size_t CountedMemory::Blocks() const { return blocks; }

LargestBlock::LargestBlock(std::size_t bytes) { largest = bytes; }
LargestBlock::~LargestBlock() { largest = SIZE_MAX; }

}  // namespace dravix::test

// Replaced for the whole program, as the language allows.
void* operator new(std::size_t size) {
  dravix::test::RequireAllowed(size);
  return dravix::test::Taken(std::malloc(size));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  dravix::test::RequireAllowed(size);
  const auto bound = static_cast<std::size_t>(alignment);
  return dravix::test::Taken(std::aligned_alloc(bound, (size + bound - 1) / bound * bound));
}
void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  dravix::test::Add(-static_cast<std::ptrdiff_t>(malloc_usable_size(memory)));
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { operator delete(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  operator delete(memory);
}

#include "region/counted_memory.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <opencv2/core.hpp>

namespace {

std::atomic<std::size_t> allocated = 0;

/// Hands out the matrix library's memory and counts it.
class CountingAllocator : public cv::MatAllocator {
 public:
  CountingAllocator() : before_(cv::Mat::getDefaultAllocator()) {
    cv::Mat::setDefaultAllocator(this);
  }
  ~CountingAllocator() override { cv::Mat::setDefaultAllocator(before_); }
  CountingAllocator(const CountingAllocator&) = delete;
  CountingAllocator& operator=(const CountingAllocator&) = delete;

  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    cv::UMatData* made = before_->allocate(dims, sizes, type, data, step, flags, usage);
    if (made != nullptr && data == nullptr) allocated += made->size;
    return made;
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    return before_->allocate(data, flags, usage);
  }
  void deallocate(cv::UMatData* data) const override { before_->deallocate(data); }

 private:
  cv::MatAllocator* before_;
};

}  // namespace

void* operator new(std::size_t size) {
  allocated += size;
  void* memory = std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace dravix::test {

std::size_t BytesFor(const std::function<void()>& work) {
  const CountingAllocator counting;
  const std::size_t before = allocated;
  work();
  return allocated - before;
}

}  // namespace dravix::test

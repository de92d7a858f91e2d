#include "faults/failing_memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <opencv2/core.hpp>

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

struct State {
  std::int64_t left = kNever;  ///< requests until the one that is refused
  bool happened = false;
  std::size_t refusedMatrix = 0;  ///< bytes; the library asks again for as many
  std::int64_t requests = 0;
  std::int64_t bytes = 0;
  std::int64_t peak = 0;
};

thread_local State state;
std::atomic<std::int64_t> blocks = 0;

bool IsRefused() {
  ++state.requests;
  if (--state.left != 0) return false;
  state.happened = true;
  return true;
}

void Add(std::size_t size) {
  ++blocks;
  state.bytes += static_cast<std::int64_t>(size);
  state.peak = std::max(state.peak, state.bytes);
}
void Take(std::size_t size) {
  --blocks;
  state.bytes -= static_cast<std::int64_t>(size);
}

/// Each block begins with its size, in as many bytes as any number may be aligned to.
constexpr std::size_t kFront = alignof(std::max_align_t);
static_assert(kFront >= sizeof(std::size_t));

void* Allocated(std::size_t size) noexcept {
  if (IsRefused()) return nullptr;
  void* const block = std::malloc(size + kFront);
  if (block == nullptr) return nullptr;
  *static_cast<std::size_t*>(block) = size;
  Add(size);
  return static_cast<char*>(block) + kFront;
}

void Freed(void* memory) noexcept {
  if (memory == nullptr) return;
  void* const block = static_cast<char*>(memory) - kFront;
  Take(*static_cast<std::size_t*>(block));
  std::free(block);
}

/// Hands matrices out from the matrix library's own allocator, unless they are refused.
class Matrices final : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    std::size_t bytes = CV_ELEM_SIZE(type);
    for (int i = 0; i < dims; ++i) bytes *= static_cast<std::size_t>(sizes[i]);
    const bool isSecond = state.refusedMatrix != 0 && state.refusedMatrix == bytes;
    state.refusedMatrix = 0;
    if (isSecond || IsRefused()) {
      if (!isSecond) state.refusedMatrix = bytes;
      throw cv::Exception(cv::Error::StsNoMem, "refused", "allocate", __FILE__, __LINE__);
    }
    cv::UMatData* const made =
        cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    made->currAllocator = this;
    Add(made->size);
    return made;
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
  }
  void deallocate(cv::UMatData* data) const override {
    if (data == nullptr) return;
    Take(data->size);
    cv::Mat::getStdAllocator()->deallocate(data);
  }
};

}  // namespace

// All libraries of the program must find these.
#pragma GCC visibility push(default)
void* operator new(std::size_t size) {
  if (void* const memory = Allocated(size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocated(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocated(size);
}
void operator delete(void* memory) noexcept { Freed(memory); }
void operator delete[](void* memory) noexcept { Freed(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { Freed(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { Freed(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { Freed(memory); }
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept { Freed(memory); }
#pragma GCC visibility pop

namespace dravix::test {

void TakeOverMatrices() {
  static Matrices matrices;
  cv::Mat::setDefaultAllocator(&matrices);
}

FailingMemory::FailingMemory(std::int64_t n) {
  state.happened = false;
  state.refusedMatrix = 0;
  state.left = n;
}
FailingMemory::~FailingMemory() {
  state.left = kNever;
  state.refusedMatrix = 0;
}
bool FailingMemory::Happened() const { return state.happened; }

std::int64_t BlocksInUse() { return blocks; }

CountedMemory::CountedMemory() {
  state.requests = 0;
  state.bytes = 0;
  state.peak = 0;
}
CountedMemory::~CountedMemory() = default;
std::int64_t CountedMemory::Requests() const { return state.requests; }
std::int64_t CountedMemory::Peak() const { return state.peak; }

}  // namespace dravix::test

#include "support/watched_memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <opencv2/core.hpp>

namespace {

std::atomic<std::int64_t> blocks = 0;
std::atomic<std::ptrdiff_t> requests = 0;
std::atomic<std::ptrdiff_t> requested = 0;
std::atomic<std::ptrdiff_t> live = 0;
std::atomic<std::ptrdiff_t> peak = 0;
std::atomic<std::size_t> largest = std::numeric_limits<std::size_t>::max();

struct Refusal {
  std::int64_t left = std::numeric_limits<std::int64_t>::max();  ///< requests until it
  bool happened = false;
  std::size_t matrix = 0;  ///< bytes; the library asks again for as many
};
thread_local Refusal refusal;

bool IsRefused() {
  ++requests;
  if (--refusal.left != 0) return false;
  refusal.happened = true;
  return true;
}

void Take(std::size_t asked, std::size_t taken) {
  ++blocks;
  requested += static_cast<std::ptrdiff_t>(asked);
  const std::ptrdiff_t now = live += static_cast<std::ptrdiff_t>(taken);
  std::ptrdiff_t most = peak;
  while (now > most && !peak.compare_exchange_weak(most, now)) continue;
}
void GiveBack(std::size_t taken) {
  --blocks;
  live -= static_cast<std::ptrdiff_t>(taken);
}

std::size_t SizeOf(void* block) {
#if defined(_WIN32)
  return _msize(block);
#else
  return malloc_usable_size(block);
#endif
}

/// A block of operator new, or null.
void* Allocated(std::size_t size) noexcept {
  if (IsRefused() || size > largest) return nullptr;
  void* const block = std::malloc(size > 0 ? size : 1);
  if (block != nullptr) Take(size, SizeOf(block));
  return block;
}
void* AllocatedOrThrown(std::size_t size) {
  void* const block = Allocated(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void Freed(void* block) noexcept {
  if (block == nullptr) return;
  GiveBack(SizeOf(block));
  std::free(block);
}

/// Hands matrices out from the matrix library's own allocator, unless they are refused.
class Matrices final : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    if (data == nullptr) RefuseIfDue(dims, sizes, type);
    cv::UMatData* const made = Standard()->allocate(dims, sizes, type, data, step, flags, usage);
    made->prevAllocator = made->currAllocator = this;
    if (!IsOfUser(*made)) Take(made->size, made->size);
    return made;
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    return Standard()->allocate(data, flags, usage);
  }
  void deallocate(cv::UMatData* data) const override {
    if (data == nullptr) return;
    if (!IsOfUser(*data)) GiveBack(data->size);
    Standard()->deallocate(data);
  }

 private:
  static cv::MatAllocator* Standard() { return cv::Mat::getStdAllocator(); }
  static bool IsOfUser(const cv::UMatData& data) {
    return (data.flags & cv::UMatData::USER_ALLOCATED) != 0;
  }

  static void RefuseIfDue(int dims, const int* sizes, int type) {
    std::size_t bytes = CV_ELEM_SIZE(type);
    for (int i = 0; i < dims; ++i) bytes *= static_cast<std::size_t>(sizes[i]);
    const bool isSecond = refusal.matrix != 0 && refusal.matrix == bytes;
    refusal.matrix = 0;
    if (!isSecond && !IsRefused()) return;
    if (!isSecond) refusal.matrix = bytes;
    throw cv::Exception(cv::Error::StsNoMem, "refused", "allocate", __FILE__, __LINE__);
  }
};

/// Before the tests make any matrix.
[[maybe_unused]] const bool kMatricesAreOurs = [] {
  static const auto* const matrices = new Matrices;  // for ever: matrices may outlive statics
  cv::Mat::setDefaultAllocator(const_cast<Matrices*>(matrices));  // the library asks for no more
  return true;
}();

}  // namespace

// All libraries of the program must find these. Blocks of a larger alignment than usual are left to
// the language's own functions.
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif
void* operator new(std::size_t size) { return AllocatedOrThrown(size); }
void* operator new[](std::size_t size) { return AllocatedOrThrown(size); }
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
#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

namespace dravix::test {

std::int64_t BlocksInUse() { return blocks; }

CountedMemory::CountedMemory() {
  requests = 0;
  requested = 0;
  live = 0;
  peak = 0;
}
std::ptrdiff_t CountedMemory::Requests() const { return requests; }
std::ptrdiff_t CountedMemory::Requested() const { return requested; }
std::ptrdiff_t CountedMemory::Live() const { return live; }
std::ptrdiff_t CountedMemory::Peak() const { return peak; }

std::ptrdiff_t BytesFor(const std::function<void()>& work) {
  const CountedMemory memory;
  work();
  return memory.Requested();
}

FailingMemory::FailingMemory(std::int64_t n) { refusal = {.left = n}; }
FailingMemory::~FailingMemory() { refusal = {}; }
bool FailingMemory::Happened() const { return refusal.happened; }

LargestBlock::LargestBlock(std::size_t bytes) { largest = bytes; }
LargestBlock::~LargestBlock() { largest = std::numeric_limits<std::size_t>::max(); }

}  // namespace dravix::test

#include "base/large_buffer.h"

#include <cstdlib>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace dravix::base {
namespace {

#ifdef __linux__

void* Allocate(std::size_t bytes) {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  // A wish: without it the memory is as good, only slower to come by.
  madvise(memory, bytes, MADV_HUGEPAGE);
  return memory;
}

void Free(void* memory, std::size_t bytes) { munmap(memory, bytes); }

#else

void* Allocate(std::size_t bytes) { return std::calloc(bytes, 1); }

void Free(void* memory, std::size_t /*bytes*/) { std::free(memory); }

#endif

}  // namespace

LargeBuffer::LargeBuffer(std::size_t bytes)
    : size_(bytes > 0 ? bytes : 1), bytes_(static_cast<std::uint8_t*>(Allocate(size_))) {
  if (bytes_ == nullptr) throw std::bad_alloc();
}

LargeBuffer::~LargeBuffer() { Free(bytes_, size_); }

}  // namespace dravix::base

#include "base/large_buffer.h"

#include <cstdlib>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
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

/// Whole pages only: the others hold values that are still needed.
void FreePages(std::uint8_t* memory, std::size_t begin, std::size_t end) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t first = (begin + page - 1) / page * page;
  const std::size_t last = end / page * page;
  if (first < last) madvise(memory + first, last - first, MADV_DONTNEED);
}

#else

void* Allocate(std::size_t bytes) { return std::calloc(bytes, 1); }

void Free(void* memory, std::size_t /*bytes*/) { std::free(memory); }

void FreePages(std::uint8_t* /*memory*/, std::size_t /*begin*/, std::size_t /*end*/) {}

#endif

}  // namespace

LargeBuffer::LargeBuffer(std::size_t bytes)
    : size_(bytes > 0 ? bytes : 1), bytes_(static_cast<std::uint8_t*>(Allocate(size_))) {
  if (bytes_ == nullptr) throw std::bad_alloc();
}

void LargeBuffer::GiveBack(std::size_t begin, std::size_t end) { FreePages(bytes_, begin, end); }

LargeBuffer::~LargeBuffer() { Free(bytes_, size_); }

}  // namespace dravix::base

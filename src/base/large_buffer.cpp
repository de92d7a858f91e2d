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

void GiveBack(std::uint8_t* begin, std::uint8_t* end) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto first = (reinterpret_cast<std::uintptr_t>(begin) + page - 1) / page * page;
  const auto last = reinterpret_cast<std::uintptr_t>(end) / page * page;
  // A wish, too: where it is not granted the memory just stays.
  if (first < last)
    madvise(begin + (first - reinterpret_cast<std::uintptr_t>(begin)), last - first, MADV_DONTNEED);
}

#else

void* Allocate(std::size_t bytes) { return std::calloc(bytes, 1); }

void Free(void* memory, std::size_t /*bytes*/) { std::free(memory); }

void GiveBack(std::uint8_t* /*begin*/, std::uint8_t* /*end*/) {}

#endif

}  // namespace

LargeBuffer::LargeBuffer(std::size_t bytes)
    : size_(bytes > 0 ? bytes : 1), bytes_(static_cast<std::uint8_t*>(Allocate(size_))) {
  if (bytes_ == nullptr) throw std::bad_alloc();
}

LargeBuffer::~LargeBuffer() { Free(bytes_, size_); }

void LargeBuffer::Forget(std::size_t begin, std::size_t end) {
  GiveBack(bytes_ + begin, bytes_ + end);
}

namespace {
/// Smaller arrays are better off with the memory that a program has anyway.
constexpr std::size_t kMany = std::size_t{1} << 20;
}  // namespace

void* AllocateZeros(std::size_t bytes) {
  void* zeros = bytes >= kMany ? Allocate(bytes) : std::calloc(bytes > 0 ? bytes : 1, 1);
  if (zeros == nullptr) throw std::bad_alloc();
  return zeros;
}

void FreeZeros(void* memory, std::size_t bytes) {
  if (bytes >= kMany) {
    Free(memory, bytes);
  } else {
    std::free(memory);
  }
}

}  // namespace dravix::base

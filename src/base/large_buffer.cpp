#include "base/large_buffer.h"

#include <cstdlib>
#include <limits>
#include <new>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace dravix::base {
namespace {

/// Smaller arrays are better off with the memory that a program has anyway.
constexpr std::size_t kMany = std::size_t{1} << 20;

#ifdef __linux__

constexpr std::uintptr_t RoundedUp(std::uintptr_t value, std::uintptr_t unit) {
  return (value + unit - 1) / unit * unit;
}

std::uintptr_t PageSize() { return static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE)); }

void Unmap(std::uintptr_t begin, std::uintptr_t end) {
  if (begin < end) munmap(reinterpret_cast<void*>(begin), end - begin);
}

void* Allocate(std::size_t bytes) {
  // Large pages lie at multiples of their size, but the system maps memory anywhere. So as much
  // more is mapped as may have to be skipped, and given back.
  constexpr std::size_t kLargePage = std::size_t{1} << 21;
  if (bytes > std::numeric_limits<std::size_t>::max() / 2) return nullptr;
  const std::size_t skipped = bytes >= kLargePage ? kLargePage : 0;
  const std::size_t mapped = RoundedUp(bytes, PageSize()) + skipped;
  void* memory = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(memory);
  const auto begin = skipped > 0 ? RoundedUp(first, kLargePage) : first;
  Unmap(first, begin);
  Unmap(begin + mapped - skipped, first + mapped);
  memory = reinterpret_cast<void*>(begin);
  // A wish: without it the memory is as good, only slower to come by.
  madvise(memory, bytes, MADV_HUGEPAGE);
  return memory;
}

void Free(void* memory, std::size_t bytes) { munmap(memory, bytes); }

void GiveBack(std::uint8_t* begin, std::uint8_t* end) {
  const std::uintptr_t page = PageSize();
  const auto first = RoundedUp(reinterpret_cast<std::uintptr_t>(begin), page);
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

#include "files/partial_file.h"

#include <algorithm>

#include "files/files.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kPage = 4096;

std::size_t SizeWithin(const std::string& name) {
  const std::uintmax_t size = ReadHead(name, 1).size;
  if (size <= kMostBytes) return static_cast<std::size_t>(size);
  throw InputFailure(name, "has " + std::to_string(size) + " bytes, expected at most " +
                               std::to_string(kMostBytes));
}

}  // namespace

PartialFile::PartialFile(const std::string& name)
    : size_(SizeWithin(name)),
      bytes_(std::max<std::size_t>(size_, 1)),
      isRead_(size_ / kPage + 1),
      file_(PathOf(name), std::ios::binary) {}

std::string_view PartialFile::Bytes() const {
  return {reinterpret_cast<const char*>(bytes_.Data()), size_};
}

void PartialFile::Fetch(std::uint64_t at, std::uint64_t count) {
  if (at >= size_) return;
  const auto first = static_cast<std::size_t>(at);
  const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - at));
  for (std::size_t page = first / kPage; page * kPage < first + length; ++page) {
    if (!isRead_[page]) ReadPage(page);
  }
}

void PartialFile::ReadPage(std::size_t page) {
  const std::size_t begin = page * kPage;
  file_.clear();
  file_.seekg(static_cast<std::streamoff>(begin));
  file_.read(reinterpret_cast<char*>(bytes_.Data() + begin),
             static_cast<std::streamsize>(std::min(kPage, size_ - begin)));
  isRead_[page] = true;
}

}  // namespace dravix::tool

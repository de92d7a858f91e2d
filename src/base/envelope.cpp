#include "base/envelope.h"

#include <dravix/dravix.h>

#include <span>

namespace dravix::base {

bool HasExtension(std::string_view fullname, std::string_view extension) {
  return fullname.size() > extension.size() && fullname.ends_with(extension);
}

void WriteHeader(ByteSink& out) {
  out.Write(kLittleEndianMark);
  out.Write(kFormatVersion);
}

Header ReadHeader(ByteReader& in) {
  if (in.Read<char>() != kLittleEndianMark) return Header::kWrongMark;
  return in.ReadOr<std::int32_t>(-1) == kFormatVersion ? Header::kGood : Header::kWrongVersion;
}

std::uint64_t SizeOf(const Content& content) {
  ByteCounter counter;
  content(counter);
  return counter.Count();
}

std::int32_t PutIntoBuffer(const Content& content, char* buffer, std::uint64_t* size) {
  const std::uint64_t length = SizeOf(content);
  if (*size < length) return DRAVIX_BUFFER_TOO_SMALL;
  BufferFiller filler(std::as_writable_bytes(std::span(buffer, static_cast<std::size_t>(length))));
  content(filler);
  *size = length;
  return DRAVIX_OK;
}

}  // namespace dravix::base

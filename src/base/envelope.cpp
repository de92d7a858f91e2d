#include "base/envelope.h"

#include <dravix/dravix.h>

#include <cstring>

namespace dravix::base {

bool HasExtension(std::string_view fullname, std::string_view extension) {
  return fullname.size() > extension.size() && fullname.ends_with(extension);
}

void WriteHeader(ByteWriter& out) {
  out.Write(kLittleEndianMark);
  out.Write(kFormatVersion);
}

Header ReadHeader(ByteReader& in) {
  if (in.Read<char>() != kLittleEndianMark) return Header::kWrongMark;
  return in.ReadOr<std::int32_t>(-1) == kFormatVersion ? Header::kGood : Header::kWrongVersion;
}

std::int32_t CopyToBuffer(ByteView data, char* buffer, std::uint64_t* size) {
  if (*size < data.size()) return DRAVIX_BUFFER_TOO_SMALL;
  *size = data.size();
  std::memcpy(buffer, data.data(), data.size());
  return DRAVIX_OK;
}

}  // namespace dravix::base

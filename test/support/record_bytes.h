/// The bytes of file formats, assembled field by field.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace dravix::test {

/// The bytes of a number, low byte first.
template <class T>
std::string Le(T value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

struct RecordHeader {
  std::int32_t rows = 0, cols = 0, type = 0, channels = 0;
  [[nodiscard]] std::string Bytes() const { return Le(rows) + Le(cols) + Le(type) + Le(channels); }
};

}  // namespace dravix::test

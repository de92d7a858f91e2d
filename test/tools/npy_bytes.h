/// Files as NumPy writes them.
#pragma once

#include <string>
#include <type_traits>
#include <vector>

namespace dravix::test {

/// The bytes of a .npy file whose values, float or double, are given row by row.
template <class T>
std::string NpyBytes(int rows, int columns, const std::vector<T>& values) {
  static_assert(std::is_floating_point_v<T>);
  std::string header = std::string("{'descr': '") + (sizeof(T) == 4 ? "<f4" : "<f8") +
                       "', 'fortran_order': False, 'shape': (" + std::to_string(rows) + ", " +
                       std::to_string(columns) + "), }";
  header.append(117 - header.size(), ' ');
  std::string bytes = std::string("\x93NUMPY\x01\x00\x76\x00", 10) + header + "\n";
  bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
  return bytes;
}

}  // namespace dravix::test

/// Counts the memory that a program is given: linking this replaces the allocator of C++.
#pragma once

#include <cstddef>
#include <functional>

namespace dravix::test {

/// The bytes that the matrix library and the allocator of C++ hand out to `work`, freed or not.
[[nodiscard]] std::size_t BytesFor(const std::function<void()>& work);

}  // namespace dravix::test

/// Contents of files for the tests of reading and of writing.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "base/bytes.h"

namespace dravix::test {

/// The bytes as text; fails the test and gives "" when there are none.
inline std::string TextOf(const std::optional<base::Bytes>& bytes) {
  EXPECT_TRUE(bytes.has_value());
  if (!bytes) return "";
  return {static_cast<const char*>(static_cast<const void*>(bytes->data())), bytes->size()};
}

/// More than any buffer on the way holds, and no piece of it like another.
inline std::string LongText() {
  std::string text(3'000'001, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 >> 3);
  return text;
}

}  // namespace dravix::test

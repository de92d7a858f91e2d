/// Saving, loading and buffering of one versioned record: what .lum, .shot and .roi have in common.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/bytes.h"

namespace dravix::base {

/// Fixed texts of one class's format. Texts about files end where the file's name follows.
struct SaveTexts {
  const char* extension;     ///< ".lum" and the like
  const char* wrongName;     ///< the name has another extension
  const char* cannotOpen;    ///< ends in "fullname = "
  const char* cannotFinish;  ///< writing broke off; ends in "fullname = "
};
struct LoadTexts {
  const char* extension;
  const char* wrongName;
  const char* cannotOpen;  ///< ends in "fullname = "
};
struct HeaderTexts {
  const char* wrongMark;
  const char* wrongVersion;
};

/// Writes `record` as the whole file. 0; 8 wrong extension; 4 cannot be opened or not written
/// whole. One error line on failure; what was under the name is then still there.
[[nodiscard]] std::int32_t SaveRecord(const std::string& fullname, const SaveTexts& texts,
                                      const std::function<Bytes()>& record);

/// Takes what follows mark and version. Reading a file may throw ReadFailure anywhere: what is read
/// must not be kept before all of it has been.
using BodyReader = std::function<void(ByteReader&)>;

/// Checks mark and version and hands the rest to `readBody`. 0; 10 wrong mark; 3 wrong version.
[[nodiscard]] std::int32_t ReadRecord(ByteView bytes, const HeaderTexts& texts,
                                      const BodyReader& readBody);

/// As ReadRecord, from a file, of which no more is read than `readBody` asks for. 8 wrong
/// extension; 2 cannot be opened, or not be read.
[[nodiscard]] std::int32_t LoadRecord(const std::string& fullname, const LoadTexts& fileTexts,
                                      const HeaderTexts& headerTexts, const BodyReader& readBody);

}  // namespace dravix::base

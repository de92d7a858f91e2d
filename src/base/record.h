/// Saving and loading one versioned record: what .lum, .shot and .roi files have in common.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "base/log_text.h"

namespace dravix::base {

/// What one class's format says about its files.
struct SaveTexts {
  std::string_view extension;    ///< ".lum" and the like
  LogText wrongName;             ///< the name has another extension
  LogTextWithName cannotOpen;    ///< the file cannot be opened for writing
  LogTextWithName cannotFinish;  ///< writing broke off
};
struct LoadTexts {
  std::string_view extension;
  LogText wrongName;
  LogTextWithName cannotOpen;  ///< the file cannot be opened for reading, or not be read
};
struct HeaderTexts {
  LogText wrongMark;
  LogText wrongVersion;
};

/// Writes `record` as the whole file, as WriteFile does. 0; 8 for another extension; 4 when the
/// file cannot be opened or not be written whole. A failure writes one error line. A record that
/// cannot be made throws before the file is touched.
[[nodiscard]] std::int32_t SaveRecord(const std::string& fullname, const SaveTexts& texts,
                                      const Content& record);

/// Takes what follows mark and version. Reading a file may throw ReadFailure at any place, so that
/// nothing may be kept before all of it has been read.
using BodyReader = std::function<void(ByteReader&)>;

/// Checks mark and version and hands the rest to `readBody`. 0; 10 for another mark; 3 for another
/// version.
[[nodiscard]] std::int32_t ReadRecord(ByteView bytes, const HeaderTexts& texts,
                                      const BodyReader& readBody);

/// The same from a file, of which no more is read than `readBody` asks for. Also 8 for another
/// extension, and 2 when the file cannot be opened or not be read.
[[nodiscard]] std::int32_t LoadRecord(const std::string& fullname, const LoadTexts& fileTexts,
                                      const HeaderTexts& headerTexts, const BodyReader& readBody);

}  // namespace dravix::base

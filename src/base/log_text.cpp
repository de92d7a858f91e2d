#include "base/log_text.h"

#include <dravix/algolog.h>

#include "base/one_line.h"

// The one place where a format is no literal: what it may hold was looked at when it was made.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#endif

namespace dravix::base {

void LogError(LogText text) { AlgoLogError(text.Format()); }

void LogError(LogTextWithName text, const std::string& fullname) {
  AlgoLogError(text.Format(), Visible(fullname).c_str());
}

}  // namespace dravix::base

#include "terminal/arguments.h"

#include <algorithm>

#ifdef _WIN32
// shellapi.h uses types of windows.h.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on
#endif

namespace dravix::tool {
namespace {

#ifdef _WIN32
std::string Utf8(const wchar_t* text) {
  const int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (length <= 1) return {};
  std::string utf8(static_cast<std::size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), length, nullptr, nullptr);
  utf8.pop_back();
  return utf8;
}

/// The words that main() is given are in the system's code page, which cannot hold every file
/// name, so the whole command line is taken from the system again.
std::vector<std::string> Words(int, char**) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> words;
  for (int i = 1; i < count; ++i) words.push_back(Utf8(wide[i]));
  LocalFree(wide);
  return words;
}
#else
std::vector<std::string> Words(int argc, char** argv) {
  return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>();
}
#endif

}  // namespace

std::vector<std::string> ReversedArguments(int argc, char** argv) {
  std::vector<std::string> words = Words(argc, argv);
  std::reverse(words.begin(), words.end());
  return words;
}

}  // namespace dravix::tool

#include "base/paths.h"

#include <system_error>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <limits>
#endif

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
/// The text in the system's own characters; empty when it is not valid in that code page.
std::optional<std::wstring> Wide(const std::string& text, unsigned codePage) {
  if (text.empty()) return std::wstring();
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return std::nullopt;
  const int length = static_cast<int>(text.size());
  const int wideLength =
      MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
  if (wideLength <= 0) return std::nullopt;
  std::wstring wide(static_cast<std::size_t>(wideLength), L'\0');
  MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), length, wide.data(), wideLength);
  return wide;
}

/// A path that Windows takes although it is long: above 260 characters, it must be complete and
/// carry a mark.
fs::path MarkLongName(const fs::path& path) {
  constexpr std::size_t kShort = 200;  // leaves room for the name of the temporary file
  std::error_code error;
  const fs::path full = fs::absolute(path, error);
  if (error || full.native().size() <= kShort || full.native().starts_with(L"\\\\?\\")) return path;
  if (full.native().starts_with(L"\\\\")) return L"\\\\?\\UNC" + full.native().substr(1);
  return L"\\\\?\\" + full.native();
}
#endif

/// The path as the name says it.
std::optional<fs::path> PlainPathOf(const std::string& fullname) {
  if (fullname.find('\0') != std::string::npos) return std::nullopt;
#ifdef _WIN32
  std::optional<std::wstring> wide = Wide(fullname, CP_UTF8);
  if (!wide) wide = Wide(fullname, CP_ACP);
  if (!wide) return std::nullopt;
  return fs::path(*wide);
#else
  return fs::path(fullname);
#endif
}

}  // namespace

std::optional<fs::path> PathOf(const std::string& fullname) {
#ifdef _WIN32
  const std::optional<fs::path> path = PlainPathOf(fullname);
  constexpr std::size_t kLongestName = 255;  // characters, in every file system
  if (!path || path->filename().native().size() > kLongestName) return std::nullopt;
  return MarkLongName(*path);
#else
  return PlainPathOf(fullname);
#endif
}

std::string NameOf(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string WithExtension(const std::string& fullname, std::string_view extension) {
  std::optional<fs::path> path = PlainPathOf(fullname);
  if (!path) return fullname + std::string(extension);
  return NameOf(
      path->replace_extension(fs::path(std::u8string(extension.begin(), extension.end()))));
}

}  // namespace dravix::base

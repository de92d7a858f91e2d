#include "files/names.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

#include "files/files.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

namespace fs = std::filesystem;

/// The name that is left when all links are followed, also links to files that do not exist yet.
fs::path Resolved(fs::path path) {
  // Systems give up on a chain of about 40 links, which is then a circle.
  constexpr int kMostLinks = 40;
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;
  }
  // An empty folder name means the current folder, which must not be told apart from its own name.
  const fs::path absolute = fs::absolute(path, error);
  fs::path canonical = fs::weakly_canonical(error ? path : absolute, error);
  return error ? absolute.lexically_normal() : canonical;
}

bool SameSpelling(const fs::path& a, const fs::path& b) {
#ifdef _WIN32
  // File systems of Windows do not distinguish the case of letters.
  std::wstring one = a.native();
  std::wstring two = b.native();
  const auto lower = [](wchar_t c) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
  };
  std::transform(one.begin(), one.end(), one.begin(), lower);
  std::transform(two.begin(), two.end(), two.begin(), lower);
  return one == two;
#else
  return a == b;
#endif
}

bool IsSameFile(const std::string& a, const std::string& b) {
  const fs::path one = Resolved(PathOf(a));
  const fs::path two = Resolved(PathOf(b));
  std::error_code error;
  const fs::file_status status = fs::status(one, error);
  if (fs::exists(status) && fs::is_other(status)) return false;
  if (SameSpelling(one, two)) return true;
  // Hard links, and folders that can be reached in two ways.
  const bool equivalent = fs::equivalent(one, two, error);
  return !error && equivalent;
}

/// `--truth "x.json"`
std::string Shown(const NamedFile& file) { return file.option + " " + InQuotes(file.name); }

}  // namespace

void RequireDistinctFiles(const std::vector<NamedFile>& inputs,
                          const std::vector<NamedFile>& outputs) {
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    const NamedFile& output = outputs[i];
    if (output.name.empty()) continue;
    for (const NamedFile& input : inputs) {
      if (input.name.empty() || !IsSameFile(input.name, output.name)) continue;
      throw UsageFailure(Shown(output) + ": would overwrite the input " + Shown(input) +
                         "; give the output another name");
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (outputs[j].name.empty() || !IsSameFile(outputs[j].name, output.name)) continue;
      throw UsageFailure(Shown(output) + ": would overwrite the output " + Shown(outputs[j]) +
                         "; give each output a name of its own");
    }
  }
}

}  // namespace dravix::tool

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

/// A file with the name that is left when all links are followed. Names are followed once each: a
/// manifest may list thousands of inputs.
struct FollowedFile {
  const NamedFile* file;
  fs::path path;
};

std::vector<FollowedFile> Followed(const std::vector<NamedFile>& files) {
  std::vector<FollowedFile> followed;
  for (const NamedFile& file : files) {
    if (!file.name.empty()) followed.push_back({&file, Resolved(PathOf(file.name))});
  }
  return followed;
}

bool IsSameFile(const fs::path& one, const fs::path& two) {
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
  const std::vector<FollowedFile> read = Followed(inputs);
  const std::vector<FollowedFile> written = Followed(outputs);
  for (std::size_t i = 0; i < written.size(); ++i) {
    const FollowedFile& output = written[i];
    for (const FollowedFile& input : read) {
      if (!IsSameFile(input.path, output.path)) continue;
      throw UsageFailure(Shown(*output.file) + ": would overwrite the input " + Shown(*input.file) +
                         "; give the output another name");
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (!IsSameFile(written[j].path, output.path)) continue;
      throw UsageFailure(Shown(*output.file) + ": would overwrite the output " +
                         Shown(*written[j].file) + "; give each output a name of its own");
    }
  }
}

}  // namespace dravix::tool

#include "files/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <random>
#include <system_error>
#include <utility>
#include <vector>

#include "terminal/console.h"
#include "terminal/failure.h"

namespace dravix::tool {
namespace {

namespace fs = std::filesystem;

std::string NameOf(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::string Reason() {
  return errno != 0 ? std::string(": ") + std::strerror(errno) : std::string();
}

/// Where the bytes finally go: the file that a link points at, so that the link stays one.
fs::path TargetOf(const std::string& name) {
  fs::path path = PathOf(name);
  std::error_code error;
  if (!fs::is_symlink(path, error)) return path;
  fs::path target = fs::weakly_canonical(path, error);
  return error ? path : target;
}

/// A name beside `target` that nobody has. It is short, whatever the length of the target's own.
fs::path SiblingOf(const fs::path& target) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::random_device random;
  std::string name = ".dravix-";
  for (int i = 0; i < 12; ++i) name += kDigits[random() % 16];
  return target.parent_path() / PathOf(name + ExtensionOf(NameOf(target)));
}

/// Removes the temporary file unless it got its final name.
class Sibling {
 public:
  explicit Sibling(const fs::path& target) : target_(target), path_(SiblingOf(target)) {}
  Sibling(const Sibling&) = delete;
  Sibling& operator=(const Sibling&) = delete;
  ~Sibling() {
    std::error_code ignored;
    if (!moved_) fs::remove(path_, ignored);
  }
  [[nodiscard]] const fs::path& Path() const { return path_; }
  void MoveOver(const std::string& name) {
    std::error_code error;
    const fs::perms before = fs::status(target_, error).permissions();
    if (!error && fs::exists(target_, error)) fs::permissions(path_, before, error);
    fs::rename(path_, target_, error);
    if (error) throw OutputFailure(name, "cannot be written: " + error.message());
    moved_ = true;
  }

 private:
  fs::path target_;
  fs::path path_;
  bool moved_ = false;
};

void WriteStraight(const std::string& name, const fs::path& path, std::string_view content) {
  errno = 0;
  std::ofstream out(path, std::ios::binary);
  if (!out) throw OutputFailure(name, "cannot be opened for writing" + Reason());
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  if (!out) throw OutputFailure(name, "could not be written whole" + Reason());
}

/// Devices and pipes have no old content to keep and must not be replaced by a file.
bool IsSpecial(const fs::path& path) {
  std::error_code error;
  return fs::exists(path, error) && fs::is_other(path, error);
}

void RefuseFolder(const std::string& name, const fs::path& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) throw OutputFailure(name, "is a folder, expected a file");
  const fs::path folder = path.parent_path();
  if (!folder.empty() && !fs::is_directory(folder, error)) {
    throw OutputFailure(name, "cannot be written: its folder does not exist");
  }
}

std::ifstream OpenForReading(const std::string& name) {
  std::error_code error;
  if (fs::is_directory(PathOf(name), error))
    throw InputFailure(name, "is a folder, expected a file");
  errno = 0;
  std::ifstream in(PathOf(name), std::ios::binary);
  if (!in) throw InputFailure(name, "cannot be opened for reading" + Reason());
  return in;
}

}  // namespace

fs::path PathOf(const std::string& name) {
#ifdef _WIN32
  return fs::path(std::u8string(name.begin(), name.end()));
#else
  return {name};
#endif
}

std::string ExtensionOf(const std::string& name) {
  std::string extension = NameOf(PathOf(name).extension());
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  return extension;
}

std::string WithExtension(const std::string& name, std::string_view extension) {
  fs::path path = PathOf(name);
  path.replace_extension(PathOf(std::string(extension)));
  return NameOf(path);
}

void RequireExtension(const std::string& option, const std::string& name,
                      std::string_view extension) {
  const bool fits = name.size() > extension.size() && name.ends_with(extension);
  if (fits) return;
  throw UsageFailure(option + ": \"" + name + "\" does not end in \"" + std::string(extension) +
                     "\"");
}

std::string ReadFile(const std::string& name) {
  std::ifstream in = OpenForReading(name);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw InputFailure(name, "cannot be read" + Reason());
  return bytes;
}

FileHead ReadHead(const std::string& name, std::size_t count) {
  std::ifstream in = OpenForReading(name);
  FileHead head;
  head.first.resize(count);
  in.read(head.first.data(), static_cast<std::streamsize>(count));
  head.first.resize(static_cast<std::size_t>(in.gcount()));
  std::error_code error;
  head.size = fs::file_size(PathOf(name), error);
  if (error) head.size = head.first.size();
  return head;
}

void WriteFile(const std::string& name, std::string_view content) {
  const fs::path target = TargetOf(name);
  RefuseFolder(name, target);
  if (IsSpecial(target)) {
    WriteStraight(name, target, content);
    return;
  }
  Sibling sibling(target);
  WriteStraight(name, sibling.Path(), content);
  sibling.MoveOver(name);
}

void WriteByName(const std::string& name, const std::function<bool(const std::string&)>& write) {
  const fs::path target = TargetOf(name);
  RefuseFolder(name, target);
  Sibling sibling(target);
  // The library must not meet the folder's refusal first: it would have to be told in its words.
  WriteStraight(name, sibling.Path(), {});
  if (!write(NameOf(sibling.Path()))) throw OutputFailure(name, "could not be written");
  sibling.MoveOver(name);
}

void WritePicture(const std::string& name, const cv::Mat& picture) {
  std::vector<unsigned char> bytes;
  bool encoded = false;
  try {
    const Hushed hushed;
    encoded = cv::imencode(ExtensionOf(name), picture, bytes);
  } catch (const cv::Exception&) {
    encoded = false;
  }
  if (!encoded) {
    throw UsageFailure(name + ": no picture format is known for the extension \"" +
                       ExtensionOf(name) + "\"");
  }
  WriteFile(name, std::string(bytes.begin(), bytes.end()));
}

cv::Mat ReadPicture(const std::string& name) {
  std::string bytes = ReadFile(name);
  cv::Mat picture;
  if (!bytes.empty() && bytes.size() <= static_cast<std::size_t>(INT32_MAX)) {
    try {
      const Hushed hushed;
      picture = cv::imdecode(cv::Mat(1, static_cast<int>(bytes.size()), CV_8UC1, bytes.data()),
                             cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception&) {
      picture.release();
    }
  }
  if (picture.empty()) throw InputFailure(name, "is no picture that can be decoded, or is damaged");
  return picture;
}

}  // namespace dravix::tool

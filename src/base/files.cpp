#include "base/files.h"

#include <array>
#include <cstdint>
#include <exception>
#include <fstream>
#include <random>
#include <system_error>
#include <utility>

#include "base/broken_pipe.h"

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

constexpr std::streamsize kChunk = std::streamsize{1} << 20;

/// Reads to the end in chunks: for pipes and devices, whose size says nothing.
std::optional<Bytes> ReadToEnd(std::ifstream& in) {
  Bytes bytes;
  std::vector<char> chunk(static_cast<std::size_t>(kChunk));
  while (in.read(chunk.data(), kChunk), in.gcount() > 0) {
    const ByteView got = ViewOf(chunk.data(), static_cast<std::size_t>(in.gcount()));
    bytes.insert(bytes.end(), got.begin(), got.end());
  }
  if (in.bad()) return std::nullopt;
  return bytes;
}

bool WritePieces(std::ofstream& out, std::initializer_list<ByteView> pieces) {
  for (const ByteView piece : pieces) {
    // std::ofstream takes char; a byte is one.
    out.write(static_cast<const char*>(static_cast<const void*>(piece.data())),
              static_cast<std::streamsize>(piece.size()));
  }
  out.close();
  return !out.fail();
}

/// The file a chain of links ends in, also when that file does not exist yet.
fs::path FollowLinks(fs::path path) {
  constexpr int kMostLinks = 40;  // as many as the kernel follows
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

/// A short name of its own in the target's folder: the target's may already have the full 255
/// bytes.
fs::path TemporarySibling(const fs::path& target) {
  constexpr std::size_t kDigits = 16;
  std::array<char, kDigits + 1> name{};
  std::random_device random;
  for (std::size_t i = 0; i < kDigits; ++i) name[i] = "0123456789abcdef"[random() % 16U];
  return target.parent_path() / (".dravix-" + std::string(name.data(), kDigits) + ".tmp");
}

/// Removes its file unless it was kept.
class TemporaryFile {
 public:
  explicit TemporaryFile(fs::path path) : path_(std::move(path)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove(path_, ignored);
  }
  const fs::path& Path() const { return path_; }
  bool RenameTo(const fs::path& target) {
    std::error_code error;
    fs::rename(path_, target, error);
    if (error) return false;
    path_.clear();
    return true;
  }

 private:
  fs::path path_;
};

WriteResult WriteStraight(const fs::path& path, std::initializer_list<ByteView> pieces) {
  const HoldBrokenPipe hold;
  std::ofstream out(path, std::ios::binary);
  if (!out) return WriteResult::kCannotOpen;
  return WritePieces(out, pieces) ? WriteResult::kWritten : WriteResult::kFailed;
}

/// A file that may not be written must not be replaced either, though its folder would allow it.
bool MayOverwrite(const fs::path& path) {
  return std::ofstream(path, std::ios::binary | std::ios::app).good();  // opens, writes nothing
}

WriteResult ReplaceFile(const fs::path& path, bool exists, std::initializer_list<ByteView> pieces) {
  if (exists && !MayOverwrite(path)) return WriteResult::kCannotOpen;
  TemporaryFile temporary(TemporarySibling(path));
  std::ofstream out(temporary.Path(), std::ios::binary);
  if (!out) return WriteResult::kCannotOpen;
  if (!WritePieces(out, pieces)) return WriteResult::kFailed;
  if (exists) {
    std::error_code ignored;
    fs::permissions(temporary.Path(), fs::status(path, ignored).permissions(), ignored);
  }
  return temporary.RenameTo(path) ? WriteResult::kWritten : WriteResult::kFailed;
}

#ifdef _WIN32
/// Windows cuts names off at 260 characters unless they are complete and marked as long.
fs::path MarkLongName(const fs::path& path) {
  constexpr std::size_t kShort = 200;  // leaves room for the name of the temporary file
  std::error_code error;
  const fs::path full = fs::absolute(path, error);
  if (error || full.native().size() <= kShort || full.native().starts_with(L"\\\\?\\")) return path;
  if (full.native().starts_with(L"\\\\")) return L"\\\\?\\UNC" + full.native().substr(1);
  return L"\\\\?\\" + full.native();
}
#endif

}  // namespace

std::optional<fs::path> PathOf(const std::string& fullname) {
  if (fullname.find('\0') != std::string::npos) return std::nullopt;
#ifdef _WIN32
  constexpr std::size_t kLongestName = 255;  // of every file system
  try {
    const fs::path path = std::u8string(fullname.begin(), fullname.end());
    if (path.filename().native().size() > kLongestName) return std::nullopt;
    return MarkLongName(path);
  } catch (const std::exception&) {
    return std::nullopt;  // not UTF-8
  }
#else
  return fs::path(fullname);
#endif
}

std::optional<Bytes> ReadFile(const std::string& fullname) try {
  const std::optional<fs::path> path = PathOf(fullname);
  std::error_code error;
  if (!path || fs::is_directory(*path, error)) return std::nullopt;
  std::ifstream in(*path, std::ios::binary);
  if (!in) return std::nullopt;
  const std::uintmax_t size = fs::is_regular_file(*path, error) ? fs::file_size(*path, error) : 0;
  if (error || size == 0) return ReadToEnd(in);  // files of /proc say 0
  Bytes bytes(static_cast<std::size_t>(size));
  in.read(static_cast<char*>(static_cast<void*>(bytes.data())),
          static_cast<std::streamsize>(bytes.size()));
  if (in.bad()) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  return bytes;
} catch (const std::exception&) {
  return std::nullopt;  // larger than the memory
}

WriteResult WriteFile(const std::string& fullname, std::initializer_list<ByteView> pieces) {
  const std::optional<fs::path> path = PathOf(fullname);
  if (!path || path->filename().empty()) return WriteResult::kCannotOpen;
  std::error_code error;
  const fs::path target = FollowLinks(*path);
  const fs::file_status status = fs::status(target, error);
  switch (status.type()) {
    case fs::file_type::regular:
      return ReplaceFile(target, true, pieces);
    case fs::file_type::not_found:
      return ReplaceFile(target, false, pieces);
    case fs::file_type::directory:
    case fs::file_type::none:
      return WriteResult::kCannotOpen;
    default:
      return WriteStraight(target, pieces);
  }
}

}  // namespace dravix::base

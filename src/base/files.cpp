#include "base/files.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>
#include <utility>

#include "base/broken_pipe.h"

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

constexpr std::streamsize kChunk = std::streamsize{1} << 20;

/// Reads to the end in chunks: for pipes and devices, whose size says nothing.
std::optional<std::string> ReadToEnd(std::istream& in) {
  std::string bytes;
  std::vector<char> chunk(static_cast<std::size_t>(kChunk));
  while (in.read(chunk.data(), kChunk), in.gcount() > 0) {
    bytes.append(chunk.data(), static_cast<std::size_t>(in.gcount()));
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

std::unique_ptr<InputFile> InputFile::Open(const std::string& fullname) try {
  const std::optional<fs::path> path = PathOf(fullname);
  std::error_code error;
  if (!path || fs::is_directory(*path, error)) return nullptr;
  auto file = std::make_unique<std::ifstream>(*path, std::ios::binary);
  if (!*file) return nullptr;
  const std::uintmax_t size = fs::is_regular_file(*path, error) ? fs::file_size(*path, error) : 0;
  if (!error && size > 0) return std::unique_ptr<InputFile>(new InputFile(std::move(file), size));
  std::optional<std::string> whole = ReadToEnd(*file);  // files of /proc say 0
  if (!whole) return nullptr;
  const std::uintmax_t length = whole->size();
  auto memory = std::make_unique<std::istringstream>(*std::move(whole), std::ios::binary);
  return std::unique_ptr<InputFile>(new InputFile(std::move(memory), length));
} catch (const std::exception&) {
  return nullptr;  // larger than the memory
}

void InputFile::SeekTo(std::uint64_t offset) {
  at_ = std::min(offset, size_);
  in_->clear();
  in_->seekg(static_cast<std::streamoff>(at_));
  if (in_->fail()) throw ReadFailure();
}

std::size_t InputFile::Fetch(std::span<std::byte> out) {
  const std::size_t most = std::min(out.size(), Left());
  in_->read(static_cast<char*>(static_cast<void*>(out.data())), static_cast<std::streamsize>(most));
  if (in_->bad()) throw ReadFailure();
  const auto there = static_cast<std::size_t>(in_->gcount());
  at_ += there;
  if (there < most) size_ = at_;  // it has become shorter meanwhile
  return there;
}

ByteView InputFile::FetchSome() {
  constexpr std::size_t kSome = std::size_t{1} << 16;
  some_.resize(std::min(kSome, Left()));
  return ByteView(some_).first(Fetch(some_));
}

void InputFile::Skip(std::size_t count) { SeekTo(at_ + count); }

std::size_t InputFile::Left() const { return static_cast<std::size_t>(size_ - at_); }

std::optional<Bytes> ReadFile(const std::string& fullname) try {
  const std::unique_ptr<InputFile> file = InputFile::Open(fullname);
  if (!file) return std::nullopt;
  Bytes bytes(file->Left());
  bytes.resize(file->Fetch(bytes));
  return bytes;
} catch (const std::exception&) {
  return std::nullopt;  // larger than the memory, or not to be read
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

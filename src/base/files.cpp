#include "base/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <system_error>
#include <utility>

#include "base/broken_pipe.h"
#include "base/paths.h"

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

/// What the system's last failing call left as its reason.
std::error_code LastReason() {
  return errno != 0 ? std::error_code(errno, std::generic_category())
                    : std::make_error_code(std::errc::io_error);
}

/// Opens the file for writing; the reason when that fails.
std::error_code OpenFor(std::ios::openmode mode, const fs::path& path, std::ofstream& out) {
  errno = 0;
  out.open(path, std::ios::binary | mode);
  return out ? std::error_code() : LastReason();
}

/// Writes the pieces over what the file holds.
WriteOutcome WriteStraight(const fs::path& path, std::initializer_list<ByteView> pieces) {
  const HoldBrokenPipe hold;
  std::ofstream out;
  if (const std::error_code reason = OpenFor(std::ios::trunc, path, out)) {
    return {WriteResult::kCannotOpen, reason};
  }
  errno = 0;
  for (const ByteView piece : pieces) {
    // std::ofstream takes char; a byte is one.
    out.write(static_cast<const char*>(static_cast<const void*>(piece.data())),
              static_cast<std::streamsize>(piece.size()));
  }
  out.close();
  if (out.fail()) return {WriteResult::kFailed, LastReason()};
  return {};
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
fs::path TemporarySibling(const fs::path& target, const fs::path& extension) {
  constexpr std::size_t kDigits = 16;
  std::string name = ".dravix-";
  std::random_device random;
  for (std::size_t i = 0; i < kDigits; ++i) name += "0123456789abcdef"[random() % 16U];
  fs::path sibling = target.parent_path() / name;
  sibling += extension;
  return sibling;
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
  /// Gives the file the other name; the reason when that fails.
  std::error_code RenameTo(const fs::path& target) {
    std::error_code reason;
    fs::rename(path_, target, reason);
    if (!reason) path_.clear();
    return reason;
  }

 private:
  fs::path path_;
};

/// Writes the whole content into the file at that path, whatever is there.
using Fill = std::function<WriteOutcome(const fs::path&)>;

/// Writes over the file itself, and puts the old bytes back when that breaks off.
WriteOutcome FillInPlace(const fs::path& path, const Fill& fill) {
  const std::optional<Bytes> before = ReadFile(NameOf(path));
  WriteOutcome outcome = fill(path);
  // Nothing more can be done where the old bytes could not be read or do not go back.
  if (outcome.result == WriteResult::kFailed && before) (void)WriteStraight(path, {*before});
  return outcome;
}

/// True when a reason is about the folder or about who uses the file: the file itself may be
/// written all the same. A shortage (of space, of handles) is no such reason: writing in place
/// would risk the old content for nothing.
bool MayBeWrittenInPlace(const std::error_code& reason) {
#ifdef _WIN32
  return static_cast<bool>(reason);  // sharing has many codes there, and shortages show earlier
#else
  return reason == std::errc::permission_denied || reason == std::errc::operation_not_permitted ||
         reason == std::errc::read_only_file_system || reason == std::errc::device_or_resource_busy;
#endif
}

/// Makes the new content beside the file and renames it over the file.
WriteOutcome ReplaceFile(const fs::path& path, bool exists, const fs::path& extension,
                         const Fill& fill) {
  std::ofstream probe;
  if (exists) {
    // A file that may not be written must not be replaced either, though its folder would allow it.
    if (const std::error_code reason = OpenFor(std::ios::app, path, probe)) {
      return {WriteResult::kCannotOpen, reason};
    }
    probe.close();
  }
  TemporaryFile temporary(TemporarySibling(path, extension));
  if (const std::error_code reason = OpenFor(std::ios::trunc, temporary.Path(), probe)) {
    if (exists && MayBeWrittenInPlace(reason)) return FillInPlace(path, fill);
    return {WriteResult::kCannotOpen, reason};
  }
  probe.close();
  WriteOutcome outcome = fill(temporary.Path());
  if (outcome.result != WriteResult::kWritten) return {WriteResult::kFailed, outcome.reason};
  if (exists) {
    std::error_code ignored;
    fs::permissions(temporary.Path(), fs::status(path, ignored).permissions(), ignored);
  }
  const std::error_code reason = temporary.RenameTo(path);
  if (!reason) return {};
  if (exists && MayBeWrittenInPlace(reason)) return FillInPlace(path, fill);
  return {WriteResult::kFailed, reason};
}

/// Writes to what the name stands for, each kind of it in its own way.
WriteOutcome WriteTo(const std::string& fullname, const Fill& fill,
                     const std::optional<fs::path>& extension) {
  const std::optional<fs::path> path = PathOf(fullname);
  if (!path) return {WriteResult::kCannotOpen, std::make_error_code(std::errc::invalid_argument)};
  const fs::path target = FollowLinks(*path);
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  const fs::path ending = extension.value_or(target.extension());
  switch (status.type()) {
    case fs::file_type::regular:
      return ReplaceFile(target, true, ending, fill);
    case fs::file_type::not_found:
      if (target.filename().empty()) return {WriteResult::kCannotOpen, error};
      return ReplaceFile(target, false, ending, fill);
    case fs::file_type::directory:
      return {WriteResult::kCannotOpen, std::make_error_code(std::errc::is_a_directory)};
    case fs::file_type::none:
      return {WriteResult::kCannotOpen, error};
    default:
      return fill(target);
  }
}

}  // namespace

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

WriteOutcome WriteFile(const std::string& fullname, std::initializer_list<ByteView> pieces) {
  return WriteTo(
      fullname, [pieces](const fs::path& path) { return WriteStraight(path, pieces); }, ".tmp");
}

WriteOutcome WriteByName(const std::string& fullname,
                         const std::function<bool(const std::string& name)>& write) {
  const auto fill = [&write](const fs::path& path) {
    return write(NameOf(path)) ? WriteOutcome{} : WriteOutcome{WriteResult::kFailed, {}};
  };
  return WriteTo(fullname, fill, std::nullopt);
}

}  // namespace dravix::base

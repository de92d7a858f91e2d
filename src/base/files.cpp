#include "base/files.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <system_error>
#include <utility>

#include "base/input_file.h"
#include "base/paths.h"
#include "base/write_signals.h"

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

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

Content PiecesOf(std::initializer_list<ByteView> pieces) {
  return [pieces](ByteSink& out) {
    for (const ByteView piece : pieces) out.Append(piece);
  };
}

/// A stream of bytes into a file. Pieces that are larger than the stream's own buffer go straight
/// to the system.
class FileSink final : public ByteSink {
 public:
  explicit FileSink(std::ofstream& out) : out_(out) {}
  void Append(ByteView bytes) override {
    // std::ofstream takes char; a byte is one.
    out_.write(static_cast<const char*>(static_cast<const void*>(bytes.data())),
               static_cast<std::streamsize>(bytes.size()));
  }

 private:
  std::ofstream& out_;
};

/// Writes the content over what the file holds.
WriteOutcome WriteStraight(const fs::path& path, const Content& content) {
  const HoldWriteSignals hold;
  std::ofstream out;
  if (const std::error_code reason = OpenFor(std::ios::trunc, path, out)) {
    return {WriteResult::kCannotOpen, reason};
  }
  errno = 0;
  FileSink sink(out);
  content(sink);
  out.close();
  if (out.fail()) return {WriteResult::kFailed, LastReason()};
  return {};
}

/// The file at the end of a chain of links, also when that file does not exist yet.
fs::path FollowLinks(fs::path path) {
  constexpr int kMostLinks = 40;  // Linux follows no more either
  std::error_code error;
  for (int i = 0; i < kMostLinks && fs::is_symlink(path, error); ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = target.is_absolute() ? target : path.parent_path() / target;
  }
  return path;
}

/// A new name in the target's folder. It is short, because the target's own name may already have
/// the 255 bytes that file systems allow.
fs::path TemporarySibling(const fs::path& target, const fs::path& extension) {
  constexpr std::size_t kDigits = 16;
  std::string name = ".dravix-";
  std::random_device random;
  for (std::size_t i = 0; i < kDigits; ++i) name += "0123456789abcdef"[random() % 16U];
  fs::path sibling = target.parent_path() / name;
  sibling += extension;
  return sibling;
}

/// A file that is removed unless it was renamed.
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
  if (outcome.result == WriteResult::kFailed && before)
    (void)WriteStraight(path, PiecesOf({*before}));
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

WriteOutcome WriteFile(const std::string& fullname, const Content& content) {
  return WriteTo(
      fullname, [&content](const fs::path& path) { return WriteStraight(path, content); }, ".tmp");
}

WriteOutcome WriteFile(const std::string& fullname, std::initializer_list<ByteView> pieces) {
  return WriteFile(fullname, PiecesOf(pieces));
}

WriteOutcome WriteByName(const std::string& fullname,
                         const std::function<bool(const std::string& name)>& write) {
  const auto fill = [&write](const fs::path& path) {
    return write(NameOf(path)) ? WriteOutcome{} : WriteOutcome{WriteResult::kFailed, {}};
  };
  return WriteTo(fullname, fill, std::nullopt);
}

}  // namespace dravix::base

#include "base/files.h"

#include <exception>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "base/file_target.h"
#include "base/input_file.h"
#include "base/new_file.h"
#include "base/output_file.h"
#include "base/paths.h"
#include "base/temporary_folder.h"
#include "base/write_signals.h"

#ifdef __linux__
#include <fcntl.h>
#endif

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

Content PiecesOf(std::initializer_list<ByteView> pieces) {
  return [pieces](ByteSink& out) {
    for (const ByteView piece : pieces) out.Append(piece);
  };
}

/// Puts the old bytes of a file back, from where writing began, unless it is told that all went
/// well. Where they cannot be read it can do nothing.
class OldBytes {
 public:
  OldBytes(OutputFile& file, const fs::path& name) : file_(&file) {
    if (!file.IsRegular()) return;
    from_ = file.Position();
    try {
      known_ = ReadFileWith(NameOf(name), Access::kAnyOrder, [this](InputFile& in) { Read(in); });
    } catch (const std::exception&) {
      known_ = false;  // they are larger than the memory
    }
  }
  OldBytes(const OldBytes&) = delete;
  OldBytes& operator=(const OldBytes&) = delete;
  ~OldBytes() {
    if (!known_) return;
    file_->StartAgainAt(from_);
    file_->AppendAtOnce(bytes_);
    (void)file_->CutAt(size_);
    (void)file_->Flush();
    file_->StartAgainAt(from_);
  }
  void Forget() { known_ = false; }
  [[nodiscard]] std::uint64_t From() const { return from_; }

 private:
  void Read(InputFile& in) {
    size_ = in.Size().value_or(0);  // an empty file does not say its size
    if (size_ <= from_) return;
    in.SeekTo(from_);
    bytes_.resize(static_cast<std::size_t>(size_ - from_));
    if (in.Fetch(bytes_) < bytes_.size()) throw ReadFailure();
  }

  OutputFile* file_;
  std::uint64_t from_ = 0;
  bool known_ = false;
  std::uint64_t size_ = 0;
  Bytes bytes_;
};

/// Writes the content over what an open file holds, from where its next byte goes, and ends it
/// there. A file that breaks off is as long and holds the same as before.
WriteOutcome WriteOver(OutputFile file, const fs::path& name, const Content& content) {
  const HoldWriteSignals hold;
  OldBytes old(file, name);
  const std::uint64_t before = file.Taken();
  content(file);
  std::error_code reason = file.Flush();
  if (!reason && file.IsRegular()) {
    reason = file.CutAt(old.From() + (file.Taken() - before));
    if (!reason) reason = file.Flush();
  }
  if (reason) return {WriteResult::kFailed, reason};
  old.Forget();
  const bool isFlushed = file.IsRegular();
  reason = file.Close();
  if (reason && !isFlushed) return {WriteResult::kFailed, reason};
  return {};
}

/// Writes into what is there: a device, a pipe, a file that cannot be replaced.
WriteOutcome WriteInPlace(const fs::path& path, const Content& content) {
  std::error_code reason;
  OutputFile file(path, OutputFile::How::kExisting, &reason);
  if (reason) return {WriteResult::kCannotOpen, reason};
  return WriteOver(std::move(file), path, content);
}

#ifdef __linux__
/// Writes on where this process stands in a file that it has open.
WriteOutcome WriteToOwn(int descriptor, const fs::path& path, const Content& content) {
  OutputFile file(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  if (!file.IsOpen()) return {WriteResult::kCannotOpen, LastReason()};
  return WriteOver(std::move(file), path, content);
}
#endif

/// The writer's file in place of the old one, whose bytes are put back when it fails.
using Writer = std::function<bool(const std::string& name)>;
WriteOutcome WriteInPlaceBy(const fs::path& path, const Writer& write) {
  std::error_code reason;
  OutputFile file(path, OutputFile::How::kExisting, &reason);
  if (reason) return {WriteResult::kCannotOpen, reason};
  OldBytes old(file, path);
  if (!write(NameOf(path))) return {WriteResult::kFailed, {}};
  reason = file.Flush();
  if (reason) return {WriteResult::kFailed, reason};
  old.Forget();
  return {};
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

/// How an attempt to replace a file ended.
struct Attempt {
  WriteOutcome outcome;
  bool inPlace = false;  ///< nothing has changed, and writing in place may do what replacing cannot
  bool earlyName = false;  ///< nothing has changed, and a file that has its name earlier may do
};

Attempt CannotMake(const std::error_code& reason) {
  return {{WriteResult::kCannotOpen, reason}, MayBeWrittenInPlace(reason)};
}
Attempt CannotName(const std::error_code& reason, bool earlyName = false) {
  return {{WriteResult::kFailed, reason}, MayBeWrittenInPlace(reason), earlyName};
}
Attempt Ended(const std::error_code& reason) {
  return {{reason ? WriteResult::kFailed : WriteResult::kWritten, reason}};
}

/// Makes the new content beside the file and gives it the file's name. `old`: the file, open, or
/// null where there is none.
Attempt Replace(const fs::path& path, const OutputFile* old, const Content& content,
                NewFile::Name name) {
  const HoldWriteSignals hold;
  OpenFolder folder;
  if (const std::error_code reason = folder.Open(FolderOf(path))) return CannotMake(reason);
  NewFile made;
  if (const std::error_code reason = made.Make(path, old, name)) return CannotMake(reason);
  content(made.File());
  if (const std::error_code reason = made.File().Flush()) return Ended(reason);
  if (const std::error_code reason = made.TakeNameOf(path, old != nullptr)) {
    return CannotName(reason, made.WantsEarlyName());
  }
  return Ended(folder.Flush());
}

/// The same with a writer that makes the file by name.
Attempt ReplaceBy(const fs::path& path, const OutputFile* old, const Writer& write) {
  OpenFolder folder;
  if (const std::error_code reason = folder.Open(FolderOf(path))) return CannotMake(reason);
  TemporaryFolder::RemoveLeftOvers(FolderOf(path));
  TemporaryFolder temporary;
  if (const std::error_code reason = temporary.Make(FolderOf(path))) return CannotMake(reason);
  const fs::path name = temporary.FileName(path.extension());
  if (!write(NameOf(name))) return {{WriteResult::kFailed, {}}};
  std::error_code reason;
  OutputFile made(name, OutputFile::How::kExisting, &reason);
  if (reason) return Ended(reason);
  if (old != nullptr) reason = TakeOwnerAndMode(*old, made);
  if (reason) return CannotName(reason);
  reason = made.Flush();
  if (!reason) reason = made.Close();
  if (reason) return Ended(reason);
  reason = Rename(name, path);
  if (reason) return CannotName(reason);
  temporary.Remove();
  return Ended(folder.Flush());
}

/// The ways to write one content, whatever makes it.
struct Ways {
  std::function<Attempt(const fs::path& path, const OutputFile* old)> replace;
  std::function<WriteOutcome(const fs::path& path)> inPlace;
  std::function<WriteOutcome(const fs::path& path)> toLink;  ///< to a link that is none on a disk
};

WriteOutcome ReplaceFile(const fs::path& path, bool exists, const Ways& ways) {
  OutputFile old;
  if (exists) {
    // A file that may not be written must not be replaced either, though its folder would allow it.
    std::error_code reason;
    old = OutputFile(path, OutputFile::How::kExisting, &reason);
    if (reason) return {WriteResult::kCannotOpen, reason};
#ifdef _WIN32
    (void)old.Close();  // an open file cannot be replaced there
#endif
  }
  const Attempt attempt = ways.replace(path, exists ? &old : nullptr);
  return exists && attempt.inPlace ? ways.inPlace(path) : attempt.outcome;
}

/// Writes to what the name stands for, each kind of it in its own way.
WriteOutcome WriteTo(const std::string& fullname, const Ways& ways) {
  const std::optional<fs::path> path = PathOf(fullname);
  if (!path) return {WriteResult::kCannotOpen, std::make_error_code(std::errc::invalid_argument)};
  const fs::path target = FollowLinks(*path);
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  switch (status.type()) {
    case fs::file_type::regular:
      return IsLinkToOpenFile(target) ? ways.toLink(target) : ReplaceFile(target, true, ways);
    case fs::file_type::not_found:
      if (target.filename().empty()) return {WriteResult::kCannotOpen, error};
      return ReplaceFile(target, false, ways);
    case fs::file_type::directory:
      return {WriteResult::kCannotOpen, std::make_error_code(std::errc::is_a_directory)};
    case fs::file_type::none:
      return {WriteResult::kCannotOpen, error};
    default:
      return ways.toLink(target);
  }
}

}  // namespace

WriteOutcome WriteFile(const std::string& fullname, const Content& content) {
  const auto replace = [&content](const fs::path& path, const OutputFile* old) {
    const Attempt late = Replace(path, old, content, NewFile::Name::kLate);
    return late.earlyName ? Replace(path, old, content, NewFile::Name::kEarly) : late;
  };
  const auto inPlace = [&content](const fs::path& path) { return WriteInPlace(path, content); };
  const auto toLink = [&content](const fs::path& path) {
#ifdef __linux__
    if (const std::optional<int> own = OwnDescriptor(path)) return WriteToOwn(*own, path, content);
#endif
    return WriteInPlace(path, content);
  };
  return WriteTo(fullname, {replace, inPlace, toLink});
}

WriteOutcome WriteFile(const std::string& fullname, std::initializer_list<ByteView> pieces) {
  return WriteFile(fullname, PiecesOf(pieces));
}

WriteOutcome WriteByName(const std::string& fullname, const Writer& write) {
  const auto replace = [&write](const fs::path& path, const OutputFile* old) {
    return ReplaceBy(path, old, write);
  };
  const auto inPlace = [&write](const fs::path& path) { return WriteInPlaceBy(path, write); };
  const auto toLink = [&write](const fs::path& path) {
    return write(NameOf(path)) ? WriteOutcome{} : WriteOutcome{WriteResult::kFailed, {}};
  };
  return WriteTo(fullname, {replace, inPlace, toLink});
}

}  // namespace dravix::base

#include "base/input_file.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/paths.h"
#include "base/stream_source.h"

namespace dravix::base {
namespace {

namespace fs = std::filesystem;

/// A regular file: it knows its size, and any of its bytes can be reached.
class SizedFile final : public InputFile {
 public:
  SizedFile(std::ifstream in, std::uint64_t size) : InputFile(std::move(in)), size_(size) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() const override { return size_; }
  [[nodiscard]] bool Has(std::uint64_t count) override { return count <= size_ - at_; }

  std::size_t Fetch(std::span<std::byte> out) override {
    const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size_ - at_));
    in_.read(static_cast<char*>(static_cast<void*>(out.data())),
             static_cast<std::streamsize>(most));
    RequireGood();
    const auto there = static_cast<std::size_t>(in_.gcount());
    at_ += there;
    if (there < most) size_ = at_;  // it has become shorter meanwhile
    return there;
  }

  ByteView FetchSome() override {
    constexpr std::uint64_t kSome = std::uint64_t{1} << 16;
    some_.resize(static_cast<std::size_t>(std::min(kSome, size_ - at_)));
    return ByteView(some_).first(Fetch(some_));
  }

  void Skip(std::uint64_t count) override { SeekTo(at_ + std::min(count, size_ - at_)); }
  void End() override { SeekTo(size_); }
  [[nodiscard]] bool HasAnEnd() const override { return true; }

  void SeekTo(std::uint64_t offset) override {
    at_ = std::min(offset, size_);
    in_.clear();
    in_.seekg(static_cast<std::streamoff>(at_));
    if (in_.fail()) throw ReadFailure();
  }

 private:
  std::uint64_t size_, at_ = 0;
  Bytes some_;
};

/// A pipe, a device, or a file of /proc, which says that its size is 0.
class UnsizedFile final : public InputFile {
 public:
  UnsizedFile(std::ifstream in, Access access)
      : InputFile(std::move(in)),
        source_(in_, access == Access::kForward ? StreamSource::Consumed::kDropped
                                                : StreamSource::Consumed::kKept) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() const override { return std::nullopt; }
  [[nodiscard]] bool Has(std::uint64_t count) override {
    const bool has = source_.Has(count);
    RequireGood();
    return has;
  }
  std::size_t Fetch(std::span<std::byte> out) override {
    const std::size_t there = source_.Fetch(out);
    RequireGood();
    return there;
  }
  ByteView FetchSome() override {
    const ByteView some = source_.FetchSome();
    RequireGood();
    return some;
  }
  void Skip(std::uint64_t count) override {
    source_.Skip(count);
    RequireGood();
  }
  void End() override { source_.End(); }
  void SeekTo(std::uint64_t offset) override {
    source_.SeekTo(offset);
    RequireGood();
  }

 private:
  StreamSource source_;
};

/// All bytes of a file that says how many it has.
Bytes Whole(InputFile& file, std::uint64_t size) {
  Bytes bytes(static_cast<std::size_t>(size));
  bytes.resize(file.Fetch(bytes));
  return bytes;
}

/// All bytes of another one, in pieces, so that memory grows with what there really is.
std::optional<Bytes> WholeInPieces(InputFile& file) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  Bytes bytes;
  while (bytes.size() <= kMostFromStream) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kPiece);
    const std::size_t there = file.Fetch(std::span(bytes).subspan(before));
    bytes.resize(before + there);
    if (there < kPiece) return bytes;
  }
  return std::nullopt;
}

}  // namespace

std::unique_ptr<InputFile> InputFile::Open(const std::string& fullname, Access access) {
  const std::optional<fs::path> path = PathOf(fullname);
  std::error_code error;
  if (!path || fs::is_directory(*path, error)) return nullptr;
  std::ifstream in(*path, std::ios::binary);
  if (!in) return nullptr;
  const std::uintmax_t size = fs::is_regular_file(*path, error) ? fs::file_size(*path, error) : 0;
  if (!error && size > 0) return std::make_unique<SizedFile>(std::move(in), size);
  return std::make_unique<UnsizedFile>(std::move(in), access);
}

bool ReadFileWith(const std::string& fullname, Access access,
                  const std::function<void(InputFile&)>& read) {
  try {
    const std::unique_ptr<InputFile> file = InputFile::Open(fullname, access);
    if (!file) return false;
    read(*file);
    return true;
  } catch (const ReadFailure&) {
    return false;
  }
}

std::optional<Bytes> ReadFile(const std::string& fullname) try {
  std::optional<Bytes> bytes;
  const bool read = ReadFileWith(fullname, Access::kForward, [&bytes](InputFile& file) {
    const std::optional<std::uint64_t> size = file.Size();
    bytes = size ? Whole(file, *size) : WholeInPieces(file);
  });
  return read ? std::move(bytes) : std::nullopt;
} catch (const std::exception&) {
  return std::nullopt;  // larger than the memory
}

}  // namespace dravix::base

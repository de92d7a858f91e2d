#include "files/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <optional>
#include <span>
#include <system_error>
#include <vector>

#include "base/files.h"
#include "base/paths.h"
#include "terminal/console.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"

namespace dravix::tool {
namespace {

namespace fs = std::filesystem;

char LowerCase(char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); }

std::string LastReason() {
  return errno != 0 ? std::string(": ") + std::strerror(errno) : std::string();
}

base::ByteView BytesOf(std::string_view content) {
  return std::as_bytes(std::span<const char>(content.data(), content.size()));
}

Failure WriteFailure(const std::string& name, const std::error_code& reason) {
  std::error_code ignored;
  const fs::path folder = PathOf(name).parent_path();
  if (reason == std::errc::is_a_directory) {
    return OutputFailure(name, "is a folder, expected the name of a file");
  }
  if (!folder.empty() && !fs::exists(folder, ignored)) {
    return OutputFailure(name, "cannot be written: its folder does not exist");
  }
  return OutputFailure(name,
                       "cannot be written" + (reason ? ": " + reason.message() : std::string()));
}

/// Why a file in that place cannot be filled; empty when it can. The library does not say why a
/// picture was not written, so the same is tried with bytes without a meaning.
std::error_code ReasonAgainstWriting(const std::string& name) {
  constexpr std::size_t kTrial = std::size_t{1} << 20;  // bytes; more than most pictures
  const std::string trial(kTrial, '\0');
  return base::WriteFile(name, {BytesOf(trial)}).reason;
}

bool HasPictureFormat(const std::string& name) {
  try {
    return cv::haveImageWriter(ExtensionOf(name));
  } catch (const cv::Exception&) {
    return false;
  }
}

std::string UnknownFormat(const std::string& name) {
  return "no picture format is known for the extension " + InQuotes(ExtensionOf(name)) +
         ", expected .png, .tif, .jpg or .bmp";
}

std::ifstream OpenForReading(const std::string& name) {
  const fs::path path = PathOf(name);
  std::error_code error;
  switch (fs::status(path, error).type()) {
    case fs::file_type::directory:
      throw InputFailure(name, "is a folder, expected a file");
    case fs::file_type::fifo:
    case fs::file_type::socket:
      throw InputFailure(name, "is a pipe, expected a file: save what comes through it first");
    case fs::file_type::character:
    case fs::file_type::block:
      throw InputFailure(name, "is a device, expected a file");
    default:
      break;
  }
  errno = 0;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw InputFailure(name, "cannot be opened for reading" + LastReason());
  return in;
}

/// Bytes of the file; 0 where the system does not say.
std::uintmax_t SizeOf(const std::string& name) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(PathOf(name), error);
  return error ? 0 : size;
}

void RequireAtMost(const std::string& name, std::uintmax_t found, std::uintmax_t most) {
  if (found <= most) return;
  throw InputFailure(
      name, "has " + std::to_string(found) + " bytes, expected at most " + std::to_string(most));
}

}  // namespace

fs::path PathOf(const std::string& name) {
  std::optional<fs::path> path = base::PathOf(name);
  if (!path) throw UsageFailure(InQuotes(name) + ": no file can have this name");
  return *std::move(path);
}

std::string ExtensionOf(const std::string& name) {
  std::string extension = base::NameOf(PathOf(name).extension());
  std::transform(extension.begin(), extension.end(), extension.begin(), LowerCase);
  return extension;
}

bool HasExtension(const std::string& name, std::string_view extension) {
  return name.size() > extension.size() && name.ends_with(extension);
}

std::string ExpectedExtension(const std::string& name, std::string_view extension) {
  std::string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(), LowerCase);
  std::string text = "expected a name ending in " + InQuotes(extension);
  if (HasExtension(lower, extension)) {
    text += ": extensions are compared letter for letter, in lower case";
  }
  return text;
}

void RequireExtension(const std::string& option, const std::string& name,
                      std::string_view extension) {
  if (HasExtension(name, extension)) return;
  throw UsageFailure(option + ": found " + InQuotes(name) + ", " +
                     ExpectedExtension(name, extension));
}

std::string ReadFile(const std::string& name, std::uintmax_t most) {
  std::ifstream in = OpenForReading(name);
  RequireAtMost(name, SizeOf(name), most);
  // A file that does not say its size, as those of /proc, is read in pieces for as long as it
  // gives.
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  std::string bytes;
  while (in) {
    const std::size_t before = bytes.size();
    bytes.resize(before + kPiece);
    in.read(bytes.data() + before, static_cast<std::streamsize>(kPiece));
    bytes.resize(before + static_cast<std::size_t>(in.gcount()));
    RequireAtMost(name, bytes.size(), most);
  }
  if (in.bad()) throw InputFailure(name, "cannot be read" + LastReason());
  return bytes;
}

FileHead ReadHead(const std::string& name, std::size_t count) {
  std::ifstream in = OpenForReading(name);
  FileHead head;
  head.first.resize(count);
  in.read(head.first.data(), static_cast<std::streamsize>(count));
  head.first.resize(static_cast<std::size_t>(in.gcount()));
  head.size = std::max<std::uintmax_t>(SizeOf(name), head.first.size());
  return head;
}

void WriteFile(const std::string& name, std::string_view content) {
  const base::WriteOutcome outcome = base::WriteFile(name, {BytesOf(content)});
  if (outcome.result != base::WriteResult::kWritten) throw WriteFailure(name, outcome.reason);
}

void WriteFile(const std::string& name, const base::Content& content) {
  const base::WriteOutcome outcome = base::WriteFile(name, content);
  if (outcome.result != base::WriteResult::kWritten) throw WriteFailure(name, outcome.reason);
}

void MakeFolder(const fs::path& folder, const std::string& name) {
  std::error_code reason;
  fs::create_directories(folder, reason);
  std::error_code ignored;
  if (fs::is_directory(folder, ignored)) return;
  if (fs::exists(folder, ignored)) throw OutputFailure(name, "is a file, expected a folder");
  throw OutputFailure(name, "cannot be made" + (reason ? ": " + reason.message() : std::string()));
}

void MakeFolder(const std::string& name) { MakeFolder(PathOf(name), name); }

void WriteByName(const std::string& name, const std::function<bool(const std::string&)>& write) {
  std::error_code reason;
  const base::WriteOutcome outcome = base::WriteByName(name, [&](const std::string& temporary) {
    if (write(temporary)) return true;
    static_cast<void>(TakeLibraryError());
    // A device under its own name must not get the trial's bytes.
    if (temporary != name) reason = ReasonAgainstWriting(temporary);
    return false;
  });
  if (outcome.result == base::WriteResult::kWritten) return;
  if (outcome.reason) reason = outcome.reason;
  if (!reason && !HasPictureFormat(name)) throw OutputFailure(name, UnknownFormat(name));
  throw WriteFailure(name, reason);
}

void RequirePictureFormat(ExitCode exit, const std::string& name) {
  if (!name.empty() && !HasPictureFormat(name)) {
    throw Failure(exit, name + ": " + UnknownFormat(name));
  }
}

void WritePicture(const std::string& name, const cv::Mat& picture) {
  RequirePictureFormat(ExitCode::kUsage, name);
  std::vector<unsigned char> bytes;
  bool encoded = false;
  try {
    const Hushed hushed;
    encoded = cv::imencode(ExtensionOf(name), picture, bytes);
  } catch (const cv::Exception&) {
    encoded = false;
  }
  if (!encoded) {
    throw UsageFailure(name + ": a picture of " + std::to_string(picture.cols) + " x " +
                       std::to_string(picture.rows) + " pixels does not fit the format " +
                       ExtensionOf(name));
  }
  WriteFile(name, std::string(bytes.begin(), bytes.end()));
}

cv::Mat DecodePicture(const std::string& name, std::string_view bytes) {
  cv::Mat picture;
  if (!bytes.empty() && bytes.size() <= static_cast<std::size_t>(INT32_MAX)) {
    try {
      const Hushed hushed;
      // OpenCV wants a matrix of its own kind; the decoder only reads it.
      cv::Mat stored(1, static_cast<int>(bytes.size()), CV_8UC1);
      std::memcpy(stored.data, bytes.data(), bytes.size());
      picture = cv::imdecode(stored, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception&) {
      picture.release();
    }
  }
  if (picture.empty()) throw InputFailure(name, "is no picture that can be decoded, or is damaged");
  return picture;
}

}  // namespace dravix::tool

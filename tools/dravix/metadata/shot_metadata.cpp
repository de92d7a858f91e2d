// The library reads a whole file. Here it is given the same file without its pixels, as a file that
// was saved with an empty image, so that the groups are read by the library all the same.
#include "metadata/shot_metadata.h"

#include <dravix/dravix.h>

#include <cstdint>
#include <fstream>

#include "files/files.h"
#include "stored/stored_content.h"
#include "stored/stored_record.h"
#include "terminal/failure.h"
#include "terminal/library_log.h"
#include "terminal/library_result.h"

namespace dravix::tool {
namespace {

constexpr std::size_t kFront = kRecordsBegin + 4;  // mark, version, plane type
constexpr std::size_t kRecordHeader = 16;          // all zeros for an empty matrix
/// The groups take less than 400 bytes. Tags without a meaning may stand between them.
constexpr std::size_t kMostOfGroups = 1 << 16;

/// Up to `count` bytes from that offset on.
std::string BytesAt(std::ifstream& file, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(bytes.data(), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

}  // namespace

ShotHead LoadShotHead(const std::string& name) {
  if (!HasExtension(name, ".shot")) {
    throw InputFailure(name, "has the wrong extension, " + ExpectedExtension(name, ".shot"));
  }
  static_cast<void>(ReadHead(name, 1));  // says why it cannot be opened
  RequireContent(name, StoredKind::kShot);
  std::ifstream file(PathOf(name), std::ios::binary);
  const auto image = RecordAt(file, kFront);
  if (!image) throw InputFailure(name, "holds no picture, or a damaged one");
  const std::string bytes = BytesAt(file, 0, kFront) + std::string(kRecordHeader, '\0') +
                            BytesAt(file, image->end, kMostOfGroups);
  ShotHead head{{}, image->size, CV_MAKETYPE(image->depth, image->channels)};
  const std::int32_t code = head.shot.FromBuffer(bytes.data(), bytes.size());
  if (code != DRAVIX_OK) {
    static_cast<void>(TakeLibraryError());
    throw InputFailure(name, CodeText(code));
  }
  return head;
}

Shot LoadShotMetadata(const std::string& name) { return LoadShotHead(name).shot; }

}  // namespace dravix::tool

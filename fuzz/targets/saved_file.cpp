// Saving over whatever the name stands for: each step makes a file, link, folder or nothing there,
// and then saves, or lets a save break off.
#include <filesystem>

#include "base/files.h"
#include "base/paths.h"
#include "fuzz/scratch.h"
#include "fuzz/target.h"

namespace dravix::fuzz {

namespace fs = std::filesystem;

namespace {

enum class Before { kNothing, kFile, kLink, kDangling, kCircle, kFolder, kNoFolder, kDevice };

const std::string kOld = "the old content";

/// Makes what stands under the name that is returned.
std::string Make(Before before, const fs::path& folder) {
  fs::remove_all(folder);
  fs::create_directory(folder);
  const std::string name = (folder / "file.bin").string();
  const fs::path other = folder / "other.bin";
  switch (before) {
    case Before::kFile:
      ScratchFile("saved/file.bin", base::ViewOf(kOld));
      break;
    case Before::kLink:
      ScratchFile("saved/other.bin", base::ViewOf(kOld));
      fs::create_symlink("other.bin", name);
      break;
    case Before::kDangling:
      fs::create_symlink(other, name);
      break;
    case Before::kCircle:
      fs::create_symlink(name, other);
      fs::create_symlink(other, name);
      break;
    case Before::kFolder:
      fs::create_directory(name);
      break;
    case Before::kNoFolder:
      return (folder / "none" / "file.bin").string();
    case Before::kDevice:
      return "/dev/null";
    case Before::kNothing:
      break;
  }
  return name;
}

bool CanBeSaved(Before before) {
  return before != Before::kCircle && before != Before::kFolder && before != Before::kNoFolder;
}

std::size_t FilesIn(const fs::path& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

FUZZ_TARGET(saved_file, input) {
#ifdef _WIN32
  constexpr unsigned kKinds = 2;  // links ask for rights there, and devices have other names
#else
  constexpr unsigned kKinds = 8;
#endif
  const fs::path folder = ScratchName("saved");
  for (int steps = 0; steps < 16 && !input.Empty(); ++steps) {
    const unsigned choice = input.Take<std::uint8_t>();
    const auto before = static_cast<Before>(choice % kKinds);
    const bool byName = (choice & 0x40U) != 0;
    const bool breaksOff = byName && (choice & 0x80U) != 0;
    const std::string name = Make(before, folder);
    const std::size_t filesBefore = FilesIn(folder);
    const base::ByteView one = input.TakePiece();
    const base::ByteView two = input.TakePiece();
    const auto write = [&](const std::string& given) {
      return !breaksOff && base::WriteFile(given, {one, two}).result == base::WriteResult::kWritten;
    };
    const base::WriteOutcome outcome =
        byName ? base::WriteByName(name, write) : base::WriteFile(name, {one, two});
    const bool saved = outcome.result == base::WriteResult::kWritten;
    Require(saved == (CanBeSaved(before) && !breaksOff), "what can be saved is saved");
    if (before == Before::kDevice) continue;
    const bool isNew = saved && (before == Before::kNothing || before == Before::kDangling);
    Require(FilesIn(folder) == filesBefore + (isNew ? 1 : 0), "nothing is left behind");
    if (saved) {
      Require(ContentOf(name) == Text(one) + Text(two), "all of it is there");
    } else if (before == Before::kFile || before == Before::kLink) {
      Require(ContentOf(name) == kOld, "the old content stays");
    }
  }
}

}  // namespace dravix::fuzz

#include "batch/jobs/append_file.h"

#include <chrono>
#include <fstream>
#include <thread>

#include "base/write_signals.h"

namespace dravix::tool {

AppendFile::Opened AppendFile::Open(const std::filesystem::path& path) {
  constexpr auto kPatience = std::chrono::seconds(2);
  constexpr auto kPause = std::chrono::milliseconds(20);
  const auto end = std::chrono::steady_clock::now() + kPatience;
  Opened opened = TryOpen(path);
  while (opened == Opened::kInUse && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kPause);
    opened = TryOpen(path);
  }
  if (opened != Opened::kYes) return opened;
  path_ = path;
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (in && in.tellg() > 0) {
    in.seekg(-1, std::ios::end);
    isTorn_ = in.get() != '\n';
  }
  return opened;
}

std::string AppendFile::Content(std::uintmax_t most) const {
  std::ifstream in(path_, std::ios::binary);
  std::string content;
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  while (in && content.size() < most) {
    const std::size_t before = content.size();
    content.resize(before + kPiece);
    in.read(content.data() + before, static_cast<std::streamsize>(kPiece));
    content.resize(before + static_cast<std::size_t>(in.gcount()));
  }
  return content;
}

std::error_code AppendFile::Add(std::string_view line) {
  const base::HoldWriteSignals hold;
  // One call writes all of it, so that only a full disk can cut it.
  const std::error_code reason = Write(isTorn_ ? "\n" + std::string(line) : std::string(line));
  isTorn_ = static_cast<bool>(reason);
  return reason;
}

}  // namespace dravix::tool

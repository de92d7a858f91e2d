#include "batch/workers/worker_process.h"

#include <algorithm>
#include <array>

namespace dravix::tool {

bool WorkerProcess::Fill() {
  constexpr std::size_t kPiece = std::size_t{1} << 16;
  std::array<char, kPiece> piece;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by Read
  const std::size_t count = Read(piece.data(), piece.size());
  received_.append(piece.data(), count);
  return count > 0;
}

std::optional<std::string> WorkerProcess::ReceiveLine() {
  std::size_t searched = 0;
  while (true) {
    const auto end = received_.find('\n', searched);
    if (end != std::string::npos) {
      std::string line = received_.substr(0, end);
      received_.erase(0, end + 1);
      return line;
    }
    searched = received_.size();
    if (!Fill()) return std::nullopt;
  }
}

std::optional<std::string> WorkerProcess::Receive(std::size_t count) {
  std::string bytes = received_.substr(0, count);
  received_.erase(0, bytes.size());
  std::size_t filled = bytes.size();
  bytes.resize(count);
  while (filled < count) {
    const std::size_t read = Read(bytes.data() + filled, count - filled);
    if (read == 0) return std::nullopt;
    filled += read;
  }
  return bytes;
}

}  // namespace dravix::tool

#include "files/sha256.h"

#include <fstream>
#include <system_error>
#include <vector>

#include "files/files.h"

namespace dravix::tool {

std::string Sha256::Digits() {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned byte : Finish()) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  return text;
}

std::string Sha256Of(std::string_view bytes) {
  Sha256 hash;
  hash.Add(bytes);
  return hash.Digits();
}

std::optional<std::string> Sha256OfFile(const std::string& name) {
  const std::filesystem::path path = PathOf(name);
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  std::ifstream in(path, std::ios::binary);
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  std::vector<char> piece(kPiece);
  Sha256 hash;
  while (in) {
    in.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    hash.Add({piece.data(), static_cast<std::size_t>(in.gcount())});
  }
  if (!in.eof()) return std::nullopt;
  return hash.Digits();
}

}  // namespace dravix::tool

#ifndef NOMINMAX
#define NOMINMAX
#endif
// bcrypt.h uses types of windows.h.
// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

#include <algorithm>
#include <stdexcept>

#include "files/sha256.h"

namespace dravix::tool {
namespace {

void Require(NTSTATUS status) {
  if (status < 0) throw std::runtime_error("Windows cannot compute SHA-256");
}

/// The provider of the algorithm, which is dear to open and may be used by all threads.
BCRYPT_ALG_HANDLE Provider() {
  static const BCRYPT_ALG_HANDLE provider = [] {
    BCRYPT_ALG_HANDLE opened = nullptr;
    Require(BCryptOpenAlgorithmProvider(&opened, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
    return opened;
  }();
  return provider;
}

}  // namespace

struct Sha256::State {
  BCRYPT_HASH_HANDLE hash = nullptr;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  Require(BCryptCreateHash(Provider(), &state_->hash, nullptr, 0, nullptr, 0, 0));
}

Sha256::~Sha256() { BCryptDestroyHash(state_->hash); }

void Sha256::Add(std::string_view bytes) {
  constexpr std::size_t kMost = std::size_t{1} << 30;  // a call takes its size in 32 bits
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, std::min(kMost, bytes.size()));
    // The function only reads, although its parameter does not say so.
    auto* data = reinterpret_cast<unsigned char*>(const_cast<char*>(piece.data()));
    Require(BCryptHashData(state_->hash, data, static_cast<ULONG>(piece.size()), 0));
    bytes.remove_prefix(piece.size());
  }
}

std::array<unsigned char, Sha256::kBytes> Sha256::Finish() {
  std::array<unsigned char, kBytes> digest{};
  Require(BCryptFinishHash(state_->hash, digest.data(), static_cast<ULONG>(digest.size()), 0));
  return digest;
}

}  // namespace dravix::tool

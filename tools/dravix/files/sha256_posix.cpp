#include <openssl/evp.h>

#include <new>
#include <stdexcept>

#include "files/sha256.h"

namespace dravix::tool {
namespace {

void Require(bool done) {
  if (!done) throw std::runtime_error("OpenSSL cannot compute SHA-256");
}

}  // namespace

struct Sha256::State {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  if (state_->context == nullptr) throw std::bad_alloc();
  Require(EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr) == 1);
}

Sha256::~Sha256() { EVP_MD_CTX_free(state_->context); }

void Sha256::Add(std::string_view bytes) {
  Require(EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1);
}

std::array<unsigned char, Sha256::kBytes> Sha256::Finish() {
  std::array<unsigned char, kBytes> digest{};
  Require(EVP_DigestFinal_ex(state_->context, digest.data(), nullptr) == 1);
  return digest;
}

}  // namespace dravix::tool

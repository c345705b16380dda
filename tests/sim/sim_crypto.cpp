#include "sim_crypto.h"

#include <atomic>

#include <openssl/evp.h>

#include "platform/crypto.h"
#include "sim_core.h"

namespace sim {
namespace {

std::atomic<bool> sha256Fails{false};

const bool registered = OnReset([] { sha256Fails = false; });

}  // namespace

void SetSha256Fails(bool fails) { sha256Fails = fails; }

}  // namespace sim

namespace platform {

std::optional<Sha256Digest> ComputeSha256(std::string_view bytes) {
  if (sim::sha256Fails) return std::nullopt;
  Sha256Digest digest{};
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1 ||
      length != digest.size()) {
    return std::nullopt;
  }
  return digest;
}

}  // namespace platform

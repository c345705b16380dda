// The crypto seam: SHA-256 through BCrypt's provider.
#include <windows.h>

#include <bcrypt.h>

#include <algorithm>
#include <vector>

#include "platform/crypto.h"
#include "platform/owners.h"

namespace {

void CloseAlgorithm(BCRYPT_ALG_HANDLE algorithm) { BCryptCloseAlgorithmProvider(algorithm, 0); }
void DestroyHash(BCRYPT_HASH_HANDLE hash) { BCryptDestroyHash(hash); }

using UniqueAlgorithm = UniqueHandle<platform::ClosingTraits<BCRYPT_ALG_HANDLE, &CloseAlgorithm>>;
using UniqueHash = UniqueHandle<platform::ClosingTraits<BCRYPT_HASH_HANDLE, &DestroyHash>>;

// Every status other than zero counts as failure, warnings included.
bool Succeeded(NTSTATUS status) { return status == 0; }

bool ReadLengthProperty(BCRYPT_ALG_HANDLE algorithm, LPCWSTR property, DWORD& value) {
  ULONG written = 0;
  return Succeeded(BCryptGetProperty(algorithm, property, reinterpret_cast<PUCHAR>(&value),
                                     sizeof(value), &written, 0));
}

}  // namespace

namespace platform {

std::optional<Sha256Digest> ComputeSha256(std::string_view bytes) {
  BCRYPT_ALG_HANDLE rawAlgorithm = nullptr;
  if (!Succeeded(BCryptOpenAlgorithmProvider(&rawAlgorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
    return std::nullopt;
  }
  const UniqueAlgorithm algorithm(rawAlgorithm);

  DWORD objectLength = 0;
  DWORD digestLength = 0;
  if (!ReadLengthProperty(algorithm.get(), BCRYPT_OBJECT_LENGTH, objectLength) ||
      !ReadLengthProperty(algorithm.get(), BCRYPT_HASH_LENGTH, digestLength)) {
    return std::nullopt;
  }

  // Declared before the hash so that the hash is destroyed while its object still exists.
  std::vector<UCHAR> hashObject(objectLength);
  std::vector<UCHAR> digest(digestLength);

  BCRYPT_HASH_HANDLE rawHash = nullptr;
  if (!Succeeded(BCryptCreateHash(algorithm.get(), &rawHash, hashObject.data(), objectLength,
                                  nullptr, 0, 0))) {
    return std::nullopt;
  }
  const UniqueHash hash(rawHash);

  // BCryptHashData takes a ULONG length, so longer input goes in pieces.
  const char* next = bytes.data();
  size_t remaining = bytes.size();
  do {
    const ULONG piece = static_cast<ULONG>(std::min<size_t>(remaining, 0x40000000));
    // The buffer is only read; the interface just isn't declared const.
    if (!Succeeded(BCryptHashData(hash.get(), reinterpret_cast<PUCHAR>(const_cast<char*>(next)),
                                  piece, 0))) {
      return std::nullopt;
    }
    next += piece;
    remaining -= piece;
  } while (remaining > 0);

  if (!Succeeded(BCryptFinishHash(hash.get(), digest.data(), digestLength, 0))) {
    return std::nullopt;
  }

  Sha256Digest result{};
  if (digest.size() != result.size()) return std::nullopt;
  std::copy(digest.begin(), digest.end(), result.begin());
  return result;
}

}  // namespace platform

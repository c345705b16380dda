// SHA-256 of a byte string: BCrypt on Windows (win32/crypto.cpp), libcrypto on the host.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

using Sha256Digest = std::array<std::uint8_t, 32>;

// nullopt when the provider fails at any step.
std::optional<Sha256Digest> ComputeSha256(std::string_view bytes);

}  // namespace platform

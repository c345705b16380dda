// SHA-256 as the password store hashes with it: the published test vectors, and bytes that
// hold zeros, which count by length and never end the input.
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "platform/crypto.h"

namespace {

std::string Hex(const std::optional<platform::Sha256Digest>& digest) {
  if (!digest) return "<none>";
  std::string text;
  char byte[3];
  for (const auto b : *digest) {
    std::snprintf(byte, sizeof(byte), "%02x", b);
    text += byte;
  }
  return text;
}

TEST(ComputeSha256, GivesThePublishedDigests) {
  EXPECT_EQ(Hex(platform::ComputeSha256("")),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Hex(platform::ComputeSha256("abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(
      Hex(platform::ComputeSha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
      "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(Hex(platform::ComputeSha256(std::string(1000000, 'a'))),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(ComputeSha256, CountsZeroBytesByLength) {
  const std::optional<platform::Sha256Digest> one =
      platform::ComputeSha256(std::string_view("\0", 1));
  const std::optional<platform::Sha256Digest> none = platform::ComputeSha256("");
  EXPECT_EQ(Hex(one), "6e340b9cffb37a989ca544e6bb780a2c78901d3fb33738768511a30617afa01d");
  EXPECT_NE(Hex(one), Hex(none));
  EXPECT_NE(Hex(platform::ComputeSha256(std::string_view("a\0b", 3))),
            Hex(platform::ComputeSha256("a")));
}

}  // namespace

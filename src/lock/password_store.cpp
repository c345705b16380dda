#include "lock/password_store.h"

#include <cstdint>
#include <string>

#include "app/command_line.h"
#include "app/data_paths.h"
#include "app/files.h"
#include "base/text.h"
#include "platform/crypto.h"

namespace {

// SHA-256 of random bytes that were thrown away: no password is known to match it.
constexpr std::u16string_view kBuiltInUninstallDigest =
    u"7bd008b72318f6b83b4d87a178c6d17b58d02b496a759bb7ba1f35d73658dde8";

constexpr std::u16string_view kVerifyOption = u"--verify-uninstall-password";

std::u16string Needle(std::u16string_view key) {
  std::u16string needle;
  needle.reserve(key.size() + 2);
  needle += u'"';
  needle += key;
  needle += u'"';
  return needle;
}

// Where the value of `key` may start: just after the first colon past the key's first
// occurrence, or npos. A key that ends the text has no colon after it, so no value either.
size_t ValueStart(std::u16string_view text, std::u16string_view key) {
  const std::u16string needle = Needle(key);
  const size_t at = text.find(needle);
  if (at == std::u16string_view::npos) return std::u16string_view::npos;
  const size_t colon = text.find(u':', at + needle.size());
  if (colon == std::u16string_view::npos) return std::u16string_view::npos;
  return colon + 1;
}

bool IsJsonBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

// _wcsicmp works on zero-terminated text, so a value read from a file stops at its first NUL.
std::u16string_view UpToFirstNul(std::u16string_view text) {
  return text.substr(0, text.find(u'\0'));
}

}  // namespace

std::u16string ReadUtf8File(const std::u16string& path) {
  const auto bytes = ReadFileShared(path);
  if (!bytes) return {};
  std::string_view content = *bytes;
  if (content.size() >= 3 && static_cast<unsigned char>(content[0]) == 0xEF &&
      static_cast<unsigned char>(content[1]) == 0xBB &&
      static_cast<unsigned char>(content[2]) == 0xBF) {
    content.remove_prefix(3);
  }
  if (content.empty()) return {};
  return Utf8ToWide(content);
}

bool ReadJsonBool(std::u16string_view text, std::u16string_view key, bool defaultValue) {
  size_t pos = ValueStart(text, key);
  if (pos == std::u16string_view::npos) return defaultValue;
  while (pos < text.size() && IsJsonBlank(text[pos])) ++pos;
  if (pos >= text.size()) return defaultValue;
  // The writers only ever put a bare true or false here, so four characters settle it.
  return text.substr(pos, 4) == u"true";
}

std::u16string ReadJsonString(std::u16string_view text, std::u16string_view key) {
  const size_t pos = ValueStart(text, key);
  if (pos == std::u16string_view::npos) return {};
  const size_t open = text.find(u'"', pos);
  if (open == std::u16string_view::npos) return {};
  const size_t close = text.find(u'"', open + 1);
  if (close == std::u16string_view::npos) return {};
  return std::u16string(text.substr(open + 1, close - open - 1));
}

bool IsPseudoLockLocked() {
  return ReadJsonBool(ReadUtf8File(GetPseudoLockPath()), u"locked", true);
}

std::u16string ReadLockPasswordHash() {
  return ReadJsonString(ReadUtf8File(GetPseudoLockPath()), u"passwordHash");
}

std::u16string ReadUninstallPasswordHash() {
  std::u16string hash = ReadJsonString(ReadUtf8File(GetUninstallAuthPath()), u"passwordHash");
  if (!hash.empty()) return hash;
  hash = ReadLockPasswordHash();
  if (!hash.empty()) return hash;
  return std::u16string(kBuiltInUninstallDigest);
}

void WritePseudoLockState(bool locked) {
  try {
    const std::u16string path = GetPseudoLockPath();
    const std::u16string hash = ReadLockPasswordHash();
    // Written as it stands, without escaping: the reader has no escapes either.
    std::string line = "{\"locked\":";
    line += locked ? "true" : "false";
    line += ",\"passwordHash\":\"";
    line += WideToUtf8(hash);
    line += "\"}";
    // A file that can't be opened keeps what it had; the lock has no one to tell.
    ReplaceFileShared(path, line);
  } catch (...) {
  }
}

std::u16string Sha256Hex(std::u16string_view text) {
  // Text that isn't valid UTF-16 converts to nothing and so hashes as the empty input.
  const auto digest = platform::ComputeSha256(WideToUtf8(text));
  if (!digest) return {};
  constexpr char16_t kHexDigits[] = u"0123456789abcdef";
  std::u16string hex;
  hex.reserve(digest->size() * 2);
  for (const std::uint8_t byte : *digest) {
    hex += kHexDigits[byte >> 4];
    hex += kHexDigits[byte & 0x0F];
  }
  return hex;
}

int VerifyUninstallPassword() {
  const std::u16string password = GetCommandLineOption(kVerifyOption);
  if (password.empty()) return 2;
  const std::u16string stored = ReadUninstallPasswordHash();
  const std::u16string computed = Sha256Hex(password);
  if (stored.empty() || computed.empty()) return 3;
  // Digests are written in either letter case by the tools that store them.
  return EqualsFolded(UpToFirstNul(stored), UpToFirstNul(computed)) ? 0 : 1;
}

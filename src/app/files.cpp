#include "app/files.h"

#include <algorithm>

#include "platform/kernel.h"
#include "platform/owners.h"

namespace {

using platform::UniqueKernelHandle;

constexpr std::uint32_t kShareReadWrite = platform::kFileShareRead | platform::kFileShareWrite;
constexpr std::size_t kChunk = std::size_t{1} << 20;

UniqueKernelHandle Open(std::u16string_view path, std::uint32_t access, std::uint32_t disposition) {
  return UniqueKernelHandle(platform::CreateFileW(path, access, kShareReadWrite, disposition,
                                                  platform::kFileAttributeNormal));
}

bool WriteAll(platform::KernelHandle file, std::string_view bytes) {
  while (!bytes.empty()) {
    std::uint32_t written = 0;
    const auto chunk = static_cast<std::uint32_t>(std::min(bytes.size(), kChunk));
    if (!platform::WriteFile(file, bytes.data(), chunk, &written) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

}  // namespace

bool AppendFileShared(std::u16string_view path, std::string_view bytes) {
  // Append access alone makes every write land at the end.
  const UniqueKernelHandle file = Open(path, platform::kFileAppendData, platform::kOpenAlways);
  return file && WriteAll(file.get(), bytes);
}

std::optional<std::string> ReadFileShared(std::u16string_view path) {
  const UniqueKernelHandle file = Open(path, platform::kGenericRead, platform::kOpenExisting);
  if (!file) return std::nullopt;
  std::string content;
  std::string buffer(64 * 1024, '\0');
  std::uint32_t read = 0;
  while (platform::ReadFile(file.get(), buffer.data(), static_cast<std::uint32_t>(buffer.size()),
                            &read) &&
         read > 0) {
    content.append(buffer, 0, read);
  }
  return content;
}

bool ReplaceFileShared(std::u16string_view path, std::string_view bytes) {
  const UniqueKernelHandle file = Open(path, platform::kGenericWrite, platform::kCreateAlways);
  return file && WriteAll(file.get(), bytes);
}

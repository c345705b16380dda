#include <windows.h>
#include <shlobj.h>

#include <algorithm>

#include "platform/files.h"
#include "platform/win32_handles.h"
#include "platform/win32_text.h"

namespace {

constexpr DWORD kShareReadWrite = FILE_SHARE_READ | FILE_SHARE_WRITE;

UniqueKernelHandle Open(const std::u16string& path, DWORD access, DWORD disposition) {
  return UniqueKernelHandle(::CreateFileW(AsWide(path).c_str(), access, kShareReadWrite, nullptr,
                                          disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool WriteAll(HANDLE file, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const DWORD chunk = static_cast<DWORD>(std::min<size_t>(bytes.size(), 1u << 20));
    if (!::WriteFile(file, bytes.data(), chunk, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

}  // namespace

namespace platform {

std::optional<std::u16string> SHGetFolderPathW(int csidl) {
  wchar_t path[MAX_PATH] = {};
  if (FAILED(::SHGetFolderPathW(nullptr, csidl, nullptr, 0, path))) return std::nullopt;
  return FromWide(path);
}

bool CreateDirectoryW(const std::u16string& path) {
  return ::CreateDirectoryW(AsWide(path).c_str(), nullptr) != 0;
}

bool AppendFileShared(const std::u16string& path, std::string_view bytes) {
  // FILE_APPEND_DATA alone makes every write land at the end, whoever else appends meanwhile.
  UniqueKernelHandle file = Open(path, FILE_APPEND_DATA, OPEN_ALWAYS);
  return file && WriteAll(file.get(), bytes);
}

std::optional<std::string> ReadFileShared(const std::u16string& path) {
  UniqueKernelHandle file = Open(path, GENERIC_READ, OPEN_EXISTING);
  if (!file) return std::nullopt;
  std::string content;
  char buffer[64 * 1024];
  DWORD read = 0;
  while (::ReadFile(file.get(), buffer, sizeof(buffer), &read, nullptr) && read > 0)
    content.append(buffer, read);
  return content;
}

bool ReplaceFileShared(const std::u16string& path, std::string_view bytes) {
  UniqueKernelHandle file = Open(path, GENERIC_WRITE, CREATE_ALWAYS);
  return file && WriteAll(file.get(), bytes);
}

}  // namespace platform

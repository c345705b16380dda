// The kernel seam over kernel32, advapi32 (the process token) and the C runtime (the console's
// streams).
#include <windows.h>

#include <sddl.h>

#include <cstdio>
#include <cwchar>
#include <io.h>
#include <ios>
#include <memory>
#include <string>
#include <vector>

#include "platform/kernel.h"
#include "platform/win32/text.h"

namespace platform {

namespace {

HANDLE AsHandle(KernelHandle handle) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(handle));
}

KernelHandle FromHandle(HANDLE handle) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return KernelHandle{};
  return static_cast<KernelHandle>(reinterpret_cast<std::uintptr_t>(handle));
}

// The thread owns its start and frees it at its end.
DWORD WINAPI RunThread(LPVOID parameter) {
  const std::unique_ptr<std::function<void()>> start(
      static_cast<std::function<void()>*>(parameter));
  (*start)();
  return 0;
}

}  // namespace

unsigned long GetLastError() { return ::GetLastError(); }

void SetLastError(unsigned long error) { ::SetLastError(error); }

bool CloseHandle(KernelHandle handle) { return ::CloseHandle(AsHandle(handle)) != FALSE; }

KernelHandle CreateMutexW(std::u16string_view name) {
  return FromHandle(::CreateMutexW(nullptr, TRUE, AsWide(name).c_str()));
}

KernelHandle CreateThread(std::function<void()> start) {
  auto block = std::make_unique<std::function<void()>>(std::move(start));
  const HANDLE thread = ::CreateThread(nullptr, 0, RunThread, block.get(), 0, nullptr);
  if (!thread) return KernelHandle{};
  block.release();
  return FromHandle(thread);
}

std::uint32_t GetCurrentProcessId() { return ::GetCurrentProcessId(); }

std::uint32_t GetCurrentThreadId() { return ::GetCurrentThreadId(); }

// The pseudo handle is INVALID_HANDLE_VALUE's number, so it is passed on as it is.
KernelHandle GetCurrentProcess() {
  return static_cast<KernelHandle>(reinterpret_cast<std::uintptr_t>(::GetCurrentProcess()));
}

LocalTime GetLocalTime() {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond};
}

std::uint64_t GetSystemTimeAsFileTime() {
  FILETIME now = {};
  ::GetSystemTimeAsFileTime(&now);
  return (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

std::uint32_t GetTickCount() { return ::GetTickCount(); }

void Sleep(unsigned milliseconds) { ::Sleep(milliseconds); }

bool ProcessIdToSessionId(std::uint32_t processId, std::uint32_t* sessionId) {
  DWORD session = 0;
  if (!::ProcessIdToSessionId(processId, &session)) return false;
  if (sessionId) *sessionId = session;
  return true;
}

KernelHandle OpenProcess(std::uint32_t access, bool inheritHandle, std::uint32_t processId) {
  return FromHandle(::OpenProcess(access, inheritHandle ? TRUE : FALSE, processId));
}

bool QueryFullProcessImageNameW(KernelHandle process, std::uint32_t flags, char16_t* buffer,
                                std::uint32_t* size) {
  DWORD length = *size;
  if (!::QueryFullProcessImageNameW(AsHandle(process), flags, AsWideBuffer(buffer), &length)) {
    return false;
  }
  *size = length;
  return true;
}

std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size) {
  return ::GetWindowsDirectoryW(AsWideBuffer(buffer), size);
}

void ExitProcess(unsigned exitCode) { ::ExitProcess(exitCode); }

bool OpenProcessToken(KernelHandle process, std::uint32_t desiredAccess, KernelHandle* token) {
  HANDLE opened = nullptr;
  if (!::OpenProcessToken(AsHandle(process), desiredAccess, &opened)) return false;
  *token = FromHandle(opened);
  return true;
}

bool GetTokenGroups(KernelHandle token, std::vector<TokenGroup>* groups) {
  DWORD size = 0;
  ::GetTokenInformation(AsHandle(token), TokenGroups, nullptr, 0, &size);
  if (size == 0) return false;
  // DWORD-aligned storage for the structure that heads the buffer.
  std::vector<DWORD> buffer((size + sizeof(DWORD) - 1) / sizeof(DWORD));
  if (!::GetTokenInformation(AsHandle(token), TokenGroups, buffer.data(), size, &size)) {
    return false;
  }
  const auto* list = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
  groups->clear();
  for (DWORD i = 0; i < list->GroupCount; ++i) {
    wchar_t* text = nullptr;
    if (!::ConvertSidToStringSidW(list->Groups[i].Sid, &text)) return false;
    groups->push_back({FromWide(text), static_cast<std::uint32_t>(list->Groups[i].Attributes)});
    ::LocalFree(text);
  }
  return true;
}

bool LookupPrivilegeValueW(std::u16string_view name, Luid* luid) {
  LUID value = {};
  if (!::LookupPrivilegeValueW(nullptr, AsWide(name).c_str(), &value)) return false;
  *luid = {value.LowPart, value.HighPart};
  return true;
}

bool AdjustTokenPrivileges(KernelHandle token, const Luid& privilege, std::uint32_t attributes) {
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Luid.LowPart = privilege.lowPart;
  privileges.Privileges[0].Luid.HighPart = privilege.highPart;
  privileges.Privileges[0].Attributes = attributes;
  return ::AdjustTokenPrivileges(AsHandle(token), FALSE, &privileges, 0, nullptr, nullptr) != FALSE;
}

ModuleHandle GetModuleHandleW(const char16_t* name) {
  return ::GetModuleHandleW(reinterpret_cast<const wchar_t*>(name));
}

ModuleHandle LoadLibraryA(const char* name) { return ::LoadLibraryA(name); }

void* GetProcAddress(ModuleHandle module, const char* name) {
  return reinterpret_cast<void*>(::GetProcAddress(module, name));
}

bool FreeLibrary(ModuleHandle module) { return ::FreeLibrary(module) != FALSE; }

KernelHandle CreateFileW(std::u16string_view name, std::uint32_t desiredAccess,
                         std::uint32_t shareMode, std::uint32_t creationDisposition,
                         std::uint32_t flagsAndAttributes) {
  return FromHandle(::CreateFileW(AsWide(name).c_str(), desiredAccess, shareMode, nullptr,
                                  creationDisposition, flagsAndAttributes, nullptr));
}

bool ReadFile(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read) {
  DWORD count = 0;
  const BOOL ok = ::ReadFile(AsHandle(file), buffer, size, &count, nullptr);
  if (read) *read = count;
  return ok != FALSE;
}

bool ReadFile(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read,
              std::uint32_t timeoutMs) {
  if (read) *read = 0;
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) return false;
  OVERLAPPED overlapped = {};
  overlapped.hEvent = event;
  DWORD count = 0;
  BOOL ok = ::ReadFile(AsHandle(file), buffer, size, nullptr, &overlapped);
  DWORD error = ok ? ERROR_SUCCESS : ::GetLastError();
  if (error == ERROR_IO_PENDING && ::WaitForSingleObject(event, timeoutMs) != WAIT_OBJECT_0) {
    ::CancelIoEx(AsHandle(file), &overlapped);
  }
  if (ok || error == ERROR_IO_PENDING || error == ERROR_MORE_DATA) {
    // Also waits for a cancel to land: the buffer and the structure must outlive the read.
    ok = ::GetOverlappedResult(AsHandle(file), &overlapped, &count, TRUE);
    error = ok ? ERROR_SUCCESS : ::GetLastError();
  }
  ::CloseHandle(event);
  if (read) *read = count;
  ::SetLastError(error);
  return ok != FALSE;
}

bool WriteFile(KernelHandle file, const void* buffer, std::uint32_t size, std::uint32_t* written) {
  DWORD count = 0;
  const BOOL ok = ::WriteFile(AsHandle(file), buffer, size, &count, nullptr);
  if (written) *written = count;
  return ok != FALSE;
}

bool CreateDirectoryW(std::u16string_view path) {
  return ::CreateDirectoryW(AsWide(path).c_str(), nullptr) != FALSE;
}

KernelHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                              std::uint32_t pipeMode, std::uint32_t maxInstances,
                              std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                              std::uint32_t defaultTimeout) {
  return FromHandle(::CreateNamedPipeW(AsWide(name).c_str(), openMode, pipeMode, maxInstances,
                                       outBufferSize, inBufferSize, defaultTimeout, nullptr));
}

KernelHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                              std::uint32_t pipeMode, std::uint32_t maxInstances,
                              std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                              std::uint32_t defaultTimeout, std::u16string_view securitySddl) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(
          AsWide(securitySddl).c_str(), SDDL_REVISION_1, &descriptor, nullptr)) {
    return {};
  }
  SECURITY_ATTRIBUTES attributes = {sizeof(attributes), descriptor, FALSE};
  const HANDLE pipe = ::CreateNamedPipeW(AsWide(name).c_str(), openMode, pipeMode, maxInstances,
                                         outBufferSize, inBufferSize, defaultTimeout, &attributes);
  const DWORD error = ::GetLastError();
  ::LocalFree(descriptor);
  ::SetLastError(error);
  return FromHandle(pipe);
}

bool ConnectNamedPipe(KernelHandle pipe) {
  // An overlapped handle needs its structure; a plain one blocks inside the call all the same.
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) return false;
  OVERLAPPED overlapped = {};
  overlapped.hEvent = event;
  BOOL ok = ::ConnectNamedPipe(AsHandle(pipe), &overlapped);
  if (!ok && ::GetLastError() == ERROR_IO_PENDING) {
    DWORD ignored = 0;
    ok = ::GetOverlappedResult(AsHandle(pipe), &overlapped, &ignored, TRUE);
  }
  const DWORD error = ::GetLastError();
  ::CloseHandle(event);
  ::SetLastError(ok ? ERROR_SUCCESS : error);
  return ok != FALSE;
}

bool FlushFileBuffers(KernelHandle file) { return ::FlushFileBuffers(AsHandle(file)) != FALSE; }

bool DisconnectNamedPipe(KernelHandle pipe) {
  return ::DisconnectNamedPipe(AsHandle(pipe)) != FALSE;
}

bool GlobalMemoryStatusEx(std::uint64_t* totalPhysical) {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof(status);
  if (!::GlobalMemoryStatusEx(&status)) return false;
  *totalPhysical = status.ullTotalPhys;
  return true;
}

std::uint32_t GetSystemFirmwareTable(std::uint32_t provider, std::uint32_t tableId, void* buffer,
                                     std::uint32_t size) {
  return ::GetSystemFirmwareTable(provider, tableId, buffer, size);
}

std::u16string GetCommandLineW() { return FromWide(::GetCommandLineW()); }

bool AttachConsole(std::uint32_t processId) { return ::AttachConsole(processId) != FALSE; }

bool AllocConsole() { return ::AllocConsole() != FALSE; }

bool IsDebuggerPresent() { return ::IsDebuggerPresent() != FALSE; }

bool ReopenStreamToConsole(StandardStream stream) {
  FILE* unused = nullptr;
  FILE* target = stream == StandardStream::kOutput ? stdout : stderr;
  return freopen_s(&unused, "CONOUT$", "w", target) == 0;
}

void DuplicateStdoutOnto(int descriptor) { _dup2(_fileno(stdout), descriptor); }

void SyncWithStdio() { std::ios::sync_with_stdio(); }

void WriteStandardOutput(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void WriteStandardOutputWide(std::u16string_view text) {
  std::fwprintf(stdout, L"%ls", AsWide(text).c_str());
}

void FlushStandardOutput() { std::fflush(stdout); }

void OutputDebugStringA(std::string_view text) { ::OutputDebugStringA(std::string(text).c_str()); }

void OutputDebugStringW(std::u16string_view text) { ::OutputDebugStringW(AsWide(text).c_str()); }

}  // namespace platform

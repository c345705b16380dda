// Kernel objects and threads: errors, handles, mutexes, threads, time, processes and their
// tokens, modules, files and pipes, the console and the debugger output. Names and values are
// Win32's; the Windows build implements them in win32/kernel.cpp, the host build in the
// simulation. Text is UTF-16 as char16_t.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handles.h"

namespace platform {

// ---- Error codes ----
inline constexpr unsigned long kErrorSuccess = 0;
inline constexpr unsigned long kErrorFileNotFound = 2;
inline constexpr unsigned long kErrorAccessDenied = 5;
inline constexpr unsigned long kErrorInvalidHandle = 6;
inline constexpr unsigned long kErrorNotEnoughMemory = 8;
inline constexpr unsigned long kErrorInvalidParameter = 87;
inline constexpr unsigned long kErrorInsufficientBuffer = 122;
inline constexpr unsigned long kErrorAlreadyExists = 183;
inline constexpr unsigned long kErrorMoreData = 234;
inline constexpr unsigned long kErrorPipeBusy = 231;
inline constexpr unsigned long kErrorNoData = 232;
inline constexpr unsigned long kErrorPipeNotConnected = 233;
inline constexpr unsigned long kErrorNoMoreItems = 259;
inline constexpr unsigned long kErrorPipeConnected = 535;
inline constexpr unsigned long kErrorOperationAborted = 995;
inline constexpr unsigned long kErrorServiceAlreadyRunning = 1056;
inline constexpr unsigned long kErrorServiceDoesNotExist = 1060;
inline constexpr unsigned long kErrorNotAllAssigned = 1300;

unsigned long GetLastError();
void SetLastError(unsigned long error);

// ---- Handles, mutexes, threads ----
bool CloseHandle(KernelHandle handle);

// CreateMutexW(no security, initially owned, name); {} on failure. A name that exists already
// opens that mutex and leaves kErrorAlreadyExists.
KernelHandle CreateMutexW(std::u16string_view name);

// CreateThread with default security and stack, running `start` at once; {} on failure. The
// thread owns `start` and frees it at its end; closing the handle does not stop the thread.
KernelHandle CreateThread(std::function<void()> start);

std::uint32_t GetCurrentProcessId();
std::uint32_t GetCurrentThreadId();
// The pseudo handle of this process.
KernelHandle GetCurrentProcess();

// ---- Time ----
struct LocalTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};
LocalTime GetLocalTime();
// FILETIME ticks: 100 ns since 1601-01-01 UTC.
std::uint64_t GetSystemTimeAsFileTime();
std::uint32_t GetTickCount();
// Blocks the calling thread; the host build moves a simulated clock instead.
void Sleep(unsigned milliseconds);

// ---- Processes ----
inline constexpr std::uint32_t kProcessQueryLimitedInformation = 0x1000;

bool ProcessIdToSessionId(std::uint32_t processId, std::uint32_t* sessionId);
KernelHandle OpenProcess(std::uint32_t access, bool inheritHandle, std::uint32_t processId);
// *size holds the buffer's capacity in units and receives the path's length.
bool QueryFullProcessImageNameW(KernelHandle process, std::uint32_t flags, char16_t* buffer,
                                std::uint32_t* size);
// Length of the directory in units, 0 on failure; the buffer's size when it is too small.
std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size);
[[noreturn]] void ExitProcess(unsigned exitCode);

// ---- Process token and privileges ----
inline constexpr std::uint32_t kTokenAdjustPrivileges = 0x20;
inline constexpr std::uint32_t kTokenQuery = 0x8;
inline constexpr std::uint32_t kSePrivilegeEnabled = 2;

struct Luid {
  std::uint32_t lowPart = 0;
  std::int32_t highPart = 0;
};
bool OpenProcessToken(KernelHandle process, std::uint32_t desiredAccess, KernelHandle* token);
// On the local system.
bool LookupPrivilegeValueW(std::u16string_view name, Luid* luid);
// One privilege, no previous state wanted. Success does not mean the privilege was assigned:
// GetLastError tells that afterwards (kErrorNotAllAssigned).
bool AdjustTokenPrivileges(KernelHandle token, const Luid& privilege, std::uint32_t attributes);

// The groups of GetTokenInformation(TokenGroups), each SID as ConvertSidToStringSidW gives it.
inline constexpr std::uint32_t kSeGroupLogonId = 0xC0000000;
struct TokenGroup {
  std::u16string sid;
  std::uint32_t attributes = 0;
};
bool GetTokenGroups(KernelHandle token, std::vector<TokenGroup>* groups);

// ---- Modules ----
// The executable's module for a null name.
ModuleHandle GetModuleHandleW(const char16_t* name);
ModuleHandle LoadLibraryA(const char* name);
void* GetProcAddress(ModuleHandle module, const char* name);
bool FreeLibrary(ModuleHandle module);

// ---- Files and pipes ----
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;
inline constexpr std::uint32_t kFileAppendData = 0x4;
inline constexpr std::uint32_t kFileShareRead = 1;
inline constexpr std::uint32_t kFileShareWrite = 2;
inline constexpr std::uint32_t kCreateAlways = 2;
inline constexpr std::uint32_t kOpenExisting = 3;
inline constexpr std::uint32_t kOpenAlways = 4;
inline constexpr std::uint32_t kFileAttributeNormal = 0x80;

inline constexpr std::uint32_t kPipeAccessInbound = 1;
inline constexpr std::uint32_t kPipeTypeMessage = 4;
inline constexpr std::uint32_t kPipeReadmodeMessage = 2;
inline constexpr std::uint32_t kPipeUnlimitedInstances = 255;
inline constexpr std::uint32_t kPipeRejectRemoteClients = 8;
inline constexpr std::uint32_t kFileFlagOverlapped = 0x40000000;

// CreateFileW(name, access, share, no security, disposition, attributes, no template); {} on
// failure.
KernelHandle CreateFileW(std::u16string_view name, std::uint32_t desiredAccess,
                         std::uint32_t shareMode, std::uint32_t creationDisposition,
                         std::uint32_t flagsAndAttributes);
bool ReadFile(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read);
// ReadFile on a handle opened with kFileFlagOverlapped, waited for at most `timeoutMs` and
// cancelled after that: false with kErrorOperationAborted then.
bool ReadFile(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read,
              std::uint32_t timeoutMs);
bool WriteFile(KernelHandle file, const void* buffer, std::uint32_t size, std::uint32_t* written);
// False for an existing directory or a missing parent.
bool CreateDirectoryW(std::u16string_view path);

// CreateNamedPipeW with default security; {} on failure.
KernelHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                              std::uint32_t pipeMode, std::uint32_t maxInstances,
                              std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                              std::uint32_t defaultTimeout);
// The same with the security of an SDDL text (ConvertStringSecurityDescriptorToSecurity-
// DescriptorW); {} with its error when the text is refused.
KernelHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                              std::uint32_t pipeMode, std::uint32_t maxInstances,
                              std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                              std::uint32_t defaultTimeout, std::u16string_view securitySddl);
// Blocks until a client comes, on an overlapped handle as well. False with kErrorPipeConnected
// when the client came before the call.
bool ConnectNamedPipe(KernelHandle pipe);
bool FlushFileBuffers(KernelHandle file);
bool DisconnectNamedPipe(KernelHandle pipe);

// ---- Memory and firmware ----
// ullTotalPhys of GlobalMemoryStatusEx.
bool GlobalMemoryStatusEx(std::uint64_t* totalPhysical);
inline constexpr std::uint32_t kFirmwareTableRsmb = 0x52534D42;  // 'RSMB'
// GetSystemFirmwareTable: the table's size in bytes, the data when `buffer` holds it; 0 on failure.
std::uint32_t GetSystemFirmwareTable(std::uint32_t provider, std::uint32_t tableId, void* buffer,
                                     std::uint32_t size);

// ---- Command line, console and debugger ----
std::u16string GetCommandLineW();

inline constexpr std::uint32_t kAttachParentProcess = 0xFFFFFFFF;
bool AttachConsole(std::uint32_t processId);
bool AllocConsole();
bool IsDebuggerPresent();
// The runtime's side of a new console: freopen_s(stream, "CONOUT$", "w"), _dup2 of stdout's
// descriptor onto another, and the C++ streams synchronised with stdio.
enum class StandardStream { kOutput, kError };
bool ReopenStreamToConsole(StandardStream stream);
void DuplicateStdoutOnto(int descriptor);
void SyncWithStdio();

// The C runtime's stdout: narrow text as printf writes it, wide text as wprintf writes it (the
// runtime converts it to the console's code page), and fflush.
void WriteStandardOutput(std::string_view text);
void WriteStandardOutputWide(std::u16string_view text);
void FlushStandardOutput();

void OutputDebugStringA(std::string_view text);
void OutputDebugStringW(std::u16string_view text);

}  // namespace platform

// The simulated kernel behind platform/kernel.h: the last error per thread, threads that run for
// real, processes with their sessions and images, time on a simulated clock, mutexes, files and
// directories, the activation pipe from both ends, the process token, modules, the console and
// the debugger output.
//
// Calls that matter for order go to sim::Journal(), for example "CreateMutexW Global\\name",
// "CreateThread", "CreateFileW <name> 0x40000000 0 3", "WriteFile SHOW", "ReadFile 64",
// "CloseHandle pipe|thread|mutex|file|process|token", "AdjustTokenPrivileges",
// "ConnectNamedPipe", "DisconnectNamedPipe". Appended lines of a file are journalled as
// "append: <line without its ending>". Failures set the error that platform::GetLastError()
// answers, on the calling thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/kernel.h"

namespace sim {

inline constexpr std::uint32_t kOwnProcessId = 100;
inline constexpr std::uint32_t kOwnThreadId = 1001;
inline constexpr std::uint32_t kOtherProcessId = 200;
inline constexpr std::uint32_t kOtherThreadId = 2001;
inline constexpr std::uint32_t kOwnSessionId = 1;

// Waits on ConnectNamedPipe and on threads never last longer than this in the simulation.
inline constexpr std::chrono::milliseconds kSimulatedWaitBound{10000};

// ---- Threads ----
// The program's first thread is kOwnThreadId; threads started through platform::CreateThread are
// numbered from 3001 in the order they start, any other thread from 5001 when it first asks.
void SetCreateThreadFails(bool fails);
// While held, started threads wait until RunPendingThreads, so that a test sees what happens
// before and after.
void SetHoldThreads(bool hold);
int PendingThreadCount();
// Runs every held thread to its end.
void RunPendingThreads();
int StartedThreads();
// Joins every started thread, including those started while it waits; false when one has not
// ended within the bound (it is left running then).
bool WaitForThreads(std::chrono::milliseconds bound = kSimulatedWaitBound);
// The calling thread's simulated id, as GetCurrentThreadId answers it.
std::uint32_t CurrentThreadId();

// ---- Processes ----
struct Process {
  std::u16string imagePath;
  bool openRefused = false;  // OpenProcess denied, as for a protected or elevated process
  bool queryFails = false;   // QueryFullProcessImageNameW fails on the handle
};
void AddProcess(std::uint32_t processId, const Process& process);
// What GetCurrentProcessId answers; kOwnProcessId until set.
void SetCurrentProcessId(std::uint32_t processId);
// A process with a window on the desktop exists, so the session lookup answers for it though no
// image was described; the desktop tells the kernel of each window's process.
void NoteWindowOwner(std::uint32_t processId);
// Sessions by process; every process is in kOwnSessionId until told otherwise. nullopt makes
// the lookup fail.
void SetSessionOf(std::uint32_t processId, std::optional<std::uint32_t> session);
// None makes GetWindowsDirectoryW fail.
void SetWindowsDirectory(std::optional<std::u16string> directory);

// ---- Time ----
void SetLocalTime(const platform::LocalTime& time);
void SetSystemTimeFileTime(std::uint64_t ticks);
void SetSystemTimeMs(std::int64_t unixMs);
void SetTickCount(std::uint32_t tick);
// Moves the system time and the tick count on together.
void AdvanceSystemTimeMs(std::int64_t milliseconds);
// platform::Sleep returns at once and moves both clocks on by the time asked for, as a real
// sleep would; the hook runs after each sleep so that a test can change the world as time
// passes.
unsigned long long SleptMilliseconds();
std::vector<unsigned> Sleeps();
void SetSleepHook(std::function<void(unsigned milliseconds)> hook);

// ---- Errors ----
// What GetLastError answers on the calling thread.
void SetLastErrorValue(unsigned long error);

// ---- Files and directories ----
// Paths compare without A-Z case; a path's parent must be an existing directory (or a drive such
// as "C:") for anything to be created under it.
bool DirectoryExists(const std::u16string& path);
void AddDirectory(const std::u16string& path);
void SetFile(const std::u16string& path, const std::string& bytes);
std::optional<std::string> GetFile(const std::u16string& path);
void RemoveFile(const std::u16string& path);
// A read-only file can be read but not opened for writing.
void SetReadOnly(const std::u16string& path, bool readOnly);
// Another process holds the file open for reading and writing, sharing both or nothing; an open
// that the share modes forbid fails with a sharing violation, as it does on Windows.
void HoldOpenByOtherProcess(const std::u16string& path, bool shares);
std::vector<std::u16string> CreatedDirectories();

// ---- Mutexes ----
// How CreateMutexW answers for names in Global\ and in every other namespace; alreadyExists
// makes every name answer as held by another process.
struct MutexBehaviour {
  bool globalFails = false;
  unsigned long globalError = platform::kErrorAccessDenied;
  bool localFails = false;
  unsigned long localError = platform::kErrorAccessDenied;
  bool alreadyExists = false;
};
void SetMutexBehaviour(const MutexBehaviour& behaviour);
int OpenMutexCount();  // created and not yet closed

// ---- The running instance's pipe, from this process's side (a client) ----
// Whether a server of the other instance waits on the pipe; without one an open fails with
// kErrorFileNotFound.
void SetPipeServerListening(bool listening);
// The next opens of a pipe fail with these errors, one each, in order (0 lets that open
// through); then SetPipeServerListening answers again.
void ScriptPipeOpens(std::vector<unsigned long> errors);
void SetPipeWritesFail(bool fail);
// The bytes each client wrote, in order.
std::vector<std::string> DeliveredRequests();

// ---- This process's pipe server ----
// The next creates fail with this error; the ones after succeed.
void FailPipeCreates(int count, unsigned long error = platform::kErrorAccessDenied);
struct IncomingClient {
  enum class Connect { kWaited, kBeforeTheWait, kFails } connect = Connect::kWaited;
  unsigned long connectError = platform::kErrorNoData;  // for kFails
  // What a read finds; nullopt makes the read fail (the client left).
  std::optional<std::string> payload = std::string("SHOW");
  // Holds its end and never writes: a timed read gives up on it, an untimed one never returns.
  bool staysSilent = false;
};
// Clients that come, one per ConnectNamedPipe, in order. ConnectNamedPipe with none waiting
// blocks, as the real call does, until one is queued or ReleaseBlockedConnect.
void QueueClient(const IncomingClient& client);
// True once a ConnectNamedPipe blocks with no client left to take, within `bound`.
bool WaitForBlockedConnect(std::chrono::milliseconds bound = kSimulatedWaitBound);
// The blocked (or the next) ConnectNamedPipe fails with kErrorOperationAborted.
void ReleaseBlockedConnect();
int ConnectTimeouts();  // blocked waits that ran into kSimulatedWaitBound

// Handles open by kind, and calls that named a kernel handle that was not open.
int OpenPipeHandles();
int OpenThreadHandles();
int OpenProcessHandles();
int InvalidHandleUses();

// ---- Token and privileges ----
// The logon SID among the token's groups, unless SetTokenGroups says otherwise.
inline constexpr char16_t kLogonSid[] = u"S-1-5-5-0-71234";
void SetTokenGroups(std::vector<platform::TokenGroup> groups);
// The account holds SeShutdownPrivilege, as a desktop user does. Held is not enabled: only
// AdjustTokenPrivileges on a token opened for adjusting enables it.
void SetAccountHoldsShutdownPrivilege(bool holds);
void SetOpenProcessTokenFails(bool fails);
void SetLookupPrivilegeValueFails(bool fails);
bool ShutdownPrivilegeEnabled();

// ---- Modules ----
// A library the process can load, with the procedures GetProcAddress finds in it. user32.dll
// offers EnableNonClientDpiScaling until told otherwise.
void SetLibraryProcedures(const std::string& library, std::vector<std::string> procedures);
void RemoveLibrary(const std::string& library);
// References taken by LoadLibraryA and not given back by FreeLibrary.
int LibraryReferences(const std::string& library);
platform::ModuleHandle ModuleHandle();  // the executable's

// ---- Memory and firmware ----
// nullopt makes GlobalMemoryStatusEx fail.
void SetTotalPhysicalMemory(std::optional<std::uint64_t> bytes);
// The table GetSystemFirmwareTable answers for this provider; none makes it fail.
void SetFirmwareTable(std::uint32_t provider, std::optional<std::vector<std::uint8_t>> table);

// ---- Command line, console, debugger ----
// What GetCommandLineW answers; CommandLineToArgvW of the shell splits it as Windows does.
void SetCommandLine(std::u16string commandLine);
void SetAttachConsoleSucceeds(bool succeeds);
void SetAllocConsoleSucceeds(bool succeeds);
void SetDebuggerPresent(bool present);
void SetReopenSucceeds(bool output, bool error);
// Debugger output in order; narrow and wide lines alike as UTF-8.
std::vector<std::string> DebugOutput();
// What went to stdout, wide text as UTF-8, and how much of it had been flushed.
std::string StandardOutput();
std::string FlushedStandardOutput();

// What ExitProcess throws here, so that a test sees the exit and nothing after it.
struct ProcessExit {
  unsigned code = 0;
};

}  // namespace sim

#include "sim_kernel.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <variant>

#include "app/product.h"
#include "base/text.h"
#include "sim_core.h"

namespace sim {
namespace {

using platform::KernelHandle;

// Win32 codes that the logic never names, so the seam does not carry them.
constexpr unsigned long kErrorPathNotFound = 3;
constexpr unsigned long kErrorSharingViolation = 32;
constexpr unsigned long kErrorBrokenPipe = 109;
constexpr unsigned long kErrorModNotFound = 126;
constexpr unsigned long kErrorProcNotFound = 127;
constexpr unsigned long kErrorNoSuchPrivilege = 1313;
constexpr unsigned long kErrorTimeout = 1460;

constexpr std::uint64_t kUnixEpochAsFileTime = 116444736000000000ULL;
constexpr std::uint64_t kFileTimePerMs = 10000;
constexpr std::uintptr_t kCurrentProcessPseudo = ~std::uintptr_t{0};
constexpr std::uint32_t kFirstStartedThreadId = 3001;
constexpr std::uint32_t kFirstForeignThreadId = 5001;
constexpr platform::Luid kShutdownLuid{19, 0};
constexpr std::u16string_view kOwnImage = u"C:\\Program Files\\KelvoTarnel\\KelvoTarnel.exe";

// ---- Files ----
struct FileEntry {
  std::string bytes;
  bool readOnly = false;
  bool heldOpen = false;
  bool heldShares = true;
};

struct FileOpen {
  std::u16string path;  // folded
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  std::size_t position = 0;
};

// ---- Pipes ----
struct PipeInstance {
  std::u16string name;           // folded
  bool clientCame = false;       // a client opened this instance since its last disconnect
  bool clientOpen = false;       // ... and still holds its end
  bool connectAnswered = false;  // ConnectNamedPipe has taken the client
  bool disconnected = false;     // the server disconnected the client it had
  bool silent = false;           // a scripted client that holds its end and never writes
  std::deque<std::string> messages;
};

struct ServerPipe {
  std::shared_ptr<PipeInstance> instance;
};
struct ClientPipe {
  std::shared_ptr<PipeInstance> instance;  // null for the running instance's scripted server
};

struct MutexOpen {
  std::u16string name;
};
struct ThreadOpen {};
struct ProcessOpen {
  std::uint32_t processId = 0;
};
struct TokenOpen {
  std::uint32_t access = 0;
};

using HandleEntry =
    std::variant<FileOpen, ServerPipe, ClientPipe, MutexOpen, ThreadOpen, ProcessOpen, TokenOpen>;

const char* KindName(const HandleEntry& entry) {
  static constexpr const char* kNames[] = {"file",   "pipe",    "pipe", "mutex",
                                           "thread", "process", "token"};
  return kNames[entry.index()];
}

struct Library {
  std::vector<std::string> procedures;
  int references = 0;
};

std::vector<platform::TokenGroup> DefaultTokenGroups() {
  return {{u"S-1-1-0", 7}, {sim::kLogonSid, platform::kSeGroupLogonId | 7}, {u"S-1-5-11", 7}};
}

struct Kernel {
  // A program that never waited for its threads waits for them here, so that none outlives the
  // state it uses; one that never ends is let go rather than ending the program in
  // std::terminate.
  ~Kernel() {
    std::unique_lock guard(lock);
    const bool allFinished =
        changed.wait_for(guard, kSimulatedWaitBound, [this] { return finished == started; });
    guard.unlock();
    for (std::thread& thread : threads) {
      if (!thread.joinable()) continue;
      if (allFinished) {
        thread.join();
      } else {
        thread.detach();
      }
    }
  }

  std::mutex lock;
  std::condition_variable changed;

  // Threads
  bool createThreadFails = false;
  bool holdThreads = false;
  std::deque<std::pair<std::function<void()>, std::uint32_t>> pending;
  std::vector<std::thread> threads;
  int started = 0;
  int finished = 0;
  std::uint32_t nextThreadId = kFirstStartedThreadId;

  // Processes
  std::map<std::uint32_t, Process> processes;
  std::map<std::uint32_t, std::optional<std::uint32_t>> sessions;
  std::set<std::uint32_t> windowOwners;  // processes the desktop has windows of
  std::uint32_t currentProcessId = kOwnProcessId;
  std::optional<std::u16string> windowsDirectory = u"C:\\windows";

  // Time
  platform::LocalTime localTime{2026, 3, 7, 9, 5, 2};
  std::uint64_t fileTime = kUnixEpochAsFileTime + 1772874302000ULL * kFileTimePerMs;
  std::uint32_t tick = 1000000;
  std::vector<unsigned> sleeps;
  std::function<void(unsigned)> sleepHook;

  // Files
  std::set<std::u16string> directories;       // folded
  std::map<std::u16string, FileEntry> files;  // folded
  std::vector<std::u16string> created;

  // Handles
  std::uintptr_t nextHandle = 0x7000;
  std::map<std::uintptr_t, HandleEntry> handles;
  int invalidUses = 0;

  // Mutexes
  MutexBehaviour mutexBehaviour;

  // The running instance's scripted pipe server
  bool listening = true;
  std::deque<unsigned long> openScript;
  bool writesFail = false;
  std::vector<std::string> delivered;

  // This process's pipe servers
  int createFailures = 0;
  unsigned long createError = platform::kErrorAccessDenied;
  std::deque<IncomingClient> clients;
  bool releaseRequested = false;
  bool blockedIdle = false;
  int connectTimeouts = 0;

  // Token
  bool holdsShutdownPrivilege = true;
  bool openTokenFails = false;
  bool lookupFails = false;
  bool privilegeEnabled = false;
  std::vector<platform::TokenGroup> tokenGroups = DefaultTokenGroups();

  // Modules
  std::map<std::string, Library> libraries;  // lower-case names

  // Memory and firmware
  std::optional<std::uint64_t> totalPhysical = 16ULL << 30;
  std::map<std::uint32_t, std::vector<std::uint8_t>> firmware;

  // Command line, console, debugger
  std::u16string commandLine = u"KelvoTarnel.exe";
  bool attachSucceeds = true;
  bool allocSucceeds = true;
  bool debuggerPresent = false;
  bool reopenOutput = true;
  bool reopenError = true;
  std::vector<std::string> debug;
  std::string standardOutput;  // as written, wide text as UTF-8
  std::size_t flushedOutput = 0;
};

Kernel& K() {
  static Kernel kernel;
  return kernel;
}

thread_local unsigned long lastError = 0;
thread_local std::uint32_t simulatedThreadId = 0;
// The program's first thread is kOwnThreadId; a thread the simulation did not start (a
// std::thread of the logic or of a test) gets an id of its own, as every thread does on Windows.
const std::thread::id mainThread = std::this_thread::get_id();
std::atomic<std::uint32_t> nextForeignThreadId{kFirstForeignThreadId};

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::u16string Parent(const std::u16string& path) {
  const std::size_t slash = path.rfind(u'\\');
  return slash == std::u16string::npos ? std::u16string() : path.substr(0, slash);
}

bool IsDrive(const std::u16string& path) { return path.size() == 2 && path[1] == u':'; }

// Callers hold the lock; `folded` is folded.
bool ParentExistsLocked(const std::u16string& folded) {
  const std::u16string parent = Parent(folded);
  return !parent.empty() && (IsDrive(parent) || K().directories.contains(parent));
}

void AddDirectoryLocked(const std::u16string& path) {
  const std::u16string folded = FoldCase(path);
  for (std::size_t i = 0; i <= folded.size(); ++i) {
    if (i == folded.size() || folded[i] == u'\\') {
      const std::u16string prefix = folded.substr(0, i);
      if (!prefix.empty() && !IsDrive(prefix)) K().directories.insert(prefix);
    }
  }
}

void Fail(unsigned long error) { lastError = error; }

KernelHandle NewHandleLocked(HandleEntry entry) {
  const std::uintptr_t value = K().nextHandle;
  K().nextHandle += 4;
  K().handles.emplace(value, std::move(entry));
  return static_cast<KernelHandle>(value);
}

template <typename Kind>
Kind* LookupLocked(KernelHandle handle) {
  const auto it = K().handles.find(static_cast<std::uintptr_t>(handle));
  if (it == K().handles.end()) {
    ++K().invalidUses;
    return nullptr;
  }
  return std::get_if<Kind>(&it->second);
}

template <typename Kind>
int CountLocked() {
  return static_cast<int>(std::count_if(K().handles.begin(), K().handles.end(), [](const auto& h) {
    return std::holds_alternative<Kind>(h.second);
  }));
}

void ResetKernel() {
  std::vector<std::thread> finished;
  {
    const std::lock_guard guard(K().lock);
    // Threads still running belong to a test that did not wait for them: they keep their state.
    if (K().finished == K().started) {
      finished.swap(K().threads);
      K().started = K().finished = 0;
    }
  }
  for (std::thread& thread : finished) thread.join();

  const std::lock_guard guard(K().lock);
  Kernel& k = K();
  k.createThreadFails = false;
  k.holdThreads = false;
  k.pending.clear();
  k.processes = {{kOwnProcessId, Process{std::u16string(kOwnImage)}}};
  k.sessions.clear();
  k.windowOwners.clear();
  k.currentProcessId = kOwnProcessId;
  k.windowsDirectory = u"C:\\windows";
  k.localTime = {2026, 3, 7, 9, 5, 2};
  k.fileTime = kUnixEpochAsFileTime + 1772874302000ULL * kFileTimePerMs;
  k.tick = 1000000;
  k.sleeps.clear();
  k.sleepHook = nullptr;
  k.directories.clear();
  AddDirectoryLocked(u"C:\\ProgramData");
  AddDirectoryLocked(u"C:\\windows");
  k.files.clear();
  k.created.clear();
  k.handles.clear();
  k.invalidUses = 0;
  k.mutexBehaviour = {};
  k.listening = true;
  k.openScript.clear();
  k.writesFail = false;
  k.delivered.clear();
  k.createFailures = 0;
  k.clients.clear();
  k.releaseRequested = false;
  k.blockedIdle = false;
  k.connectTimeouts = 0;
  k.holdsShutdownPrivilege = true;
  k.openTokenFails = false;
  k.tokenGroups = DefaultTokenGroups();
  k.lookupFails = false;
  k.privilegeEnabled = false;
  k.libraries = {{"user32.dll", Library{{"EnableNonClientDpiScaling"}, 0}}};
  k.totalPhysical = 16ULL << 30;
  k.firmware.clear();
  k.commandLine = u"KelvoTarnel.exe";
  k.attachSucceeds = true;
  k.allocSucceeds = true;
  k.debuggerPresent = false;
  k.reopenOutput = true;
  k.reopenError = true;
  k.debug.clear();
  k.standardOutput.clear();
  k.flushedOutput = 0;
  lastError = 0;
}

// The simulation starts as a reset leaves it, for programs that never reset.
const bool registered = [] {
  ResetKernel();
  return OnReset(&ResetKernel);
}();

void LaunchLocked(std::function<void()> start, std::uint32_t id) {
  ++K().started;
  K().threads.emplace_back([start = std::move(start), id]() mutable {
    simulatedThreadId = id;
    start();
    start = nullptr;  // the thread frees its function before it counts as finished
    {
      const std::lock_guard guard(K().lock);
      ++K().finished;
    }
    K().changed.notify_all();
  });
}

bool IsPipeName(std::u16string_view name) { return FoldCase(name).starts_with(u"\\\\.\\pipe\\"); }

}  // namespace

// ---- Threads ----
void SetCreateThreadFails(bool fails) {
  const std::lock_guard guard(K().lock);
  K().createThreadFails = fails;
}

void SetHoldThreads(bool hold) {
  const std::lock_guard guard(K().lock);
  K().holdThreads = hold;
}

int PendingThreadCount() {
  const std::lock_guard guard(K().lock);
  return static_cast<int>(K().pending.size());
}

void RunPendingThreads() {
  {
    const std::lock_guard guard(K().lock);
    while (!K().pending.empty()) {
      auto [start, id] = std::move(K().pending.front());
      K().pending.pop_front();
      LaunchLocked(std::move(start), id);
    }
  }
  WaitForThreads();
}

int StartedThreads() {
  const std::lock_guard guard(K().lock);
  return K().started;
}

bool WaitForThreads(std::chrono::milliseconds bound) {
  const auto deadline = std::chrono::steady_clock::now() + bound;
  for (;;) {
    std::vector<std::thread> threads;
    {
      std::unique_lock lock(K().lock);
      if (!K().changed.wait_until(lock, deadline, [] { return K().finished == K().started; })) {
        return false;
      }
      threads.swap(K().threads);
    }
    if (threads.empty()) return true;
    // Each has run its function to the end; what is left is the thread's own exit.
    for (std::thread& thread : threads) thread.join();
  }
}

std::uint32_t CurrentThreadId() {
  if (simulatedThreadId == 0 && std::this_thread::get_id() != mainThread) {
    simulatedThreadId = nextForeignThreadId.fetch_add(1);
  }
  return simulatedThreadId != 0 ? simulatedThreadId : kOwnThreadId;
}

// ---- Processes ----
void AddProcess(std::uint32_t processId, const Process& process) {
  const std::lock_guard guard(K().lock);
  K().processes[processId] = process;
}

void SetCurrentProcessId(std::uint32_t processId) {
  const std::lock_guard guard(K().lock);
  K().currentProcessId = processId;
  K().processes.try_emplace(processId, Process{std::u16string(kOwnImage)});
}

void NoteWindowOwner(std::uint32_t processId) {
  const std::lock_guard guard(K().lock);
  K().windowOwners.insert(processId);
}

void SetSessionOf(std::uint32_t processId, std::optional<std::uint32_t> session) {
  const std::lock_guard guard(K().lock);
  K().sessions[processId] = session;
}

void SetWindowsDirectory(std::optional<std::u16string> directory) {
  const std::lock_guard guard(K().lock);
  K().windowsDirectory = std::move(directory);
}

// ---- Time ----
void SetLocalTime(const platform::LocalTime& time) {
  const std::lock_guard guard(K().lock);
  K().localTime = time;
}

void SetSystemTimeFileTime(std::uint64_t ticks) {
  const std::lock_guard guard(K().lock);
  K().fileTime = ticks;
}

void SetSystemTimeMs(std::int64_t unixMs) {
  SetSystemTimeFileTime(kUnixEpochAsFileTime + static_cast<std::uint64_t>(unixMs) * kFileTimePerMs);
}

void SetTickCount(std::uint32_t tick) {
  const std::lock_guard guard(K().lock);
  K().tick = tick;
}

void AdvanceSystemTimeMs(std::int64_t milliseconds) {
  const std::lock_guard guard(K().lock);
  K().fileTime += static_cast<std::uint64_t>(milliseconds) * kFileTimePerMs;
  K().tick += static_cast<std::uint32_t>(milliseconds);
}

unsigned long long SleptMilliseconds() {
  const std::lock_guard guard(K().lock);
  unsigned long long total = 0;
  for (const unsigned ms : K().sleeps) total += ms;
  return total;
}

std::vector<unsigned> Sleeps() {
  const std::lock_guard guard(K().lock);
  return K().sleeps;
}

void SetSleepHook(std::function<void(unsigned milliseconds)> hook) {
  const std::lock_guard guard(K().lock);
  K().sleepHook = std::move(hook);
}

void SetLastErrorValue(unsigned long error) { lastError = error; }

// ---- Files ----
bool DirectoryExists(const std::u16string& path) {
  const std::lock_guard guard(K().lock);
  return K().directories.contains(FoldCase(path));
}

void AddDirectory(const std::u16string& path) {
  const std::lock_guard guard(K().lock);
  AddDirectoryLocked(path);
}

void SetFile(const std::u16string& path, const std::string& bytes) {
  const std::lock_guard guard(K().lock);
  K().files[FoldCase(path)].bytes = bytes;
}

std::optional<std::string> GetFile(const std::u16string& path) {
  const std::lock_guard guard(K().lock);
  const auto it = K().files.find(FoldCase(path));
  if (it == K().files.end()) return std::nullopt;
  return it->second.bytes;
}

void RemoveFile(const std::u16string& path) {
  const std::lock_guard guard(K().lock);
  K().files.erase(FoldCase(path));
}

void SetReadOnly(const std::u16string& path, bool readOnly) {
  const std::lock_guard guard(K().lock);
  K().files[FoldCase(path)].readOnly = readOnly;
}

void HoldOpenByOtherProcess(const std::u16string& path, bool shares) {
  const std::lock_guard guard(K().lock);
  FileEntry& entry = K().files[FoldCase(path)];
  entry.heldOpen = true;
  entry.heldShares = shares;
}

std::vector<std::u16string> CreatedDirectories() {
  const std::lock_guard guard(K().lock);
  return K().created;
}

// ---- Mutexes ----
void SetMutexBehaviour(const MutexBehaviour& behaviour) {
  const std::lock_guard guard(K().lock);
  K().mutexBehaviour = behaviour;
}

int OpenMutexCount() {
  const std::lock_guard guard(K().lock);
  return CountLocked<MutexOpen>();
}

// ---- Pipes ----
void SetPipeServerListening(bool listening) {
  const std::lock_guard guard(K().lock);
  K().listening = listening;
}

void ScriptPipeOpens(std::vector<unsigned long> errors) {
  const std::lock_guard guard(K().lock);
  K().openScript.assign(errors.begin(), errors.end());
}

void SetPipeWritesFail(bool fail) {
  const std::lock_guard guard(K().lock);
  K().writesFail = fail;
}

std::vector<std::string> DeliveredRequests() {
  const std::lock_guard guard(K().lock);
  return K().delivered;
}

void FailPipeCreates(int count, unsigned long error) {
  const std::lock_guard guard(K().lock);
  K().createFailures = count;
  K().createError = error;
}

void QueueClient(const IncomingClient& client) {
  {
    const std::lock_guard guard(K().lock);
    K().clients.push_back(client);
  }
  K().changed.notify_all();
}

bool WaitForBlockedConnect(std::chrono::milliseconds bound) {
  std::unique_lock lock(K().lock);
  return K().changed.wait_for(lock, bound, [] { return K().blockedIdle; });
}

void ReleaseBlockedConnect() {
  {
    const std::lock_guard guard(K().lock);
    K().releaseRequested = true;
  }
  K().changed.notify_all();
}

int ConnectTimeouts() {
  const std::lock_guard guard(K().lock);
  return K().connectTimeouts;
}

int OpenPipeHandles() {
  const std::lock_guard guard(K().lock);
  return CountLocked<ServerPipe>() + CountLocked<ClientPipe>();
}

int OpenThreadHandles() {
  const std::lock_guard guard(K().lock);
  return CountLocked<ThreadOpen>();
}

int OpenProcessHandles() {
  const std::lock_guard guard(K().lock);
  return CountLocked<ProcessOpen>();
}

int InvalidHandleUses() {
  const std::lock_guard guard(K().lock);
  return K().invalidUses;
}

// ---- Token ----
void SetAccountHoldsShutdownPrivilege(bool holds) {
  const std::lock_guard guard(K().lock);
  K().holdsShutdownPrivilege = holds;
}

void SetTokenGroups(std::vector<platform::TokenGroup> groups) {
  const std::lock_guard guard(K().lock);
  K().tokenGroups = std::move(groups);
}

void SetOpenProcessTokenFails(bool fails) {
  const std::lock_guard guard(K().lock);
  K().openTokenFails = fails;
}

void SetLookupPrivilegeValueFails(bool fails) {
  const std::lock_guard guard(K().lock);
  K().lookupFails = fails;
}

bool ShutdownPrivilegeEnabled() {
  const std::lock_guard guard(K().lock);
  return K().privilegeEnabled;
}

// ---- Modules ----
void SetLibraryProcedures(const std::string& library, std::vector<std::string> procedures) {
  const std::lock_guard guard(K().lock);
  K().libraries[Lower(library)].procedures = std::move(procedures);
}

void RemoveLibrary(const std::string& library) {
  const std::lock_guard guard(K().lock);
  K().libraries.erase(Lower(library));
}

int LibraryReferences(const std::string& library) {
  const std::lock_guard guard(K().lock);
  const auto it = K().libraries.find(Lower(library));
  return it == K().libraries.end() ? 0 : it->second.references;
}

platform::ModuleHandle ModuleHandle() {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
  return reinterpret_cast<platform::ModuleHandle>(std::uintptr_t{0x400000});
}

// ---- Memory and firmware ----
void SetTotalPhysicalMemory(std::optional<std::uint64_t> bytes) {
  const std::lock_guard guard(K().lock);
  K().totalPhysical = bytes;
}

void SetFirmwareTable(std::uint32_t provider, std::optional<std::vector<std::uint8_t>> table) {
  const std::lock_guard guard(K().lock);
  if (table) {
    K().firmware[provider] = std::move(*table);
  } else {
    K().firmware.erase(provider);
  }
}

// ---- Command line, console, debugger ----
void SetCommandLine(std::u16string commandLine) {
  const std::lock_guard guard(K().lock);
  K().commandLine = std::move(commandLine);
}

void SetAttachConsoleSucceeds(bool succeeds) {
  const std::lock_guard guard(K().lock);
  K().attachSucceeds = succeeds;
}

void SetAllocConsoleSucceeds(bool succeeds) {
  const std::lock_guard guard(K().lock);
  K().allocSucceeds = succeeds;
}

void SetDebuggerPresent(bool present) {
  const std::lock_guard guard(K().lock);
  K().debuggerPresent = present;
}

void SetReopenSucceeds(bool output, bool error) {
  const std::lock_guard guard(K().lock);
  K().reopenOutput = output;
  K().reopenError = error;
}

std::string StandardOutput() {
  const std::lock_guard guard(K().lock);
  return K().standardOutput;
}

std::string FlushedStandardOutput() {
  const std::lock_guard guard(K().lock);
  return K().standardOutput.substr(0, K().flushedOutput);
}

std::vector<std::string> DebugOutput() {
  const std::lock_guard guard(K().lock);
  return K().debug;
}

}  // namespace sim

namespace platform {

using sim::Fail;
using sim::K;

unsigned long GetLastError() { return sim::lastError; }
void SetLastError(unsigned long error) { sim::lastError = error; }

// ---- Handles, mutexes, threads ----
bool CloseHandle(KernelHandle handle) {
  std::string kind;
  {
    const std::lock_guard guard(K().lock);
    if (static_cast<std::uintptr_t>(handle) == sim::kCurrentProcessPseudo) return true;
    const auto it = K().handles.find(static_cast<std::uintptr_t>(handle));
    if (it == K().handles.end()) {
      ++K().invalidUses;
      Fail(kErrorInvalidHandle);
      return false;
    }
    kind = sim::KindName(it->second);
    if (auto* client = std::get_if<sim::ClientPipe>(&it->second); client && client->instance) {
      client->instance->clientOpen = false;
    }
    K().handles.erase(it);
  }
  K().changed.notify_all();
  if (kind != "file") sim::Record("CloseHandle " + kind);
  return true;
}

KernelHandle CreateMutexW(std::u16string_view name) {
  sim::Record("CreateMutexW " + WideToUtf8(name));
  const std::lock_guard guard(K().lock);
  const sim::MutexBehaviour& behaviour = K().mutexBehaviour;
  const bool global = name.starts_with(u"Global\\");
  if (global ? behaviour.globalFails : behaviour.localFails) {
    Fail(global ? behaviour.globalError : behaviour.localError);
    return {};
  }
  const bool held = std::any_of(K().handles.begin(), K().handles.end(), [&](const auto& h) {
    const auto* mutex = std::get_if<sim::MutexOpen>(&h.second);
    return mutex && mutex->name == name;
  });
  Fail(held || behaviour.alreadyExists ? kErrorAlreadyExists : kErrorSuccess);
  return sim::NewHandleLocked(sim::MutexOpen{std::u16string(name)});
}

KernelHandle CreateThread(std::function<void()> start) {
  sim::Record("CreateThread");
  const std::lock_guard guard(K().lock);
  if (K().createThreadFails) {
    Fail(kErrorNotEnoughMemory);
    return {};
  }
  const KernelHandle handle = sim::NewHandleLocked(sim::ThreadOpen{});
  const std::uint32_t id = K().nextThreadId++;
  if (K().holdThreads) {
    K().pending.emplace_back(std::move(start), id);
  } else {
    sim::LaunchLocked(std::move(start), id);
  }
  return handle;
}

std::uint32_t GetCurrentProcessId() {
  const std::lock_guard guard(K().lock);
  return K().currentProcessId;
}

std::uint32_t GetCurrentThreadId() { return sim::CurrentThreadId(); }

KernelHandle GetCurrentProcess() { return static_cast<KernelHandle>(sim::kCurrentProcessPseudo); }

// ---- Time ----
LocalTime GetLocalTime() {
  const std::lock_guard guard(K().lock);
  return K().localTime;
}

std::uint64_t GetSystemTimeAsFileTime() {
  const std::lock_guard guard(K().lock);
  return K().fileTime;
}

std::uint32_t GetTickCount() {
  const std::lock_guard guard(K().lock);
  return K().tick;
}

void Sleep(unsigned milliseconds) {
  std::function<void(unsigned)> hook;
  {
    const std::lock_guard guard(K().lock);
    K().sleeps.push_back(milliseconds);
    K().fileTime += std::uint64_t{milliseconds} * sim::kFileTimePerMs;
    K().tick += milliseconds;
    hook = K().sleepHook;
  }
  sim::Record("Sleep " + std::to_string(milliseconds));
  if (hook) hook(milliseconds);
}

// ---- Processes ----
bool ProcessIdToSessionId(std::uint32_t processId, std::uint32_t* sessionId) {
  const std::lock_guard guard(K().lock);
  const auto session = K().sessions.find(processId);
  if (session != K().sessions.end()) {
    if (!session->second) {
      Fail(kErrorInvalidParameter);
      return false;
    }
    *sessionId = *session->second;
    return true;
  }
  if (!K().processes.contains(processId) && !K().windowOwners.contains(processId)) {
    Fail(kErrorInvalidParameter);
    return false;
  }
  *sessionId = sim::kOwnSessionId;
  return true;
}

KernelHandle OpenProcess(std::uint32_t access, bool inheritHandle, std::uint32_t processId) {
  sim::Record("OpenProcess " + std::to_string(access) + " " +
              std::to_string(inheritHandle ? 1 : 0) + " " + std::to_string(processId));
  const std::lock_guard guard(K().lock);
  const auto it = K().processes.find(processId);
  if (it == K().processes.end()) {
    Fail(kErrorInvalidParameter);
    return {};
  }
  if (it->second.openRefused) {
    Fail(kErrorAccessDenied);
    return {};
  }
  return sim::NewHandleLocked(sim::ProcessOpen{processId});
}

bool QueryFullProcessImageNameW(KernelHandle process, std::uint32_t flags, char16_t* buffer,
                                std::uint32_t* size) {
  sim::Record("QueryFullProcessImageNameW " + std::to_string(flags) + " " +
              std::to_string(size ? *size : 0));
  const std::lock_guard guard(K().lock);
  std::uint32_t processId = K().currentProcessId;
  if (static_cast<std::uintptr_t>(process) != sim::kCurrentProcessPseudo) {
    const auto* open = sim::LookupLocked<sim::ProcessOpen>(process);
    if (!open) {
      Fail(kErrorInvalidHandle);
      return false;
    }
    processId = open->processId;
  }
  const auto it = K().processes.find(processId);
  if (it == K().processes.end() || it->second.queryFails || !buffer || !size) {
    Fail(kErrorAccessDenied);
    return false;
  }
  const std::u16string& path = it->second.imagePath;
  // The terminator must fit too.
  if (path.size() + 1 > *size) {
    Fail(kErrorInsufficientBuffer);
    return false;
  }
  std::copy(path.begin(), path.end(), buffer);
  buffer[path.size()] = u'\0';
  *size = static_cast<std::uint32_t>(path.size());
  return true;
}

std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size) {
  sim::Record("GetWindowsDirectoryW " + std::to_string(size));
  const std::lock_guard guard(K().lock);
  if (!K().windowsDirectory) return 0;
  const std::u16string& directory = *K().windowsDirectory;
  // Too small a buffer answers the size it would need, terminator included.
  if (directory.size() + 1 > size) return static_cast<std::uint32_t>(directory.size() + 1);
  std::copy(directory.begin(), directory.end(), buffer);
  buffer[directory.size()] = u'\0';
  return static_cast<std::uint32_t>(directory.size());
}

void ExitProcess(unsigned exitCode) {
  sim::Record("ExitProcess " + std::to_string(exitCode));
  throw sim::ProcessExit{exitCode};
}

// ---- Token and privileges ----
bool OpenProcessToken(KernelHandle process, std::uint32_t desiredAccess, KernelHandle* token) {
  sim::Record("OpenProcessToken " + std::to_string(desiredAccess));
  const std::lock_guard guard(K().lock);
  if (K().openTokenFails || static_cast<std::uintptr_t>(process) != sim::kCurrentProcessPseudo) {
    Fail(kErrorAccessDenied);
    return false;
  }
  *token = sim::NewHandleLocked(sim::TokenOpen{desiredAccess});
  return true;
}

bool GetTokenGroups(KernelHandle token, std::vector<TokenGroup>* groups) {
  sim::Record("GetTokenGroups");
  const std::lock_guard guard(K().lock);
  const auto* open = sim::LookupLocked<sim::TokenOpen>(token);
  if (!open || (open->access & kTokenQuery) == 0) {
    Fail(open ? kErrorAccessDenied : kErrorInvalidHandle);
    return false;
  }
  *groups = K().tokenGroups;
  return true;
}

bool LookupPrivilegeValueW(std::u16string_view name, Luid* luid) {
  sim::Record("LookupPrivilegeValueW " + WideToUtf8(name));
  const std::lock_guard guard(K().lock);
  if (K().lookupFails || name != u"SeShutdownPrivilege") {
    Fail(sim::kErrorNoSuchPrivilege);
    return false;
  }
  *luid = sim::kShutdownLuid;
  return true;
}

bool AdjustTokenPrivileges(KernelHandle token, const Luid& privilege, std::uint32_t attributes) {
  sim::Record("AdjustTokenPrivileges " + std::to_string(privilege.lowPart) + " " +
              std::to_string(attributes));
  const std::lock_guard guard(K().lock);
  const auto* open = sim::LookupLocked<sim::TokenOpen>(token);
  if (!open) {
    Fail(kErrorInvalidHandle);
    return false;
  }
  if ((open->access & kTokenAdjustPrivileges) == 0) {
    Fail(kErrorAccessDenied);
    return false;
  }
  const bool isShutdown = privilege.lowPart == sim::kShutdownLuid.lowPart &&
                          privilege.highPart == sim::kShutdownLuid.highPart;
  // As on Windows, the call succeeds for a privilege the account lacks and says so only through
  // the last error.
  if (isShutdown && !K().holdsShutdownPrivilege) {
    Fail(kErrorNotAllAssigned);
    return true;
  }
  if (isShutdown) K().privilegeEnabled = (attributes & kSePrivilegeEnabled) != 0;
  Fail(kErrorSuccess);
  return true;
}

// ---- Modules ----
namespace {

// Each library's handle is its place in the map's order, above the executable's.
ModuleHandle LibraryHandleLocked(const std::string& lowerName) {
  const auto index = static_cast<std::uintptr_t>(
      std::distance(K().libraries.begin(), K().libraries.find(lowerName)));
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
  return reinterpret_cast<ModuleHandle>(0x10000000 + index * 0x100000);
}

sim::Library* LibraryOfLocked(ModuleHandle module) {
  for (auto& [name, library] : K().libraries) {
    if (LibraryHandleLocked(name) == module) return &library;
  }
  return nullptr;
}

}  // namespace

ModuleHandle GetModuleHandleW(const char16_t* name) {
  if (name == nullptr) return sim::ModuleHandle();
  const std::lock_guard guard(K().lock);
  const std::string lower = sim::Lower(WideToUtf8(name));
  const auto it = K().libraries.find(lower);
  if (it == K().libraries.end() || it->second.references == 0) {
    Fail(sim::kErrorModNotFound);
    return nullptr;
  }
  return LibraryHandleLocked(lower);
}

ModuleHandle LoadLibraryA(const char* name) {
  sim::Record(std::string("LoadLibraryA ") + name);
  const std::lock_guard guard(K().lock);
  const std::string lower = sim::Lower(name);
  const auto it = K().libraries.find(lower);
  if (it == K().libraries.end()) {
    Fail(sim::kErrorModNotFound);
    return nullptr;
  }
  ++it->second.references;
  return LibraryHandleLocked(lower);
}

void* GetProcAddress(ModuleHandle module, const char* name) {
  const std::lock_guard guard(K().lock);
  sim::Library* library = LibraryOfLocked(module);
  if (!library || library->references == 0) {
    Fail(kErrorInvalidHandle);
    return nullptr;
  }
  const auto it = std::find(library->procedures.begin(), library->procedures.end(), name);
  if (it == library->procedures.end()) {
    Fail(sim::kErrorProcNotFound);
    return nullptr;
  }
  // A made-up address, distinct per procedure; the simulation's callers never call it.
  return &*it;
}

bool FreeLibrary(ModuleHandle module) {
  sim::Record("FreeLibrary");
  const std::lock_guard guard(K().lock);
  sim::Library* library = LibraryOfLocked(module);
  if (!library || library->references == 0) {
    Fail(kErrorInvalidHandle);
    return false;
  }
  --library->references;
  return true;
}

// ---- Files ----
namespace {

bool Writes(std::uint32_t access) { return (access & (kGenericWrite | kFileAppendData)) != 0; }
bool Reads(std::uint32_t access) { return (access & kGenericRead) != 0; }

// Whether an open with this access and share mode can stand beside every handle of the file:
// each side's share mode must allow the other's access.
bool SharingAllowsLocked(const std::u16string& folded, const sim::FileEntry* entry,
                         std::uint32_t access, std::uint32_t share) {
  if (entry && entry->heldOpen) {
    // The other process reads and writes, sharing both or nothing.
    if (!entry->heldShares) return false;
    if ((share & (kFileShareRead | kFileShareWrite)) != (kFileShareRead | kFileShareWrite)) {
      return false;
    }
  }
  for (const auto& [value, handle] : K().handles) {
    const auto* open = std::get_if<sim::FileOpen>(&handle);
    if (!open || open->path != folded) continue;
    if (Reads(access) && (open->share & kFileShareRead) == 0) return false;
    if (Writes(access) && (open->share & kFileShareWrite) == 0) return false;
    if (Reads(open->access) && (share & kFileShareRead) == 0) return false;
    if (Writes(open->access) && (share & kFileShareWrite) == 0) return false;
  }
  return true;
}

KernelHandle OpenPipeClient(std::u16string_view name, std::uint32_t desiredAccess) {
  const std::u16string folded = FoldCase(name);
  std::shared_ptr<sim::PipeInstance> instance;
  unsigned long error = kErrorSuccess;
  KernelHandle handle{};
  {
    const std::lock_guard guard(K().lock);
    bool anyInstance = false;
    for (const auto& [value, entry] : K().handles) {
      const auto* server = std::get_if<sim::ServerPipe>(&entry);
      if (!server || server->instance->name != folded) continue;
      anyInstance = true;
      if (!server->instance->clientCame) {
        instance = server->instance;
        break;
      }
    }
    if (instance) {
      instance->clientCame = true;
      instance->clientOpen = true;
      instance->disconnected = false;
      instance->messages.clear();
      handle = sim::NewHandleLocked(sim::ClientPipe{instance});
    } else if (anyInstance) {
      error = kErrorPipeBusy;
    } else if (!K().openScript.empty()) {
      error = K().openScript.front();
      K().openScript.pop_front();
    } else if (folded != FoldCase(product::kActivationPipeName) || !K().listening) {
      error = kErrorFileNotFound;
    } else if (Reads(desiredAccess) || !Writes(desiredAccess)) {
      error = kErrorAccessDenied;  // the server's end is inbound only
    }
    if (!instance && error == kErrorSuccess) handle = sim::NewHandleLocked(sim::ClientPipe{});
  }
  K().changed.notify_all();
  Fail(error);
  return handle;
}

}  // namespace

KernelHandle CreateFileW(std::u16string_view name, std::uint32_t desiredAccess,
                         std::uint32_t shareMode, std::uint32_t creationDisposition,
                         std::uint32_t /*flagsAndAttributes*/) {
  if (sim::IsPipeName(name)) {
    sim::Record("CreateFileW " + WideToUtf8(name) + " " + sim::Hex(desiredAccess) + " " +
                std::to_string(shareMode) + " " + std::to_string(creationDisposition));
    return OpenPipeClient(name, desiredAccess);
  }
  const std::lock_guard guard(K().lock);
  const std::u16string folded = FoldCase(name);
  if (K().directories.contains(folded)) {
    Fail(kErrorAccessDenied);
    return {};
  }
  auto it = K().files.find(folded);
  const bool exists = it != K().files.end();
  if (!exists) {
    if (!sim::ParentExistsLocked(folded)) {
      Fail(sim::kErrorPathNotFound);
      return {};
    }
    if (creationDisposition == kOpenExisting) {
      Fail(kErrorFileNotFound);
      return {};
    }
  }
  const sim::FileEntry* entry = exists ? &it->second : nullptr;
  if (entry && entry->readOnly && Writes(desiredAccess)) {
    Fail(kErrorAccessDenied);
    return {};
  }
  if (!SharingAllowsLocked(folded, entry, desiredAccess, shareMode)) {
    Fail(sim::kErrorSharingViolation);
    return {};
  }
  sim::FileEntry& file = K().files[folded];
  if (creationDisposition == kCreateAlways) file.bytes.clear();
  Fail(exists && creationDisposition != kOpenExisting ? kErrorAlreadyExists : kErrorSuccess);
  return sim::NewHandleLocked(sim::FileOpen{folded, desiredAccess, shareMode, 0});
}

namespace {

// A timed read gives up after its wait, or at once on a client that will never write.
bool ReadFileWaiting(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read,
                     std::optional<std::uint32_t> timeoutMs) {
  *read = 0;
  std::unique_lock lock(K().lock);
  const auto it = K().handles.find(static_cast<std::uintptr_t>(file));
  if (it == K().handles.end()) {
    ++K().invalidUses;
    Fail(kErrorInvalidHandle);
    return false;
  }
  if (auto* open = std::get_if<sim::FileOpen>(&it->second)) {
    if (!Reads(open->access)) {
      Fail(kErrorAccessDenied);
      return false;
    }
    const std::string& bytes = K().files[open->path].bytes;
    const std::size_t count =
        std::min<std::size_t>(size, bytes.size() - std::min(bytes.size(), open->position));
    std::memcpy(buffer, bytes.data() + open->position, count);
    open->position += count;
    *read = static_cast<std::uint32_t>(count);
    return true;
  }
  auto* server = std::get_if<sim::ServerPipe>(&it->second);
  if (!server) {
    Fail(kErrorAccessDenied);
    return false;
  }
  const std::shared_ptr<sim::PipeInstance> instance = server->instance;
  lock.unlock();
  sim::Record("ReadFile " + std::to_string(size) +
              (timeoutMs ? " within " + std::to_string(*timeoutMs) : std::string()));
  lock.lock();
  // A message pipe's read waits for a whole message or for the writer to leave.
  const auto arrived = [&] { return !instance->messages.empty() || !instance->clientOpen; };
  if (timeoutMs) {
    const bool came =
        !instance->silent &&
        K().changed.wait_for(lock,
                             std::min<std::chrono::milliseconds>(
                                 std::chrono::milliseconds(*timeoutMs), sim::kSimulatedWaitBound),
                             arrived);
    if (!came) {
      Fail(kErrorOperationAborted);
      return false;
    }
  } else if (!K().changed.wait_for(lock, sim::kSimulatedWaitBound, arrived)) {
    Fail(sim::kErrorTimeout);
    return false;
  }
  if (instance->messages.empty()) {
    Fail(sim::kErrorBrokenPipe);
    return false;
  }
  std::string& message = instance->messages.front();
  const std::size_t count = std::min<std::size_t>(size, message.size());
  std::memcpy(buffer, message.data(), count);
  *read = static_cast<std::uint32_t>(count);
  if (count < message.size()) {
    // The rest of the message waits for the next read.
    message.erase(0, count);
    Fail(kErrorMoreData);
    return false;
  }
  instance->messages.pop_front();
  return true;
}

}  // namespace

bool ReadFile(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read) {
  return ReadFileWaiting(file, buffer, size, read, std::nullopt);
}

bool ReadFile(KernelHandle file, void* buffer, std::uint32_t size, std::uint32_t* read,
              std::uint32_t timeoutMs) {
  return ReadFileWaiting(file, buffer, size, read, timeoutMs);
}

bool WriteFile(KernelHandle file, const void* buffer, std::uint32_t size, std::uint32_t* written) {
  *written = 0;
  const std::string_view bytes(static_cast<const char*>(buffer), size);
  std::string journal;
  unsigned long error = kErrorSuccess;
  {
    const std::lock_guard guard(K().lock);
    const auto it = K().handles.find(static_cast<std::uintptr_t>(file));
    if (it == K().handles.end()) {
      ++K().invalidUses;
      error = kErrorInvalidHandle;
    } else if (auto* open = std::get_if<sim::FileOpen>(&it->second)) {
      if (!Writes(open->access)) {
        error = kErrorAccessDenied;
      } else {
        std::string& content = K().files[open->path].bytes;
        if ((open->access & kGenericWrite) == 0) {
          // Append access alone writes at the end, wherever another handle left it.
          content.append(bytes);
          std::string line(bytes);
          while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
          journal = "append: " + line;
        } else {
          if (content.size() < open->position) content.resize(open->position);
          content.replace(open->position, std::min(bytes.size(), content.size() - open->position),
                          bytes);
          open->position += bytes.size();
        }
        *written = size;
      }
    } else if (auto* client = std::get_if<sim::ClientPipe>(&it->second)) {
      journal = "WriteFile " + std::string(bytes);
      if (!client->instance) {
        if (K().writesFail) {
          error = kErrorNoData;
        } else {
          K().delivered.emplace_back(bytes);
          *written = size;
        }
      } else if (client->instance->disconnected) {
        error = kErrorPipeNotConnected;
      } else {
        client->instance->messages.emplace_back(bytes);
        *written = size;
      }
    } else {
      error = kErrorAccessDenied;
    }
  }
  K().changed.notify_all();
  Fail(error);
  if (!journal.empty()) sim::Record(journal);
  return error == kErrorSuccess;
}

bool CreateDirectoryW(std::u16string_view path) {
  const std::lock_guard guard(K().lock);
  const std::u16string folded = FoldCase(path);
  if (sim::IsDrive(folded) || K().directories.contains(folded) || K().files.contains(folded)) {
    Fail(kErrorAlreadyExists);
    return false;
  }
  if (!sim::ParentExistsLocked(folded)) {
    Fail(sim::kErrorPathNotFound);
    return false;
  }
  K().directories.insert(folded);
  K().created.emplace_back(path);
  return true;
}

KernelHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                              std::uint32_t pipeMode, std::uint32_t maxInstances,
                              std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                              std::uint32_t defaultTimeout) {
  sim::Record("CreateNamedPipeW " + WideToUtf8(name) + " " + std::to_string(openMode) + " " +
              std::to_string(pipeMode) + " " + std::to_string(maxInstances) + " " +
              std::to_string(outBufferSize) + " " + std::to_string(inBufferSize) + " " +
              std::to_string(defaultTimeout));
  const std::lock_guard guard(K().lock);
  if (K().createFailures > 0) {
    --K().createFailures;
    Fail(K().createError);
    return {};
  }
  auto instance = std::make_shared<sim::PipeInstance>();
  instance->name = FoldCase(name);
  Fail(kErrorSuccess);
  return sim::NewHandleLocked(sim::ServerPipe{std::move(instance)});
}

KernelHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                              std::uint32_t pipeMode, std::uint32_t maxInstances,
                              std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                              std::uint32_t defaultTimeout, std::u16string_view securitySddl) {
  sim::Record("CreateNamedPipeW security " + WideToUtf8(securitySddl));
  // What the conversion refuses: a text that is no descriptor at all.
  if (securitySddl.size() < 2 || securitySddl[1] != u':') {
    Fail(kErrorInvalidParameter);
    return {};
  }
  const KernelHandle pipe = CreateNamedPipeW(name, openMode, pipeMode, maxInstances, outBufferSize,
                                             inBufferSize, defaultTimeout);
  return pipe;
}

bool ConnectNamedPipe(KernelHandle pipe) {
  sim::Record("ConnectNamedPipe");
  unsigned long error = kErrorSuccess;
  {
    std::unique_lock lock(K().lock);
    auto* server = sim::LookupLocked<sim::ServerPipe>(pipe);
    if (!server) {
      Fail(kErrorInvalidHandle);
      return false;
    }
    const std::shared_ptr<sim::PipeInstance> instance = server->instance;
    if (instance->clientCame && !instance->connectAnswered) {
      // A client of this process came before the wait.
      instance->connectAnswered = true;
      error =
          instance->clientOpen || !instance->messages.empty() ? kErrorPipeConnected : kErrorNoData;
    } else {
      K().blockedIdle = K().clients.empty() && !K().releaseRequested;
      if (K().blockedIdle) K().changed.notify_all();
      const bool woken = K().changed.wait_for(lock, sim::kSimulatedWaitBound, [&] {
        return !K().clients.empty() || K().releaseRequested ||
               (instance->clientCame && !instance->connectAnswered);
      });
      K().blockedIdle = false;
      if (!woken) {
        ++K().connectTimeouts;
        error = sim::kErrorTimeout;
      } else if (instance->clientCame && !instance->connectAnswered) {
        instance->connectAnswered = true;
      } else if (K().releaseRequested) {
        K().releaseRequested = false;
        error = kErrorOperationAborted;
      } else {
        const sim::IncomingClient client = K().clients.front();
        K().clients.pop_front();
        if (client.connect == sim::IncomingClient::Connect::kFails) {
          error = client.connectError;
        } else {
          // A scripted client writes its one message, if any, and leaves.
          instance->clientCame = true;
          instance->connectAnswered = true;
          instance->clientOpen = client.staysSilent;
          instance->silent = client.staysSilent;
          if (client.payload && !client.staysSilent) instance->messages.push_back(*client.payload);
          if (client.connect == sim::IncomingClient::Connect::kBeforeTheWait) {
            error = kErrorPipeConnected;
          }
        }
      }
    }
  }
  Fail(error);
  return error == kErrorSuccess;
}

bool FlushFileBuffers(KernelHandle file) {
  sim::Record("FlushFileBuffers");
  const std::lock_guard guard(K().lock);
  const auto it = K().handles.find(static_cast<std::uintptr_t>(file));
  if (it == K().handles.end()) {
    ++K().invalidUses;
    Fail(kErrorInvalidHandle);
    return false;
  }
  return true;
}

bool DisconnectNamedPipe(KernelHandle pipe) {
  sim::Record("DisconnectNamedPipe");
  {
    const std::lock_guard guard(K().lock);
    auto* server = sim::LookupLocked<sim::ServerPipe>(pipe);
    if (!server) {
      Fail(kErrorInvalidHandle);
      return false;
    }
    sim::PipeInstance& instance = *server->instance;
    instance.disconnected = instance.clientOpen;
    instance.clientCame = false;
    instance.clientOpen = false;
    instance.connectAnswered = false;
    instance.messages.clear();
    // The old client's handle stays open but no longer reaches this instance.
    if (instance.disconnected) {
      auto next = std::make_shared<sim::PipeInstance>();
      next->name = instance.name;
      for (auto& [value, entry] : K().handles) {
        if (auto* other = std::get_if<sim::ServerPipe>(&entry);
            other && other->instance.get() == &instance) {
          other->instance = next;
          break;
        }
      }
    }
  }
  K().changed.notify_all();
  return true;
}

// ---- Memory and firmware ----
bool GlobalMemoryStatusEx(std::uint64_t* totalPhysical) {
  const std::lock_guard guard(K().lock);
  if (!K().totalPhysical) {
    Fail(kErrorInvalidParameter);
    return false;
  }
  *totalPhysical = *K().totalPhysical;
  return true;
}

std::uint32_t GetSystemFirmwareTable(std::uint32_t provider, std::uint32_t /*tableId*/,
                                     void* buffer, std::uint32_t size) {
  const std::lock_guard guard(K().lock);
  const auto it = K().firmware.find(provider);
  if (it == K().firmware.end()) {
    Fail(kErrorInvalidParameter);
    return 0;
  }
  const auto needed = static_cast<std::uint32_t>(it->second.size());
  if (buffer != nullptr && size >= needed) std::memcpy(buffer, it->second.data(), needed);
  if (size < needed) Fail(kErrorInsufficientBuffer);
  return needed;
}

// ---- Command line, console and debugger ----
std::u16string GetCommandLineW() {
  const std::lock_guard guard(K().lock);
  return K().commandLine;
}

bool AttachConsole(std::uint32_t /*processId*/) {
  sim::Record("AttachConsole");
  const std::lock_guard guard(K().lock);
  return K().attachSucceeds;
}

bool AllocConsole() {
  sim::Record("AllocConsole");
  const std::lock_guard guard(K().lock);
  return K().allocSucceeds;
}

bool IsDebuggerPresent() {
  const std::lock_guard guard(K().lock);
  return K().debuggerPresent;
}

bool ReopenStreamToConsole(StandardStream stream) {
  const bool output = stream == StandardStream::kOutput;
  sim::Record(output ? "freopen stdout" : "freopen stderr");
  const std::lock_guard guard(K().lock);
  return output ? K().reopenOutput : K().reopenError;
}

void DuplicateStdoutOnto(int descriptor) {
  sim::Record("dup2 stdout " + std::to_string(descriptor));
}

void SyncWithStdio() { sim::Record("sync_with_stdio"); }

void WriteStandardOutput(std::string_view text) {
  const std::lock_guard guard(K().lock);
  K().standardOutput.append(text);
}

void WriteStandardOutputWide(std::u16string_view text) {
  const std::string utf8 = WideToUtf8(text);
  const std::lock_guard guard(K().lock);
  K().standardOutput.append(utf8);
}

void FlushStandardOutput() {
  const std::lock_guard guard(K().lock);
  K().flushedOutput = K().standardOutput.size();
}

void OutputDebugStringA(std::string_view text) {
  const std::lock_guard guard(K().lock);
  K().debug.emplace_back(text);
}

void OutputDebugStringW(std::u16string_view text) {
  const std::string utf8 = WideToUtf8(text);
  const std::lock_guard guard(K().lock);
  K().debug.push_back(utf8);
}

}  // namespace platform

#include "sim_launch.h"

#include <string>

#include "sim_platform.h"

namespace {

struct LaunchState {
  std::optional<std::vector<std::u16string>> argv = std::vector<std::u16string>{u"KelvoTarnel.exe"};
  sim::MutexBehaviour mutex;
  int openMutexes = 0;
  bool attachSucceeds = true;
  bool debuggerPresent = false;
  bool allocSucceeds = true;
  bool reopenOutput = true;
  bool reopenError = true;
  std::int32_t coInitializeResult = 0;
  unsigned long lastError = 0;
  sim::MonitorConfig monitor;
};

LaunchState& L() {
  static LaunchState state;
  return state;
}

// Handles are small fake addresses: only their identity matters.
platform::NativeHandle FakeHandle(std::uintptr_t value) {
  return reinterpret_cast<platform::NativeHandle>(value);
}
constexpr std::uintptr_t kMutexHandle = 0x1000;
constexpr std::uintptr_t kMonitorHandle = 0x2000;

}  // namespace

namespace sim {

void ResetLaunch() { L() = LaunchState(); }
void SetCommandLine(std::optional<std::vector<std::u16string>> argv) { L().argv = std::move(argv); }
void SetMutexBehaviour(const MutexBehaviour& behaviour) { L().mutex = behaviour; }
int OpenMutexCount() { return L().openMutexes; }
void SetAttachConsoleSucceeds(bool succeeds) { L().attachSucceeds = succeeds; }
void SetDebuggerPresent(bool present) { L().debuggerPresent = present; }
void SetAllocConsoleSucceeds(bool succeeds) { L().allocSucceeds = succeeds; }
void SetReopenSucceeds(bool output, bool error) {
  L().reopenOutput = output;
  L().reopenError = error;
}
void SetCoInitializeResult(std::int32_t hr) { L().coInitializeResult = hr; }
void SetLastErrorValue(unsigned long error) { L().lastError = error; }
void SetMonitor(const MonitorConfig& monitor) { L().monitor = monitor; }

}  // namespace sim

namespace platform {

std::optional<std::vector<std::u16string>> CommandLineToArgvW() { return L().argv; }

void SetProcessDpiAwareness(int level) {
  sim::Record("SetProcessDpiAwareness " + std::to_string(level));
}

unsigned long GetLastError() { return L().lastError; }

NativeHandle CreateMutexW(const std::u16string& name) {
  const bool global = name.starts_with(u"Global\\");
  sim::Record(global ? "CreateMutexW global" : "CreateMutexW local");
  const bool fails = global ? L().mutex.globalFails : L().mutex.localFails;
  if (fails) {
    L().lastError = global ? L().mutex.globalError : L().mutex.localError;
    return nullptr;
  }
  L().lastError = L().mutex.alreadyExists ? 183 : 0;
  ++L().openMutexes;
  return FakeHandle(kMutexHandle);
}

void CloseHandle(NativeHandle handle) {
  sim::Record("CloseHandle");
  if (handle == FakeHandle(kMutexHandle)) --L().openMutexes;
}

bool AttachConsole() {
  sim::Record("AttachConsole");
  return L().attachSucceeds;
}

bool IsDebuggerPresent() { return L().debuggerPresent; }

bool AllocConsole() {
  sim::Record("AllocConsole");
  return L().allocSucceeds;
}

bool ReopenStreamToConsole(StandardStream stream) {
  const bool output = stream == StandardStream::kOutput;
  sim::Record(output ? "freopen stdout" : "freopen stderr");
  return output ? L().reopenOutput : L().reopenError;
}

void DuplicateStdoutOnto(int descriptor) {
  sim::Record("dup2 stdout " + std::to_string(descriptor));
}
void SyncWithStdio() { sim::Record("sync_with_stdio"); }
void FlutterDesktopResyncOutputStreams() { sim::Record("FlutterDesktopResyncOutputStreams"); }

std::int32_t CoInitializeEx() {
  sim::Record("CoInitializeEx");
  return L().coInitializeResult;
}

void CoUninitialize() { sim::Record("CoUninitialize"); }

NativeHandle MonitorFromPoint(int x, int y) {
  sim::Record("MonitorFromPoint " + std::to_string(x) + "," + std::to_string(y));
  return L().monitor.present ? FakeHandle(kMonitorHandle) : nullptr;
}

unsigned FlutterDesktopGetDpiForMonitor(NativeHandle) { return L().monitor.dpi; }

std::optional<MonitorSize> GetMonitorInfoW(NativeHandle) { return L().monitor.size; }

void RunMessageLoop() { sim::Record("RunMessageLoop"); }

}  // namespace platform

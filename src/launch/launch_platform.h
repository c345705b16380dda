// What the launch driver and the instance mutex need of the platform.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

using NativeHandle = void*;

// GetCommandLineW split by CommandLineToArgvW (freed with LocalFree); nullopt when parsing fails.
std::optional<std::vector<std::u16string>> CommandLineToArgvW();

void SetProcessDpiAwareness(int level);
unsigned long GetLastError();

// CreateMutexW(no security, initially owned, name); null on failure.
NativeHandle CreateMutexW(const std::u16string& name);
void CloseHandle(NativeHandle handle);

bool AttachConsole();  // ATTACH_PARENT_PROCESS
bool IsDebuggerPresent();
bool AllocConsole();
enum class StandardStream { kOutput, kError };
// freopen_s(stream, "CONOUT$", "w"); false when that fails.
bool ReopenStreamToConsole(StandardStream stream);
// _dup2(_fileno(stdout), target descriptor).
void DuplicateStdoutOnto(int descriptor);
void SyncWithStdio();
void FlutterDesktopResyncOutputStreams();

// CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); the HRESULT.
std::int32_t CoInitializeEx();
void CoUninitialize();

struct MonitorSize {
  int width = 0;
  int height = 0;
};
// MonitorFromPoint(point, MONITOR_DEFAULTTONEAREST); null when there is no monitor.
NativeHandle MonitorFromPoint(int x, int y);
unsigned FlutterDesktopGetDpiForMonitor(NativeHandle monitor);
// Size of rcMonitor from GetMonitorInfoW; nullopt when the call fails.
std::optional<MonitorSize> GetMonitorInfoW(NativeHandle monitor);

// GetMessageW with no window filter until it returns zero (-1 counts as a message), with
// TranslateMessage and DispatchMessageW for each.
void RunMessageLoop();

}  // namespace platform

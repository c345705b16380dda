#include <windows.h>

#include <memory>
#include <vector>

#include "launch/instance_platform.h"
#include "platform/win32_text.h"

namespace {

HWND AsHwnd(platform::WindowHandle window) { return static_cast<HWND>(window); }

HANDLE AsHandle(platform::PipeHandle pipe) {
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(pipe));
}

platform::PipeHandle AsPipe(HANDLE handle) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return platform::PipeHandle{};
  return static_cast<platform::PipeHandle>(reinterpret_cast<std::uintptr_t>(handle));
}

const wchar_t* AsWideOrNull(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }

void CloseKeepingLastError(HANDLE handle) {
  const DWORD error = ::GetLastError();
  ::CloseHandle(handle);
  ::SetLastError(error);
}

BOOL CALLBACK EnumWindowsThunk(HWND window, LPARAM context) {
  const auto& callback =
      *reinterpret_cast<const std::function<bool(platform::WindowHandle)>*>(context);
  return callback(window) ? TRUE : FALSE;
}

// The thread owns its start block and frees it at its end.
DWORD WINAPI ThreadThunk(LPVOID parameter) {
  const std::unique_ptr<platform::ThreadStart> start(
      static_cast<platform::ThreadStart*>(parameter));
  (*start)();
  return 0;
}

std::u16string CopiedText(const std::vector<wchar_t>& buffer, int copied) {
  return copied > 0 ? FromWide(std::wstring_view(buffer.data(), copied)) : std::u16string();
}

}  // namespace

namespace platform {

WindowHandle FindWindowW(const char16_t* className, const char16_t* windowName) {
  return ::FindWindowW(AsWideOrNull(className), AsWideOrNull(windowName));
}

bool IsWindow(WindowHandle window) { return ::IsWindow(AsHwnd(window)) != 0; }

void EnumWindows(const std::function<bool(WindowHandle)>& callback) {
  ::EnumWindows(EnumWindowsThunk, reinterpret_cast<LPARAM>(&callback));
}

WindowHandle GetWindow(WindowHandle window, unsigned command) {
  return ::GetWindow(AsHwnd(window), command);
}

std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId) {
  DWORD process = 0;
  const DWORD thread = ::GetWindowThreadProcessId(AsHwnd(window), &process);
  if (processId) *processId = process;
  return thread;
}

std::uint32_t GetCurrentProcessId() { return ::GetCurrentProcessId(); }

std::optional<std::uint32_t> ProcessIdToSessionId(std::uint32_t processId) {
  DWORD session = 0;
  if (!::ProcessIdToSessionId(processId, &session)) return std::nullopt;
  return session;
}

std::u16string GetClassNameW(WindowHandle window, int capacity) {
  std::vector<wchar_t> buffer(capacity);
  return CopiedText(buffer, ::GetClassNameW(AsHwnd(window), buffer.data(), capacity));
}

std::u16string GetWindowTextW(WindowHandle window, int capacity) {
  std::vector<wchar_t> buffer(capacity);
  return CopiedText(buffer, ::GetWindowTextW(AsHwnd(window), buffer.data(), capacity));
}

PipeHandle CreateFileW(std::u16string_view name, std::uint32_t desiredAccess,
                       std::uint32_t shareMode, std::uint32_t creationDisposition) {
  return AsPipe(::CreateFileW(AsWide(name).c_str(), desiredAccess, shareMode, nullptr,
                              creationDisposition, 0, nullptr));
}

bool WriteFile(PipeHandle pipe, std::string_view bytes) {
  DWORD written = 0;
  return ::WriteFile(AsHandle(pipe), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                     nullptr) != 0;
}

PipeHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                            std::uint32_t pipeMode, std::uint32_t maxInstances,
                            std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                            std::uint32_t defaultTimeout) {
  return AsPipe(::CreateNamedPipeW(AsWide(name).c_str(), openMode, pipeMode, maxInstances,
                                   outBufferSize, inBufferSize, defaultTimeout, nullptr));
}

bool ConnectNamedPipe(PipeHandle pipe) { return ::ConnectNamedPipe(AsHandle(pipe), nullptr) != 0; }

std::optional<std::string> ReadFile(PipeHandle pipe, std::size_t capacity) {
  std::string buffer(capacity, '\0');
  DWORD read = 0;
  if (!::ReadFile(AsHandle(pipe), buffer.data(), static_cast<DWORD>(capacity), &read, nullptr)) {
    return std::nullopt;
  }
  buffer.resize(read);
  return buffer;
}

bool FlushFileBuffers(PipeHandle pipe) { return ::FlushFileBuffers(AsHandle(pipe)) != 0; }

bool DisconnectNamedPipe(PipeHandle pipe) { return ::DisconnectNamedPipe(AsHandle(pipe)) != 0; }

void CloseHandle(PipeHandle pipe) { CloseKeepingLastError(AsHandle(pipe)); }

ThreadHandle CreateThread(ThreadStart start) {
  auto block = std::make_unique<ThreadStart>(start);
  HANDLE thread = ::CreateThread(nullptr, 0, ThreadThunk, block.get(), 0, nullptr);
  if (!thread) return ThreadHandle{};
  block.release();
  return static_cast<ThreadHandle>(reinterpret_cast<std::uintptr_t>(thread));
}

void CloseHandle(ThreadHandle thread) {
  CloseKeepingLastError(reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(thread)));
}

bool PostMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                  std::intptr_t lParam) {
  return ::PostMessageW(AsHwnd(window), message, wParam, lParam) != 0;
}

bool ShowWindow(WindowHandle window, int command) {
  return ::ShowWindow(AsHwnd(window), command) != 0;
}

bool ShowWindowAsync(WindowHandle window, int command) {
  return ::ShowWindowAsync(AsHwnd(window), command) != 0;
}

bool IsIconic(WindowHandle window) { return ::IsIconic(AsHwnd(window)) != 0; }

bool SetWindowPos(WindowHandle window, InsertAfter insertAfter, int x, int y, int width, int height,
                  unsigned flags) {
  const HWND after = reinterpret_cast<HWND>(static_cast<std::intptr_t>(insertAfter));
  return ::SetWindowPos(AsHwnd(window), after, x, y, width, height, flags) != 0;
}

WindowHandle GetForegroundWindow() { return ::GetForegroundWindow(); }

bool AttachThreadInput(std::uint32_t attachThread, std::uint32_t toThread, bool attach) {
  return ::AttachThreadInput(attachThread, toThread, attach ? TRUE : FALSE) != 0;
}

bool SetForegroundWindow(WindowHandle window) { return ::SetForegroundWindow(AsHwnd(window)) != 0; }

bool BringWindowToTop(WindowHandle window) { return ::BringWindowToTop(AsHwnd(window)) != 0; }

void SwitchToThisWindow(WindowHandle window, bool altTab) {
  ::SwitchToThisWindow(AsHwnd(window), altTab ? TRUE : FALSE);
}

unsigned SendInput(std::span<const KeyboardInput> inputs) {
  std::vector<INPUT> records(inputs.size());
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    records[i].type = INPUT_KEYBOARD;
    records[i].ki.wVk = inputs[i].virtualKey;
    records[i].ki.dwFlags = inputs[i].flags;
  }
  return ::SendInput(static_cast<UINT>(records.size()), records.data(), sizeof(INPUT));
}

bool AllowSetForegroundWindow(std::uint32_t processId) {
  return ::AllowSetForegroundWindow(processId) != 0;
}

}  // namespace platform

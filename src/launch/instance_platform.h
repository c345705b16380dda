// What single instance and activation need of the platform: windows of the desktop, the
// activation pipe from both ends, one detached thread and the foreground calls. Windows are
// native handles (HWND); pipes and threads have handle types of their own, each closed by its
// own CloseHandle. A failed call's reason is platform::GetLastError().
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "launch/launch_platform.h"
#include "platform/unique_handle.h"

namespace platform {

using WindowHandle = NativeHandle;
enum class PipeHandle : std::uintptr_t {};    // PipeHandle{} is no pipe
enum class ThreadHandle : std::uintptr_t {};  // ThreadHandle{} is no thread

// FindWindowW(className, windowName): either may be null, as in Win32.
WindowHandle FindWindowW(const char16_t* className, const char16_t* windowName);
bool IsWindow(WindowHandle window);
// EnumWindows over the top-level windows; the callback returns false to stop.
void EnumWindows(const std::function<bool(WindowHandle)>& callback);
WindowHandle GetWindow(WindowHandle window, unsigned command);
// The thread id, and through `processId` (if not null) the process id; 0 for no window.
std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId);
std::uint32_t GetCurrentProcessId();
// nullopt when the lookup fails.
std::optional<std::uint32_t> ProcessIdToSessionId(std::uint32_t processId);
// The text copied into a buffer of `capacity` characters: at most capacity - 1 of them.
std::u16string GetClassNameW(WindowHandle window, int capacity);
std::u16string GetWindowTextW(WindowHandle window, int capacity);

// CreateFileW(name, desiredAccess, shareMode, no security, creationDisposition, 0, no
// template); PipeHandle{} on failure.
PipeHandle CreateFileW(std::u16string_view name, std::uint32_t desiredAccess,
                       std::uint32_t shareMode, std::uint32_t creationDisposition);
// True when WriteFile succeeded.
bool WriteFile(PipeHandle pipe, std::string_view bytes);
// CreateNamedPipeW with default security; PipeHandle{} on failure.
PipeHandle CreateNamedPipeW(std::u16string_view name, std::uint32_t openMode,
                            std::uint32_t pipeMode, std::uint32_t maxInstances,
                            std::uint32_t outBufferSize, std::uint32_t inBufferSize,
                            std::uint32_t defaultTimeout);
// ConnectNamedPipe without overlapping: blocks until a client comes. False with
// ERROR_PIPE_CONNECTED (535) when the client came before the call.
bool ConnectNamedPipe(PipeHandle pipe);
// One ReadFile of at most `capacity` bytes; nullopt when it fails (a longer message fails it).
std::optional<std::string> ReadFile(PipeHandle pipe, std::size_t capacity);
bool FlushFileBuffers(PipeHandle pipe);
bool DisconnectNamedPipe(PipeHandle pipe);
// Closing keeps the last error as it was.
void CloseHandle(PipeHandle pipe);

// CreateThread running `start` to its end; ThreadHandle{} on failure. Closing the handle does
// not stop the thread.
using ThreadStart = void (*)();
ThreadHandle CreateThread(ThreadStart start);
void CloseHandle(ThreadHandle thread);

bool PostMessageW(WindowHandle window, unsigned message, std::uintptr_t wParam,
                  std::intptr_t lParam);

bool ShowWindow(WindowHandle window, int command);
bool ShowWindowAsync(WindowHandle window, int command);
bool IsIconic(WindowHandle window);
// hWndInsertAfter of SetWindowPos: HWND_TOP, HWND_TOPMOST, HWND_NOTOPMOST.
enum class InsertAfter : std::intptr_t { kTop = 0, kTopmost = -1, kNoTopmost = -2 };
bool SetWindowPos(WindowHandle window, InsertAfter insertAfter, int x, int y, int width, int height,
                  unsigned flags);
WindowHandle GetForegroundWindow();
bool AttachThreadInput(std::uint32_t attachThread, std::uint32_t toThread, bool attach);
bool SetForegroundWindow(WindowHandle window);
bool BringWindowToTop(WindowHandle window);
void SwitchToThisWindow(WindowHandle window, bool altTab);
// One INPUT_KEYBOARD record: a virtual key and its KEYEVENTF_* flags.
struct KeyboardInput {
  std::uint16_t virtualKey = 0;
  std::uint32_t flags = 0;
};
// SendInput of keyboard records; the number of records inserted.
unsigned SendInput(std::span<const KeyboardInput> inputs);
bool AllowSetForegroundWindow(std::uint32_t processId);

}  // namespace platform

struct PipeHandleTraits {
  using Type = platform::PipeHandle;
  static constexpr Type Null() { return Type{}; }
  static bool IsValid(Type pipe) { return pipe != Type{}; }
  static void Close(Type pipe) { platform::CloseHandle(pipe); }
};
using UniquePipeHandle = UniqueHandle<PipeHandleTraits>;

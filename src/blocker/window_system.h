// What the window facts and the gate need of the desktop, under the platform's own names. The
// Windows build implements it in win32_window_system.cpp, the host build with a simulated
// desktop. Debugger lines go through the shared platform/debug_output.h seam.
#pragma once

#include <cstdint>
#include <functional>

namespace blocker {

using WindowHandle = void*;
using ProcessHandle = void*;

// A RECT: 16 bytes, the layout DwmGetWindowAttribute writes.
struct Rect {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;
};

}  // namespace blocker

namespace blocker::platform {

constexpr int kGwlStyle = -16;
constexpr int kGwlExStyle = -20;
constexpr std::uint32_t kDwmwaExtendedFrameBounds = 9;
constexpr std::uint32_t kDwmwaCloaked = 14;
constexpr std::uint32_t kProcessQueryLimitedInformation = 0x1000;

bool IsWindow(WindowHandle window);
bool IsWindowVisible(WindowHandle window);
// GWL_STYLE or GWL_EXSTYLE; 0 for a window that is gone.
std::intptr_t GetWindowLongPtrW(WindowHandle window, int index);
// An HRESULT: negative on failure, and then `value` is untouched.
std::int32_t DwmGetWindowAttribute(WindowHandle window, std::uint32_t attribute, void* value,
                                   std::uint32_t size);
bool GetWindowRect(WindowHandle window, Rect* rect);
// Copies at most maxCount - 1 units and a terminator; the number of units copied.
int GetClassNameW(WindowHandle window, char16_t* buffer, int maxCount);
bool GetLayeredWindowAttributes(WindowHandle window, std::uint32_t* colorKey, std::uint8_t* alpha,
                                std::uint32_t* flags);
// The owner's thread id; its process id goes to *processId (0 for a window that is gone).
std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId);
int GetWindowTextLengthW(WindowHandle window);
int GetWindowTextW(WindowHandle window, char16_t* buffer, int maxCount);

ProcessHandle OpenProcess(std::uint32_t access, bool inheritHandle, std::uint32_t processId);
// *size holds the buffer's capacity in units and receives the path's length.
bool QueryFullProcessImageNameW(ProcessHandle process, std::uint32_t flags, char16_t* buffer,
                                std::uint32_t* size);
bool CloseHandle(ProcessHandle handle);
// Length of the directory in units, 0 on failure.
std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size);

// FILETIME ticks: 100 ns since 1601-01-01 UTC.
std::uint64_t GetSystemTimeAsFileTime();

// What the engine needs beyond the facts: window events on a thread of its own with a message
// loop, the close and hide actions, and its workers. Workers start through the port so that the
// host build can count them and wait until every one has finished.

using HookHandle = void*;
// The WINEVENTPROC shape without the thread id and time, which the engine never reads.
using WinEventCallback = void (*)(HookHandle hook, std::uint32_t event, WindowHandle window,
                                  std::int32_t objectId, std::int32_t childId);
using EnumWindowsCallback = bool (*)(WindowHandle window, void* context);

constexpr std::uint32_t kEventObjectCreate = 0x8000;
constexpr std::uint32_t kEventObjectShow = 0x8002;
constexpr std::int32_t kObjidWindow = 0;
constexpr std::int32_t kChildidSelf = 0;
constexpr std::uint32_t kWineventOutOfContextSkipOwnProcess = 2;
constexpr std::uint32_t kWmUser = 0x400;
constexpr std::uint32_t kWmQuit = 0x12;
constexpr std::uint32_t kWmClose = 0x10;
constexpr std::uint32_t kWmSysCommand = 0x112;
constexpr std::uintptr_t kScClose = 0xF060;
constexpr std::uint32_t kGaRoot = 2;
constexpr int kSwHide = 0;
constexpr int kSwShowNa = 8;
constexpr std::uint32_t kSwpHideFlags = 0x97;
constexpr std::uint32_t kSwpShowFlags = 0x57;
constexpr std::uint32_t kPmNoRemove = 0;

// A MSG as the loop carries it; the Windows build keeps the whole MSG in `native`.
struct Message {
  std::uint32_t message = 0;
  alignas(8) unsigned char native[64] = {};
};

std::uint32_t GetCurrentProcessId();
std::uint32_t GetCurrentThreadId();

HookHandle SetWinEventHook(std::uint32_t eventMin, std::uint32_t eventMax,
                           WinEventCallback callback, std::uint32_t processId,
                           std::uint32_t threadId, std::uint32_t flags);
bool UnhookWinEvent(HookHandle hook);

bool PeekMessageW(Message* message, std::uint32_t filterMin, std::uint32_t filterMax,
                  std::uint32_t removeFlags);
// Above 0 for a message, 0 for WM_QUIT, -1 on failure. Hook events are delivered inside it.
int GetMessageW(Message* message);
void TranslateMessage(const Message* message);
void DispatchMessageW(const Message* message);
bool PostThreadMessageW(std::uint32_t threadId, std::uint32_t message, std::uintptr_t wParam,
                        std::intptr_t lParam);

WindowHandle GetAncestor(WindowHandle window, std::uint32_t flags);
bool EnumWindows(EnumWindowsCallback callback, void* context);
bool PostMessageW(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                  std::intptr_t lParam);
bool ShowWindowAsync(WindowHandle window, int command);
bool SetWindowPos(WindowHandle window, WindowHandle insertAfter, int x, int y, int cx, int cy,
                  std::uint32_t flags);

// Runs `work` on a new detached thread. A thread that cannot be started raises, as std::thread
// does.
void StartDetachedThread(std::function<void()> work);

}  // namespace blocker::platform

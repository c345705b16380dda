// What the window facts and the gate need of the desktop, under the platform's own names. The
// Windows build implements it in win32_window_system.cpp, the host build with a simulated
// desktop. Debugger lines go through the shared platform/debug_output.h seam.
#pragma once

#include <cstdint>

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

}  // namespace blocker::platform

// The blocker's window port over user32, kernel32 and dwmapi. dwmapi is loaded on first use:
// a system without it answers the attribute queries as failed, which the logic reads as not
// cloaked and no frame bounds.
#include <windows.h>

#include <atomic>
#include <thread>
#include <utility>

#include "blocker/window_system.h"

namespace blocker::platform {

namespace {

using DwmGetWindowAttributeFunction = HRESULT(WINAPI*)(HWND, DWORD, PVOID, DWORD);

DwmGetWindowAttributeFunction LoadDwmGetWindowAttribute() {
  // Kept loaded for the life of the process, like a link-time import would be.
  HMODULE dwmapi = ::LoadLibraryW(L"dwmapi.dll");
  if (!dwmapi) return nullptr;
  return reinterpret_cast<DwmGetWindowAttributeFunction>(
      reinterpret_cast<void*>(::GetProcAddress(dwmapi, "DwmGetWindowAttribute")));
}

HWND AsHwnd(WindowHandle window) { return static_cast<HWND>(window); }

}  // namespace

bool IsWindow(WindowHandle window) { return ::IsWindow(AsHwnd(window)) != FALSE; }

bool IsWindowVisible(WindowHandle window) { return ::IsWindowVisible(AsHwnd(window)) != FALSE; }

std::intptr_t GetWindowLongPtrW(WindowHandle window, int index) {
  return static_cast<std::intptr_t>(::GetWindowLongPtrW(AsHwnd(window), index));
}

std::int32_t DwmGetWindowAttribute(WindowHandle window, std::uint32_t attribute, void* value,
                                   std::uint32_t size) {
  // Thread-safe once: workers and the platform thread may ask first at the same moment.
  static const DwmGetWindowAttributeFunction function = LoadDwmGetWindowAttribute();
  if (!function) return static_cast<std::int32_t>(E_NOTIMPL);
  return static_cast<std::int32_t>(function(AsHwnd(window), attribute, value, size));
}

bool GetWindowRect(WindowHandle window, Rect* rect) {
  RECT native = {};
  if (!::GetWindowRect(AsHwnd(window), &native)) return false;
  *rect = {native.left, native.top, native.right, native.bottom};
  return true;
}

int GetClassNameW(WindowHandle window, char16_t* buffer, int maxCount) {
  return ::GetClassNameW(AsHwnd(window), reinterpret_cast<wchar_t*>(buffer), maxCount);
}

bool GetLayeredWindowAttributes(WindowHandle window, std::uint32_t* colorKey, std::uint8_t* alpha,
                                std::uint32_t* flags) {
  COLORREF key = colorKey ? *colorKey : 0;
  BYTE byte = alpha ? *alpha : 0;
  DWORD bits = flags ? *flags : 0;
  if (!::GetLayeredWindowAttributes(AsHwnd(window), &key, &byte, &bits)) return false;
  if (colorKey) *colorKey = key;
  if (alpha) *alpha = byte;
  if (flags) *flags = bits;
  return true;
}

std::uint32_t GetWindowThreadProcessId(WindowHandle window, std::uint32_t* processId) {
  DWORD pid = 0;
  const DWORD thread = ::GetWindowThreadProcessId(AsHwnd(window), &pid);
  if (processId) *processId = pid;
  return thread;
}

int GetWindowTextLengthW(WindowHandle window) { return ::GetWindowTextLengthW(AsHwnd(window)); }

int GetWindowTextW(WindowHandle window, char16_t* buffer, int maxCount) {
  return ::GetWindowTextW(AsHwnd(window), reinterpret_cast<wchar_t*>(buffer), maxCount);
}

ProcessHandle OpenProcess(std::uint32_t access, bool inheritHandle, std::uint32_t processId) {
  return ::OpenProcess(access, inheritHandle ? TRUE : FALSE, processId);
}

bool QueryFullProcessImageNameW(ProcessHandle process, std::uint32_t flags, char16_t* buffer,
                                std::uint32_t* size) {
  DWORD length = *size;
  if (!::QueryFullProcessImageNameW(static_cast<HANDLE>(process), flags,
                                    reinterpret_cast<wchar_t*>(buffer), &length)) {
    return false;
  }
  *size = length;
  return true;
}

bool CloseHandle(ProcessHandle handle) { return ::CloseHandle(static_cast<HANDLE>(handle)) != 0; }

std::uint32_t GetWindowsDirectoryW(char16_t* buffer, std::uint32_t size) {
  return ::GetWindowsDirectoryW(reinterpret_cast<wchar_t*>(buffer), size);
}

std::uint64_t GetSystemTimeAsFileTime() {
  FILETIME now = {};
  ::GetSystemTimeAsFileTime(&now);
  return (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

namespace {

// WINEVENTPROC has no context, and the port's callback has another shape: the one callback the
// process hooks with is kept here for the trampoline.
std::atomic<WinEventCallback> winEventTarget{nullptr};

void CALLBACK WinEventTrampoline(HWINEVENTHOOK hook, DWORD event, HWND window, LONG objectId,
                                 LONG childId, DWORD, DWORD) {
  const WinEventCallback target = winEventTarget.load();
  if (target) target(hook, event, window, objectId, childId);
}

static_assert(sizeof(MSG) <= sizeof(Message::native), "a MSG must fit the port's message");

MSG* AsMsg(Message* message) { return reinterpret_cast<MSG*>(message->native); }
const MSG* AsMsg(const Message* message) { return reinterpret_cast<const MSG*>(message->native); }

}  // namespace

std::uint32_t GetCurrentProcessId() { return ::GetCurrentProcessId(); }

std::uint32_t GetCurrentThreadId() { return ::GetCurrentThreadId(); }

HookHandle SetWinEventHook(std::uint32_t eventMin, std::uint32_t eventMax,
                           WinEventCallback callback, std::uint32_t processId,
                           std::uint32_t threadId, std::uint32_t flags) {
  if (!callback) return nullptr;
  winEventTarget.store(callback);
  return ::SetWinEventHook(eventMin, eventMax, nullptr, &WinEventTrampoline, processId, threadId,
                           flags);
}

bool UnhookWinEvent(HookHandle hook) {
  return ::UnhookWinEvent(static_cast<HWINEVENTHOOK>(hook)) != FALSE;
}

bool PeekMessageW(Message* message, std::uint32_t filterMin, std::uint32_t filterMax,
                  std::uint32_t removeFlags) {
  const BOOL found = ::PeekMessageW(AsMsg(message), nullptr, filterMin, filterMax, removeFlags);
  if (found) message->message = AsMsg(message)->message;
  return found != FALSE;
}

int GetMessageW(Message* message) {
  const BOOL result = ::GetMessageW(AsMsg(message), nullptr, 0, 0);
  message->message = AsMsg(message)->message;
  return static_cast<int>(result);
}

void TranslateMessage(const Message* message) { ::TranslateMessage(AsMsg(message)); }

void DispatchMessageW(const Message* message) { ::DispatchMessageW(AsMsg(message)); }

bool PostThreadMessageW(std::uint32_t threadId, std::uint32_t message, std::uintptr_t wParam,
                        std::intptr_t lParam) {
  return ::PostThreadMessageW(threadId, message, static_cast<WPARAM>(wParam),
                              static_cast<LPARAM>(lParam)) != FALSE;
}

WindowHandle GetAncestor(WindowHandle window, std::uint32_t flags) {
  return ::GetAncestor(AsHwnd(window), flags);
}

namespace {

struct EnumContext {
  EnumWindowsCallback callback;
  void* context;
};

BOOL CALLBACK EnumWindowsTrampoline(HWND window, LPARAM parameter) {
  const auto* enumContext = reinterpret_cast<const EnumContext*>(parameter);
  return enumContext->callback(window, enumContext->context) ? TRUE : FALSE;
}

}  // namespace

bool EnumWindows(EnumWindowsCallback callback, void* context) {
  EnumContext enumContext{callback, context};
  return ::EnumWindows(&EnumWindowsTrampoline, reinterpret_cast<LPARAM>(&enumContext)) != FALSE;
}

bool PostMessageW(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                  std::intptr_t lParam) {
  return ::PostMessageW(AsHwnd(window), message, static_cast<WPARAM>(wParam),
                        static_cast<LPARAM>(lParam)) != FALSE;
}

bool ShowWindowAsync(WindowHandle window, int command) {
  return ::ShowWindowAsync(AsHwnd(window), command) != FALSE;
}

bool SetWindowPos(WindowHandle window, WindowHandle insertAfter, int x, int y, int cx, int cy,
                  std::uint32_t flags) {
  return ::SetWindowPos(AsHwnd(window), AsHwnd(insertAfter), x, y, cx, cy, flags) != FALSE;
}

void StartDetachedThread(std::function<void()> work) {
  // The worker owns its closure and frees it when it returns; detach raises on failure.
  std::thread(std::move(work)).detach();
}

}  // namespace blocker::platform

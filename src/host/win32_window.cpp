#include "host/win32_window.h"

#include "launch/launch_platform.h"

namespace {

using namespace host_messages;

constexpr unsigned kClassStyle = 3;  // CS_HREDRAW | CS_VREDRAW
constexpr unsigned kSwpNoZOrderNoActivate = 20;
constexpr int kMinimumTrackWidth = 800;
constexpr int kMinimumTrackHeight = 600;
constexpr double kBaseDpi = 96.0;

int activeWindowCount = 0;

// Registers the class on first use and forgets it when the last window is gone, so that a later
// window registers it anew.
class WindowClassRegistrar {
 public:
  static WindowClassRegistrar& Instance() {
    static WindowClassRegistrar registrar;
    return registrar;
  }

  const char16_t* GetWindowClass() {
    if (!registered) {
      host::platform::WindowClass windowClass;
      windowClass.style = kClassStyle;
      windowClass.procedure = &Win32Window::WindowProc;
      windowClass.instance = host::platform::GetModuleHandleW();
      windowClass.icon = host::platform::LoadIconW(windowClass.instance, kIconResource);
      windowClass.cursor = host::platform::LoadArrowCursor();
      windowClass.className = kWindowClassName;
      // A failure shows itself as a failed CreateWindowExW.
      host::platform::RegisterClassW(windowClass);
      registered = true;
    }
    return kWindowClassName;
  }

  void UnregisterWindowClass() {
    host::platform::UnregisterClassW(kWindowClassName, host::platform::GetModuleHandleW());
    registered = false;
  }

 private:
  bool registered = false;
};

Win32Window* WindowOf(platform::NativeHandle window) {
  return reinterpret_cast<Win32Window*>(host::platform::GetWindowLongPtrW(window, kGwlpUserData));
}

// Older systems lack the export; the caption and borders then simply stay at the first DPI.
void EnableNonClientDpiScaling(platform::NativeHandle window) {
  const platform::NativeHandle user32 = host::platform::LoadLibraryA("User32.dll");
  if (!user32) return;
  void* enable = host::platform::GetProcAddress(user32, "EnableNonClientDpiScaling");
  if (!enable) return;
  host::platform::CallEnableNonClientDpiScaling(enable, window);
  host::platform::FreeLibrary(user32);
}

int Scale(int value, double scale) { return static_cast<int>(value * scale); }

}  // namespace

Win32Window::Win32Window() { ++activeWindowCount; }

Win32Window::~Win32Window() {
  --activeWindowCount;
  Destroy();
}

int Win32Window::ActiveWindowCount() { return activeWindowCount; }

bool Win32Window::CreateHidden(const std::u16string& title, const Point& origin, const Size& size) {
  return Create(title, origin, size, kWsOverlappedWindow);
}

bool Win32Window::CreateAndShow(const std::u16string& title, const Point& origin,
                                const Size& size) {
  return Create(title, origin, size, kWsOverlappedWindow | kWsVisible);
}

bool Win32Window::Create(const std::u16string& title, const Point& origin, const Size& size,
                         unsigned long style) {
  Destroy();
  const char16_t* windowClass = WindowClassRegistrar::Instance().GetWindowClass();

  const platform::NativeHandle monitor = platform::MonitorFromPoint(origin.x, origin.y);
  const double scale = platform::FlutterDesktopGetDpiForMonitor(monitor) / kBaseDpi;

  const platform::NativeHandle window = host::platform::CreateWindowExW(
      0, windowClass, title, style, Scale(origin.x, scale), Scale(origin.y, scale),
      Scale(static_cast<int>(size.width), scale), Scale(static_cast<int>(size.height), scale),
      nullptr, nullptr, host::platform::GetModuleHandleW(), this);
  if (!window) return false;
  return OnCreate();
}

std::intptr_t Win32Window::WindowProc(platform::NativeHandle window, unsigned message,
                                      std::uintptr_t wParam, std::intptr_t lParam) {
  if (message == kWmNcCreate) {
    void* self = host::platform::CreateParameterOf(lParam);
    host::platform::SetWindowLongPtrW(window, kGwlpUserData, reinterpret_cast<std::intptr_t>(self));
    EnableNonClientDpiScaling(window);
    if (self) static_cast<Win32Window*>(self)->windowHandle = window;
    return host::platform::DefWindowProcW(window, message, wParam, lParam);
  }
  // Messages that come before WM_NCCREATE (WM_GETMINMAXINFO first of all) find no object yet.
  if (Win32Window* self = WindowOf(window)) {
    return self->MessageHandler(window, message, wParam, lParam);
  }
  return host::platform::DefWindowProcW(window, message, wParam, lParam);
}

std::intptr_t Win32Window::MessageHandler(platform::NativeHandle window, unsigned message,
                                          std::uintptr_t wParam, std::intptr_t lParam) {
  switch (message) {
    case kWmDestroy:
      windowHandle = nullptr;
      Destroy();
      if (quitOnClose) host::platform::PostQuitMessage(0);
      return 0;
    case kWmSize:
      FitChildToClientArea();
      return 0;
    case kWmActivate:
      if (childContent) host::platform::SetFocus(childContent);
      return 0;
    case kWmGetMinMaxInfo:
      // Physical pixels on purpose: the floor does not grow with the monitor's DPI.
      host::platform::SetMinTrackSize(lParam, kMinimumTrackWidth, kMinimumTrackHeight);
      return 0;
    case kWmDpiChanged: {
      const host::platform::Rect suggested = host::platform::SuggestedRectOf(lParam);
      host::platform::SetWindowPos(window, nullptr, suggested.left, suggested.top,
                                   suggested.right - suggested.left,
                                   suggested.bottom - suggested.top, kSwpNoZOrderNoActivate);
      return 0;
    }
    default:
      return host::platform::DefWindowProcW(window, message, wParam, lParam);
  }
}

bool Win32Window::OnCreate() { return true; }

void Win32Window::OnDestroy() {}

void Win32Window::Destroy() {
  OnDestroy();
  if (windowHandle) {
    // The WM_DESTROY inside the call clears the handle already; this covers a failed call.
    host::platform::DestroyWindow(windowHandle);
    windowHandle = nullptr;
  }
  if (activeWindowCount == 0) WindowClassRegistrar::Instance().UnregisterWindowClass();
}

void Win32Window::SetChildContent(platform::NativeHandle content) {
  childContent = content;
  host::platform::SetParent(content, windowHandle);
  FitChildToClientArea();
  host::platform::SetFocus(content);
}

host::platform::Rect Win32Window::GetClientArea() const {
  return host::platform::GetClientRect(windowHandle);
}

void Win32Window::FitChildToClientArea() {
  if (!childContent) return;
  const host::platform::Rect client = GetClientArea();
  host::platform::MoveWindow(childContent, client.left, client.top, client.right - client.left,
                             client.bottom - client.top, true);
}

#include "host/win32_window.h"

#include "app/product.h"
#include "engine_abi/flutter_embedder.h"
#include "platform/kernel.h"
#include "platform/user.h"

namespace {

constexpr unsigned kClassStyle = platform::kCsHRedraw | platform::kCsVRedraw;
constexpr unsigned kSwpNoZOrderNoActivate = platform::kSwpNoZOrder | platform::kSwpNoActivate;
static_assert(kClassStyle == 3 && kSwpNoZOrderNoActivate == 20);
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

  std::u16string_view GetWindowClass() {
    if (!registered) {
      platform::WindowClass windowClass;
      windowClass.style = kClassStyle;
      windowClass.procedure = &Win32Window::WindowProc;
      windowClass.instance = platform::GetModuleHandleW(nullptr);
      windowClass.icon = platform::LoadIconW(windowClass.instance, product::kAppIconResource);
      windowClass.cursor = platform::LoadCursorW(platform::kIdcArrow);
      windowClass.className = product::kMainWindowClass;
      // A failure shows itself as a failed CreateWindowExW.
      platform::RegisterClassW(windowClass);
      registered = true;
    }
    return product::kMainWindowClass;
  }

  void UnregisterWindowClass() {
    platform::UnregisterClassW(product::kMainWindowClass, platform::GetModuleHandleW(nullptr));
    registered = false;
  }

 private:
  bool registered = false;
};

Win32Window* WindowOf(platform::WindowHandle window) {
  return reinterpret_cast<Win32Window*>(
      platform::GetWindowLongPtrW(window, platform::kGwlpUserData));
}

// Older systems lack the export; the caption and borders then simply stay at the first DPI.
// The library stays loaded when the export is missing: user32 is never unloaded anyway.
void EnableNonClientDpiScaling(platform::WindowHandle window) {
  const platform::ModuleHandle user32 = platform::LoadLibraryA("User32.dll");
  if (!user32) return;
  void* enable = platform::GetProcAddress(user32, "EnableNonClientDpiScaling");
  if (!enable) return;
  platform::CallEnableNonClientDpiScaling(enable, window);
  platform::FreeLibrary(user32);
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
  return Create(title, origin, size, platform::kWsOverlappedWindow);
}

bool Win32Window::CreateAndShow(const std::u16string& title, const Point& origin,
                                const Size& size) {
  return Create(title, origin, size, platform::kWsOverlappedWindow | platform::kWsVisible);
}

bool Win32Window::Create(const std::u16string& title, const Point& origin, const Size& size,
                         unsigned long style) {
  Destroy();
  const std::u16string_view windowClass = WindowClassRegistrar::Instance().GetWindowClass();

  const platform::MonitorHandle monitor =
      platform::MonitorFromPoint({origin.x, origin.y}, platform::kMonitorDefaultToNearest);
  const double scale = FlutterDesktopGetDpiForMonitor(monitor) / kBaseDpi;

  const platform::WindowHandle window = platform::CreateWindowExW(
      0, windowClass, title, style, Scale(origin.x, scale), Scale(origin.y, scale),
      Scale(static_cast<int>(size.width), scale), Scale(static_cast<int>(size.height), scale),
      nullptr, nullptr, platform::GetModuleHandleW(nullptr), this);
  if (!window) return false;
  return OnCreate();
}

std::intptr_t Win32Window::WindowProc(platform::WindowHandle window, unsigned message,
                                      std::uintptr_t wParam, std::intptr_t lParam) {
  if (message == platform::kWmNcCreate) {
    void* self = platform::CreateParameterOf(lParam);
    platform::SetWindowLongPtrW(window, platform::kGwlpUserData,
                                reinterpret_cast<std::intptr_t>(self));
    EnableNonClientDpiScaling(window);
    if (self) static_cast<Win32Window*>(self)->windowHandle = window;
    return platform::DefWindowProcW(window, message, wParam, lParam);
  }
  // Messages that come before WM_NCCREATE (WM_GETMINMAXINFO first of all) find no object yet.
  if (Win32Window* self = WindowOf(window)) {
    return self->MessageHandler(window, message, wParam, lParam);
  }
  return platform::DefWindowProcW(window, message, wParam, lParam);
}

std::intptr_t Win32Window::MessageHandler(platform::WindowHandle window, unsigned message,
                                          std::uintptr_t wParam, std::intptr_t lParam) {
  switch (message) {
    case platform::kWmDestroy:
      windowHandle = nullptr;
      Destroy();
      if (quitOnClose) platform::PostQuitMessage(0);
      return 0;
    case platform::kWmSize:
      FitChildToClientArea();
      return 0;
    case platform::kWmActivate:
      if (childContent) platform::SetFocus(childContent);
      return 0;
    case platform::kWmGetMinMaxInfo:
      // Physical pixels on purpose: the floor does not grow with the monitor's DPI.
      platform::SetMinTrackSize(lParam, kMinimumTrackWidth, kMinimumTrackHeight);
      return 0;
    case platform::kWmDpiChanged: {
      const Rect suggested = platform::SuggestedRectOf(lParam);
      platform::SetWindowPos(window, nullptr, suggested.left, suggested.top,
                             suggested.right - suggested.left, suggested.bottom - suggested.top,
                             kSwpNoZOrderNoActivate);
      return 0;
    }
    default:
      return platform::DefWindowProcW(window, message, wParam, lParam);
  }
}

bool Win32Window::OnCreate() { return true; }

void Win32Window::OnDestroy() {}

void Win32Window::Destroy() {
  OnDestroy();
  if (windowHandle) {
    // The WM_DESTROY inside the call clears the handle already; this covers a failed call.
    platform::DestroyWindow(windowHandle);
    windowHandle = nullptr;
  }
  if (activeWindowCount == 0) WindowClassRegistrar::Instance().UnregisterWindowClass();
}

void Win32Window::SetChildContent(platform::WindowHandle content) {
  childContent = content;
  platform::SetParent(content, windowHandle);
  FitChildToClientArea();
  platform::SetFocus(content);
}

Rect Win32Window::GetClientArea() const {
  Rect client;
  platform::GetClientRect(windowHandle, &client);
  return client;
}

void Win32Window::FitChildToClientArea() {
  if (!childContent) return;
  const Rect client = GetClientArea();
  platform::MoveWindow(childContent, client.left, client.top, client.right - client.left,
                       client.bottom - client.top, true);
}

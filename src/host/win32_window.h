// The top-level window's base: owns the native window and one child content window, keeps the
// child fitted to the client area and routes messages to the virtual operations below.
#pragma once

#include <cstdint>
#include <string>

#include "host/window_platform.h"

class Win32Window {
 public:
  struct Point {
    int x = 0;
    int y = 0;
  };
  struct Size {
    unsigned width = 0;
    unsigned height = 0;
  };

  Win32Window();
  virtual ~Win32Window();
  Win32Window(const Win32Window&) = delete;
  Win32Window& operator=(const Win32Window&) = delete;

  // Both scale origin and size by the DPI of the monitor at the origin. Creating again
  // replaces the window.
  bool CreateHidden(const std::u16string& title, const Point& origin, const Size& size);
  bool CreateAndShow(const std::u16string& title, const Point& origin, const Size& size);

  void Destroy();
  void SetChildContent(platform::NativeHandle content);
  host::platform::Rect GetClientArea() const;
  platform::NativeHandle GetHandle() const { return windowHandle; }
  void SetQuitOnClose(bool quit) { quitOnClose = quit; }

  // The class's window procedure.
  static std::intptr_t WindowProc(platform::NativeHandle window, unsigned message,
                                  std::uintptr_t wParam, std::intptr_t lParam);

  // Windows alive in the process; the class is unregistered when the last one is destroyed.
  static int ActiveWindowCount();

 protected:
  virtual std::intptr_t MessageHandler(platform::NativeHandle window, unsigned message,
                                       std::uintptr_t wParam, std::intptr_t lParam);
  virtual bool OnCreate();
  virtual void OnDestroy();

 private:
  bool Create(const std::u16string& title, const Point& origin, const Size& size,
              unsigned long style);
  void FitChildToClientArea();

  bool quitOnClose = false;
  platform::NativeHandle windowHandle = nullptr;
  platform::NativeHandle childContent = nullptr;
};

// Window messages and values of the host window's table.
namespace host_messages {
constexpr unsigned kWmDestroy = 2;
constexpr unsigned kWmSize = 5;
constexpr unsigned kWmActivate = 6;
constexpr unsigned kWmGetMinMaxInfo = 36;
constexpr unsigned kWmNcCreate = 129;
constexpr unsigned kWmDpiChanged = 736;
constexpr unsigned long kWsOverlappedWindow = 0xCF0000;
constexpr unsigned long kWsVisible = 0x10000000;
constexpr int kGwlpUserData = -21;
constexpr int kIconResource = 101;
}  // namespace host_messages

// The class name the host window registers.
inline constexpr char16_t kWindowClassName[] = u"FLUTTER_RUNNER_WIN32_WINDOW";

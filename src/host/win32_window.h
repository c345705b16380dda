// The top-level window's base: owns the native window and one child content window, keeps the
// child fitted to the client area and routes messages to the virtual operations below.
#pragma once

#include <cstdint>
#include <string>

#include "base/geometry.h"
#include "platform/handles.h"

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
  void SetChildContent(platform::WindowHandle content);
  Rect GetClientArea() const;
  platform::WindowHandle GetHandle() const { return windowHandle; }
  void SetQuitOnClose(bool quit) { quitOnClose = quit; }

  // The class's window procedure.
  static std::intptr_t WindowProc(platform::WindowHandle window, unsigned message,
                                  std::uintptr_t wParam, std::intptr_t lParam);

  // Windows alive in the process; the class is unregistered when the last one is destroyed.
  static int ActiveWindowCount();

 protected:
  virtual std::intptr_t MessageHandler(platform::WindowHandle window, unsigned message,
                                       std::uintptr_t wParam, std::intptr_t lParam);
  virtual bool OnCreate();
  virtual void OnDestroy();

 private:
  bool Create(const std::u16string& title, const Point& origin, const Size& size,
              unsigned long style);
  void FitChildToClientArea();

  bool quitOnClose = false;
  platform::WindowHandle windowHandle = nullptr;
  platform::WindowHandle childContent = nullptr;
};

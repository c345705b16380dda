// The application's one top-level window: hosts the Flutter view, owns the engine through its
// view controller, keeps the notification-area icon, and starts and stops the native modules of
// window_modules.h. Closing it only hides it; the tray menu's exit item ends the process.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "channels/method_channel.h"
#include "host/dart_project.h"
#include "host/flutter_view_controller.h"
#include "host/win32_window.h"
#include "platform/shell.h"

class FlutterEngine;

class FlutterWindow : public Win32Window {
 public:
  explicit FlutterWindow(const DartProject& project);
  ~FlutterWindow() override;

  void AddTrayIcon();
  void RemoveTrayIcon();
  void RegisterPlugins(FlutterEngine* engine);
  // Creates the named channel on the engine's messenger with its handler, replacing one of the
  // same name; nothing without a controller or an engine.
  void RegisterChannel(const char* name, MethodCallHandler handler);
  void ReleaseChannel(const char* name);
  bool HasChannel(const char* name) const;

  // The tray menu's texts, read each time the menu opens; Dart may replace them.
  std::u16string& TrayShowText() { return trayShowText; }
  std::u16string& TrayExitText() { return trayExitText; }

  bool IsTrayIconAdded() const { return trayIconAdded; }
  FlutterViewController* Controller() const { return flutterController.get(); }

 protected:
  std::intptr_t MessageHandler(platform::WindowHandle window, unsigned message,
                               std::uintptr_t wParam, std::intptr_t lParam) override;
  bool OnCreate() override;
  void OnDestroy() override;

 private:
  std::intptr_t ShowTrayMenu(platform::WindowHandle window);
  void ShowFromTray(platform::WindowHandle window);

  DartProject project;
  std::unique_ptr<FlutterViewController> flutterController;
  // The modules' channels in the order they were registered; the destructor releases them in
  // the reverse order.
  std::vector<std::pair<std::string, std::unique_ptr<MethodChannel>>> channels;
  platform::NotifyIconData trayData;
  bool trayIconAdded = false;
  std::u16string trayShowText;
  std::u16string trayExitText;
};

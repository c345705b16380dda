// The application's one top-level window: hosts the Flutter view, owns the engine through its
// view controller, keeps the notification-area icon, and starts and stops the native modules.
// Closing it only hides it; the tray menu's exit item ends the process.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "host/flutter_view_controller.h"
#include "host/tray_platform.h"
#include "host/win32_window.h"
#include "launch/dart_project.h"

class FlutterEngine;
class MethodChannel;

class FlutterWindow;

// One module's start in OnCreate. The action answers false only where a module reports a
// refusal of its own; such a row has a line for it.
struct ModuleStage {
  bool (*action)(FlutterWindow& window);
  std::u16string_view successLine;
  std::u16string_view falseLine;  // empty: the action never answers false
  std::u16string_view failureLine;
};

// Runs each stage inside its own catch of everything: a module that throws logs its line and
// leaves the next ones to run.
void RunModuleStages(FlutterWindow& window, std::span<const ModuleStage> stages);

class FlutterWindow : public Win32Window {
 public:
  explicit FlutterWindow(const DartProject& project);
  ~FlutterWindow() override;

  void AddTrayIcon();
  void RemoveTrayIcon();
  void RegisterPlugins(FlutterEngine* engine);
  void RegisterSystemCommandsChannel();
  void RegisterWindowBlockerChannel();

  // The tray menu's texts, read each time the menu opens; Dart may replace them.
  std::u16string& TrayShowText() { return trayShowText; }
  std::u16string& TrayExitText() { return trayExitText; }

  bool IsTrayIconAdded() const { return trayIconAdded; }
  FlutterViewController* Controller() const { return flutterController.get(); }

 protected:
  std::intptr_t MessageHandler(platform::NativeHandle window, unsigned message,
                               std::uintptr_t wParam, std::intptr_t lParam) override;
  bool OnCreate() override;
  void OnDestroy() override;

 private:
  std::intptr_t ShowTrayMenu(platform::NativeHandle window);
  void ShowFromTray(platform::NativeHandle window);

  DartProject project;
  std::unique_ptr<FlutterViewController> flutterController;
  std::unique_ptr<MethodChannel> windowBlockerChannel;
  std::unique_ptr<MethodChannel> systemCommandsChannel;
  host::platform::NotifyIconData trayData;
  bool trayIconAdded = false;
  std::u16string trayShowText;
  std::u16string trayExitText;
};

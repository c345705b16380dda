// The native modules as the main window starts and stops them. Each row is one module: the
// stages it adds to OnCreate with their log lines, the channel one of those stages registers,
// what OnDestroy does for it and the window message it takes. The rows stand in the order of
// start-up, and a new module is one more row.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/handles.h"

class FlutterWindow;

// One guarded stage of OnCreate. The action answers false only where a module reports a refusal
// of its own; such a stage has a line for it.
struct ModuleStage {
  bool (*action)(FlutterWindow& window) = nullptr;
  std::u16string_view successLine;
  std::u16string_view falseLine;  // empty: the action never answers false
  std::u16string_view failureLine;
};

struct WindowModule {
  std::array<ModuleStage, 2> stages;  // a stage without an action is not there
  // The channel a stage registers. OnDestroy releases it before any module stops, unless it
  // outlives the window's destruction and goes with the window object.
  const char* channel = nullptr;
  bool channelOutlivesDestroy = false;
  // OnDestroy, after the channels, in row order. It also runs once before OnCreate with nothing
  // started, so it must do no harm then.
  void (*stop)(FlutterWindow& window) = nullptr;
  // The tray's exit item ends the process without OnDestroy; a module whose stop leaves
  // something behind that the process end would not undo runs its stop there too.
  bool stopsBeforeExit = false;
  // A window message the module answers, once the view has been offered it and declined.
  unsigned message = 0;
  std::intptr_t (*onMessage)(platform::WindowHandle window, std::uintptr_t wParam,
                             std::intptr_t lParam) = nullptr;
};

std::span<const WindowModule> WindowModules();

// Runs each stage inside its own catch of everything: a module that throws logs its line and
// leaves the next ones to run.
void RunModuleStages(FlutterWindow& window, std::span<const ModuleStage> stages);

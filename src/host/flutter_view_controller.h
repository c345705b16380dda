// Owns the view of the engine: a child window that renders the Dart program, with its engine.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "engine_abi/flutter_embedder.h"
#include "host/dart_project.h"
#include "host/flutter_engine.h"
#include "platform/handles.h"

class FlutterView {
 public:
  explicit FlutterView(FlutterDesktopViewRef view) : view_(view) {}
  // The child window to parent into the top-level window.
  platform::WindowHandle GetNativeWindow() const;

 private:
  FlutterDesktopViewRef view_;
};

class FlutterViewController {
 public:
  // On failure, with a line on the standard error stream, engine() and view() are null.
  FlutterViewController(int width, int height, const DartProject& project);
  ~FlutterViewController();
  FlutterViewController(const FlutterViewController&) = delete;
  FlutterViewController& operator=(const FlutterViewController&) = delete;

  FlutterEngine* engine() const { return engine_.get(); }
  FlutterView* view() const { return view_.get(); }

  // The result when the view claims the top-level window's message.
  std::optional<std::intptr_t> HandleTopLevelWindowProc(platform::WindowHandle window,
                                                        unsigned message, std::uintptr_t wParam,
                                                        std::intptr_t lParam);

 private:
  std::unique_ptr<FlutterEngine> engine_;
  FlutterDesktopViewControllerRef controller_ = nullptr;
  std::unique_ptr<FlutterView> view_;
};

#include "host/flutter_view_controller.h"

#include "channels/error_output.h"

platform::WindowHandle FlutterView::GetNativeWindow() const {
  return FlutterDesktopViewGetHWND(view_);
}

FlutterViewController::FlutterViewController(int width, int height, const DartProject& project)
    : engine_(std::make_unique<FlutterEngine>(project)) {
  if (engine_->handle()) {
    controller_ = FlutterDesktopViewControllerCreate(width, height, engine_->RelinquishEngine());
  }
  if (!controller_) {
    WriteErrorLine("Failed to create view controller.");
    // The embedder took the engine over and let it go with the failed view.
    engine_.reset();
    return;
  }
  if (const FlutterDesktopViewRef view = FlutterDesktopViewControllerGetView(controller_)) {
    view_ = std::make_unique<FlutterView>(view);
  }
}

FlutterViewController::~FlutterViewController() {
  // The engine goes with the controller; the engine object only keeps the messenger until then.
  if (controller_) FlutterDesktopViewControllerDestroy(controller_);
}

std::optional<std::intptr_t> FlutterViewController::HandleTopLevelWindowProc(
    platform::WindowHandle window, unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
  if (!controller_) return std::nullopt;
  std::intptr_t result = 0;
  if (!FlutterDesktopViewControllerHandleTopLevelWindowProc(controller_, window, message, wParam,
                                                            lParam, &result)) {
    return std::nullopt;
  }
  return result;
}

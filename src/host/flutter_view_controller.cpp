#include "host/flutter_view_controller.h"

#include "channels/error_output.h"
#include "host/embedder_platform.h"

platform::NativeHandle FlutterView::GetNativeWindow() const {
  return host::platform::FlutterDesktopViewGetHWND(view_);
}

FlutterViewController::FlutterViewController(int width, int height, const DartProject& project)
    : engine_(std::make_unique<FlutterEngine>(project)) {
  if (engine_->handle()) {
    controller_ = host::platform::FlutterDesktopViewControllerCreate(width, height,
                                                                     engine_->RelinquishEngine());
  }
  if (!controller_) {
    WriteErrorLine("Failed to create view controller.");
    // The embedder took the engine over and let it go with the failed view.
    engine_.reset();
    return;
  }
  if (const platform::NativeHandle view =
          host::platform::FlutterDesktopViewControllerGetView(controller_))
    view_ = std::make_unique<FlutterView>(view);
}

FlutterViewController::~FlutterViewController() {
  // The engine goes with the controller; the engine object only keeps the messenger until then.
  if (controller_) host::platform::FlutterDesktopViewControllerDestroy(controller_);
}

std::optional<std::intptr_t> FlutterViewController::HandleTopLevelWindowProc(
    platform::NativeHandle window, unsigned message, std::uintptr_t wParam, std::intptr_t lParam) {
  if (!controller_) return std::nullopt;
  return host::platform::FlutterDesktopViewControllerHandleTopLevelWindowProc(
      controller_, window, message, wParam, lParam);
}

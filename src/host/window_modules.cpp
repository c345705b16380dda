#include "host/window_modules.h"

#include "app/app_log.h"
#include "app/product.h"
#include "blocker/window_blocker.h"
#include "blocker/window_blocker_channel.h"
#include "devices/device_monitor.h"
#include "host/flutter_engine.h"
#include "host/flutter_window.h"
#include "host/system_commands.h"
#include "overlay/overlay_channel.h"
#include "overlay/overlay_window.h"

namespace {

constexpr WindowModule kWindowModules[] = {
    {.stages = {{{[](FlutterWindow& window) {
                    window.AddTrayIcon();
                    return true;
                  },
                  u"Tray icon initialized", u"", u"Tray icon initialization failed"}}}},
    {.stages = {{{[](FlutterWindow& window) {
                    const FlutterViewController* controller = window.Controller();
                    FlutterEngine* engine = controller ? controller->engine() : nullptr;
                    return InitDeviceMonitor(window.GetHandle(),
                                             engine ? engine->messenger() : nullptr);
                  },
                  u"Device monitor initialized", u"Device monitor initialization returned false",
                  u"Device monitor initialization failed"}}},
     .stop = [](FlutterWindow& window) { CleanupDeviceMonitor(window.GetHandle()); },
     .message = platform::kWmDeviceChange,
     .onMessage = [](platform::WindowHandle window, std::uintptr_t wParam,
                     std::intptr_t lParam) -> std::intptr_t {
       return HandleDeviceChange(
           window, wParam,
           reinterpret_cast<const void*>(lParam));  // NOLINT(performance-no-int-to-ptr)
     }},
    // The channel's handler holds the window for the tray texts that setNativeStrings replaces.
    {.stages = {{{[](FlutterWindow&) { return RegisterOverlayWindowClass(); },
                  u"Overlay notification initialized", u"",
                  u"Overlay notification initialization failed"},
                 {[](FlutterWindow& window) {
                    window.RegisterChannel(
                        product::kOverlayChannel,
                        [&window](const MethodCall& call, std::unique_ptr<MethodResult> result) {
                          HandleOverlayCall(call, std::move(result),
                                            {&window.TrayShowText(), &window.TrayExitText()});
                        });
                    return true;
                  },
                  u"Overlay notification channel registered", u"",
                  u"Overlay notification channel registration failed"}}},
     .channel = product::kOverlayChannel,
     .stop = [](FlutterWindow&) { ShutdownOverlay(); }},
    {.stages = {{{[](FlutterWindow&) {
                    blocker::WindowBlocker::Instance().SetOwnProcessId();
                    return true;
                  },
                  u"Window blocker initialized", u"", u"Window blocker initialization failed"},
                 {[](FlutterWindow& window) {
                    window.RegisterChannel(product::kWindowBlockerChannel,
                                           WindowBlockerChannelHandler);
                    return true;
                  },
                  u"Window blocker channel registered", u"",
                  u"Window blocker channel registration failed"}}},
     .channel = product::kWindowBlockerChannel,
     .stop = [](FlutterWindow&) { blocker::WindowBlocker::Instance().ShutdownBlocker(); },
     // Hidden windows would stay hidden after the process is gone.
     .stopsBeforeExit = true},
    // Nothing arrives on this channel once the engine is gone, so it stays until the window
    // object goes.
    {.stages = {{{[](FlutterWindow& window) {
                    window.RegisterChannel(product::kSystemCommandsChannel,
                                           HandleSystemCommandsCall);
                    return true;
                  },
                  u"System commands channel registered", u"",
                  u"System commands channel registration failed"}}},
     .channel = product::kSystemCommandsChannel,
     .channelOutlivesDestroy = true},
};

}  // namespace

std::span<const WindowModule> WindowModules() { return kWindowModules; }

void RunModuleStages(FlutterWindow& window, std::span<const ModuleStage> stages) {
  for (const ModuleStage& stage : stages) {
    if (!stage.action) continue;
    try {
      const bool accepted = stage.action(window);
      LogFlutterWindow(accepted || stage.falseLine.empty() ? stage.successLine : stage.falseLine);
    } catch (...) {
      LogFlutterWindow(stage.failureLine);
    }
  }
}

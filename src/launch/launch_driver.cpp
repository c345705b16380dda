#include "launch/launch_driver.h"

#include <algorithm>
#include <cmath>

#include "app/app_log.h"
#include "app/command_line.h"
#include "app/product.h"
#include "engine_abi/flutter_embedder.h"
#include "host/main_window.h"
#include "lock/lock_window.h"
#include "lock/password_store.h"
#include "platform/com.h"
#include "platform/kernel.h"
#include "platform/user.h"
#include "service/service_bootstrap.h"
#include "single_instance/single_instance.h"

namespace {

constexpr int kWindowOriginX = 10;
constexpr int kWindowOriginY = 10;
constexpr unsigned kDefaultWidth = 1200;
constexpr unsigned kDefaultHeight = 720;
constexpr unsigned kMinimumWidth = 800;
constexpr unsigned kMinimumHeight = 500;
constexpr double kReferenceScreenWidth = 1920.0;
constexpr int kFallbackScreenWidth = 1920;
constexpr int kFallbackScreenHeight = 1080;
constexpr double kMinimumScale = 0.75;
constexpr double kMaximumScale = 1.0;
constexpr double kBaseDpi = 96.0;

int FailComInitialization(std::int32_t hr, platform::UniqueKernelHandle& mutex) {
  WriteAppLog(
      FormatLogLine(u"ERROR: CoInitializeEx failed. HRESULT: 0x%08X", static_cast<unsigned>(hr)));
  mutex.reset();
  WriteAppLog(u"Application exiting (COM initialization failed)");
  return 1;
}

}  // namespace

WindowScale ScaleInitialWindow(unsigned dpi, int screenWidth) {
  WindowScale result;
  result.ratio = dpi / kBaseDpi;
  const double raw = 1.0 / ((kReferenceScreenWidth / screenWidth) * result.ratio);
  result.scale = std::max(kMinimumScale, std::min(kMaximumScale, raw));
  result.size.width =
      std::max(kMinimumWidth, static_cast<unsigned>(std::trunc(result.scale * kDefaultWidth)));
  result.size.height =
      std::max(kMinimumHeight, static_cast<unsigned>(std::trunc(result.scale * kDefaultHeight)));
  return result;
}

InitialWindowSize ComputeInitialWindowSize() {
  const platform::MonitorHandle monitor = platform::MonitorFromPoint(
      {kWindowOriginX, kWindowOriginY}, platform::kMonitorDefaultToNearest);
  if (!monitor) {
    WriteAppLog(u"DPI scale: no monitor, using default 1200x720");
    return {kDefaultWidth, kDefaultHeight};
  }
  const unsigned dpi = FlutterDesktopGetDpiForMonitor(monitor);
  Size screen{kFallbackScreenWidth, kFallbackScreenHeight};
  platform::MonitorInfo info;
  if (platform::GetMonitorInfoW(monitor, &info)) {
    screen = {info.monitor.Width(), info.monitor.Height()};
  }
  const WindowScale scaled = ScaleInitialWindow(dpi, screen.width);
  WriteAppLog(
      FormatLogLine(u"DPI scale: dpi=%u, ratio=%.2f, screen=%dx%d, scale=%.2f, window size=%u x %u",
                    dpi, scaled.ratio, screen.width, screen.height, scaled.scale, scaled.size.width,
                    scaled.size.height));
  return scaled.size;
}

void CreateDebugConsole() {
  if (!platform::AllocConsole()) return;
  if (!platform::ReopenStreamToConsole(platform::StandardStream::kOutput))
    platform::DuplicateStdoutOnto(1);
  if (!platform::ReopenStreamToConsole(platform::StandardStream::kError))
    platform::DuplicateStdoutOnto(2);
  platform::SyncWithStdio();
  FlutterDesktopResyncOutputStreams();
}

void RunMessageLoop() {
  platform::Message message;
  while (platform::GetMessageW(&message, nullptr, 0, 0) != 0) {
    platform::TranslateMessage(message);
    platform::DispatchMessageW(message);
  }
}

int RunLaunchDriver(platform::ModuleHandle instance, int showCommand) {
  platform::SetProcessDpiAwareness(platform::kProcessPerMonitorDpiAware);
  EnsureLogDirectory();

  if (HasCommandLineFlag(u"--verify-uninstall-password")) return VerifyUninstallPassword();
  if (HasCommandLineFlag(u"--native-lock-screen")) {
    WriteAppLog(u"========== Native lock screen process starting ==========");
    return RunNativeLockScreen(instance);
  }

  WriteAppLog(u"========== Application starting ==========");
  WriteAppLog(u"Checking for single instance (mutex)...");
  platform::UniqueKernelHandle mutex;
  if (const auto exitCode = AcquireInstanceMutex(mutex)) return *exitCode;
  WriteAppLog(u"Single instance check passed");

  if (!platform::AttachConsole(platform::kAttachParentProcess) && platform::IsDebuggerPresent()) {
    WriteAppLog(u"Debugger present, creating console...");
    CreateDebugConsole();
  }

  WriteAppLog(u"Initializing COM...");
  const std::int32_t hr = platform::CoInitializeEx();
  if (hr < 0) return FailComInitialization(hr, mutex);
  WriteAppLog(u"COM initialized successfully");

  WriteAppLog(u"Creating Flutter DartProject...");
  auto project = std::make_unique<DartProject>(u"data");
  WriteAppLog(u"DartProject created");

  std::vector<std::string> arguments = GetCommandLineArguments();
  WriteAppLog(u"Setting Dart entrypoint arguments...");
  project->dartEntrypointArguments = std::move(arguments);
  WriteAppLog(u"Dart entrypoint arguments set");

  WriteAppLog(u"Checking and starting service if needed...");
  if (!EnsureServiceRunning())
    WriteAppLog(u"Warning: Failed to start service, continuing with GUI");

  WriteAppLog(u"Creating FlutterWindow...");
  std::unique_ptr<MainWindow> window = CreateFlutterWindow(*project);
  const InitialWindowSize size = ComputeInitialWindowSize();
  WriteAppLog(u"FlutterWindow object created");

  const bool visible = !HasCommandLineFlag(u"--tray-only") && showCommand != 0;
  WriteAppLog(visible ? u"Creating window (visible, manual launch)..."
                      : u"Creating window (hidden, service launch)...");
  const std::u16string title(product::kMainWindowTitle);
  const bool created =
      visible
          ? window->CreateAndShow(title, kWindowOriginX, kWindowOriginY, size.width, size.height)
          : window->CreateHidden(title, kWindowOriginX, kWindowOriginY, size.width, size.height);
  if (!created) {
    WriteAppLog(
        FormatLogLine(u"ERROR: Window Create failed. Error: %lu", platform::GetLastError()));
    WriteAppLog(u"Application exiting (window creation failed)");
    mutex.reset();
    platform::CoUninitialize();
    window.reset();
    project.reset();
    return 1;
  }
  WriteAppLog(visible ? u"Window created (visible)" : u"Window created (hidden)");

  mainWindowHandle = window->GetHandle();
  StartActivationPipeServer();

  WriteAppLog(u"Setting QuitOnClose to false...");
  window->SetQuitOnClose(false);

  WriteAppLog(u"Entering message loop...");
  WriteAppLog(u"Flutter Dart code initialization should start now...");
  RunMessageLoop();

  WriteAppLog(u"Message loop exited, cleaning up...");
  activationPipeStopFlag.exchange(true);
  mutex.reset();
  platform::CoUninitialize();
  WriteAppLog(u"========== Application exiting normally ==========");
  window.reset();
  project.reset();
  return 0;
}

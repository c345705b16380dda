#include "host/flutter_window.h"

#include <algorithm>

#include "blocker/window_blocker.h"
#include "blocker/window_blocker_channel.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "host/embedder_platform.h"
#include "host/system_commands.h"
#include "host/window_messages.h"
#include "launch/app_log.h"

namespace {

constexpr unsigned kWmFontChange = 29;
constexpr unsigned kWmNcLButtonDblClk = 163;
constexpr std::uintptr_t kHtCaption = 2;
constexpr unsigned kWmSysCommand = 274;
constexpr std::uintptr_t kScClose = 61536;
constexpr std::uintptr_t kScMaximize = 61488;
constexpr std::intptr_t kWmLButtonDblClk = 515;
constexpr std::intptr_t kWmRButtonUp = 517;

constexpr int kSwHide = 0;
constexpr int kSwShow = 5;
constexpr int kSwRestore = 9;

constexpr unsigned kNimAdd = 0;
constexpr unsigned kNimModify = 1;
constexpr unsigned kNimDelete = 2;
constexpr std::uint32_t kNotifyIconDataSize = 976;
constexpr unsigned kTrayIconId = 1;
constexpr unsigned kNifMessageIconTip = 7;
constexpr int kTrayIconResource = 101;
constexpr std::u16string_view kTrayTip = u"KelvoTarnel";

constexpr unsigned kMfString = 0;
constexpr unsigned kMfSeparator = 2048;
constexpr unsigned kTpmReturnCmdNoNotify = 384;
constexpr int kMenuShow = 1001;
constexpr int kMenuExit = 1002;

constexpr char16_t kDefaultTrayShowText[] = u"显示窗口";
constexpr char16_t kDefaultTrayExitText[] = u"退出";

constexpr char kSystemCommandsChannelName[] = "com.kelvo.tarnel/system_commands";

// The shell announces a restarted taskbar with this message; a lost icon has to be added again.
// Asked for on first use, as the number is the same for the whole session.
unsigned TaskbarCreatedMessage() {
  static const unsigned message = host::platform::RegisterWindowMessageW(u"TaskbarCreated");
  return message;
}

// The order is the order of start-up; a module that comes later adds its row at its place.
constexpr ModuleStage kModuleStages[] = {
    {[](FlutterWindow& window) {
       window.AddTrayIcon();
       return true;
     },
     u"Tray icon initialized", u"", u"Tray icon initialization failed"},
    {[](FlutterWindow&) {
       blocker::WindowBlocker::Instance().SetOwnProcessId();
       return true;
     },
     u"Window blocker initialized", u"", u"Window blocker initialization failed"},
    {[](FlutterWindow& window) {
       window.RegisterWindowBlockerChannel();
       return true;
     },
     u"Window blocker channel registered", u"", u"Window blocker channel registration failed"},
    {[](FlutterWindow& window) {
       window.RegisterSystemCommandsChannel();
       return true;
     },
     u"System commands channel registered", u"", u"System commands channel registration failed"},
};

}  // namespace

void RunModuleStages(FlutterWindow& window, std::span<const ModuleStage> stages) {
  for (const ModuleStage& stage : stages) {
    try {
      const bool accepted = stage.action(window);
      LogFlutterWindow(accepted || stage.falseLine.empty() ? stage.successLine : stage.falseLine);
    } catch (...) {
      LogFlutterWindow(stage.failureLine);
    }
  }
}

FlutterWindow::FlutterWindow(const DartProject& project)
    : project(project), trayShowText(kDefaultTrayShowText), trayExitText(kDefaultTrayExitText) {}

FlutterWindow::~FlutterWindow() {
  // Released here rather than among the members, so that a message arriving while the view
  // goes away finds the pointers already empty.
  systemCommandsChannel.reset();
  windowBlockerChannel.reset();
  flutterController.reset();
}

bool FlutterWindow::OnCreate() {
  LogFlutterWindow(u"OnCreate start");
  if (!Win32Window::OnCreate()) {
    LogFlutterWindow(u"Win32Window::OnCreate failed");
    return false;
  }

  const host::platform::Rect frame = GetClientArea();
  flutterController = std::make_unique<FlutterViewController>(frame.right - frame.left,
                                                              frame.bottom - frame.top, project);
  if (!flutterController->engine() || !flutterController->view()) {
    LogFlutterWindow(u"FlutterViewController setup failed");
    return false;
  }

  LogFlutterWindow(u"RegisterPlugins start");
  RegisterPlugins(flutterController->engine());
  LogFlutterWindow(u"RegisterPlugins done");
  SetChildContent(flutterController->view()->GetNativeWindow());

  RunModuleStages(*this, kModuleStages);

  LogFlutterWindow(u"OnCreate done");
  return true;
}

void FlutterWindow::OnDestroy() {
  // The system commands channel stays until the object goes; with the engine gone nothing
  // arrives on it.
  windowBlockerChannel.reset();
  // Also runs once before OnCreate, with nothing started; the engine takes that as a no-op.
  blocker::WindowBlocker::Instance().ShutdownBlocker();
  RemoveTrayIcon();
  flutterController.reset();
  Win32Window::OnDestroy();
}

std::intptr_t FlutterWindow::MessageHandler(platform::NativeHandle window, unsigned message,
                                            std::uintptr_t wParam, std::intptr_t lParam) {
  // The flag stays set across a taskbar restart, so this takes NIM_MODIFY; the view never
  // sees the message.
  const unsigned taskbarCreated = TaskbarCreatedMessage();
  if (taskbarCreated != 0 && message == taskbarCreated) {
    AddTrayIcon();
    return 0;
  }

  if (flutterController) {
    if (const auto result =
            flutterController->HandleTopLevelWindowProc(window, message, wParam, lParam)) {
      return *result;
    }
  }

  switch (message) {
    case kWmFontChange:
      if (flutterController && flutterController->engine()) {
        flutterController->engine()->ReloadSystemFonts();
      }
      break;
    case kWmNcLButtonDblClk:
      // A double click on the caption must not maximise the window.
      if (wParam == kHtCaption) return 0;
      break;
    case kWmSysCommand:
      // The whole wParam, unmasked: only the plain commands are caught.
      if (wParam == kScClose) {
        // Closing hides: the application lives on in the tray.
        host::platform::ShowWindow(window, kSwHide);
        return 0;
      }
      if (wParam == kScMaximize) return 0;
      break;
    case kMsgTrayIcon:
      if (lParam == kWmRButtonUp) return ShowTrayMenu(window);
      if (lParam == kWmLButtonDblClk) {
        host::platform::ShowWindow(window, kSwRestore);
        host::platform::SetForegroundWindow(window);
        return 0;
      }
      break;
    case kMsgShowWindow:
      ShowFromTray(window);
      return 0;
    default:
      break;
  }
  return Win32Window::MessageHandler(window, message, wParam, lParam);
}

void FlutterWindow::ShowFromTray(platform::NativeHandle window) {
  // A failed NIM_ADD left the flag clear: this is its one retry.
  if (!trayIconAdded) AddTrayIcon();
  host::platform::ShowWindow(window, host::platform::IsIconic(window) ? kSwRestore : kSwShow);
  host::platform::SetForegroundWindow(window);
  host::platform::BringWindowToTop(window);
}

std::intptr_t FlutterWindow::ShowTrayMenu(platform::NativeHandle window) {
  const host::platform::Point cursor = host::platform::GetCursorPos();
  const platform::NativeHandle menu = host::platform::CreatePopupMenu();
  // Read now, so that texts replaced from Dart show on the next menu.
  host::platform::AppendMenuW(menu, kMfString, kMenuShow, trayShowText);
  host::platform::AppendMenuW(menu, kMfSeparator, 0, u"");
  host::platform::AppendMenuW(menu, kMfString, kMenuExit, trayExitText);
  // Without the foreground the menu would not close when the user clicks elsewhere.
  host::platform::SetForegroundWindow(window);
  const int command =
      host::platform::TrackPopupMenu(menu, kTpmReturnCmdNoNotify, cursor.x, cursor.y, window);
  if (command == kMenuShow) {
    host::platform::ShowWindow(window, kSwRestore);
    host::platform::SetForegroundWindow(window);
  } else if (command == kMenuExit) {
    // Process end is the clean-up; OnDestroy does not run on this path.
    RemoveTrayIcon();
    host::platform::ExitProcess(0);
  }
  host::platform::DestroyMenu(menu);
  return 0;
}

void FlutterWindow::AddTrayIcon() {
  trayData = host::platform::NotifyIconData{};
  trayData.size = kNotifyIconDataSize;
  trayData.window = GetHandle();
  trayData.id = kTrayIconId;
  trayData.flags = kNifMessageIconTip;
  trayData.callbackMessage = kMsgTrayIcon;
  trayData.icon = host::platform::LoadIconW(host::platform::GetModuleHandleW(), kTrayIconResource);
  const size_t tipLength = std::min(kTrayTip.size(), trayData.tip.size() - 1);
  std::copy_n(kTrayTip.begin(), tipLength, trayData.tip.begin());

  if (!trayIconAdded) {
    trayIconAdded = host::platform::Shell_NotifyIconW(kNimAdd, trayData);
  } else {
    host::platform::Shell_NotifyIconW(kNimModify, trayData);
  }
}

void FlutterWindow::RemoveTrayIcon() {
  if (!trayIconAdded) return;
  host::platform::Shell_NotifyIconW(kNimDelete, trayData);
  trayIconAdded = false;
}

void FlutterWindow::RegisterPlugins(FlutterEngine* engine) {
  host::platform::RegisterPlugins(engine->handle());
}

void FlutterWindow::RegisterWindowBlockerChannel() {
  if (!flutterController || !flutterController->engine()) return;
  windowBlockerChannel = std::make_unique<MethodChannel>(flutterController->engine()->messenger(),
                                                         blocker::kWindowBlockerChannelName,
                                                         &StandardMethodCodec::GetInstance());
  windowBlockerChannel->SetMethodCallHandler(WindowBlockerChannelHandler);
}

void FlutterWindow::RegisterSystemCommandsChannel() {
  if (!flutterController || !flutterController->engine()) return;
  systemCommandsChannel = std::make_unique<MethodChannel>(flutterController->engine()->messenger(),
                                                          kSystemCommandsChannelName,
                                                          &StandardMethodCodec::GetInstance());
  systemCommandsChannel->SetMethodCallHandler(HandleSystemCommandsCall);
}

#include "host/flutter_window.h"

#include <algorithm>

#include "app/app_log.h"
#include "app/product.h"
#include "host/plugin_registrant.h"
#include "host/window_modules.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/user.h"

namespace {

constexpr unsigned kTrayIconId = 1;
constexpr unsigned kNifMessageIconTip =
    platform::kNifMessage | platform::kNifIcon | platform::kNifTip;
static_assert(kNifMessageIconTip == 7);

constexpr unsigned kTpmReturnCmdNoNotify = platform::kTpmReturnCmd | platform::kTpmNoNotify;
static_assert(kTpmReturnCmdNoNotify == 384);
constexpr int kMenuShow = 1001;
constexpr int kMenuExit = 1002;

constexpr char16_t kDefaultTrayShowText[] = u"显示窗口";
constexpr char16_t kDefaultTrayExitText[] = u"退出";

// The shell announces a restarted taskbar with this message; a lost icon has to be added again.
// Asked for on first use, as the number is the same for the whole session.
unsigned TaskbarCreatedMessage() {
  static const unsigned message = platform::RegisterWindowMessageW(u"TaskbarCreated");
  return message;
}

}  // namespace

FlutterWindow::FlutterWindow(const DartProject& project)
    : project(project), trayShowText(kDefaultTrayShowText), trayExitText(kDefaultTrayExitText) {}

FlutterWindow::~FlutterWindow() {
  // Released here rather than among the members, so that a message arriving while the view
  // goes away finds the pointers already empty.
  while (!channels.empty()) channels.pop_back();
  flutterController.reset();
}

bool FlutterWindow::OnCreate() {
  LogFlutterWindow(u"OnCreate start");
  if (!Win32Window::OnCreate()) {
    LogFlutterWindow(u"Win32Window::OnCreate failed");
    return false;
  }

  const Rect frame = GetClientArea();
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

  for (const WindowModule& module : WindowModules()) RunModuleStages(*this, module.stages);

  LogFlutterWindow(u"OnCreate done");
  return true;
}

void FlutterWindow::OnDestroy() {
  for (const WindowModule& module : WindowModules()) {
    if (module.channel && !module.channelOutlivesDestroy) ReleaseChannel(module.channel);
  }
  // Also runs once before OnCreate, with nothing started.
  for (const WindowModule& module : WindowModules()) {
    if (module.stop) module.stop(*this);
  }
  RemoveTrayIcon();
  flutterController.reset();
  Win32Window::OnDestroy();
}

std::intptr_t FlutterWindow::MessageHandler(platform::WindowHandle window, unsigned message,
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

  for (const WindowModule& module : WindowModules()) {
    if (module.onMessage && module.message == message) {
      return module.onMessage(window, wParam, lParam);
    }
  }

  switch (message) {
    case platform::kWmFontChange:
      if (flutterController && flutterController->engine()) {
        flutterController->engine()->ReloadSystemFonts();
      }
      break;
    case platform::kWmNcLButtonDblClk:
      // A double click on the caption must not maximise the window.
      if (wParam == platform::kHtCaption) return 0;
      break;
    case platform::kWmSysCommand:
      // The whole wParam, unmasked: only the plain commands are caught.
      if (wParam == platform::kScClose) {
        // Closing hides: the application lives on in the tray.
        platform::ShowWindow(window, platform::kSwHide);
        return 0;
      }
      if (wParam == platform::kScMaximize) return 0;
      break;
    case product::kMsgTrayIcon:
      if (lParam == platform::kWmRButtonUp) return ShowTrayMenu(window);
      if (lParam == platform::kWmLButtonDblClk) {
        platform::ShowWindow(window, platform::kSwRestore);
        platform::SetForegroundWindow(window);
        return 0;
      }
      break;
    case product::kMsgShowWindow:
      ShowFromTray(window);
      return 0;
    default:
      break;
  }
  return Win32Window::MessageHandler(window, message, wParam, lParam);
}

void FlutterWindow::ShowFromTray(platform::WindowHandle window) {
  // A failed NIM_ADD left the flag clear: this is its one retry.
  if (!trayIconAdded) AddTrayIcon();
  platform::ShowWindow(window,
                       platform::IsIconic(window) ? platform::kSwRestore : platform::kSwShow);
  platform::SetForegroundWindow(window);
  platform::BringWindowToTop(window);
}

std::intptr_t FlutterWindow::ShowTrayMenu(platform::WindowHandle window) {
  ::Point cursor;
  platform::GetCursorPos(&cursor);
  const platform::UniqueMenu menu(platform::CreatePopupMenu());
  // Read now, so that texts replaced from Dart show on the next menu.
  platform::AppendMenuW(menu.get(), platform::kMfString, kMenuShow, trayShowText);
  platform::AppendMenuW(menu.get(), platform::kMfSeparator, 0, u"");
  platform::AppendMenuW(menu.get(), platform::kMfString, kMenuExit, trayExitText);
  // Without the foreground the menu would not close when the user clicks elsewhere.
  platform::SetForegroundWindow(window);
  const int command =
      platform::TrackPopupMenu(menu.get(), kTpmReturnCmdNoNotify, cursor.x, cursor.y, window);
  if (command == kMenuShow) {
    platform::ShowWindow(window, platform::kSwRestore);
    platform::SetForegroundWindow(window);
  } else if (command == kMenuExit) {
    // Process end is the clean-up; OnDestroy does not run on this path.
    RemoveTrayIcon();
    for (const WindowModule& module : WindowModules()) {
      if (module.stopsBeforeExit && module.stop) module.stop(*this);
    }
    platform::ExitProcess(0);
  }
  return 0;
}

void FlutterWindow::AddTrayIcon() {
  trayData = platform::NotifyIconData{};
  trayData.size = platform::kNotifyIconDataSize;
  trayData.window = GetHandle();
  trayData.id = kTrayIconId;
  trayData.flags = kNifMessageIconTip;
  trayData.callbackMessage = product::kMsgTrayIcon;
  trayData.icon =
      platform::LoadIconW(platform::GetModuleHandleW(nullptr), product::kAppIconResource);
  const size_t tipLength = std::min(product::kProductName.size(), trayData.tip.size() - 1);
  std::copy_n(product::kProductName.begin(), tipLength, trayData.tip.begin());

  if (!trayIconAdded) {
    trayIconAdded = platform::Shell_NotifyIconW(platform::kNimAdd, trayData);
  } else {
    platform::Shell_NotifyIconW(platform::kNimModify, trayData);
  }
}

void FlutterWindow::RemoveTrayIcon() {
  if (!trayIconAdded) return;
  platform::Shell_NotifyIconW(platform::kNimDelete, trayData);
  trayIconAdded = false;
}

void FlutterWindow::RegisterPlugins(FlutterEngine* engine) { ::RegisterPlugins(engine->handle()); }

void FlutterWindow::RegisterChannel(const char* name, MethodCallHandler handler) {
  if (!flutterController || !flutterController->engine()) return;
  ReleaseChannel(name);
  auto channel = std::make_unique<MethodChannel>(flutterController->engine()->messenger(), name,
                                                 &StandardMethodCodec::GetInstance());
  channel->SetMethodCallHandler(std::move(handler));
  channels.emplace_back(name, std::move(channel));
}

void FlutterWindow::ReleaseChannel(const char* name) {
  std::erase_if(channels, [name](const auto& entry) { return entry.first == name; });
}

bool FlutterWindow::HasChannel(const char* name) const {
  return std::any_of(channels.begin(), channels.end(),
                     [name](const auto& entry) { return entry.first == name; });
}

// The names the product is known by outside this process: window classes and titles, the
// instance mutexes and the activation pipe, the service, the channels, the main window's
// private messages and the icon resource. Each is written here once.
#pragma once

#include <string_view>

namespace product {

inline constexpr std::u16string_view kMainWindowClass = u"FLUTTER_RUNNER_WIN32_WINDOW";
inline constexpr std::u16string_view kMainWindowTitle = u"ZMS";
inline constexpr std::u16string_view kLockWindowClass = u"KelvoTarnelNativeLockWindow";
inline constexpr std::u16string_view kLockWindowTitle = u"ZMS Lock";
inline constexpr std::u16string_view kProductName = u"KelvoTarnel";

inline constexpr std::u16string_view kGlobalMutexName = u"Global\\KelvoTarnelSingleInstance";
inline constexpr std::u16string_view kLocalMutexName = u"Local\\KelvoTarnelSingleInstance";
inline constexpr std::u16string_view kActivationPipeName = u"\\\\.\\pipe\\KelvoTarnelActivation";
inline constexpr std::string_view kActivationRequest = "SHOW";

inline constexpr std::u16string_view kServiceName = u"KelvoTarnelService";

inline constexpr char kSystemCommandsChannel[] = "com.kelvo.tarnel/system_commands";
inline constexpr char kWindowBlockerChannel[] = "com.kelvo.tarnel/window_blocker";
inline constexpr char kDeviceMonitorChannel[] = "com.kelvo.tarnel/device_monitor";
inline constexpr char kOverlayChannel[] = "com.kelvo.tarnel/overlay_notification";

// The main window's private messages. The activation pipe thread posts kMsgShowWindow from
// outside the window, so both sides read the numbers from here.
inline constexpr unsigned kMsgTrayIcon = 1025;    // WM_USER + 1: the tray icon's callback
inline constexpr unsigned kMsgShowWindow = 1034;  // WM_USER + 10: show the main window

// The executable's icon: the window class and the tray load it by this number.
inline constexpr int kAppIconResource = 101;

}  // namespace product

// What is known of one window at one moment, the gate a window passes before anything is read,
// and the windows and processes that are never blocked.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/geometry.h"
#include "platform/handles.h"

namespace blocker {

using WindowHandle = platform::WindowHandle;

struct WindowFacts {
  WindowHandle hwnd = nullptr;
  std::uint32_t pid = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::u16string title;
  std::u16string className;
  std::u16string processName;
  std::u16string exePath;
  std::u16string productName;  // never filled; the snapshot and RuleDisplayName still read it
  std::int64_t firstSeenMs = 0;
  std::int64_t lastSeenMs = 0;
  std::int32_t hitCount = 0;
};

constexpr std::u16string_view kIgnoredWindowClasses[] = {
    u"KelvoPopupBlockerPickerWindow",
    u"Progman",
    u"WorkerW",
    u"Shell_TrayWnd",
    u"Shell_SecondaryTrayWnd",
    u"Button",
    u"tooltips_class32",
    u"SysShadow",
    u"IME",
    u"MSCTFIME UI",
};

constexpr std::u16string_view kSystemProcessNames[] = {
    u"explorer",
    u"applicationframehost",
    u"shellexperiencehost",
    u"startmenuexperiencehost",
    u"searchhost",
    u"systemsettings",
    u"taskmgr",
    u"dwm",
    u"sihost",
    u"textinputhost",
    u"lockapp",
    u"screenclippinghost",
    u"snippingtool",
    u"widgets",
    u"widgetservice",
    u"searchapp",
};

// "kelvotarnelinfomation" is the name the product ships under, misspelt as it is.
constexpr std::u16string_view kOwnProcessNames[] = {
    u"kelvotarnel",
    u"kelvotarnelservice",
    u"kelvotarneltour",
    u"kelvotarnelinfomation",
};

constexpr std::u16string_view kSkipTagPicker = u"pick-skip";
constexpr std::u16string_view kSkipReasonCloaked = u"dwm cloaked";
constexpr std::u16string_view kSkipReasonIgnoredClass = u"ignored class";
constexpr std::u16string_view kSkipReasonNoActivate = u"noactivate/transparent";

constexpr int kMinGateWidth = 120;
constexpr int kMinGateHeight = 60;

// Milliseconds since the Unix epoch from the system time; every time in the blocker is one.
std::int64_t CurrentTimeMs();

bool IsIgnoredWindowClass(std::u16string_view className);

// allowHidden waives the visibility test; logSkip writes reason lines and adds the picker's
// test of windows that cannot be activated or cannot be seen.
bool PassesWindowShapeGate(WindowHandle window, bool allowHidden, bool logSkip);

// ownProcessId is the engine's: 0 until it learns its own id, and then this process's windows
// are never collected. `out` is written only when the result is true.
bool CollectWindowFacts(std::uint32_t ownProcessId, WindowHandle window, WindowFacts* out,
                        bool allowHidden, bool logSkip);

bool IsBlockableProcess(const WindowFacts& facts);
bool IsOwnProcessWindow(const WindowFacts& facts);

void LogSkipReason(std::u16string_view tag, WindowHandle window, std::u16string_view reason);

}  // namespace blocker

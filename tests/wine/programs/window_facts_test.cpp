// The window seams and the facts and gate on top of them, against real top-level windows: this
// program's own and those of another process. Prints what composition answers here, since the
// gate's geometry takes another road where DwmGetWindowAttribute fails.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <string>

#include "base/geometry.h"
#include "base/text.h"
#include "blocker/window_block_rule.h"
#include "blocker/window_facts.h"
#include "message_pump.h"
#include "platform/kernel.h"
#include "platform/user.h"
#include "platform/win32/text.h"

using blocker::CollectWindowFacts;
using blocker::PassesWindowShapeGate;
using blocker::WindowFacts;
using test_windows::PumpMessages;
using test_windows::RegisterClassOnce;

namespace {

constexpr wchar_t kProbeClass[] = L"KtBlockerFactsProbe";

void RegisterProbeClass() {
  static const bool registered = RegisterClassOnce(kProbeClass, ::DefWindowProcW);
  ASSERT_TRUE(registered);
}

// A top-level pop-up: no caption, so its rectangle is exactly the size asked for.
class ProbeWindow {
 public:
  ProbeWindow(int width, int height, const wchar_t* title = L"Probe", DWORD exStyle = 0,
              bool show = true, const wchar_t* className = kProbeClass, DWORD style = WS_POPUP,
              HWND parent = nullptr) {
    RegisterProbeClass();
    window_ = ::CreateWindowExW(exStyle, className, title, style, 200, 150, width, height, parent,
                                nullptr, ::GetModuleHandleW(nullptr), nullptr);
    if (window_ && show) ::ShowWindow(window_, SW_SHOWNOACTIVATE);
    PumpMessages();
  }
  ~ProbeWindow() {
    if (window_) ::DestroyWindow(window_);
  }
  ProbeWindow(const ProbeWindow&) = delete;
  ProbeWindow& operator=(const ProbeWindow&) = delete;

  HWND get() const { return window_; }
  blocker::WindowHandle handle() const { return window_; }
  void destroy() {
    ::DestroyWindow(window_);
    PumpMessages();
  }

 private:
  HWND window_ = nullptr;
};

std::u16string ModulePath() {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  return FromWide(std::wstring_view(path, length));
}

std::string Hex(std::int32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(value));
  return text;
}

}  // namespace

TEST(DwmGetWindowAttribute, ReportWhatCompositionAnswersHere) {
  ProbeWindow probe(400, 300);
  ASSERT_NE(probe.get(), nullptr);
  std::uint32_t cloaked = 0xDEADBEEF;
  const std::int32_t cloakedStatus = platform::DwmGetWindowAttribute(
      probe.handle(), platform::kDwmwaCloaked, &cloaked, sizeof(cloaked));
  Rect frame;
  const std::int32_t frameStatus = platform::DwmGetWindowAttribute(
      probe.handle(), platform::kDwmwaExtendedFrameBounds, &frame, sizeof(frame));
  std::printf("DWMWA_CLOAKED: %s word=0x%08X\n", Hex(cloakedStatus).c_str(), cloaked);
  std::printf("DWMWA_EXTENDED_FRAME_BOUNDS: %s rect=%d,%d,%d,%d\n", Hex(frameStatus).c_str(),
              frame.left, frame.top, frame.right, frame.bottom);
  RecordProperty("cloaked_status", Hex(cloakedStatus));
  RecordProperty("frame_status", Hex(frameStatus));
  // A failed query must leave the output alone; a successful one must say "not cloaked" for a
  // plain shown window.
  if (cloakedStatus < 0) {
    EXPECT_EQ(cloaked, 0xDEADBEEFu);
  } else {
    EXPECT_EQ(cloaked, 0u);
  }
}

TEST(WindowSystem, WindowRectOfAPopupIsItsCreatedSize) {
  ProbeWindow probe(400, 300);
  Rect rect;
  ASSERT_TRUE(platform::GetWindowRect(probe.handle(), &rect));
  EXPECT_EQ(rect.right - rect.left, 400);
  EXPECT_EQ(rect.bottom - rect.top, 300);
  EXPECT_FALSE(platform::GetWindowRect(nullptr, &rect));
}

TEST(WindowSystem, WindowsDirectoryIsReported) {
  char16_t buffer[260] = {};
  const std::uint32_t length = platform::GetWindowsDirectoryW(buffer, 260);
  ASSERT_GT(length, 0u);
  wchar_t expected[MAX_PATH] = {};
  ::GetSystemWindowsDirectoryW(expected, MAX_PATH);
  EXPECT_TRUE(EqualsFolded(std::u16string_view(buffer, length), FromWide(expected)));
  std::printf("Windows directory: %s\n", WideToUtf8(std::u16string_view(buffer, length)).c_str());
}

TEST(WindowSystem, CurrentTimeMsAgreesWithTheRuntimeClock) {
  const std::int64_t before = static_cast<std::int64_t>(std::time(nullptr)) * 1000;
  const std::int64_t now = blocker::CurrentTimeMs();
  const std::int64_t after = static_cast<std::int64_t>(std::time(nullptr)) * 1000 + 1000;
  EXPECT_GE(now, before);
  EXPECT_LT(now, after);
}

TEST(PassesWindowShapeGate, PlainShownPopupPasses) {
  ProbeWindow probe(400, 300);
  EXPECT_TRUE(PassesWindowShapeGate(probe.handle(), false, false));
  EXPECT_TRUE(PassesWindowShapeGate(probe.handle(), false, true));
}

TEST(PassesWindowShapeGate, ExactMinimumPassesAndOneLessFails) {
  ProbeWindow exact(120, 60);
  ProbeWindow narrow(119, 600);
  ProbeWindow flat(600, 59);
  EXPECT_TRUE(PassesWindowShapeGate(exact.handle(), false, false));
  EXPECT_FALSE(PassesWindowShapeGate(narrow.handle(), false, false));
  EXPECT_FALSE(PassesWindowShapeGate(flat.handle(), false, false));
}

TEST(PassesWindowShapeGate, HiddenWindowPassesOnlyWhenHiddenIsAllowed) {
  ProbeWindow hidden(400, 300, L"Hidden", 0, false);
  EXPECT_FALSE(PassesWindowShapeGate(hidden.handle(), false, false));
  EXPECT_TRUE(PassesWindowShapeGate(hidden.handle(), true, false));
}

TEST(PassesWindowShapeGate, ChildWindowFailsAndItsRootPasses) {
  ProbeWindow parent(500, 400);
  ProbeWindow child(300, 200, L"Child", 0, true, kProbeClass, WS_CHILD | WS_VISIBLE, parent.get());
  ASSERT_NE(child.get(), nullptr);
  EXPECT_FALSE(PassesWindowShapeGate(child.handle(), true, false));
  EXPECT_EQ(::GetAncestor(child.get(), GA_ROOT), parent.get());
  EXPECT_TRUE(PassesWindowShapeGate(parent.handle(), false, false));
}

TEST(PassesWindowShapeGate, TopLevelButtonIsAnIgnoredClass) {
  ProbeWindow button(300, 100, L"OK", 0, true, L"Button", WS_POPUP);
  ASSERT_NE(button.get(), nullptr);
  EXPECT_FALSE(PassesWindowShapeGate(button.handle(), false, false));
}

TEST(PassesWindowShapeGate, NoActivateWindowFailsOnlyUnderLogSkip) {
  ProbeWindow toast(400, 300, L"Toast", WS_EX_NOACTIVATE);
  EXPECT_TRUE(PassesWindowShapeGate(toast.handle(), false, false));
  EXPECT_FALSE(PassesWindowShapeGate(toast.handle(), false, true));
}

TEST(PassesWindowShapeGate, ClickThroughWindowFailsOnlyUnderLogSkip) {
  ProbeWindow overlay(400, 300, L"Overlay", WS_EX_TRANSPARENT);
  EXPECT_TRUE(PassesWindowShapeGate(overlay.handle(), false, false));
  EXPECT_FALSE(PassesWindowShapeGate(overlay.handle(), false, true));
}

TEST(PassesWindowShapeGate, LayeredAlphaDecidesUnderLogSkipOnly) {
  ProbeWindow faint(400, 300, L"Faint", WS_EX_LAYERED);
  ProbeWindow visible(400, 300, L"Visible", WS_EX_LAYERED);
  ProbeWindow keyed(400, 300, L"Keyed", WS_EX_LAYERED);
  ASSERT_TRUE(::SetLayeredWindowAttributes(faint.get(), 0, 8, LWA_ALPHA));
  ASSERT_TRUE(::SetLayeredWindowAttributes(visible.get(), 0, 9, LWA_ALPHA));
  ASSERT_TRUE(::SetLayeredWindowAttributes(keyed.get(), RGB(255, 0, 255), 0, LWA_COLORKEY));
  EXPECT_FALSE(PassesWindowShapeGate(faint.handle(), false, true));
  EXPECT_TRUE(PassesWindowShapeGate(faint.handle(), false, false));
  EXPECT_TRUE(PassesWindowShapeGate(visible.handle(), false, true));
  EXPECT_TRUE(PassesWindowShapeGate(keyed.handle(), false, true));
}

TEST(PassesWindowShapeGate, DestroyedWindowFails) {
  ProbeWindow probe(400, 300);
  const blocker::WindowHandle handle = probe.handle();
  probe.destroy();
  EXPECT_FALSE(PassesWindowShapeGate(handle, true, false));
  WindowFacts facts;
  EXPECT_FALSE(CollectWindowFacts(0, handle, &facts, true, false));
}

TEST(CollectWindowFacts, ReadsThisProgramsWindowBeforeItsOwnIdIsKnown) {
  ProbeWindow probe(400, 300, L"广告 Pop-up");
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(0, probe.handle(), &facts, false, false));
  EXPECT_EQ(facts.hwnd, probe.handle());
  EXPECT_EQ(facts.pid, ::GetCurrentProcessId());
  EXPECT_EQ(facts.title, u"广告 Pop-up");
  EXPECT_EQ(facts.className, FromWide(kProbeClass));
  EXPECT_TRUE(EqualsFolded(facts.exePath, ModulePath()))
      << WideToUtf8(facts.exePath) << " vs " << WideToUtf8(ModulePath());
  EXPECT_EQ(facts.processName, blocker::BaseNameWithoutExe(facts.exePath));
  EXPECT_TRUE(EqualsFolded(facts.processName, u"window_facts_test"));
  std::printf("exePath: %s\n", WideToUtf8(facts.exePath).c_str());

  RECT rect = {};
  ::GetWindowRect(probe.get(), &rect);
  Rect frame;
  if (platform::DwmGetWindowAttribute(probe.handle(), platform::kDwmwaExtendedFrameBounds, &frame,
                                      sizeof(frame)) >= 0 &&
      frame.right > frame.left && frame.bottom > frame.top) {
    EXPECT_EQ(facts.width, frame.right - frame.left);
    EXPECT_EQ(facts.height, frame.bottom - frame.top);
  } else {
    EXPECT_EQ(facts.width, rect.right - rect.left);
    EXPECT_EQ(facts.height, rect.bottom - rect.top);
  }
  EXPECT_GT(facts.firstSeenMs, 0);
  EXPECT_EQ(facts.lastSeenMs, facts.firstSeenMs);
}

TEST(CollectWindowFacts, RefusesThisProgramsWindowOnceItsOwnIdIsKnown) {
  ProbeWindow probe(400, 300);
  WindowFacts facts;
  EXPECT_FALSE(CollectWindowFacts(::GetCurrentProcessId(), probe.handle(), &facts, false, false));
}

TEST(CollectWindowFacts, EmptyTitleWithAClassYieldsFacts) {
  ProbeWindow probe(400, 300, L"");
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(0, probe.handle(), &facts, false, false));
  EXPECT_EQ(facts.title, u"");
  EXPECT_EQ(facts.className, FromWide(kProbeClass));
}

TEST(IsBlockableProcess, ThisProgramOutsideTheWindowsDirectoryIsBlockable) {
  ProbeWindow probe(400, 300);
  WindowFacts facts;
  ASSERT_TRUE(CollectWindowFacts(0, probe.handle(), &facts, false, false));
  EXPECT_TRUE(blocker::IsBlockableProcess(facts));
  EXPECT_FALSE(blocker::IsOwnProcessWindow(facts));
}

namespace {

struct FoundWindow {
  DWORD pid = 0;
  HWND window = nullptr;
};

BOOL CALLBACK FindVisibleWindowOf(HWND window, LPARAM context) {
  auto* found = reinterpret_cast<FoundWindow*>(context);
  DWORD pid = 0;
  ::GetWindowThreadProcessId(window, &pid);
  if (pid == found->pid && ::IsWindowVisible(window)) {
    found->window = window;
    return FALSE;
  }
  return TRUE;
}

}  // namespace

TEST(CollectWindowFacts, WindowOfAProgramInTheWindowsDirectoryIsCollectedButNotBlockable) {
  wchar_t directory[MAX_PATH] = {};
  ASSERT_GT(::GetWindowsDirectoryW(directory, MAX_PATH), 0u);
  std::wstring command = std::wstring(L"\"") + directory + L"\\notepad.exe\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process = {};
  ASSERT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &process));
  ::WaitForInputIdle(process.hProcess, 10000);
  FoundWindow found{process.dwProcessId};
  // Wait for the window without a time limit of its own: the run's time-out bounds it.
  while (!found.window) {
    ::EnumWindows(FindVisibleWindowOf, reinterpret_cast<LPARAM>(&found));
    if (!found.window) ::Sleep(50);
  }
  const HWND root = ::GetAncestor(found.window, GA_ROOT);
  WindowFacts facts;
  const bool collected = CollectWindowFacts(::GetCurrentProcessId(), root, &facts, false, false);
  ::TerminateProcess(process.hProcess, 0);
  ::WaitForSingleObject(process.hProcess, 10000);
  ::CloseHandle(process.hThread);
  ::CloseHandle(process.hProcess);

  ASSERT_TRUE(collected);
  std::printf("notepad: pid=%lu %dx%d class=%s title=%s path=%s\n",
              static_cast<unsigned long>(facts.pid), facts.width, facts.height,
              WideToUtf8(facts.className).c_str(), WideToUtf8(facts.title).c_str(),
              WideToUtf8(facts.exePath).c_str());
  EXPECT_EQ(facts.pid, process.dwProcessId);
  EXPECT_TRUE(EqualsFolded(facts.processName, u"notepad"));
  EXPECT_FALSE(facts.className.empty());
  EXPECT_FALSE(blocker::IsBlockableProcess(facts));
}

// The host window over the real window manager: the message table with the structures that
// Windows passes by pointer, the child kept on the client area, and the class's lifetime.
#include <windows.h>

#include <memory>

#include <gtest/gtest.h>

#include "engine_abi/flutter_embedder.h"
#include "host/win32_window.h"

namespace {

constexpr wchar_t kClassName[] = L"FLUTTER_RUNNER_WIN32_WINDOW";

HWND Hwnd(const Win32Window& window) { return static_cast<HWND>(window.GetHandle()); }

bool ClassRegistered() {
  WNDCLASSEXW info = {};
  info.cbSize = sizeof(info);
  return ::GetClassInfoExW(::GetModuleHandleW(nullptr), kClassName, &info) != 0;
}

RECT WindowRect(HWND window) {
  RECT rect = {};
  ::GetWindowRect(window, &rect);
  return rect;
}

// The child's rectangle in its parent's client coordinates.
RECT ChildRect(HWND child, HWND parent) {
  RECT rect = WindowRect(child);
  ::MapWindowPoints(nullptr, parent, reinterpret_cast<POINT*>(&rect), 2);
  return rect;
}

void ExpectSameRect(const RECT& actual, const RECT& expected) {
  EXPECT_EQ(actual.left, expected.left);
  EXPECT_EQ(actual.top, expected.top);
  EXPECT_EQ(actual.right, expected.right);
  EXPECT_EQ(actual.bottom, expected.bottom);
}

class HostWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    window = std::make_unique<Win32Window>();
    ASSERT_TRUE(window->CreateAndShow(u"host window test", {10, 10}, {900, 700}));
    ASSERT_NE(window->GetHandle(), nullptr);
  }

  void TearDown() override { window.reset(); }

  std::unique_ptr<Win32Window> window;
};

TEST_F(HostWindowTest, CreationScalesByTheMonitorDpiAndStoresTheObject) {
  const HMONITOR monitor = ::MonitorFromPoint(POINT{10, 10}, MONITOR_DEFAULTTONEAREST);
  const double scale = ::FlutterDesktopGetDpiForMonitor(monitor) / 96.0;
  const RECT rect = WindowRect(Hwnd(*window));
  EXPECT_EQ(rect.left, static_cast<int>(10 * scale));
  EXPECT_EQ(rect.top, static_cast<int>(10 * scale));
  EXPECT_EQ(rect.right - rect.left, static_cast<int>(900 * scale));
  EXPECT_EQ(rect.bottom - rect.top, static_cast<int>(700 * scale));
  EXPECT_TRUE(::IsWindowVisible(Hwnd(*window)));
  EXPECT_EQ(::GetWindowLongPtrW(Hwnd(*window), GWLP_USERDATA),
            reinterpret_cast<LONG_PTR>(window.get()));
  wchar_t className[64] = {};
  ::GetClassNameW(Hwnd(*window), className, 64);
  EXPECT_STREQ(className, kClassName);
}

TEST_F(HostWindowTest, CreateHiddenLeavesTheWindowInvisible) {
  Win32Window hidden;
  ASSERT_TRUE(hidden.CreateHidden(u"hidden", {10, 10}, {900, 700}));
  EXPECT_FALSE(::IsWindowVisible(Hwnd(hidden)));
}

TEST_F(HostWindowTest, MinMaxInfoReportsAMinimumTrackingSizeOf800By600) {
  MINMAXINFO info = {};
  info.ptMinTrackSize = {1, 1};
  info.ptMaxTrackSize = {5000, 4000};
  EXPECT_EQ(::SendMessageW(Hwnd(*window), WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info)), 0);
  EXPECT_EQ(info.ptMinTrackSize.x, 800);
  EXPECT_EQ(info.ptMinTrackSize.y, 600);
  EXPECT_EQ(info.ptMaxTrackSize.x, 5000);
}

TEST_F(HostWindowTest, DpiChangeMovesTheWindowToTheSuggestedRectangle) {
  RECT suggested = {120, 90, 1320, 1000};
  EXPECT_EQ(::SendMessageW(Hwnd(*window), WM_DPICHANGED, MAKEWPARAM(144, 144),
                           reinterpret_cast<LPARAM>(&suggested)),
            0);
  ExpectSameRect(WindowRect(Hwnd(*window)), {120, 90, 1320, 1000});
}

TEST_F(HostWindowTest, TheChildFillsTheClientAreaAfterEverySize) {
  const HWND parent = Hwnd(*window);
  const HWND child = ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 3, 4, 20, 10,
                                       parent, nullptr, ::GetModuleHandleW(nullptr), nullptr);
  ASSERT_NE(child, nullptr);
  window->SetChildContent(child);
  RECT client = {};
  ::GetClientRect(parent, &client);
  ExpectSameRect(ChildRect(child, parent), client);
  EXPECT_EQ(::GetFocus(), child);

  ASSERT_TRUE(::SetWindowPos(parent, nullptr, 0, 0, 1000, 760, SWP_NOZORDER | SWP_NOMOVE));
  ::GetClientRect(parent, &client);
  EXPECT_GT(client.right, 900);
  ExpectSameRect(ChildRect(child, parent), client);

  // WM_SIZE on its own, as the system sends it, fits the child again.
  ::MoveWindow(child, 5, 5, 30, 30, TRUE);
  EXPECT_EQ(::SendMessageW(parent, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom)),
            0);
  ExpectSameRect(ChildRect(child, parent), client);
}

TEST_F(HostWindowTest, NativeDestructionClearsTheHandle) {
  const HWND handle = Hwnd(*window);
  ASSERT_TRUE(::DestroyWindow(handle));
  EXPECT_FALSE(::IsWindow(handle));
  EXPECT_EQ(window->GetHandle(), nullptr);
}

TEST(HostWindowClassTest, TheClassIsUnregisteredAfterTheLastWindowIsDestroyed) {
  auto first = std::make_unique<Win32Window>();
  auto second = std::make_unique<Win32Window>();
  ASSERT_TRUE(first->CreateAndShow(u"first", {10, 10}, {900, 700}));
  ASSERT_TRUE(second->CreateHidden(u"second", {40, 40}, {900, 700}));
  EXPECT_TRUE(ClassRegistered());
  const HWND firstHandle = Hwnd(*first);
  first.reset();
  EXPECT_FALSE(::IsWindow(firstHandle));
  EXPECT_TRUE(ClassRegistered());
  second.reset();
  EXPECT_FALSE(ClassRegistered());

  // A later window registers it again.
  Win32Window later;
  ASSERT_TRUE(later.CreateHidden(u"later", {10, 10}, {900, 700}));
  EXPECT_TRUE(ClassRegistered());
}

}  // namespace

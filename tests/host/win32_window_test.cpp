#include "host/win32_window.h"

#include <algorithm>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_user.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;

constexpr unsigned kWmSize = 5;
constexpr unsigned kWmActivate = 6;
constexpr unsigned kWmGetMinMaxInfo = 36;
constexpr unsigned kWmNcCreate = 129;
constexpr unsigned kAppMessage = 0x8000 + 77;

// Records its overrides in the journal, so that tests see when the base calls them.
class ProbeWindow : public Win32Window {
 public:
  ~ProbeWindow() override { sim::Record("~ProbeWindow"); }

  bool onCreateResult = true;
  platform::WindowHandle handleAtOnCreate = nullptr;

 protected:
  bool OnCreate() override {
    handleAtOnCreate = GetHandle();
    sim::Record("OnCreate");
    return onCreateResult;
  }
  void OnDestroy() override {
    sim::Record("OnDestroy handle=" + sim::Label(GetHandle()));
    Win32Window::OnDestroy();
  }
};

class Win32WindowTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }

  static std::vector<std::string> Journal() { return sim::Journal(); }

  static size_t IndexOf(const std::string& entry) {
    const auto journal = sim::Journal();
    return std::find(journal.begin(), journal.end(), entry) - journal.begin();
  }

  static int Count(const std::string& entry) {
    const auto journal = sim::Journal();
    return static_cast<int>(std::count(journal.begin(), journal.end(), entry));
  }

  static bool CreateShown(Win32Window& window, int x = 10, int y = 10, unsigned width = 1200,
                          unsigned height = 720) {
    return window.CreateAndShow(u"ZMS", {x, y}, {width, height});
  }
};

// ---- Class registration ----

TEST_F(Win32WindowTest, FirstCreationRegistersTheClassWithItsFields) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const auto windowClass = sim::RegisteredClass(u"FLUTTER_RUNNER_WIN32_WINDOW");
  ASSERT_TRUE(windowClass.has_value());
  EXPECT_EQ(windowClass->style, 3u);
  EXPECT_EQ(windowClass->procedure, &Win32Window::WindowProc);
  EXPECT_EQ(windowClass->instance, sim::ModuleHandle());
  EXPECT_EQ(windowClass->icon, sim::IconHandle());
  EXPECT_EQ(windowClass->cursor, sim::ArrowCursorHandle());
}

TEST_F(Win32WindowTest, ClassIsRegisteredOnceForSeveralWindows) {
  Win32Window first;
  Win32Window second;
  ASSERT_TRUE(CreateShown(first));
  ASSERT_TRUE(CreateShown(second));
  EXPECT_EQ(Count("RegisterClassW FLUTTER_RUNNER_WIN32_WINDOW"), 1);
}

TEST_F(Win32WindowTest, LastWindowDestroyedUnregistersTheClass) {
  auto first = std::make_unique<Win32Window>();
  auto second = std::make_unique<Win32Window>();
  ASSERT_TRUE(CreateShown(*first));
  ASSERT_TRUE(CreateShown(*second));
  first.reset();
  EXPECT_TRUE(sim::ClassRegistered(u"FLUTTER_RUNNER_WIN32_WINDOW"));
  second.reset();
  EXPECT_FALSE(sim::ClassRegistered(u"FLUTTER_RUNNER_WIN32_WINDOW"));
}

TEST_F(Win32WindowTest, LaterWindowRegistersTheClassAnew) {
  {
    Win32Window window;
    ASSERT_TRUE(CreateShown(window));
  }
  ASSERT_FALSE(sim::ClassRegistered(u"FLUTTER_RUNNER_WIN32_WINDOW"));
  Win32Window later;
  ASSERT_TRUE(CreateShown(later));
  EXPECT_EQ(Count("RegisterClassW FLUTTER_RUNNER_WIN32_WINDOW"), 2);
  EXPECT_TRUE(sim::Window(later.GetHandle()).has_value());
}

TEST_F(Win32WindowTest, ActiveWindowCountFollowsTheObjects) {
  const int before = Win32Window::ActiveWindowCount();
  {
    Win32Window first;
    EXPECT_EQ(Win32Window::ActiveWindowCount(), before + 1);
    {
      Win32Window second;
      EXPECT_EQ(Win32Window::ActiveWindowCount(), before + 2);
    }
    EXPECT_EQ(Win32Window::ActiveWindowCount(), before + 1);
  }
  EXPECT_EQ(Win32Window::ActiveWindowCount(), before);
}

// ---- Creation ----

TEST_F(Win32WindowTest, CreateAndShowMakesAVisibleOverlappedWindow) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const auto state = sim::Window(window.GetHandle());
  ASSERT_TRUE(state.has_value());
  EXPECT_EQ(state->style, 0x00CF0000u);  // WS_VISIBLE is the `visible` flag
  EXPECT_TRUE(state->visible);
  EXPECT_EQ(state->title, u"ZMS");
  EXPECT_EQ(state->className, u"FLUTTER_RUNNER_WIN32_WINDOW");
  EXPECT_EQ(state->parent, nullptr);
}

TEST_F(Win32WindowTest, CreateHiddenMakesAnInvisibleOverlappedWindow) {
  Win32Window window;
  ASSERT_TRUE(window.CreateHidden(u"ZMS", {10, 10}, {1200, 720}));
  const auto state = sim::Window(window.GetHandle());
  ASSERT_TRUE(state.has_value());
  EXPECT_EQ(state->style, 0xCF0000u);
  EXPECT_FALSE(state->visible);
}

TEST_F(Win32WindowTest, OriginAndSizeAreScaledByTheMonitorOfTheOrigin) {
  sim::SetMonitor({.present = true, .dpi = 144});
  Win32Window window;
  ASSERT_TRUE(CreateShown(window, 10, 20, 900, 540));
  EXPECT_LT(IndexOf("MonitorFromPoint 10,20"),
            IndexOf("CreateWindowExW FLUTTER_RUNNER_WIN32_WINDOW "
                    "\"ZMS\" 281018368 15,30 1350x810"));
  const auto state = sim::Window(window.GetHandle());
  EXPECT_EQ(state->windowRect->left, 15);
  EXPECT_EQ(state->windowRect->top, 30);
  EXPECT_EQ(state->windowRect->Width(), 1350);
  EXPECT_EQ(state->windowRect->Height(), 810);
}

TEST_F(Win32WindowTest, ScaledValuesAreTruncatedNotRounded) {
  sim::SetMonitor({.present = true, .dpi = 120});  // scale 1.25
  Win32Window window;
  ASSERT_TRUE(CreateShown(window, 11, 13, 1001, 803));
  const auto state = sim::Window(window.GetHandle());
  EXPECT_EQ(state->windowRect->left, 13);        // 13.75
  EXPECT_EQ(state->windowRect->top, 16);         // 16.25
  EXPECT_EQ(state->windowRect->Width(), 1251);   // 1251.25
  EXPECT_EQ(state->windowRect->Height(), 1003);  // 1003.75
}

TEST_F(Win32WindowTest, NoNativeWindowMakesCreateFailWithoutOnCreate) {
  sim::SetCreateWindowFails(true);
  ProbeWindow window;
  EXPECT_FALSE(CreateShown(window));
  EXPECT_EQ(window.GetHandle(), nullptr);
  EXPECT_EQ(Count("OnCreate"), 0);
}

TEST_F(Win32WindowTest, OnCreateRunsWithTheHandleAlreadySet) {
  ProbeWindow window;
  ASSERT_TRUE(CreateShown(window));
  EXPECT_NE(window.handleAtOnCreate, nullptr);
  EXPECT_EQ(window.handleAtOnCreate, window.GetHandle());
}

TEST_F(Win32WindowTest, OnCreateFalseFailsCreateAndLeavesTheWindowStanding) {
  ProbeWindow window;
  window.onCreateResult = false;
  EXPECT_FALSE(CreateShown(window));
  const platform::WindowHandle handle = window.GetHandle();
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(sim::Window(handle).has_value());
  window.Destroy();
  EXPECT_FALSE(sim::Window(handle).has_value());
  EXPECT_EQ(window.GetHandle(), nullptr);
}

TEST_F(Win32WindowTest, CreationBeginsWithDestroySoOnDestroyRunsBeforeAnyWindow) {
  ProbeWindow window;
  ASSERT_TRUE(CreateShown(window));
  const auto journal = Journal();
  EXPECT_LT(IndexOf("OnDestroy handle=null"),
            IndexOf("RegisterClassW FLUTTER_RUNNER_WIN32_WINDOW"));
}

TEST_F(Win32WindowTest, CreatingAgainReplacesTheWindow) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const platform::WindowHandle first = window.GetHandle();
  ASSERT_TRUE(CreateShown(window));
  EXPECT_FALSE(sim::Window(first).has_value());
  EXPECT_TRUE(sim::Window(window.GetHandle()).has_value());
  EXPECT_NE(window.GetHandle(), first);
  EXPECT_EQ(sim::LiveWindowCount(), 1);
}

// ---- Window procedure ----

TEST_F(Win32WindowTest, NcCreateStoresTheObjectInTheWindow) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  EXPECT_EQ(platform::GetWindowLongPtrW(window.GetHandle(), -21),
            reinterpret_cast<std::intptr_t>(&window));
}

TEST_F(Win32WindowTest, NcCreateEnablesNonClientDpiScalingAndFreesUser32) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const std::string label = sim::Label(window.GetHandle());
  EXPECT_THAT((std::vector<std::string>{"LoadLibraryA User32.dll",
                                        "EnableNonClientDpiScaling " + label, "FreeLibrary"}),
              IsSubsetOf(Journal()));
  EXPECT_LT(IndexOf("LoadLibraryA User32.dll"), IndexOf("EnableNonClientDpiScaling " + label));
  EXPECT_LT(IndexOf("EnableNonClientDpiScaling " + label), IndexOf("FreeLibrary"));
  EXPECT_TRUE(sim::Window(window.GetHandle())->nonClientDpiScaling);
  EXPECT_EQ(sim::LibraryReferences("User32.dll"), 0);
}

TEST_F(Win32WindowTest, MissingEnableNonClientDpiScalingLeavesUser32Loaded) {
  sim::SetLibraryProcedures("user32.dll", {});
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  EXPECT_FALSE(sim::Window(window.GetHandle())->nonClientDpiScaling);
  EXPECT_EQ(Count("FreeLibrary"), 0);
  EXPECT_EQ(sim::LibraryReferences("User32.dll"), 1);
}

TEST_F(Win32WindowTest, MessagesBeforeNcCreateGoToDefWindowProc) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  // WM_GETMINMAXINFO comes before WM_NCCREATE, when the window has no object yet.
  const auto defaults = sim::DefaultHandled(window.GetHandle());
  ASSERT_GE(defaults.size(), 2u);
  EXPECT_EQ(defaults[0], kWmGetMinMaxInfo);
  EXPECT_EQ(defaults[1], kWmNcCreate);
  EXPECT_EQ(std::count(defaults.begin(), defaults.end(), kWmGetMinMaxInfo), 1);
}

TEST_F(Win32WindowTest, UnknownMessagesGoToDefWindowProc) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  sim::SendMessage(window.GetHandle(), kAppMessage, 1, 2);
  EXPECT_EQ(sim::DefaultHandled(window.GetHandle()).back(), kAppMessage);
}

TEST_F(Win32WindowTest, MinimumTrackingSizeIs800By600) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const sim::MinMaxInfo info = sim::SendGetMinMaxInfo(window.GetHandle());
  EXPECT_EQ(info.minTrackSize.x, 800);
  EXPECT_EQ(info.minTrackSize.y, 600);
  EXPECT_EQ(info.maxTrackSize.x, sim::MinMaxInfo().maxTrackSize.x);
}

TEST_F(Win32WindowTest, MinimumTrackingSizeDoesNotScaleWithDpi) {
  sim::SetMonitor({.present = true, .dpi = 192});
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const sim::MinMaxInfo info = sim::SendGetMinMaxInfo(window.GetHandle());
  EXPECT_EQ(info.minTrackSize.x, 800);
  EXPECT_EQ(info.minTrackSize.y, 600);
}

TEST_F(Win32WindowTest, DpiChangeMovesTheWindowToTheSuggestedRectangle) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const platform::WindowHandle handle = window.GetHandle();
  EXPECT_EQ(sim::SendDpiChanged(handle, 144, {100, 50, 1900, 1130}), 0);
  const auto state = sim::Window(handle);
  EXPECT_EQ(state->windowRect->left, 100);
  EXPECT_EQ(state->windowRect->top, 50);
  EXPECT_EQ(state->windowRect->Width(), 1800);
  EXPECT_EQ(state->windowRect->Height(), 1080);
  EXPECT_EQ(Journal().back(), "SetWindowPos " + sim::Label(handle) + " TOP 100,50 1800x1080 20");
}

TEST_F(Win32WindowTest, SizeFitsTheChildToTheWholeClientArea) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const platform::WindowHandle child = sim::CreatePlainWindow(u"CHILD", 10, 10);
  window.SetChildContent(child);
  platform::SetWindowPos(window.GetHandle(), nullptr, 0, 0, 1000, 800, 4);
  const auto state = sim::Window(child);
  EXPECT_EQ(state->windowRect->left, 0);
  EXPECT_EQ(state->windowRect->top, 0);
  EXPECT_EQ(state->windowRect->Width(), 1000 - sim::kFrameWidth);
  EXPECT_EQ(state->windowRect->Height(), 800 - sim::kFrameHeight);
  EXPECT_EQ(Journal().back(), "MoveWindow " + sim::Label(child) + " 0,0 " +
                                  std::to_string(1000 - sim::kFrameWidth) + "x" +
                                  std::to_string(800 - sim::kFrameHeight) + " repaint");
}

TEST_F(Win32WindowTest, SizeWithoutAChildOnlyAnswersZero) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const auto before = Journal().size();
  EXPECT_EQ(sim::SendMessage(window.GetHandle(), kWmSize, 0, 0), 0);
  EXPECT_EQ(Journal().size(), before);
}

TEST_F(Win32WindowTest, ActivationFocusesTheChild) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  EXPECT_EQ(sim::SendMessage(window.GetHandle(), kWmActivate, 1, 0), 0);
  EXPECT_EQ(sim::FocusWindow(), nullptr);
  const platform::WindowHandle child = sim::CreatePlainWindow(u"CHILD", 10, 10);
  window.SetChildContent(child);
  platform::SetFocus(nullptr);
  EXPECT_EQ(sim::SendMessage(window.GetHandle(), kWmActivate, 1, 0), 0);
  EXPECT_EQ(sim::FocusWindow(), child);
}

TEST_F(Win32WindowTest, SetChildContentParentsFitsAndFocusesInThatOrder) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  const platform::WindowHandle child = sim::CreatePlainWindow(u"CHILD", 10, 10);
  const std::string childLabel = sim::Label(child);
  const auto before = Journal().size();
  window.SetChildContent(child);
  const auto journal = Journal();
  const Rect client = window.GetClientArea();
  EXPECT_THAT(std::vector<std::string>(journal.begin() + before, journal.end()),
              ElementsAre("SetParent " + childLabel + " " + sim::Label(window.GetHandle()),
                          "MoveWindow " + childLabel + " 0,0 " + std::to_string(client.right) +
                              "x" + std::to_string(client.bottom) + " repaint",
                          "SetFocus " + childLabel));
  EXPECT_EQ(sim::Window(child)->parent, window.GetHandle());
  EXPECT_EQ(client.right, 1200 - sim::kFrameWidth);
  EXPECT_EQ(client.bottom, 720 - sim::kFrameHeight);
}

// ---- Destruction ----

TEST_F(Win32WindowTest, DestroyCallsOnDestroyThenDestroysTheWindowThenUnregisters) {
  auto window = std::make_unique<ProbeWindow>();
  ASSERT_TRUE(CreateShown(*window));
  const std::string label = sim::Label(window->GetHandle());
  const size_t start = Journal().size();
  window->Destroy();
  const auto journal = Journal();
  const std::vector<std::string> tail(journal.begin() + start, journal.end());
  ASSERT_FALSE(tail.empty());
  EXPECT_EQ(tail.front(), "OnDestroy handle=" + label);
  EXPECT_LT(std::find(tail.begin(), tail.end(), "OnDestroy handle=" + label) - tail.begin(),
            std::find(tail.begin(), tail.end(), "DestroyWindow " + label) - tail.begin());
  EXPECT_EQ(window->GetHandle(), nullptr);
  // The object still lives, so the class stays.
  EXPECT_TRUE(sim::ClassRegistered(u"FLUTTER_RUNNER_WIN32_WINDOW"));
  EXPECT_EQ(std::count(tail.begin(), tail.end(), "UnregisterClassW FLUTTER_RUNNER_WIN32_WINDOW"),
            0);
}

TEST_F(Win32WindowTest, NativeDestructionClearsTheHandleAndRunsOnDestroy) {
  ProbeWindow window;
  ASSERT_TRUE(CreateShown(window));
  const platform::WindowHandle handle = window.GetHandle();
  const size_t start = Journal().size();
  ASSERT_TRUE(platform::DestroyWindow(handle));
  const auto journal = Journal();
  const std::vector<std::string> tail(journal.begin() + start, journal.end());
  // WM_DESTROY clears the handle first, so the object does not destroy the window again.
  EXPECT_THAT(tail, ElementsAre("DestroyWindow " + sim::Label(handle), "OnDestroy handle=null"));
  EXPECT_EQ(window.GetHandle(), nullptr);
  EXPECT_EQ(sim::QuitMessagesPosted(), 0);
}

TEST_F(Win32WindowTest, NativeDestructionPostsQuitWhenQuitOnClose) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  window.SetQuitOnClose(true);
  ASSERT_TRUE(platform::DestroyWindow(window.GetHandle()));
  EXPECT_EQ(sim::QuitMessagesPosted(), 1);
  EXPECT_EQ(Count("PostQuitMessage 0"), 1);
}

TEST_F(Win32WindowTest, QuitOnCloseIsFalseAfterConstruction) {
  Win32Window window;
  ASSERT_TRUE(CreateShown(window));
  window.Destroy();
  EXPECT_EQ(sim::QuitMessagesPosted(), 0);
}

TEST_F(Win32WindowTest, DestructorDestroysTheWindowWithoutReachingTheOverride) {
  auto window = std::make_unique<ProbeWindow>();
  ASSERT_TRUE(CreateShown(*window));
  const platform::WindowHandle handle = window->GetHandle();
  window.reset();
  EXPECT_FALSE(sim::Window(handle).has_value());
  const size_t destructorAt = IndexOf("~ProbeWindow");
  const auto journal = Journal();
  for (size_t i = destructorAt; i < journal.size(); ++i) {
    EXPECT_EQ(journal[i].rfind("OnDestroy", 0), std::string::npos) << journal[i];
  }
  EXPECT_FALSE(sim::ClassRegistered(u"FLUTTER_RUNNER_WIN32_WINDOW"));
}

}  // namespace

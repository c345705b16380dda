#include "host/flutter_window.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "blocker/window_blocker.h"
#include "channels/standard_codec.h"
#include "devices/device_monitor.h"
#include "host/flutter_engine.h"
#include "host/flutter_view_controller.h"
#include "host/window_modules.h"
#include "app/app_log.h"
#include "app/product.h"
#include "host/main_window.h"
#include "overlay/marquee.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "sim_core.h"
#include "sim_embedder.h"
#include "sim_kernel.h"
#include "sim_setupapi.h"
#include "sim_user.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;

constexpr unsigned kWmFontChange = 29;
constexpr unsigned kWmNcLButtonDblClk = 163;
constexpr unsigned kWmSysCommand = 274;
constexpr std::uintptr_t kHtCaption = 2;
constexpr std::uintptr_t kHtClient = 1;
constexpr std::uintptr_t kScClose = 61536;
constexpr std::uintptr_t kScMaximize = 61488;
constexpr std::intptr_t kWmLButtonUp = 514;
constexpr std::intptr_t kWmLButtonDblClk = 515;
constexpr std::intptr_t kWmRButtonUp = 517;
constexpr unsigned kNimAdd = 0;
constexpr unsigned kNimModify = 1;
constexpr unsigned kNimDelete = 2;
constexpr unsigned kAppMessage = 0x8000 + 5;

const char* const kSystemCommands = "com.kelvo.tarnel/system_commands";
const char* const kWindowBlocker = "com.kelvo.tarnel/window_blocker";
constexpr std::uint32_t kOwnPid = 4321;

DartProject TestProject() {
  DartProject project(u"data");
  project.dartEntrypointArguments = {"--tray-only", "--x=1"};
  return project;
}

class FlutterWindowTest : public ::testing::Test {
 protected:
  // Another program's pop-up that the blocker may hide.
  static blocker::WindowHandle AddAdPopup() {
    sim::AddProcess(1200, {u"C:\\Apps\\adpop.exe"});
    sim::DesktopWindow popup;
    popup.pid = 1200;
    popup.className = u"AdPopupWindow";
    popup.title = u"Ad";
    popup.frameBounds = Rect{100, 100, 500, 400};
    popup.windowRect = Rect{100, 100, 500, 400};
    return sim::AddDesktopWindow(popup);
  }

  void SetUp() override {
    sim::ResetSimulation();
    blocker::WindowBlocker::Instance().ResetForTests();
    sim::SetCurrentProcessId(kOwnPid);
    EnsureLogDirectory();
  }

  void TearDown() override {
    window.reset();
    blocker::WindowBlocker::Instance().ResetForTests();
    sim::WaitForThreads();
    ShutdownOverlay();
    GetOverlayStrings() = OverlayStrings{};
  }

  bool Create(bool visible = true) {
    window = std::make_unique<FlutterWindow>(TestProject());
    return visible ? window->CreateAndShow(u"ZMS", {10, 10}, {1200, 720})
                   : window->CreateHidden(u"ZMS", {10, 10}, {1200, 720});
  }

  platform::WindowHandle Handle() const { return window->GetHandle(); }
  std::string Label() const { return sim::Label(Handle()); }

  std::intptr_t Send(unsigned message, std::uintptr_t wParam = 0, std::intptr_t lParam = 0) {
    return sim::SendMessage(Handle(), message, wParam, lParam);
  }

  // Journal entries from `start` on.
  static std::vector<std::string> JournalFrom(size_t start) {
    const auto journal = sim::Journal();
    return {journal.begin() + std::min(start, journal.size()), journal.end()};
  }
  static size_t JournalSize() { return sim::Journal().size(); }
  static bool Has(const std::string& entry) {
    const auto journal = sim::Journal();
    return std::find(journal.begin(), journal.end(), entry) != journal.end();
  }
  static size_t IndexOf(const std::string& entry) {
    const auto journal = sim::Journal();
    return std::find(journal.begin(), journal.end(), entry) - journal.begin();
  }

  static std::vector<std::string> LogLines() {
    std::vector<std::string> lines;
    for (const auto& entry : sim::Journal()) {
      if (entry.rfind("append: ", 0) == 0) lines.push_back(entry.substr(8));
    }
    return lines;
  }

  bool DefaultHandledLast(unsigned message) const {
    const auto handled = sim::DefaultHandled(Handle());
    return !handled.empty() && handled.back() == message;
  }

  std::unique_ptr<FlutterWindow> window;
};

// ---- OnCreate ----

TEST_F(FlutterWindowTest, OnCreateLogsEachStageInOrder) {
  ASSERT_TRUE(Create());
  EXPECT_THAT(
      LogLines(),
      ElementsAre("[FlutterWindow] OnCreate start", "[FlutterWindow] RegisterPlugins start",
                  "[FlutterWindow] RegisterPlugins done", "[FlutterWindow] Tray icon initialized",
                  "[FlutterWindow] Device monitor initialized",
                  "[FlutterWindow] Overlay notification initialized",
                  "[FlutterWindow] Overlay notification channel registered",
                  "[FlutterWindow] Window blocker initialized",
                  "[FlutterWindow] Window blocker channel registered",
                  "[FlutterWindow] System commands channel registered",
                  "[FlutterWindow] OnCreate done"));
}

TEST_F(FlutterWindowTest, ViewControllerGetsTheClientAreaAndTheProject) {
  ASSERT_TRUE(Create());
  EXPECT_TRUE(Has("FlutterDesktopViewControllerCreate " + std::to_string(1200 - sim::kFrameWidth) +
                  "x" + std::to_string(720 - sim::kFrameHeight)));
  const auto properties = sim::LastEngineProperties();
  ASSERT_TRUE(properties.has_value());
  EXPECT_EQ(properties->assetsPath, u"data\\flutter_assets");
  EXPECT_EQ(properties->icuDataPath, u"data\\icudtl.dat");
  EXPECT_EQ(properties->aotLibraryPath, u"data\\app.so");
  EXPECT_EQ(properties->entrypoint, "");
  EXPECT_EQ(properties->arguments, (std::vector<std::string>{"--tray-only", "--x=1"}));
}

TEST_F(FlutterWindowTest, PluginsAreRegisteredBeforeTheViewIsParented) {
  ASSERT_TRUE(Create());
  const platform::WindowHandle view = sim::ViewWindow();
  ASSERT_NE(view, nullptr);
  const size_t plugins = IndexOf("RegisterPlugins");
  const size_t parented = IndexOf("SetParent " + sim::Label(view) + " " + Label());
  EXPECT_LT(plugins, sim::Journal().size());
  EXPECT_LT(plugins, parented);
  EXPECT_LT(parented, sim::Journal().size());
}

TEST_F(FlutterWindowTest, TheViewFillsTheClientAreaAndHasTheFocus) {
  ASSERT_TRUE(Create());
  const auto view = sim::Window(sim::ViewWindow());
  ASSERT_TRUE(view.has_value());
  EXPECT_EQ(view->parent, Handle());
  EXPECT_EQ(view->windowRect->left, 0);
  EXPECT_EQ(view->windowRect->top, 0);
  EXPECT_EQ(view->windowRect->Width(), 1200 - sim::kFrameWidth);
  EXPECT_EQ(view->windowRect->Height(), 720 - sim::kFrameHeight);
  EXPECT_EQ(sim::FocusWindow(), sim::ViewWindow());
}

TEST_F(FlutterWindowTest, FailedViewControllerFailsTheCreationAndLeavesTheWindowStanding) {
  sim::SetEmbedderBehaviour({.viewControllerCreateFails = true});
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(Create());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to create view controller.\n");
  EXPECT_THAT(LogLines(), ElementsAre("[FlutterWindow] OnCreate start",
                                      "[FlutterWindow] FlutterViewController setup failed"));
  EXPECT_FALSE(Has("RegisterPlugins"));
  EXPECT_TRUE(sim::TrayCalls().empty());
  EXPECT_TRUE(sim::Window(Handle()).has_value());
  EXPECT_EQ(sim::LiveEngineCount(), 0);
}

TEST_F(FlutterWindowTest, FailedEngineFailsTheCreation) {
  sim::SetEmbedderBehaviour({.engineCreateFails = true});
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(Create());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to create view controller.\n");
  EXPECT_EQ(LogLines().back(), "[FlutterWindow] FlutterViewController setup failed");
  EXPECT_FALSE(Has("FlutterDesktopViewControllerCreate " + std::to_string(1200 - sim::kFrameWidth) +
                   "x" + std::to_string(720 - sim::kFrameHeight)));
}

TEST_F(FlutterWindowTest, AControllerWithoutAViewFailsTheCreation) {
  sim::SetEmbedderBehaviour({.viewMissing = true});
  EXPECT_FALSE(Create());
  EXPECT_EQ(LogLines().back(), "[FlutterWindow] FlutterViewController setup failed");
  EXPECT_FALSE(Has("RegisterPlugins"));
}

TEST_F(FlutterWindowTest, AThrowingTrayStageLogsItsFailureAndTheLaterStagesRun) {
  sim::SetTrayThrows(true);
  ASSERT_TRUE(Create());
  EXPECT_THAT(LogLines(),
              ElementsAre("[FlutterWindow] OnCreate start", "[FlutterWindow] RegisterPlugins start",
                          "[FlutterWindow] RegisterPlugins done",
                          "[FlutterWindow] Tray icon initialization failed",
                          "[FlutterWindow] Device monitor initialized",
                          "[FlutterWindow] Overlay notification initialized",
                          "[FlutterWindow] Overlay notification channel registered",
                          "[FlutterWindow] Window blocker initialized",
                          "[FlutterWindow] Window blocker channel registered",
                          "[FlutterWindow] System commands channel registered",
                          "[FlutterWindow] OnCreate done"));
  EXPECT_TRUE(sim::EngineMessenger().HasCallback(kSystemCommands));
  EXPECT_TRUE(sim::EngineMessenger().HasCallback(kWindowBlocker));
}

TEST_F(FlutterWindowTest, TheBlockerStageGivesTheEngineThisProcessId) {
  ASSERT_EQ(blocker::WindowBlocker::Instance().OwnProcessId(), 0u);
  ASSERT_TRUE(Create());
  EXPECT_EQ(blocker::WindowBlocker::Instance().OwnProcessId(), kOwnPid);
}

TEST_F(FlutterWindowTest, TheWindowBlockerChannelAnswersGetSnapshot) {
  ASSERT_TRUE(Create());
  ASSERT_TRUE(sim::EngineMessenger().HasCallback(kWindowBlocker));
  const auto bytes = StandardMethodCodec::GetInstance().EncodeMethodCall(
      MethodCall("getSnapshot", std::make_unique<EncodableValue>()));
  const auto responses =
      sim::EngineMessenger().ResponsesTo(sim::EngineMessenger().Deliver(kWindowBlocker, *bytes));
  ASSERT_EQ(responses.size(), 1u);
  ASSERT_GE(responses[0].bytes.size(), 3u);
  EXPECT_EQ(responses[0].bytes[0], 0x00);  // success
  EXPECT_EQ(responses[0].bytes[1], 13);    // a map
  EXPECT_EQ(responses[0].bytes[2], 9);     // of nine entries
}

TEST_F(FlutterWindowTest, OnCreateDoesNotShowAHiddenWindow) {
  ASSERT_TRUE(Create(/*visible=*/false));
  EXPECT_FALSE(sim::Window(Handle())->visible);
  for (const auto& entry : sim::Journal())
    EXPECT_EQ(entry.rfind("ShowWindow", 0), std::string::npos);
}

TEST_F(FlutterWindowTest, SystemCommandsChannelAnswersOnTheEngineMessenger) {
  ASSERT_TRUE(Create());
  sim::FakeMessenger& messenger = sim::EngineMessenger();
  ASSERT_TRUE(messenger.HasCallback(kSystemCommands));
  const auto call = StandardMethodCodec::GetInstance().EncodeMethodCall(
      MethodCall("lockScreen", std::make_unique<EncodableValue>()));
  const auto responses = messenger.ResponsesTo(messenger.Deliver(kSystemCommands, *call));
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].bytes, (std::vector<uint8_t>{0x00, 0x01}));
  EXPECT_TRUE(sim::SessionLocked());
}

TEST_F(FlutterWindowTest, RegisteringTheChannelWithoutAControllerDoesNothing) {
  const size_t start = JournalSize();
  FlutterWindow standalone(TestProject());
  standalone.RegisterChannel(kSystemCommands,
                             [](const MethodCall&, std::unique_ptr<MethodResult>) {});
  EXPECT_FALSE(standalone.HasChannel(kSystemCommands));
  EXPECT_TRUE(JournalFrom(start).empty());
}

// ---- Stage table ----

TEST_F(FlutterWindowTest, ModuleStagesEachRunInTheirOwnCatch) {
  FlutterWindow target(TestProject());
  const ModuleStage stages[] = {
      {[](FlutterWindow&) -> bool { throw std::runtime_error("first"); }, u"A ok", u"",
       u"A failed"},
      {[](FlutterWindow&) -> bool { throw 7; }, u"B ok", u"", u"B failed"},
      {[](FlutterWindow&) { return true; }, u"C ok", u"", u"C failed"},
  };
  RunModuleStages(target, stages);
  EXPECT_THAT(LogLines(), ElementsAre("[FlutterWindow] A failed", "[FlutterWindow] B failed",
                                      "[FlutterWindow] C ok"));
}

TEST_F(FlutterWindowTest, AStageThatAnswersFalseLogsItsOwnLineAndTheLaterStagesRun) {
  FlutterWindow target(TestProject());
  const ModuleStage stages[] = {
      {[](FlutterWindow&) { return false; }, u"Device monitor initialized",
       u"Device monitor initialization returned false", u"Device monitor initialization failed"},
      {[](FlutterWindow&) { return false; }, u"No false line", u"", u"Never"},
      {[](FlutterWindow&) { return true; }, u"Later", u"", u"Never"},
  };
  RunModuleStages(target, stages);
  EXPECT_THAT(LogLines(),
              ElementsAre("[FlutterWindow] Device monitor initialization returned false",
                          "[FlutterWindow] No false line", "[FlutterWindow] Later"));
}

// ---- Tray icon ----

TEST_F(FlutterWindowTest, TrayIconRecordCarriesTheFixedFields) {
  ASSERT_TRUE(Create());
  const auto calls = sim::TrayCalls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].message, kNimAdd);
  EXPECT_TRUE(calls[0].succeeded);
  const platform::NotifyIconData& data = calls[0].data;
  EXPECT_EQ(data.size, 976u);
  EXPECT_EQ(data.window, Handle());
  EXPECT_EQ(data.id, 1u);
  EXPECT_EQ(data.flags, 7u);
  EXPECT_EQ(data.callbackMessage, 1025u);
  EXPECT_EQ(data.icon, sim::IconHandle());
  EXPECT_EQ(std::u16string(data.tip.data()), u"KelvoTarnel");
  EXPECT_TRUE(window->IsTrayIconAdded());
  EXPECT_TRUE(sim::TrayIconShown(Handle(), 1));
}

TEST_F(FlutterWindowTest, AMissingIconResourceLeavesTheIconFieldEmpty) {
  sim::SetIconResourcePresent(false);
  ASSERT_TRUE(Create());
  const auto calls = sim::TrayCalls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].data.icon, nullptr);
  EXPECT_TRUE(window->IsTrayIconAdded());
}

TEST_F(FlutterWindowTest, FailedNimAddLeavesTheFlagFalseSoShowWindowTriesAgain) {
  sim::SetTaskbarRunning(false);
  ASSERT_TRUE(Create());
  EXPECT_FALSE(window->IsTrayIconAdded());
  EXPECT_EQ(LogLines()[3], "[FlutterWindow] Tray icon initialized");

  sim::SetTaskbarRunning(true);
  EXPECT_EQ(Send(product::kMsgShowWindow), 0);
  const auto calls = sim::TrayCalls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1].message, kNimAdd);
  EXPECT_TRUE(calls[1].succeeded);
  EXPECT_TRUE(window->IsTrayIconAdded());
}

TEST_F(FlutterWindowTest, ShowWindowDoesNotAddTheIconAgainWhenItIsThere) {
  ASSERT_TRUE(Create());
  Send(product::kMsgShowWindow);
  EXPECT_EQ(sim::TrayCalls().size(), 1u);
}

TEST_F(FlutterWindowTest, TaskbarCreatedWithTheIconAddedTakesNimModify) {
  ASSERT_TRUE(Create());
  sim::RestartTaskbar();
  const unsigned taskbarCreated = sim::RegisteredMessage(u"TaskbarCreated");
  EXPECT_EQ(Send(taskbarCreated), 0);
  const auto calls = sim::TrayCalls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1].message, kNimModify);
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                          [](const sim::TrayCall& call) { return call.message == kNimAdd; }),
            1);
  EXPECT_TRUE(window->IsTrayIconAdded());
}

TEST_F(FlutterWindowTest, TaskbarCreatedIsNeverOfferedToTheView) {
  ASSERT_TRUE(Create());
  const unsigned taskbarCreated = sim::RegisteredMessage(u"TaskbarCreated");
  sim::ClaimTopLevelMessage(taskbarCreated, 99);
  EXPECT_EQ(Send(taskbarCreated), 0);
  const auto offered = sim::OfferedTopLevelMessages();
  EXPECT_EQ(std::count(offered.begin(), offered.end(), taskbarCreated), 0);
}

TEST_F(FlutterWindowTest, TaskbarCreatedAfterAFailedAddTakesNimAdd) {
  sim::SetTaskbarRunning(false);
  ASSERT_TRUE(Create());
  sim::SetTaskbarRunning(true);
  Send(sim::RegisteredMessage(u"TaskbarCreated"));
  const auto calls = sim::TrayCalls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1].message, kNimAdd);
  EXPECT_TRUE(window->IsTrayIconAdded());
}

// ---- Message table ----

TEST_F(FlutterWindowTest, TheViewMayClaimAMessageAndItsResultIsReturned) {
  ASSERT_TRUE(Create());
  sim::ClaimTopLevelMessage(kAppMessage, 42);
  EXPECT_EQ(Send(kAppMessage), 42);
  EXPECT_FALSE(DefaultHandledLast(kAppMessage));
}

TEST_F(FlutterWindowTest, AClaimedCloseCommandIsTheViewsAlone) {
  ASSERT_TRUE(Create());
  sim::ClaimTopLevelMessage(kWmSysCommand, 5);
  EXPECT_EQ(Send(kWmSysCommand, kScClose), 5);
  EXPECT_TRUE(sim::Window(Handle())->visible);
}

TEST_F(FlutterWindowTest, UnclaimedMessagesReachTheBaseHandler) {
  ASSERT_TRUE(Create());
  Send(kAppMessage);
  EXPECT_TRUE(DefaultHandledLast(kAppMessage));
  EXPECT_EQ(sim::OfferedTopLevelMessages().back(), kAppMessage);
}

TEST_F(FlutterWindowTest, FontChangeReloadsTheFontsThenGoesToTheBase) {
  ASSERT_TRUE(Create());
  Send(kWmFontChange);
  EXPECT_TRUE(Has("FlutterDesktopEngineReloadSystemFonts"));
  EXPECT_TRUE(DefaultHandledLast(kWmFontChange));
}

TEST_F(FlutterWindowTest, ADoubleClickOnTheTitleBarDoesNothing) {
  ASSERT_TRUE(Create());
  const auto before = sim::Window(Handle());
  EXPECT_EQ(Send(kWmNcLButtonDblClk, kHtCaption), 0);
  EXPECT_FALSE(DefaultHandledLast(kWmNcLButtonDblClk));
  EXPECT_EQ(sim::Window(Handle())->windowRect->Width(), before->windowRect->Width());
  Send(kWmNcLButtonDblClk, kHtClient);
  EXPECT_TRUE(DefaultHandledLast(kWmNcLButtonDblClk));
}

TEST_F(FlutterWindowTest, CloseCommandHidesTheWindowAndKeepsTheFlutterState) {
  ASSERT_TRUE(Create());
  const platform::WindowHandle view = sim::ViewWindow();
  const size_t start = JournalSize();
  EXPECT_EQ(Send(kWmSysCommand, kScClose), 0);
  EXPECT_THAT(JournalFrom(start), ElementsAre("ShowWindow " + Label() + " 0"));
  EXPECT_TRUE(sim::Window(Handle()).has_value());
  EXPECT_FALSE(sim::Window(Handle())->visible);
  EXPECT_EQ(sim::LiveViewControllerCount(), 1);
  EXPECT_EQ(sim::ViewWindow(), view);

  Send(product::kMsgShowWindow);
  EXPECT_TRUE(sim::Window(Handle())->visible);
  EXPECT_EQ(sim::ViewWindow(), view);
}

TEST_F(FlutterWindowTest, SystemCommandsAreComparedWithTheWholeWParam) {
  ASSERT_TRUE(Create());
  const platform::WindowHandle handle = Handle();
  const auto handledBefore = sim::DefaultHandled(handle).size();
  Send(kWmSysCommand, kScMaximize | 2);
  EXPECT_EQ(sim::DefaultHandled(handle).size(), handledBefore + 1);
  EXPECT_TRUE(DefaultHandledLast(kWmSysCommand));
  // Not the plain close either: it goes to DefWindowProcW, which masks the low bits as Windows
  // does and really closes the window instead of hiding it.
  Send(kWmSysCommand, kScClose | 2);
  const auto handled = sim::DefaultHandled(handle);
  EXPECT_NE(std::find(handled.begin() + static_cast<std::ptrdiff_t>(handledBefore) + 1,
                      handled.end(), kWmSysCommand),
            handled.end());
  EXPECT_FALSE(sim::Window(handle).has_value());
}

TEST_F(FlutterWindowTest, TheMaximizeCommandDoesNothing) {
  ASSERT_TRUE(Create());
  const size_t start = JournalSize();
  EXPECT_EQ(Send(kWmSysCommand, kScMaximize), 0);
  EXPECT_TRUE(JournalFrom(start).empty());
  EXPECT_FALSE(DefaultHandledLast(kWmSysCommand));
}

TEST_F(FlutterWindowTest, ShowWindowMessageRestoresAnIconicWindow) {
  ASSERT_TRUE(Create());
  platform::ShowWindow(Handle(), 6);
  const size_t start = JournalSize();
  EXPECT_EQ(Send(product::kMsgShowWindow), 0);
  EXPECT_THAT(JournalFrom(start),
              ElementsAre("ShowWindow " + Label() + " 9", "SetForegroundWindow " + Label(),
                          "BringWindowToTop " + Label()));
  EXPECT_FALSE(sim::Window(Handle())->iconic);
  EXPECT_EQ(sim::ForegroundWindow(), Handle());
}

TEST_F(FlutterWindowTest, ShowWindowMessageShowsAHiddenWindow) {
  ASSERT_TRUE(Create(/*visible=*/false));
  const size_t start = JournalSize();
  EXPECT_EQ(Send(product::kMsgShowWindow), 0);
  EXPECT_THAT(JournalFrom(start),
              ElementsAre("ShowWindow " + Label() + " 5", "SetForegroundWindow " + Label(),
                          "BringWindowToTop " + Label()));
  EXPECT_TRUE(sim::Window(Handle())->visible);
}

// ---- Tray callback and menu ----

TEST_F(FlutterWindowTest, RightButtonUpOnTheIconOpensTheMenuAtTheCursor) {
  ASSERT_TRUE(Create());
  sim::SetCursorPos(Point{1500, 1050});
  const size_t start = JournalSize();
  EXPECT_EQ(Send(product::kMsgTrayIcon, 1, kWmRButtonUp), 0);
  EXPECT_THAT(JournalFrom(start),
              ElementsAre("CreatePopupMenu", "AppendMenuW 0 1001 显示窗口", "AppendMenuW 2048 0",
                          "AppendMenuW 0 1002 退出", "SetForegroundWindow " + Label(),
                          "TrackPopupMenu 384 1500,1050 " + Label(), "DestroyMenu"));
  EXPECT_EQ(sim::OpenMenuCount(), 0);
}

TEST_F(FlutterWindowTest, TrayTextsReplacedFromDartAppearOnTheNextMenu) {
  ASSERT_TRUE(Create());
  Send(product::kMsgTrayIcon, 1, kWmRButtonUp);
  window->TrayShowText() = u"Show window";
  window->TrayExitText() = u"Exit";
  Send(product::kMsgTrayIcon, 1, kWmRButtonUp);
  const auto items = sim::LastTrackedMenu();
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0].id, 1001u);
  EXPECT_EQ(items[0].text, u"Show window");
  EXPECT_EQ(items[1].flags, 2048u);
  EXPECT_EQ(items[2].id, 1002u);
  EXPECT_EQ(items[2].text, u"Exit");
}

TEST_F(FlutterWindowTest, TheShowItemRestoresAndBringsTheWindowForward) {
  ASSERT_TRUE(Create());
  Send(kWmSysCommand, kScClose);
  sim::SetMenuChoice(1001);
  Send(product::kMsgTrayIcon, 1, kWmRButtonUp);
  EXPECT_TRUE(sim::Window(Handle())->visible);
  EXPECT_EQ(sim::ForegroundWindow(), Handle());
  const auto journal = sim::Journal();
  const size_t tracked = IndexOf("TrackPopupMenu 384 640,400 " + Label());
  ASSERT_LT(tracked + 3, journal.size());
  EXPECT_EQ(journal[tracked + 1], "ShowWindow " + Label() + " 9");
  EXPECT_EQ(journal[tracked + 2], "SetForegroundWindow " + Label());
  EXPECT_EQ(journal[tracked + 3], "DestroyMenu");
}

TEST_F(FlutterWindowTest, TheExitItemRemovesTheIconAndEndsTheProcessWithoutOnDestroy) {
  ASSERT_TRUE(Create());
  sim::SetMenuChoice(1002);
  try {
    Send(product::kMsgTrayIcon, 1, kWmRButtonUp);
    FAIL() << "the process did not end";
  } catch (const sim::ProcessExit& exit) {
    EXPECT_EQ(exit.code, 0u);
  }
  // ExitProcess throws here, so the menu's owner still runs as the stack unwinds; on Windows
  // nothing runs after it.
  const auto journal = sim::Journal();
  const size_t exited = IndexOf("ExitProcess 0");
  ASSERT_LT(exited, journal.size());
  ASSERT_GT(exited, 0u);
  EXPECT_EQ(journal[exited - 1], "Shell_NotifyIconW NIM_DELETE");
  EXPECT_THAT(JournalFrom(exited + 1), ElementsAre("DestroyMenu"));
  EXPECT_FALSE(sim::TrayIconShown(Handle(), 1));
  EXPECT_FALSE(window->IsTrayIconAdded());
  EXPECT_EQ(sim::LiveViewControllerCount(), 1);
  EXPECT_TRUE(sim::Window(Handle()).has_value());
}

TEST_F(FlutterWindowTest, TheExitItemShowsWhatTheBlockerHidBeforeTheProcessEnds) {
  blocker::WindowBlocker& engine = blocker::WindowBlocker::Instance();
  const blocker::WindowHandle ad = AddAdPopup();
  // The re-hide worker's delays run on the simulated clock.
  sim::SetSleepHook([](unsigned ms) { sim::AdvanceSystemTimeMs(ms); });
  ASSERT_TRUE(Create());
  ASSERT_TRUE(engine.StartMonitoring());
  sim::WaitForWinEventHooks(2);
  ASSERT_TRUE(engine.BlockWindowNow(ad, "hide", "r1"));
  sim::WaitForThreads();
  ASSERT_FALSE(sim::Window(ad)->visible);

  sim::SetMenuChoice(1002);
  EXPECT_THROW(Send(product::kMsgTrayIcon, 1, kWmRButtonUp), sim::ProcessExit);
  EXPECT_TRUE(sim::Window(ad)->visible);
  EXPECT_FALSE(engine.IsRunning());
  const size_t shown = IndexOf("ShowWindowAsync " + sim::Label(ad) + " 8");
  EXPECT_LT(IndexOf("Shell_NotifyIconW NIM_DELETE"), shown);
  EXPECT_LT(shown, IndexOf("ExitProcess 0"));
  EXPECT_LT(IndexOf("ExitProcess 0"), sim::Journal().size());
}

TEST_F(FlutterWindowTest, ADismissedMenuOnlyGoesAway) {
  ASSERT_TRUE(Create());
  Send(kWmSysCommand, kScClose);
  Send(product::kMsgTrayIcon, 1, kWmRButtonUp);
  EXPECT_EQ(sim::Journal().back(), "DestroyMenu");
  EXPECT_FALSE(sim::Window(Handle())->visible);
}

TEST_F(FlutterWindowTest, LeftDoubleClickOnTheIconRestoresAndForegrounds) {
  ASSERT_TRUE(Create());
  platform::ShowWindow(Handle(), 6);
  const size_t start = JournalSize();
  EXPECT_EQ(Send(product::kMsgTrayIcon, 1, kWmLButtonDblClk), 0);
  EXPECT_THAT(JournalFrom(start),
              ElementsAre("ShowWindow " + Label() + " 9", "SetForegroundWindow " + Label()));
  EXPECT_FALSE(sim::Window(Handle())->iconic);
}

TEST_F(FlutterWindowTest, ASingleClickOnTheIconGoesToTheBase) {
  ASSERT_TRUE(Create());
  const size_t start = JournalSize();
  Send(product::kMsgTrayIcon, 1, kWmLButtonUp);
  EXPECT_TRUE(DefaultHandledLast(product::kMsgTrayIcon));
  EXPECT_TRUE(JournalFrom(start).empty());
}

// ---- Destruction ----

TEST_F(FlutterWindowTest, OnDestroyDeletesTheIconThenDestroysTheController) {
  ASSERT_TRUE(Create());
  const platform::WindowHandle handle = Handle();
  const size_t start = JournalSize();
  ASSERT_TRUE(platform::DestroyWindow(handle));
  const auto tail = JournalFrom(start);
  const auto at = [&](const std::string& entry) {
    return std::find(tail.begin(), tail.end(), entry) - tail.begin();
  };
  EXPECT_LT(at("Shell_NotifyIconW NIM_DELETE"), at("FlutterDesktopViewControllerDestroy"));
  EXPECT_LT(at("FlutterDesktopViewControllerDestroy"), static_cast<long>(tail.size()));
  EXPECT_FALSE(sim::TrayIconShown(handle, 1));
  EXPECT_FALSE(window->IsTrayIconAdded());
  EXPECT_EQ(window->Controller(), nullptr);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_EQ(window->GetHandle(), nullptr);
}

// ---- Device monitor ----

TEST_F(FlutterWindowTest, TheDeviceStageRegistersTheWindowForBothInterfaceClasses) {
  ASSERT_TRUE(Create());
  const auto registrations = sim::DeviceNotifications();
  ASSERT_EQ(registrations.size(), 2u);
  EXPECT_EQ(registrations[0].window, Handle());
  EXPECT_EQ(registrations[1].window, Handle());
  EXPECT_TRUE(sim::EngineMessenger().HasCallback(kDeviceMonitorChannel));
}

TEST_F(FlutterWindowTest, ADeviceStageThatAnswersFalseLogsItsOwnLine) {
  sim::SetDeviceNotificationFailure(5);
  ASSERT_TRUE(Create());
  const auto lines = LogLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "[FlutterWindow] Device monitor initialization returned false"),
            lines.end());
  EXPECT_EQ(lines.back(), "[FlutterWindow] OnCreate done");
}

TEST_F(FlutterWindowTest, DeviceChangeMessagesGoToTheMonitorAndAnswerOne) {
  ASSERT_TRUE(Create());
  // A DEV_BROADCAST_VOLUME for drive D:.
  std::uint8_t volume[20] = {18, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0};
  const auto sentBefore = sim::EngineMessenger().Sent().size();
  EXPECT_EQ(Send(platform::kWmDeviceChange, platform::kDbtDeviceArrival,
                 reinterpret_cast<std::intptr_t>(volume)),
            1);
  const auto sent = sim::EngineMessenger().Sent();
  ASSERT_EQ(sent.size(), sentBefore + 1);
  EXPECT_EQ(sent.back().channel, kDeviceMonitorChannel);
  // Any other event code is answered the same and sends nothing.
  EXPECT_EQ(Send(platform::kWmDeviceChange, 0x0007, 0), 1);
  EXPECT_EQ(sim::EngineMessenger().Sent().size(), sentBefore + 1);
}

TEST_F(FlutterWindowTest, OnDestroyUnregistersTheDeviceNotifications) {
  ASSERT_TRUE(Create());
  ASSERT_EQ(sim::OpenDeviceNotificationCount(), 2u);
  ASSERT_TRUE(platform::DestroyWindow(Handle()));
  EXPECT_EQ(sim::OpenDeviceNotificationCount(), 0u);
}

TEST_F(FlutterWindowTest, OnDestroyShutsTheBlockerDownAndShowsWhatItHid) {
  blocker::WindowBlocker& engine = blocker::WindowBlocker::Instance();
  const blocker::WindowHandle ad = AddAdPopup();
  // The re-hide worker's delays run on the simulated clock.
  sim::SetSleepHook([](unsigned ms) { sim::AdvanceSystemTimeMs(ms); });
  ASSERT_TRUE(Create());
  ASSERT_TRUE(engine.BlockWindowNow(ad, "hide", "r1"));
  sim::WaitForThreads();
  ASSERT_FALSE(sim::Window(ad)->visible);
  ASSERT_TRUE(engine.StartMonitoring());
  sim::WaitForWinEventHooks(2);

  ASSERT_TRUE(platform::DestroyWindow(Handle()));
  sim::WaitForThreads();
  EXPECT_FALSE(engine.IsRunning());
  EXPECT_TRUE(sim::Window(ad)->visible);
  EXPECT_TRUE(engine.GetSnapshotData().blockedLogs.empty());
}

TEST_F(FlutterWindowTest, OnDestroyBeforeTheWindowExistsDoesNoHarm) {
  FlutterWindow fresh(TestProject());
  fresh.Destroy();
  EXPECT_TRUE(sim::TrayCalls().empty());
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_FALSE(Has("FlutterDesktopViewControllerDestroy"));
}

// ---- Overlay module ----

TEST_F(FlutterWindowTest, OverlayTrayTextsFromSetNativeStringsAppearOnTheNextMenu) {
  ASSERT_TRUE(Create());
  sim::FakeMessenger& messenger = sim::EngineMessenger();
  ASSERT_TRUE(messenger.HasCallback("com.kelvo.tarnel/overlay_notification"));
  const EncodableMap texts{
      {EncodableValue(std::string("trayShowWindow")), EncodableValue(std::string("Show"))},
      {EncodableValue(std::string("trayExit")), EncodableValue(std::string("Quit"))}};
  const auto call = StandardMethodCodec::GetInstance().EncodeMethodCall(
      MethodCall("setNativeStrings", std::make_unique<EncodableValue>(texts)));
  const auto responses =
      messenger.ResponsesTo(messenger.Deliver("com.kelvo.tarnel/overlay_notification", *call));
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].bytes, (std::vector<uint8_t>{0x00, 0x01}));
  Send(product::kMsgTrayIcon, 1, kWmRButtonUp);
  const auto items = sim::LastTrackedMenu();
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0].text, u"Show");
  EXPECT_EQ(items[2].text, u"Quit");
}

TEST_F(FlutterWindowTest, OnDestroyClosesAnOpenMarqueeAndUnregistersTheOverlayClass) {
  ASSERT_TRUE(Create());
  ASSERT_TRUE(sim::ClassRegistered(u"KelvoTarnel_MarqueeNotification"));
  ShowMarquee(u"", u"x", 1);
  const platform::WindowHandle marquee = GetMarqueeState().window;
  ASSERT_TRUE(platform::IsWindow(marquee));
  ASSERT_TRUE(platform::DestroyWindow(Handle()));
  EXPECT_FALSE(platform::IsWindow(marquee));
  EXPECT_FALSE(sim::ClassRegistered(u"KelvoTarnel_MarqueeNotification"));
}

TEST_F(FlutterWindowTest, OnDestroyReleasesChannelsThenStopsModulesThenTheIconThenTheController) {
  ASSERT_TRUE(Create());
  blocker::WindowBlocker& engine = blocker::WindowBlocker::Instance();
  ASSERT_TRUE(engine.StartMonitoring());
  sim::WaitForWinEventHooks(2);
  ASSERT_TRUE(window->HasChannel(product::kOverlayChannel));
  // What has happened at each step, seen from the calls that mark the steps.
  struct Seen {
    bool overlayChannel = false;
    bool blockerChannel = false;
    bool systemChannel = false;
    bool overlayClass = false;
    bool blockerRunning = false;
  };
  std::map<std::string, Seen> seen;
  sim::SetCallHook([&](const std::string& entry) {
    if (seen.count(entry) != 0) return;
    seen[entry] = {window->HasChannel(product::kOverlayChannel),
                   window->HasChannel(product::kWindowBlockerChannel),
                   window->HasChannel(product::kSystemCommandsChannel),
                   sim::ClassRegistered(u"KelvoTarnel_MarqueeNotification"), engine.IsRunning()};
  });
  const size_t start = JournalSize();
  ASSERT_TRUE(platform::DestroyWindow(Handle()));
  sim::SetCallHook(nullptr);

  // 1. Both channels go first; the system commands channel stays.
  ASSERT_EQ(seen.count("UnregisterDeviceNotification"), 1u);
  const Seen devices = seen["UnregisterDeviceNotification"];
  EXPECT_FALSE(devices.overlayChannel);
  EXPECT_FALSE(devices.blockerChannel);
  EXPECT_TRUE(devices.systemChannel);
  // 2. The device monitor, then the overlay, then the blocker.
  EXPECT_TRUE(devices.overlayClass);
  EXPECT_TRUE(devices.blockerRunning);
  ASSERT_EQ(seen.count("UnregisterClassW KelvoTarnel_MarqueeNotification"), 1u);
  EXPECT_TRUE(seen["UnregisterClassW KelvoTarnel_MarqueeNotification"].blockerRunning);
  // 3. and 4. The icon once every module stopped, then the controller.
  ASSERT_EQ(seen.count("Shell_NotifyIconW NIM_DELETE"), 1u);
  EXPECT_FALSE(seen["Shell_NotifyIconW NIM_DELETE"].blockerRunning);
  const auto tail = JournalFrom(start);
  const auto at = [&](const std::string& entry) {
    return std::find(tail.begin(), tail.end(), entry) - tail.begin();
  };
  EXPECT_LT(at("UnregisterDeviceNotification"),
            at("UnregisterClassW KelvoTarnel_MarqueeNotification"));
  EXPECT_LT(at("UnregisterClassW KelvoTarnel_MarqueeNotification"),
            at("Shell_NotifyIconW NIM_DELETE"));
  EXPECT_LT(at("Shell_NotifyIconW NIM_DELETE"), at("FlutterDesktopViewControllerDestroy"));
  EXPECT_LT(at("FlutterDesktopViewControllerDestroy"), static_cast<long>(tail.size()));
  EXPECT_TRUE(window->HasChannel(product::kSystemCommandsChannel));
}

TEST_F(FlutterWindowTest, CreatingAgainReplacesTheController) {
  ASSERT_TRUE(Create());
  ASSERT_TRUE(window->CreateAndShow(u"ZMS", {10, 10}, {1200, 720}));
  EXPECT_EQ(sim::LiveViewControllerCount(), 1);
  EXPECT_EQ(sim::LiveEngineCount(), 1);
  EXPECT_EQ(sim::LiveWindowCount(), 2);  // the window and its view
}

TEST_F(FlutterWindowTest, TheDestructorWithoutWmDestroyDoesNotReachOnDestroy) {
  ASSERT_TRUE(Create());
  const platform::WindowHandle handle = Handle();
  window.reset();
  EXPECT_FALSE(Has("Shell_NotifyIconW NIM_DELETE"));
  EXPECT_FALSE(sim::Window(handle).has_value());
  EXPECT_EQ(sim::LiveViewControllerCount(), 0);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
}

// ---- The driver's main window ----

TEST_F(FlutterWindowTest, CreateFlutterWindowGivesTheDriverAFlutterWindow) {
  sim::SetMonitor({.present = true, .dpi = 144});
  std::unique_ptr<MainWindow> main = CreateFlutterWindow(TestProject());
  ASSERT_TRUE(main->CreateHidden(u"ZMS", 10, 10, 900, 540));
  const platform::WindowHandle handle = main->GetHandle();
  ASSERT_NE(handle, nullptr);
  const auto state = sim::Window(handle);
  EXPECT_EQ(state->windowRect->Width(), 1350);
  EXPECT_EQ(state->windowRect->Height(), 810);
  EXPECT_FALSE(state->visible);
  EXPECT_TRUE(sim::TrayIconShown(handle, 1));

  main->SetQuitOnClose(true);
  platform::DestroyWindow(handle);
  EXPECT_EQ(sim::QuitMessagesPosted(), 1);
}

// ---- Engine and view owners ----

TEST(FlutterEngineTest, ARegistrarBeforeTheEngineRunsIsRefusedWithALine) {
  sim::ResetSimulation();
  FlutterEngine engine(TestProject());
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(engine.GetRegistrarForPlugin("WindowManagerPlugin"), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Cannot get plugin registrar on an engine that isn't running; call Run first.\n");
  EXPECT_TRUE(engine.Run());
  ::testing::internal::CaptureStderr();
  EXPECT_NE(engine.GetRegistrarForPlugin("WindowManagerPlugin"), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST(FlutterEngineTest, TheOwnerDestroysItsEngine) {
  sim::ResetSimulation();
  {
    FlutterEngine engine(TestProject());
    EXPECT_EQ(sim::LiveEngineCount(), 1);
    EXPECT_NE(engine.messenger(), nullptr);
  }
  EXPECT_EQ(sim::LiveEngineCount(), 0);
}

TEST(FlutterEngineTest, AnEngineThatCouldNotBeCreatedHasNoMessengerAndDoesNotRun) {
  sim::ResetSimulation();
  sim::SetEmbedderBehaviour({.engineCreateFails = true});
  FlutterEngine engine(TestProject());
  EXPECT_EQ(engine.messenger(), nullptr);
  EXPECT_FALSE(engine.Run());
}

TEST(FlutterViewControllerTest, TheEngineRunsUnderTheControllerAndGoesWithIt) {
  sim::ResetSimulation();
  {
    FlutterViewController controller(800, 600, TestProject());
    ASSERT_NE(controller.engine(), nullptr);
    ASSERT_NE(controller.view(), nullptr);
    EXPECT_TRUE(sim::EngineRunning(controller.engine()->handle()));
    EXPECT_EQ(controller.view()->GetNativeWindow(), sim::ViewWindow());
    ::testing::internal::CaptureStderr();
    EXPECT_NE(controller.engine()->GetRegistrarForPlugin("UrlLauncherWindows"), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  }
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_EQ(sim::LiveViewControllerCount(), 0);
  EXPECT_EQ(sim::LiveWindowCount(), 0);
}

TEST(FlutterViewControllerTest, AFailedCreationPrintsItsLineAndKeepsNothing) {
  sim::ResetSimulation();
  sim::SetEmbedderBehaviour({.viewControllerCreateFails = true});
  ::testing::internal::CaptureStderr();
  FlutterViewController controller(800, 600, TestProject());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to create view controller.\n");
  EXPECT_EQ(controller.engine(), nullptr);
  EXPECT_EQ(controller.view(), nullptr);
  EXPECT_EQ(controller.HandleTopLevelWindowProc(nullptr, kAppMessage, 0, 0), std::nullopt);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
}

}  // namespace

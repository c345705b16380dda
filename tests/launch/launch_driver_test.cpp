#include "launch/launch_driver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_launch_stages.h"
#include "app/app_log.h"
#include "sim_com.h"
#include "sim_core.h"
#include "sim_desktop.h"
#include "single_instance/single_instance.h"
#include "sim_kernel.h"
#include "sim_shell.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsSubsetOf;
using Args = std::vector<std::u16string>;

const std::u16string kLogPath = u"C:\\ProgramData\\KelvoTarnel\\logs\\app.log";
const std::string kStamp = "append: [2026-3-7 9:5:2] ";

std::string Logged(const std::string& line) { return kStamp + line; }

class LaunchDriverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    fake::ResetStages();
    mainWindowHandle = nullptr;
    activationPipeStopFlag = false;
  }

  static int Run(Args argv, int showCommand = 1) {
    argv.insert(argv.begin(), u"KelvoTarnel.exe");
    sim::SetCommandLineArguments(argv);
    return RunLaunchDriver(nullptr, showCommand);
  }

  static std::vector<std::string> Journal() { return sim::Journal(); }

  static bool Has(const std::string& entry) {
    const auto journal = sim::Journal();
    return std::find(journal.begin(), journal.end(), entry) != journal.end();
  }

  static std::vector<std::string> LogLines() {
    std::vector<std::string> lines;
    for (const auto& entry : sim::Journal()) {
      if (entry.rfind("append: ", 0) == 0) lines.push_back(entry.substr(8));
    }
    return lines;
  }
};

// ---- Modes ----

TEST_F(LaunchDriverTest, DpiAwarenessAndLogDirectoryComeFirstInEveryMode) {
  for (const Args& argv :
       {Args{u"--verify-uninstall-password", u"x"}, Args{u"--native-lock-screen"}, Args{}}) {
    SetUp();
    Run(argv);
    EXPECT_EQ(Journal().front(), "SetProcessDpiAwareness 2");
    EXPECT_TRUE(sim::DirectoryExists(u"C:\\ProgramData\\KelvoTarnel\\logs"));
  }
}

TEST_F(LaunchDriverTest, VerificationWinsOverLockModeAndWritesNoLogLine) {
  fake::stages().verifyResult = 1;
  EXPECT_EQ(Run({u"--native-lock-screen", u"--verify-uninstall-password", u"abc"}), 1);
  EXPECT_THAT(Journal(), ElementsAre("SetProcessDpiAwareness 2", "VerifyUninstallPassword"));
  EXPECT_FALSE(sim::GetFile(kLogPath).has_value());
}

TEST_F(LaunchDriverTest, VerificationExitCodeIsTheProcessExitCode) {
  for (int code : {0, 1, 2, 3}) {
    SetUp();
    fake::stages().verifyResult = code;
    EXPECT_EQ(Run({u"--verify-uninstall-password", u"abc"}), code);
  }
}

TEST_F(LaunchDriverTest, VerifyFlagWithEqualsSignStartsTheFullApplication) {
  Run({u"--verify-uninstall-password=abc"});
  EXPECT_FALSE(Has("VerifyUninstallPassword"));
  EXPECT_TRUE(Has(Logged("========== Application starting ==========")));
}

TEST_F(LaunchDriverTest, UpperCaseLockFlagEntersLockMode) {
  fake::stages().lockResult = 0;
  EXPECT_EQ(Run({u"--NATIVE-LOCK-SCREEN"}), 0);
  EXPECT_THAT(
      LogLines(),
      ElementsAre("[2026-3-7 9:5:2] ========== Native lock screen process starting =========="));
  EXPECT_TRUE(Has("RunNativeLockScreen"));
}

TEST_F(LaunchDriverTest, LockModeComesBeforeTheSingleInstanceStep) {
  sim::SetMutexBehaviour({.alreadyExists = true});
  fake::stages().lockResult = 1;
  EXPECT_EQ(Run({u"--native-lock-screen"}), 1);
  EXPECT_FALSE(Has("CreateMutexW Global\\KelvoTarnelSingleInstance"));
  EXPECT_FALSE(Has("CoInitializeEx"));
  EXPECT_FALSE(
      Has("CreateFlutterWindow data\\flutter_assets data\\icudtl.dat data\\app.so args: "
          "[--native-lock-screen]"));
}

// ---- Full application ----

TEST_F(LaunchDriverTest, FullStartUpRunsEveryStageInOrder) {
  sim::SetMonitor({.present = true, .dpi = 96, .size = Size{1920, 1080}});
  EXPECT_EQ(Run({u"--some-dart-flag"}), 0);
  const std::vector<std::string> expected = {
      "SetProcessDpiAwareness 2",
      Logged("========== Application starting =========="),
      Logged("Checking for single instance (mutex)..."),
      "CreateMutexW Global\\KelvoTarnelSingleInstance",
      Logged("Single instance check passed"),
      "AttachConsole",
      Logged("Initializing COM..."),
      "CoInitializeEx",
      Logged("COM initialized successfully"),
      Logged("Creating Flutter DartProject..."),
      Logged("DartProject created"),
      Logged("Setting Dart entrypoint arguments..."),
      Logged("Dart entrypoint arguments set"),
      Logged("Checking and starting service if needed..."),
      "EnsureServiceRunning",
      Logged("Creating FlutterWindow..."),
      "CreateFlutterWindow data\\flutter_assets data\\icudtl.dat data\\app.so args: "
      "[--some-dart-flag]",
      "MonitorFromPoint 10,10",
      Logged("DPI scale: dpi=96, ratio=1.00, screen=1920x1080, scale=1.00, window size=1200 x 720"),
      Logged("FlutterWindow object created"),
      Logged("Creating window (visible, manual launch)..."),
      "CreateAndShow ZMS 10,10 1200x720",
      Logged("Window created (visible)"),
      "StartActivationPipeServer",
      Logged("Setting QuitOnClose to false..."),
      "SetQuitOnClose false",
      Logged("Entering message loop..."),
      Logged("Flutter Dart code initialization should start now..."),
      "RunMessageLoop",
      Logged("Message loop exited, cleaning up..."),
      "CloseHandle mutex",
      "CoUninitialize",
      Logged("========== Application exiting normally =========="),
      "~FlutterWindow",
  };
  EXPECT_THAT(Journal(), ElementsAreArray(expected));
  EXPECT_TRUE(activationPipeStopFlag.load());
  EXPECT_EQ(sim::OpenMutexCount(), 0);
}

TEST_F(LaunchDriverTest, EveryArgumentReachesDartTrayOnlyIncluded) {
  Run({u"--tray-only", u"--x=1", u"\u00fc"});
  EXPECT_TRUE(
      Has("CreateFlutterWindow data\\flutter_assets data\\icudtl.dat data\\app.so args: "
          "[--tray-only] [--x=1] "
          "[\xc3\xbc]"));
}

TEST_F(LaunchDriverTest, WindowHandleIsStoredBeforeThePipeServerStarts) {
  Run({});
  EXPECT_EQ(mainWindowHandle, reinterpret_cast<platform::WindowHandle>(std::uintptr_t{0x4242}));
}

TEST_F(LaunchDriverTest, ShowCommandZeroWithoutTrayOnlyStartsHidden) {
  Run({}, /*showCommand=*/0);
  EXPECT_TRUE(Has(Logged("Creating window (hidden, service launch)...")));
  EXPECT_TRUE(Has("CreateHidden ZMS 10,10 1200x720"));
  EXPECT_TRUE(Has(Logged("Window created (hidden)")));
}

TEST_F(LaunchDriverTest, TrayOnlyStartsHiddenInAnyLetterCase) {
  Run({u"--TRAY-only"}, /*showCommand=*/1);
  EXPECT_TRUE(Has("CreateHidden ZMS 10,10 1200x720"));
}

TEST_F(LaunchDriverTest, ServiceFailureLogsTheWarningAndStartUpGoesOn) {
  fake::stages().serviceRuns = false;
  EXPECT_EQ(Run({}), 0);
  const auto log = LogLines();
  const auto warning =
      std::find(log.begin(), log.end(),
                "[2026-3-7 9:5:2] Warning: Failed to start service, continuing with GUI");
  ASSERT_NE(warning, log.end());
  EXPECT_EQ(*(warning + 1), "[2026-3-7 9:5:2] Creating FlutterWindow...");
}

TEST_F(LaunchDriverTest, ServiceSuccessLogsNoWarning) {
  Run({});
  EXPECT_FALSE(Has(Logged("Warning: Failed to start service, continuing with GUI")));
}

TEST_F(LaunchDriverTest, ComFailureLogsClosesTheMutexAndExitsWithOne) {
  sim::SetCoInitializeResult(static_cast<std::int32_t>(0x80010106u));
  EXPECT_EQ(Run({}), 1);
  const auto journal = Journal();
  const auto failed = std::find(journal.begin(), journal.end(),
                                Logged("ERROR: CoInitializeEx failed. HRESULT: 0x80010106"));
  ASSERT_NE(failed, journal.end());
  EXPECT_THAT(
      std::vector<std::string>(failed, journal.end()),
      ElementsAre(Logged("ERROR: CoInitializeEx failed. HRESULT: 0x80010106"), "CloseHandle mutex",
                  Logged("Application exiting (COM initialization failed)")));
  EXPECT_EQ(sim::OpenMutexCount(), 0);
}

TEST_F(LaunchDriverTest, ComAlreadyInitialisedResultCountsAsSuccess) {
  sim::SetCoInitializeResult(1);  // S_FALSE
  EXPECT_EQ(Run({}), 0);
  EXPECT_TRUE(Has(Logged("COM initialized successfully")));
}

TEST_F(LaunchDriverTest, WindowCreationFailureTakesTheFailurePathWithExitCodeOne) {
  fake::stages().windowCreates = false;
  fake::stages().windowCreateError = 1400;
  EXPECT_EQ(Run({}), 1);
  const auto journal = Journal();
  const auto failed =
      std::find(journal.begin(), journal.end(), Logged("ERROR: Window Create failed. Error: 1400"));
  ASSERT_NE(failed, journal.end());
  EXPECT_THAT(std::vector<std::string>(failed, journal.end()),
              ElementsAre(Logged("ERROR: Window Create failed. Error: 1400"),
                          Logged("Application exiting (window creation failed)"), "CloseHandle mutex",
                          "CoUninitialize", "~FlutterWindow"));
  EXPECT_FALSE(Has("StartActivationPipeServer"));
  EXPECT_FALSE(Has(Logged("Window created (visible)")));
}

// ---- Single instance ----

TEST_F(LaunchDriverTest, NeitherMutexCreatedExitsWithOne) {
  sim::SetMutexBehaviour(
      {.globalFails = true, .globalError = 5, .localFails = true, .localError = 87});
  EXPECT_EQ(Run({}), 1);
  EXPECT_THAT(LogLines(),
              ElementsAre("[2026-3-7 9:5:2] ========== Application starting ==========",
                          "[2026-3-7 9:5:2] Checking for single instance (mutex)...",
                          "[2026-3-7 9:5:2] Warning: Failed to create global mutex. Error: 5",
                          "[2026-3-7 9:5:2] Trying local mutex fallback...",
                          "[2026-3-7 9:5:2] ERROR: Failed to create local mutex. Error: 87"));
  EXPECT_FALSE(Has("CoInitializeEx"));
}

TEST_F(LaunchDriverTest, GlobalMutexDeniedFallsBackToTheLocalOne) {
  sim::SetMutexBehaviour({.globalFails = true, .globalError = 5});
  EXPECT_EQ(Run({}), 0);
  const auto journal = Journal();
  EXPECT_THAT((std::vector<std::string>{
                  "CreateMutexW Global\\KelvoTarnelSingleInstance", Logged("Warning: Failed to create global mutex. Error: 5"),
                  Logged("Trying local mutex fallback..."), "CreateMutexW Local\\KelvoTarnelSingleInstance",
                  Logged("Single instance check passed")}),
              IsSubsetOf(journal));
  EXPECT_EQ(sim::OpenMutexCount(), 0);
}

TEST_F(LaunchDriverTest, RunningInstanceShownEndsThisProcessWithItsCode) {
  sim::SetMutexBehaviour({.alreadyExists = true});
  fake::stages().activationResult = 0;
  EXPECT_EQ(Run({}), 0);
  EXPECT_TRUE(Has(Logged("Another instance is already running, trying to show it...")));
  EXPECT_THAT(
      sim::DebugOutput(),
      ElementsAre("[KelvoTarnel] Another instance is already running, trying to show it...\n"));
  EXPECT_TRUE(Has("ActivateRunningInstance"));
  EXPECT_FALSE(Has(Logged("Single instance check passed")));
  EXPECT_FALSE(Has("CoInitializeEx"));
  EXPECT_EQ(sim::OpenMutexCount(), 0);
}

TEST_F(LaunchDriverTest, NoTargetFoundRunsOnWithoutMutexAndSkipsTheCloseAtExit) {
  sim::SetMutexBehaviour({.alreadyExists = true});
  fake::stages().activationResult = std::nullopt;
  EXPECT_EQ(Run({}), 0);
  const auto journal = Journal();
  const auto loopEnd =
      std::find(journal.begin(), journal.end(), Logged("Message loop exited, cleaning up..."));
  ASSERT_NE(loopEnd, journal.end());
  EXPECT_THAT(
      std::vector<std::string>(loopEnd, journal.end()),
      ElementsAre(Logged("Message loop exited, cleaning up..."), "CoUninitialize",
                  Logged("========== Application exiting normally =========="), "~FlutterWindow"));
}

// ---- Console ----

TEST_F(LaunchDriverTest, AttachedConsoleRebindsNothing) {
  sim::SetAttachConsoleSucceeds(true);
  sim::SetDebuggerPresent(true);
  Run({});
  EXPECT_FALSE(Has("AllocConsole"));
  EXPECT_FALSE(Has(Logged("Debugger present, creating console...")));
}

TEST_F(LaunchDriverTest, NoParentConsoleAndNoDebuggerMakesNoConsole) {
  sim::SetAttachConsoleSucceeds(false);
  sim::SetDebuggerPresent(false);
  Run({});
  EXPECT_FALSE(Has("AllocConsole"));
}

TEST_F(LaunchDriverTest, NoParentConsoleUnderADebuggerCreatesOne) {
  sim::SetAttachConsoleSucceeds(false);
  sim::SetDebuggerPresent(true);
  Run({});
  const auto journal = Journal();
  const auto line =
      std::find(journal.begin(), journal.end(), Logged("Debugger present, creating console..."));
  ASSERT_NE(line, journal.end());
  EXPECT_THAT(
      std::vector<std::string>(line, line + 6),
      ElementsAre(Logged("Debugger present, creating console..."), "AllocConsole", "freopen stdout",
                  "freopen stderr", "sync_with_stdio", "FlutterDesktopResyncOutputStreams"));
}

TEST_F(LaunchDriverTest, CreateDebugConsoleFallsBackToDuplicatingStandardOutput) {
  sim::SetReopenSucceeds(false, false);
  CreateDebugConsole();
  EXPECT_THAT(Journal(),
              ElementsAre("AllocConsole", "freopen stdout", "dup2 stdout 1", "freopen stderr",
                          "dup2 stdout 2", "sync_with_stdio", "FlutterDesktopResyncOutputStreams"));
}

TEST_F(LaunchDriverTest, CreateDebugConsoleDoesNothingMoreWhenAllocationFails) {
  sim::SetAllocConsoleSucceeds(false);
  CreateDebugConsole();
  EXPECT_THAT(Journal(), ElementsAre("AllocConsole"));
}

// ---- Initial window size ----

struct WorkedValue {
  int screenWidth;
  unsigned dpi;
  double ratio;
  double scale;
  unsigned width;
  unsigned height;
};

class ScaleInitialWindowTable : public ::testing::TestWithParam<WorkedValue> {};

TEST_P(ScaleInitialWindowTable, MatchesTheWorkedValue) {
  const WorkedValue v = GetParam();
  const WindowScale scaled = ScaleInitialWindow(v.dpi, v.screenWidth);
  EXPECT_DOUBLE_EQ(scaled.ratio, v.ratio);
  EXPECT_DOUBLE_EQ(scaled.scale, v.scale);
  EXPECT_EQ(scaled.size.width, v.width);
  EXPECT_EQ(scaled.size.height, v.height);
}

INSTANTIATE_TEST_SUITE_P(WorkedValues, ScaleInitialWindowTable,
                         ::testing::Values(WorkedValue{1920, 96, 1.0, 1.0, 1200, 720},
                                           WorkedValue{1920, 144, 1.5, 0.75, 900, 540},
                                           WorkedValue{3840, 192, 2.0, 1.0, 1200, 720},
                                           WorkedValue{1366, 96, 1.0, 0.75, 900, 540},
                                           WorkedValue{2560, 96, 1.0, 1.0, 1200, 720}));

TEST_F(LaunchDriverTest, ScaleLowerBoundGivesNineHundredByFiveFortyNotTheMinimums) {
  const WindowScale scaled = ScaleInitialWindow(192, 1024);
  EXPECT_DOUBLE_EQ(scaled.scale, 0.75);
  EXPECT_EQ(scaled.size.width, 900u);
  EXPECT_EQ(scaled.size.height, 540u);
}

TEST_F(LaunchDriverTest, WiderScreenAtStandardDpiStaysAtTheDefaultSize) {
  const WindowScale scaled = ScaleInitialWindow(96, 2560);
  EXPECT_GT(1.0 / ((1920.0 / 2560) * 1.0), 1.0);
  EXPECT_EQ(scaled.size.width, 1200u);
  EXPECT_EQ(scaled.size.height, 720u);
}

TEST_F(LaunchDriverTest, ComputeLogsItsLineWithThe144DpiValues) {
  sim::SetMonitor({.present = true, .dpi = 144, .size = Size{1920, 1080}});
  EnsureLogDirectory();
  const InitialWindowSize size = ComputeInitialWindowSize();
  EXPECT_EQ(size.width, 900u);
  EXPECT_EQ(size.height, 540u);
  EXPECT_THAT(LogLines(), ElementsAre("[2026-3-7 9:5:2] DPI scale: dpi=144, ratio=1.50, "
                                      "screen=1920x1080, scale=0.75, window size=900 x 540"));
}

TEST_F(LaunchDriverTest, NoMonitorKeepsTheDefaultAndSaysSo) {
  sim::SetMonitor({.present = false});
  EnsureLogDirectory();
  const InitialWindowSize size = ComputeInitialWindowSize();
  EXPECT_EQ(size.width, 1200u);
  EXPECT_EQ(size.height, 720u);
  EXPECT_THAT(LogLines(),
              ElementsAre("[2026-3-7 9:5:2] DPI scale: no monitor, using default 1200x720"));
}

TEST_F(LaunchDriverTest, MonitorInfoFailureLogsTheFallbackScreenAndUsesTheRealDpi) {
  sim::SetMonitor({.present = true, .dpi = 144, .size = std::nullopt});
  EnsureLogDirectory();
  const InitialWindowSize size = ComputeInitialWindowSize();
  EXPECT_EQ(size.width, 900u);
  EXPECT_THAT(LogLines(),
              ElementsAre(HasSubstr("dpi=144, ratio=1.50, screen=1920x1080, scale=0.75")));
}

TEST_F(LaunchDriverTest, OnlyTheScreenWidthEntersTheScale) {
  sim::SetMonitor({.present = true, .dpi = 96, .size = Size{1920, 400}});
  EnsureLogDirectory();
  const InitialWindowSize size = ComputeInitialWindowSize();
  EXPECT_EQ(size.width, 1200u);
  EXPECT_EQ(size.height, 720u);
  EXPECT_THAT(LogLines(), ElementsAre(HasSubstr("screen=1920x400, scale=1.00")));
}

}  // namespace

// The real executable under Wine, with the engine stand-in as its flutter_windows.dll, driven
// over TCP exactly as the Dart side would drive it.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "app_session.h"
#include "engine_driver.h"
#include "method_calls.h"
#include "wine_process.h"

namespace {

using namespace std::chrono_literals;
using driver::Bytes;
using driver::MethodReply;

using e2e::kStartTimeout;
using e2e::kTimeout;
constexpr const char* kSystemCommands = e2e::kSystemCommandsChannel;
constexpr const char* kWindowBlocker = e2e::kWindowBlockerChannel;
constexpr const char* kDeviceMonitor = e2e::kDeviceMonitorChannel;

constexpr uint32_t kWmFontChange = 29;
constexpr uint32_t kWmSysCommand = 274;
constexpr uint64_t kScClose = 61536;
constexpr uint32_t kMsgShowWindow = 1034;

const char* const kPluginRegistrars[] = {"ConnectivityPlusWindowsPlugin",
                                         "DesktopMultiWindowPlugin",
                                         "FileSaverPlugin",
                                         "FlutterWebRTCPlugin",
                                         "LiveKitPlugin",
                                         "MediaKitLibsWindowsVideoPluginCApi",
                                         "MediaKitVideoPluginCApi",
                                         "ScreenRetrieverPlugin",
                                         "UrlLauncherWindows",
                                         "VolumeControllerPluginCApi",
                                         "WindowManagerPlugin"};

using e2e::AppExe;
using e2e::AppLog;
using e2e::LogHas;
using e2e::LogMessages;

using e2e::MainWindowVisible;

bool WaitForVisibility(bool visible, driver::Timeout timeout) {
  return e2e::WaitForMainWindowVisibility(visible, timeout);
}

class AppTest : public e2e::AppFixture {
 protected:
  MethodReply Call(const std::string& method) {
    return driver::CallMethod(*engine_, kSystemCommands, method, std::nullopt, kTimeout);
  }
};

TEST_F(AppTest, StartUpEventsArriveInOrder) {
  Launch(AppExe(), {"--dart-flag", "\xc3\xa9t\xc3\xa9"});
  std::vector<std::string> events;
  const std::string last = std::string("handler-set:") + kSystemCommands;
  while (events.empty() || events.back() != last) {
    const frames::Frame frame = engine_->NextFrame(kStartTimeout);
    if (const auto* event = std::get_if<frames::Event>(&frame))
      events.push_back(event->name + ":" + event->text);
  }
  std::vector<std::string> expected = {
      "engine-created:data\\flutter_assets\ndata\\icudtl.dat\ndata\\app.so\n--dart-"
      "flag\n\xc3\xa9t\xc3\xa9"};
  ASSERT_EQ(events.size(), 2 + std::size(kPluginRegistrars) + 3);
  EXPECT_EQ(events[0], expected[0]);
  EXPECT_EQ(events[1].rfind("view-created:", 0), 0u) << events[1];
  for (size_t i = 0; i < std::size(kPluginRegistrars); ++i) {
    EXPECT_EQ(events[2 + i], std::string("registrar:") + kPluginRegistrars[i]);
  }
  // The channels in the order of the start-up stages.
  const size_t channels = 2 + std::size(kPluginRegistrars);
  EXPECT_EQ(events[channels], std::string("handler-set:") + kDeviceMonitor);
  EXPECT_EQ(events[channels + 1], std::string("handler-set:") + kWindowBlocker);
}

TEST_F(AppTest, GetIdleSecondsAnswersASixtyFourBitInteger) {
  StartApp({});
  const MethodReply reply = Call("getIdleSeconds");
  ASSERT_EQ(reply.kind, MethodReply::Kind::kSuccess);
  ASSERT_TRUE(std::holds_alternative<int64_t>(reply.value))
      << "alternative " << reply.value.index();
  EXPECT_GE(std::get<int64_t>(reply.value), 0);
}

TEST_F(AppTest, WindowBlockerChannelAnswersStartAndSnapshot) {
  StartApp({});
  const MethodReply started =
      driver::CallMethod(*engine_, kWindowBlocker, "startMonitoring", std::nullopt, kTimeout);
  ASSERT_EQ(started.kind, MethodReply::Kind::kSuccess);
  EXPECT_EQ(started.value, EncodableValue(true));
  const MethodReply snapshot =
      driver::CallMethod(*engine_, kWindowBlocker, "getSnapshot", std::nullopt, kTimeout);
  ASSERT_EQ(snapshot.kind, MethodReply::Kind::kSuccess);
  const auto* map = std::get_if<EncodableMap>(&snapshot.value);
  ASSERT_NE(map, nullptr) << "alternative " << snapshot.value.index();
  EXPECT_EQ(map->size(), 9u);
}

TEST_F(AppTest, UnknownMethodsAndUndecodableMessagesAreNotImplemented) {
  StartApp({});
  EXPECT_EQ(Call("reticulateSplines").kind, MethodReply::Kind::kNotImplemented);
  EXPECT_EQ(Call("GetIdleSeconds").kind, MethodReply::Kind::kNotImplemented);
  EXPECT_TRUE(engine_->SendMessage(kSystemCommands, Bytes{}, kTimeout).empty());
  // The handler is still there afterwards.
  EXPECT_EQ(Call("getIdleSeconds").kind, MethodReply::Kind::kSuccess);
}

TEST_F(AppTest, CloseHidesTheWindowAndShowMessageBringsItBack) {
  StartApp({});
  ASSERT_TRUE(WaitForVisibility(true, kTimeout)) << "the window never showed";
  engine_->SendWindowMessage(kWmSysCommand, kScClose, 0, {}, kTimeout);
  EXPECT_TRUE(WaitForVisibility(false, kTimeout)) << "SC_CLOSE did not hide the window";
  EXPECT_TRUE(app_.running()) << "closing the window ended the process";
  EXPECT_EQ(Call("getIdleSeconds").kind, MethodReply::Kind::kSuccess);
  engine_->SendWindowMessage(kMsgShowWindow, 0, 0, {}, kTimeout);
  EXPECT_TRUE(WaitForVisibility(true, kTimeout)) << "kMsgShowWindow did not show the window";
}

TEST_F(AppTest, FontChangeReloadsTheEnginesFonts) {
  StartApp({});
  engine_->SendWindowMessage(kWmFontChange, 0, 0, {}, kTimeout);
  engine_->WaitForEvent("fonts-reloaded", kTimeout);
}

TEST_F(AppTest, TrayMenuExitItemEndsTheProcessWithCodeZero) {
  StartApp({});
  const std::optional<int> exit = e2e::ExitThroughTrayMenu(*engine_, app_);
  ASSERT_TRUE(exit.has_value()) << "the exit item did not end the process";
  EXPECT_EQ(*exit, 0);
}

TEST_F(AppTest, TrayOnlyStartsHidden) {
  StartApp({"--tray-only"});
  EXPECT_FALSE(MainWindowVisible());
  EXPECT_EQ(Call("getIdleSeconds").kind, MethodReply::Kind::kSuccess);
}

TEST_F(AppTest, ShowCommandZeroFromALauncherStartsHidden) {
  Launch(driver::WindowsTests() + "/launch_hidden.exe", {driver::WindowsPath(AppExe())});
  WaitUntilReady();
  EXPECT_FALSE(MainWindowVisible());
  EXPECT_TRUE(LogHas("Creating window (hidden, service launch)..."));
}

TEST_F(AppTest, LogHoldsTheStartUpLinesInOrder) {
  StartApp({});
  const std::vector<std::string> expected = {
      "========== Application starting ==========",
      "Checking for single instance (mutex)...",
      "Single instance check passed",
      "Initializing COM...",
      "COM initialized successfully",
      "Creating Flutter DartProject...",
      "DartProject created",
      "Setting Dart entrypoint arguments...",
      "Dart entrypoint arguments set",
      "Checking and starting service if needed...",
      "Service does not exist",
      "Service does not exist. Please install the service first.",
      "Warning: Failed to start service, continuing with GUI",
      "Creating FlutterWindow...",
      "DPI scale: dpi=96, ratio=1.00, screen=1920x1080, scale=1.00, window size=1200 x 720",
      "FlutterWindow object created",
      "Creating window (visible, manual launch)...",
      "[FlutterWindow] OnCreate start",
      "[FlutterWindow] RegisterPlugins start",
      "[FlutterWindow] RegisterPlugins done",
      "[FlutterWindow] Tray icon initialized",
      "[FlutterWindow] Device monitor initialized",
      "[FlutterWindow] Window blocker initialized",
      "[FlutterWindow] Window blocker channel registered",
      "[FlutterWindow] System commands channel registered",
      "[FlutterWindow] OnCreate done",
      "Window created (visible)",
      "Activation pipe server thread started",
      "Setting QuitOnClose to false...",
      "Entering message loop...",
      "Flutter Dart code initialization should start now...",
  };
  EXPECT_EQ(LogMessages(), expected);
}

TEST_F(AppTest, LogLinesEndWithCrLfAndCarryUnpaddedLocalTimeStamps) {
  StartApp({});
  const std::string text = driver::ReadFile(AppLog());
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.front(), '[') << "a byte-order mark or header before the first line";
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find('\n', start);
    ASSERT_NE(end, std::string::npos) << "the last line has no line end";
    ASSERT_GT(end, start);
    EXPECT_EQ(text[end - 1], '\r') << "line without CR LF: " << text.substr(start, end - start);
    const std::string line = text.substr(start, end - start - 1);
    if (line.rfind("[FlutterWindow] ", 0) != 0) {
      int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
      char rest[2] = {};
      ASSERT_EQ(std::sscanf(line.c_str(), "[%d-%d-%d %d:%d:%d]%1c", &year, &month, &day, &hour,
                            &minute, &second, rest),
                7)
          << line;
      char stamp[64];
      std::snprintf(stamp, sizeof(stamp), "[%d-%d-%d %d:%d:%d] ", year, month, day, hour, minute,
                    second);
      EXPECT_EQ(line.rfind(stamp, 0), 0u) << "padded or malformed stamp: " << line;
    }
    start = end + 1;
  }
}

TEST_F(AppTest, VerifyFlagWithAnEqualsSignStartsTheFullApplication) {
  StartApp({"--verify-uninstall-password=abc"});
  EXPECT_EQ(LogMessages().front(), "========== Application starting ==========");
  EXPECT_TRUE(app_.running());
}

TEST_F(AppTest, SecondLaunchShowsTheFirstInstanceAndExitsWithZero) {
  StartApp({"--tray-only"});
  ASSERT_FALSE(MainWindowVisible());
  driver::WineProcess second;
  second.Start(AppExe(), {}, {}, dir_ + "/second.log", 60);
  const std::optional<int> exit = second.Wait(45s);
  ASSERT_TRUE(exit.has_value()) << "the second instance did not end";
  EXPECT_EQ(*exit, 0);
  EXPECT_TRUE(WaitForVisibility(true, kTimeout)) << "the first instance's window did not come back";
  EXPECT_TRUE(app_.running());
}

}  // namespace

// The real executable under Wine, with the engine stand-in as its flutter_windows.dll, driven
// over TCP exactly as the Dart side would drive it.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cctype>
#include <cstring>
#include <map>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "app_session.h"
#include "channels/standard_codec.h"
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
constexpr const char* kOverlay = "com.kelvo.tarnel/overlay_notification";

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
  ASSERT_EQ(events.size(), 2 + std::size(kPluginRegistrars) + 4);
  EXPECT_EQ(events[0], expected[0]);
  EXPECT_EQ(events[1].rfind("view-created:", 0), 0u) << events[1];
  for (size_t i = 0; i < std::size(kPluginRegistrars); ++i) {
    EXPECT_EQ(events[2 + i], std::string("registrar:") + kPluginRegistrars[i]);
  }
  // The channels in the order of the start-up stages.
  const size_t channels = 2 + std::size(kPluginRegistrars);
  EXPECT_EQ(events[channels], std::string("handler-set:") + kDeviceMonitor);
  EXPECT_EQ(events[channels + 1], std::string("handler-set:") + kOverlay);
  EXPECT_EQ(events[channels + 2], std::string("handler-set:") + kWindowBlocker);
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

// A DEV_BROADCAST_DEVICEINTERFACE_W of the given class, or a DEV_BROADCAST_VOLUME.
Bytes InterfaceRecord(const std::array<std::uint8_t, 16>& interfaceClass,
                      const std::u16string& path) {
  Bytes record(28 + (path.size() + 1) * 2, 0);
  const auto size = static_cast<std::uint32_t>(record.size());
  const std::uint32_t type = 5;
  std::memcpy(record.data(), &size, 4);
  std::memcpy(record.data() + 4, &type, 4);
  std::memcpy(record.data() + 12, interfaceClass.data(), 16);
  std::memcpy(record.data() + 28, path.data(), path.size() * 2);
  return record;
}

Bytes VolumeRecord(std::uint32_t unitMask) {
  Bytes record(18, 0);
  const std::uint32_t size = 18;
  const std::uint32_t type = 2;
  std::memcpy(record.data(), &size, 4);
  std::memcpy(record.data() + 4, &type, 4);
  std::memcpy(record.data() + 12, &unitMask, 4);
  return record;
}

// {A5DCBF10-6530-11D2-901F-00C04FB951ED} and {86E0D1E0-8089-11D0-9CE4-08003E301F73} (ports) as
// GUIDs lie in memory.
constexpr std::array<std::uint8_t, 16> kUsbDeviceClass = {
    0x10, 0xBF, 0xDC, 0xA5, 0x30, 0x65, 0xD2, 0x11, 0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED};
constexpr std::array<std::uint8_t, 16> kPortsClass = {
    0xE0, 0xD1, 0xE0, 0x86, 0x89, 0x80, 0xD0, 0x11, 0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73};
constexpr std::uint32_t kWmDeviceChange = 0x0219;

std::string MethodOf(const frames::NativeMessage& message) {
  const auto call = StandardMethodCodec::GetInstance().DecodeMethodCall(message.payload);
  return call ? call->method_name() : std::string("(not a method call)");
}

TEST_F(AppTest, DeviceChangesReachDartOnceEachAndOnlyForTheirClasses) {
  StartApp({});
  const std::u16string path =
      u"\\\\?\\USB#VID_1234&PID_5678#E2E#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
  EXPECT_EQ(engine_->SendWindowMessage(kWmDeviceChange, 0x8000, 0,
                                       InterfaceRecord(kUsbDeviceClass, path), kTimeout),
            1);
  const frames::NativeMessage first = engine_->WaitForNativeMessage(kDeviceMonitor, kTimeout);
  EXPECT_EQ(MethodOf(first), "onDeviceChanged");
  EXPECT_EQ(first.id, 0u) << "no reply is wanted";
  // Neither another interface class nor another event code goes anywhere.
  EXPECT_EQ(
      engine_->SendWindowMessage(kWmDeviceChange, 0x8000, 0,
                                 InterfaceRecord(kPortsClass, u"\\\\?\\ACPI#PNP0501#1"), kTimeout),
      1);
  EXPECT_EQ(engine_->SendWindowMessage(kWmDeviceChange, 0x0007, 0, {}, kTimeout), 1);
  EXPECT_EQ(engine_->SendWindowMessage(kWmDeviceChange, 0x8000, 0, VolumeRecord(8), kTimeout), 1);
  // Frames keep their order: the next one on the channel is the volume's.
  const frames::NativeMessage second = engine_->WaitForNativeMessage(kDeviceMonitor, kTimeout);
  EXPECT_EQ(MethodOf(second), "onDeviceChanged");
  for (const frames::Frame& frame : engine_->pending()) {
    const auto* message = std::get_if<frames::NativeMessage>(&frame);
    EXPECT_FALSE(message && message->channel == kDeviceMonitor) << "a third notification";
  }
  // stdout is in text mode: each line ends in CR LF in the file.
  std::string output = driver::ReadFile(dir_ + "/app.log");
  std::erase(output, '\r');
  EXPECT_NE(output.find("[DeviceMonitor] USB Device ARRIVAL: \\\\?\\USB#VID_1234&PID_5678#E2E#{"
                        "a5dcbf10-6530-11d2-901f-00c04fb951ed}\n"),
            std::string::npos)
      << output;
  EXPECT_NE(output.find("[DeviceMonitor] Volume ARRIVAL: unitMask=8\n"), std::string::npos);
  EXPECT_EQ(output.find("PNP0501"), std::string::npos);
  EXPECT_NE(output.find("[DeviceMonitor] RegisterDeviceNotification (USB) Success\n"),
            std::string::npos);
  EXPECT_NE(output.find("[DeviceMonitor] RegisterDeviceNotification (HID) Success\n"),
            std::string::npos);
}

EncodableValue MapEntry(const EncodableValue& value, const char* key) {
  if (!std::holds_alternative<EncodableMap>(value)) return EncodableValue();
  const auto& map = std::get<EncodableMap>(value);
  const auto it = map.find(EncodableValue(key));
  return it == map.end() ? EncodableValue() : it->second;
}

TEST_F(AppTest, DeviceStatusAnswersEveryOneOfTheEightSections) {
  StartApp({});
  const MethodReply reply = driver::CallMethod(*engine_, kDeviceMonitor, "getDeviceStatusDetailed",
                                               std::nullopt, kTimeout);
  ASSERT_EQ(reply.kind, MethodReply::Kind::kSuccess);
  ASSERT_TRUE(std::holds_alternative<EncodableMap>(reply.value));
  const auto& sections = std::get<EncodableMap>(reply.value);
  EXPECT_EQ(sections.size(), 8u);
  for (const auto& [name, section] : sections) {
    EXPECT_TRUE(std::holds_alternative<EncodableMap>(section)) << std::get<std::string>(name);
    EXPECT_TRUE(std::holds_alternative<EncodableList>(MapEntry(section, "devices")));
  }
}

// Every record of the status names a present device, as SetupAPI lists it to a program of its
// own, under the name that device goes by.
TEST_F(AppTest, EveryDeviceInTheStatusIsOneThatSetupApiListsToAnotherProgram) {
  StartApp({});
  const std::string listing = dir_ + "/devices.txt";
  ASSERT_EQ(
      e2e::RunInSession("(wine " + driver::WindowsTests() + "/device_list.exe > " + listing + ")"),
      0);
  struct Listed {
    std::string id;
    std::string friendlyName;
    std::string description;
  };
  std::map<std::string, Listed> present;  // by lower-case id
  std::string text = driver::ReadFile(listing);
  std::erase(text, '\r');
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\n', start);
    const std::string line = text.substr(start, end - start);
    start = end == std::string::npos ? text.size() : end + 1;
    const size_t first = line.find('\t');
    const size_t second = line.find('\t', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string id = line.substr(0, first);
    std::string key = id;
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    present[key] = {id, line.substr(first + 1, second - first - 1), line.substr(second + 1)};
  }
  ASSERT_FALSE(present.empty()) << "the lister found no device";

  const MethodReply reply = driver::CallMethod(*engine_, kDeviceMonitor, "getDeviceStatusDetailed",
                                               std::nullopt, kTimeout);
  ASSERT_EQ(reply.kind, MethodReply::Kind::kSuccess);
  int records = 0;
  for (const auto& [name, section] : std::get<EncodableMap>(reply.value)) {
    const EncodableValue devices = MapEntry(section, "devices");
    if (!std::holds_alternative<EncodableList>(devices)) continue;
    for (const EncodableValue& device : std::get<EncodableList>(devices)) {
      ++records;
      std::string id = std::get<std::string>(MapEntry(device, "instanceId"));
      for (char& c : id) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      const auto found = present.find(id);
      ASSERT_NE(found, present.end()) << "not present: " << id;
      const Listed& listed = found->second;
      EXPECT_EQ(MapEntry(device, "friendlyName"), EncodableValue(listed.friendlyName)) << id;
      // The name shown is the first of the friendly name, the description and the id that is
      // not empty (the agent's own products, which have names of their own, are not in Wine).
      const std::string expected = !listed.friendlyName.empty()  ? listed.friendlyName
                                   : !listed.description.empty() ? listed.description
                                                                 : listed.id;
      EXPECT_EQ(MapEntry(device, "name"), EncodableValue(expected)) << id;
    }
  }
  std::printf("figure: %d device records, %zu present devices\n", records, present.size());
}

TEST_F(AppTest, DisconnectingATypeThatMatchesNothingAnswersFalseAndTheAppLivesOn) {
  StartApp({});
  const MethodReply reply = driver::CallMethod(
      *engine_, kDeviceMonitor, "disconnectDevice",
      EncodableValue(EncodableMap{{EncodableValue("deviceType"), EncodableValue("no-such-type")}}),
      kTimeout);
  ASSERT_EQ(reply.kind, MethodReply::Kind::kSuccess);
  EXPECT_EQ(reply.value, EncodableValue(false));
  EXPECT_TRUE(app_.running());
  EXPECT_EQ(Call("getIdleSeconds").kind, MethodReply::Kind::kSuccess);
}

TEST_F(AppTest, UsbStoragePolicyRoundTripsThroughThePrefixRegistry) {
  const std::string key = "'HKLM\\SYSTEM\\CurrentControlSet\\Services\\USBSTOR'";
  e2e::RunInSession("wine reg delete " + key + " /f");
  StartApp({});
  const MethodReply missing =
      driver::CallMethod(*engine_, kDeviceMonitor, "getUsbStoragePolicy", std::nullopt, kTimeout);
  ASSERT_EQ(missing.kind, MethodReply::Kind::kSuccess);
  EXPECT_EQ(MapEntry(missing.value, "available"), EncodableValue(false));
  EXPECT_EQ(MapEntry(missing.value, "errorCode"), EncodableValue(std::int64_t{2}));

  ASSERT_EQ(e2e::RunInSession("wine reg add " + key + " /v Start /t REG_DWORD /d 3 /f"), 0);
  const MethodReply disabled = driver::CallMethod(
      *engine_, kDeviceMonitor, "setUsbStoragePolicy",
      EncodableValue(EncodableMap{{EncodableValue("disabled"), EncodableValue(true)},
                                  {EncodableValue("disconnectCurrent"), EncodableValue(false)}}),
      kTimeout);
  ASSERT_EQ(disabled.kind, MethodReply::Kind::kSuccess);
  EXPECT_EQ(MapEntry(disabled.value, "startValue"), EncodableValue(std::int32_t{4}));
  EXPECT_EQ(e2e::RunInSession("wine reg query " + key + " /v Start | grep -q 0x4"), 0);

  const MethodReply enabled = driver::CallMethod(
      *engine_, kDeviceMonitor, "setUsbStoragePolicy",
      EncodableValue(EncodableMap{{EncodableValue("disabled"), EncodableValue(false)}}), kTimeout);
  ASSERT_EQ(enabled.kind, MethodReply::Kind::kSuccess);
  EXPECT_EQ(MapEntry(enabled.value, "startValue"), EncodableValue(std::int32_t{3}));
  EXPECT_EQ(e2e::RunInSession("wine reg query " + key + " /v Start | grep -q 0x3"), 0);
  e2e::RunInSession("wine reg delete " + key + " /f");
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
      "[FlutterWindow] Overlay notification initialized",
      "[FlutterWindow] Overlay notification channel registered",
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

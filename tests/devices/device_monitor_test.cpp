#include "devices/device_monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "channels/binary_messenger_impl.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "platform/kernel.h"
#include "platform/setupapi.h"
#include "answer_recorder.h"
#include "platform/registry.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_messenger.h"
#include "sim_registry.h"
#include "sim_setupapi.h"
#include "sim_user.h"

namespace {

using ::testing::ElementsAre;

constexpr std::uint32_t kArrival = platform::kDbtDeviceArrival;
constexpr std::uint32_t kRemoval = platform::kDbtDeviceRemoveComplete;
constexpr Guid kPortsClass = {
    0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};
const std::u16string kMousePath =
    u"\\\\?\\USB#VID_046D&PID_C077#5&2A1B3C4D&0&2#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";

// A DEV_BROADCAST_DEVICEINTERFACE_W as Windows lays it out, its size as stated.
std::vector<std::uint8_t> InterfaceRecord(const Guid& interfaceClass, std::u16string_view path,
                                          bool terminated = true) {
  const std::size_t units = path.size() + (terminated ? 1 : 0);
  std::vector<std::uint8_t> bytes(28 + units * 2, 0);
  const auto size = static_cast<std::uint32_t>(bytes.size());
  const std::uint32_t type = platform::kDbtDevtypDeviceInterface;
  std::memcpy(bytes.data(), &size, 4);
  std::memcpy(bytes.data() + 4, &type, 4);
  std::memcpy(bytes.data() + 12, &interfaceClass, sizeof(Guid));
  std::memcpy(bytes.data() + 28, path.data(), path.size() * 2);
  return bytes;
}

std::vector<std::uint8_t> VolumeRecord(std::uint32_t unitMask) {
  std::vector<std::uint8_t> bytes(20, 0);
  const std::uint32_t size = 18;
  const std::uint32_t type = platform::kDbtDevtypVolume;
  std::memcpy(bytes.data(), &size, 4);
  std::memcpy(bytes.data() + 4, &type, 4);
  std::memcpy(bytes.data() + 12, &unitMask, 4);
  return bytes;
}

class DeviceMonitorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    CleanupDeviceMonitor(nullptr);
    sim::ResetSimulation();
    sim::SetTickCount(50000);
    sim::DesktopWindow main;
    main.pid = sim::kOwnProcessId;
    main.threadId = sim::kOwnThreadId;
    window = sim::AddDesktopWindow(main);
  }
  void TearDown() override { CleanupDeviceMonitor(nullptr); }

  std::intptr_t Deliver(std::uint32_t event, const std::vector<std::uint8_t>& record) {
    return HandleDeviceChange(window, event, record.data());
  }
  std::intptr_t DeliverMouse(std::uint32_t event, std::u16string_view path = kMousePath) {
    return Deliver(event, InterfaceRecord(kUsbDeviceInterfaceClass, path));
  }

  int Notifications() const {
    const auto sent = fake.Sent();
    return static_cast<int>(std::count_if(sent.begin(), sent.end(), [](const auto& message) {
      return message.channel == kDeviceMonitorChannel;
    }));
  }
  static std::string Output() { return sim::StandardOutput(); }

  platform::WindowHandle window = nullptr;
  sim::FakeMessenger fake;
  BinaryMessengerImpl messenger{fake.ref()};
};

// ---- Start and end ----

TEST_F(DeviceMonitorTest, InitRegistersBothClassesForTheWindowAndMakesTheChannel) {
  EXPECT_TRUE(InitDeviceMonitor(window, &messenger));
  const auto registrations = sim::DeviceNotifications();
  ASSERT_EQ(registrations.size(), 2u);
  EXPECT_EQ(registrations[0].interfaceClass, kUsbDeviceInterfaceClass);
  EXPECT_EQ(registrations[1].interfaceClass, kHidInterfaceClass);
  for (const auto& registration : registrations) {
    EXPECT_EQ(registration.window, window);
    EXPECT_EQ(registration.flags, 4u);
  }
  EXPECT_TRUE(fake.HasCallback(kDeviceMonitorChannel));
  EXPECT_EQ(Output(),
            "[DeviceMonitor] MethodChannel initialized\n"
            "[DeviceMonitor] RegisterDeviceNotification (USB) Success\n"
            "[DeviceMonitor] RegisterDeviceNotification (HID) Success\n");
  EXPECT_EQ(sim::FlushedStandardOutput(), Output()) << "every finished line is flushed";
}

TEST_F(DeviceMonitorTest, NullWindowAtStartDoesNothing) {
  EXPECT_FALSE(InitDeviceMonitor(nullptr, &messenger));
  EXPECT_TRUE(sim::DeviceNotifications().empty());
  EXPECT_FALSE(fake.HasCallback(kDeviceMonitorChannel));
  EXPECT_EQ(Output(), "");
}

TEST_F(DeviceMonitorTest, BothRegistrationsFailingAnswersFalseButKeepsTheChannel) {
  sim::SetDeviceNotificationFailure(1066);
  EXPECT_FALSE(InitDeviceMonitor(window, &messenger));
  EXPECT_TRUE(fake.HasCallback(kDeviceMonitorChannel));
  EXPECT_EQ(Output(),
            "[DeviceMonitor] MethodChannel initialized\n"
            "[DeviceMonitor] RegisterDeviceNotification (USB) Failed: Error Code 1066\n"
            "[DeviceMonitor] RegisterDeviceNotification (HID) Failed: Error Code 1066\n");
}

// The simulation journals a registration before it answers, so the hook decides the HID one.
void FailTheHidRegistrationWith(unsigned long error) {
  sim::SetCallHook([error](const std::string& entry) {
    if (entry.rfind("RegisterDeviceNotificationW {4D1E55B2", 0) == 0 ||
        entry.rfind("RegisterDeviceNotificationW {4d1e55b2", 0) == 0) {
      sim::SetDeviceNotificationFailure(error);
    }
  });
}

TEST_F(DeviceMonitorTest, AFailedHidRegistrationIsLoggedAndTheUsbOneStillCounts) {
  FailTheHidRegistrationWith(1066);
  EXPECT_TRUE(InitDeviceMonitor(window, nullptr));
  EXPECT_EQ(sim::DeviceNotifications().size(), 1u);
  EXPECT_EQ(Output(),
            "[DeviceMonitor] RegisterDeviceNotification (USB) Success\n"
            "[DeviceMonitor] RegisterDeviceNotification (HID) Failed: Error Code 1066\n");
}

TEST_F(DeviceMonitorTest, AFailedUsbRegistrationDoesNotStopTheHidOne) {
  sim::SetDeviceNotificationFailure(8);
  FailTheHidRegistrationWith(0);
  EXPECT_TRUE(InitDeviceMonitor(window, nullptr));
  const auto registrations = sim::DeviceNotifications();
  ASSERT_EQ(registrations.size(), 1u);
  EXPECT_EQ(registrations[0].interfaceClass, kHidInterfaceClass);
  EXPECT_EQ(Output(),
            "[DeviceMonitor] RegisterDeviceNotification (USB) Failed: Error Code 8\n"
            "[DeviceMonitor] RegisterDeviceNotification (HID) Success\n");
}

TEST_F(DeviceMonitorTest, InitAgainReplacesTheRegistrationsAndKeepsTheStamps) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  DeliverMouse(kArrival);
  ASSERT_EQ(DeviceEventStampCount(), 1u);
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  EXPECT_EQ(sim::OpenDeviceNotificationCount(), 2u) << "the first two were unregistered";
  EXPECT_EQ(DeviceEventStampCount(), 1u);
}

TEST_F(DeviceMonitorTest, CleanupUnregistersBothAndForgetsEverything) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  DeliverMouse(kArrival);
  const std::size_t before = Output().size();
  CleanupDeviceMonitor(window);
  EXPECT_EQ(Output().substr(before),
            "[DeviceMonitor] USB Device Notification Unregistered\n"
            "[DeviceMonitor] HID Device Notification Unregistered\n");
  EXPECT_EQ(sim::OpenDeviceNotificationCount(), 0u);
  EXPECT_EQ(DeviceEventStampCount(), 0u);
  // The channel is gone: a change after the end is no longer sent.
  const int sent = Notifications();
  NotifyDeviceChanged();
  EXPECT_EQ(Notifications(), sent);
}

TEST_F(DeviceMonitorTest, CleanupWithNothingRegisteredLogsNothing) {
  CleanupDeviceMonitor(nullptr);
  CleanupDeviceMonitor(window);
  EXPECT_EQ(Output(), "");
  EXPECT_TRUE(sim::Journal().empty() ||
              std::none_of(sim::Journal().begin(), sim::Journal().end(), [](const auto& entry) {
                return entry.rfind("UnregisterDeviceNotification", 0) == 0;
              }));
}

// ---- The event path ----

TEST_F(DeviceMonitorTest, AUsbArrivalIsLoggedAndSentOnce) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  EXPECT_EQ(DeliverMouse(kArrival), 1);
  const std::string log = Output().substr(before);
  EXPECT_EQ(log.rfind("[DeviceMonitor] USB Device ARRIVAL: \\\\?\\USB#VID_046D&PID_C077", 0), 0u)
      << log;
  EXPECT_NE(log.find("[DeviceMonitor] Notified Flutter about device change\n"), std::string::npos);
  EXPECT_EQ(Notifications(), 1);
  const auto sent = fake.Sent();
  ASSERT_FALSE(sent.empty());
  const auto call = StandardMethodCodec::GetInstance().DecodeMethodCall(sent.back().bytes);
  ASSERT_NE(call, nullptr);
  EXPECT_EQ(call->method_name(), "onDeviceChanged");
  ASSERT_NE(call->arguments(), nullptr);
  EXPECT_TRUE(call->arguments()->IsNull());
  EXPECT_FALSE(sent.back().expectsReply);
}

// GUID_DEVCLASS_USB, the setup class whose composite devices end the walk.
constexpr Guid kUsbSetupClass = {
    0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

TEST_F(DeviceMonitorTest, AnArrivalLogsThePhysicalDeviceBehindThePath) {
  sim::Device mouse;
  mouse.instanceId = u"USB\\VID_046D&PID_C077\\5&2A1B3C4D&0&2";
  mouse.setupClass = kUsbSetupClass;
  mouse.classGuidText = sim::GuidText(kUsbSetupClass);
  mouse.description = u"USB Composite Device";
  mouse.friendlyName = u"USB Optical Mouse";
  mouse.interfaces = {{kUsbDeviceInterfaceClass, kMousePath}};
  ASSERT_NE(sim::AddDevice(mouse), 0u);
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  DeliverMouse(kArrival);
  EXPECT_EQ(
      Output().substr(before),
      "[DeviceMonitor] USB Device ARRIVAL: " + std::string(kMousePath.begin(), kMousePath.end()) +
          "\n  Port Path: USB\\VID_046D&PID_C077\\5&2A1B3C4D&0&2, VID: 046D, PID: C077, "
          "Product String: USB Optical Mouse\n"
          "[DeviceMonitor] Notified Flutter about device change\n");
  EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u);
}

TEST_F(DeviceMonitorTest, AnArrivalOfAnUnknownPathSaysSoAndIsStillSent) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  DeliverMouse(kArrival);
  EXPECT_NE(Output().substr(before).find("\n  (Failed to get physical entity info)\n"),
            std::string::npos);
  EXPECT_EQ(Notifications(), 1);
}

TEST_F(DeviceMonitorTest, ARemovalDoesNotLookForThePhysicalDevice) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  DeliverMouse(kRemoval);
  EXPECT_EQ(Output().substr(before).find("  "), std::string::npos);
}

TEST_F(DeviceMonitorTest, AHidRemovalIsLoggedAsHid) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::u16string path =
      u"\\\\?\\HID#VID_046D&PID_C077&MI_00#7&1&0&0000#{4d1e55b2-f16f-11cf-88cb-001111000030}";
  const std::size_t before = Output().size();
  Deliver(kRemoval, InterfaceRecord(kHidInterfaceClass, path));
  EXPECT_EQ(Output().substr(before),
            "[DeviceMonitor] HID Device REMOVAL: \\\\?\\HID#VID_046D&PID_C077&MI_00#7&1&0&0000#{"
            "4d1e55b2-f16f-11cf-88cb-001111000030}\n"
            "[DeviceMonitor] Notified Flutter about device change\n");
  EXPECT_EQ(Notifications(), 1);
}

TEST_F(DeviceMonitorTest, AnEventNinetyNineMillisecondsLaterIsDroppedAndOneAtAHundredPasses) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  DeliverMouse(kRemoval);
  sim::SetTickCount(50099);
  EXPECT_EQ(DeliverMouse(kRemoval), 1);
  EXPECT_EQ(Notifications(), 1);
  sim::SetTickCount(50100);
  DeliverMouse(kRemoval);
  EXPECT_EQ(Notifications(), 2);
}

TEST_F(DeviceMonitorTest, ADroppedEventNeverExtendsTheWindow) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  DeliverMouse(kRemoval);
  sim::SetTickCount(50060);
  DeliverMouse(kRemoval);
  sim::SetTickCount(50120);
  DeliverMouse(kRemoval);
  EXPECT_EQ(Notifications(), 2);
}

TEST_F(DeviceMonitorTest, ArrivalAndRemovalOfOnePathWithinTheWindowBothPass) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  DeliverMouse(kArrival);
  sim::SetTickCount(50010);
  DeliverMouse(kRemoval);
  EXPECT_EQ(Notifications(), 2);
  EXPECT_TRUE(HasDeviceEventStamp(kMousePath + u"_32768"));
  EXPECT_TRUE(HasDeviceEventStamp(kMousePath + u"_32772"));
}

TEST_F(DeviceMonitorTest, OnePathThroughBothRegistrationsGivesOneBlockAndOneNotification) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  DeliverMouse(kRemoval);
  DeliverMouse(kRemoval);
  EXPECT_EQ(Notifications(), 1);
  EXPECT_EQ(
      Output().substr(before),
      "[DeviceMonitor] USB Device REMOVAL: " + std::string(kMousePath.begin(), kMousePath.end()) +
          "\n[DeviceMonitor] Notified Flutter about device change\n");
}

TEST_F(DeviceMonitorTest, ThePathInOtherLetterCaseIsAnotherKey) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  DeliverMouse(kRemoval, u"\\\\?\\USB#VID_046D&PID_C077#1");
  DeliverMouse(kRemoval, u"\\\\?\\usb#vid_046d&pid_c077#1");
  EXPECT_EQ(Notifications(), 2);
}

TEST_F(DeviceMonitorTest, ATickCounterThatWrapsStillGivesTheRightAge) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  sim::SetTickCount(0xFFFFFFF0U);
  DeliverMouse(kRemoval);
  sim::SetTickCount(0x00000020U);  // 48 ms later
  DeliverMouse(kRemoval);
  EXPECT_EQ(Notifications(), 1);
  sim::SetTickCount(0x00000060U);  // 112 ms after the first
  DeliverMouse(kRemoval);
  EXPECT_EQ(Notifications(), 2);
}

TEST_F(DeviceMonitorTest, AVolumeEventIsSentAndAnotherUnitMaskIsAnotherKey) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  Deliver(kArrival, VolumeRecord(8));
  Deliver(kArrival, VolumeRecord(8));
  Deliver(kArrival, VolumeRecord(16));
  EXPECT_EQ(Notifications(), 2);
  EXPECT_TRUE(HasDeviceEventStamp(u"VOLUME_8_32768"));
  EXPECT_TRUE(HasDeviceEventStamp(u"VOLUME_16_32768"));
  EXPECT_EQ(Output().substr(before),
            "[DeviceMonitor] Volume ARRIVAL: unitMask=8\n"
            "[DeviceMonitor] Notified Flutter about device change\n"
            "[DeviceMonitor] Volume ARRIVAL: unitMask=16\n"
            "[DeviceMonitor] Notified Flutter about device change\n");
}

TEST_F(DeviceMonitorTest, AnotherInterfaceClassIsSilent) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  EXPECT_EQ(Deliver(kArrival, InterfaceRecord(kPortsClass, u"\\\\?\\ACPI#PNP0501#1")), 1);
  EXPECT_EQ(Output().substr(before), "");
  EXPECT_EQ(Notifications(), 0);
  EXPECT_EQ(DeviceEventStampCount(), 0u);
}

TEST_F(DeviceMonitorTest, AnEmptyPathIsLoggedAndGoesNoFurther) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const std::size_t before = Output().size();
  Deliver(kArrival, InterfaceRecord(kUsbDeviceInterfaceClass, u""));
  EXPECT_EQ(Output().substr(before), "[DeviceMonitor] Device path is empty!\n");
  EXPECT_EQ(Notifications(), 0);
}

TEST_F(DeviceMonitorTest, IgnoredEventsNullRecordsAndDuplicatesAllAnswerOne) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const auto record = InterfaceRecord(kUsbDeviceInterfaceClass, kMousePath);
  EXPECT_EQ(HandleDeviceChange(window, 0x0007, record.data()), 1);  // DBT_DEVNODES_CHANGED
  EXPECT_EQ(HandleDeviceChange(window, 0x8001, record.data()), 1);  // DBT_DEVICEQUERYREMOVE
  EXPECT_EQ(HandleDeviceChange(window, kArrival, nullptr), 1);
  EXPECT_EQ(Notifications(), 0);
  EXPECT_EQ(HandleDeviceChange(window, kArrival, record.data()), 1);
  EXPECT_EQ(HandleDeviceChange(window, kArrival, record.data()), 1);
  EXPECT_EQ(Notifications(), 1);
}

TEST_F(DeviceMonitorTest, WithoutAChannelChangesAreFilteredAndLoggedButNotSent) {
  ASSERT_TRUE(InitDeviceMonitor(window, nullptr));
  DeliverMouse(kArrival);
  EXPECT_EQ(Notifications(), 0);
  EXPECT_NE(Output().find("[DeviceMonitor] USB Device ARRIVAL: "), std::string::npos);
  EXPECT_EQ(Output().find("Notified Flutter"), std::string::npos);
}

TEST_F(DeviceMonitorTest, ANewKeySweepsStampsOlderThanASecondAndOnlyThen) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  Deliver(kArrival, VolumeRecord(1));
  sim::SetTickCount(51001);            // 1001 ms after the first stamp
  Deliver(kArrival, VolumeRecord(1));  // a known key: no sweep, the stamp is renewed
  EXPECT_EQ(DeviceEventStampCount(), 1u);
  sim::SetTickCount(52002);
  Deliver(kRemoval, VolumeRecord(2));  // new: sweeps the other, 1001 ms old
  EXPECT_EQ(DeviceEventStampCount(), 1u);
  EXPECT_TRUE(HasDeviceEventStamp(u"VOLUME_2_32772"));
  sim::SetTickCount(53002);
  Deliver(kRemoval, VolumeRecord(3));  // exactly 1000 ms: kept
  EXPECT_EQ(DeviceEventStampCount(), 2u);
}

// ---- Records that lie ----

TEST_F(DeviceMonitorTest, ARecordSmallerThanItsTypeNeedsIsRefused) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  auto volume = VolumeRecord(8);
  const std::uint32_t shortSize = 14;
  std::memcpy(volume.data(), &shortSize, 4);
  EXPECT_FALSE(DecodeDeviceBroadcast(volume.data()).has_value());
  EXPECT_EQ(Deliver(kArrival, volume), 1);
  auto usb = InterfaceRecord(kUsbDeviceInterfaceClass, kMousePath);
  const std::uint32_t headerOnly = 20;
  std::memcpy(usb.data(), &headerOnly, 4);
  EXPECT_FALSE(DecodeDeviceBroadcast(usb.data()).has_value());
  EXPECT_EQ(Deliver(kArrival, usb), 1);
  const std::uint32_t tiny = 4;
  std::memcpy(usb.data(), &tiny, 4);
  EXPECT_FALSE(DecodeDeviceBroadcast(usb.data()).has_value());
  EXPECT_EQ(Notifications(), 0);
}

TEST_F(DeviceMonitorTest, APathWithoutTerminatorEndsAtTheRecordsEnd) {
  // On the heap at exactly the stated size, so that a read past it is caught by the sanitizer.
  const auto bytes = InterfaceRecord(kUsbDeviceInterfaceClass, u"\\\\?\\USB#X", false);
  const auto exact = std::make_unique<std::uint8_t[]>(bytes.size());
  std::memcpy(exact.get(), bytes.data(), bytes.size());
  const auto decoded = DecodeDeviceBroadcast(exact.get());
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->path, u"\\\\?\\USB#X");
  EXPECT_EQ(decoded->classGuid, kUsbDeviceInterfaceClass);
}

TEST_F(DeviceMonitorTest, AnOddSizeLeavesTheHalfUnitOut) {
  auto bytes = InterfaceRecord(kUsbDeviceInterfaceClass, u"AB", false);
  const std::uint32_t odd = 28 + 3;
  std::memcpy(bytes.data(), &odd, 4);
  const auto decoded = DecodeDeviceBroadcast(bytes.data());
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->path, u"A");
}

// ---- The channel ----

Answer CallMonitor(const std::string& method, std::unique_ptr<EncodableValue> arguments = nullptr) {
  Answer answer;
  HandleDeviceMonitorCall(MethodCall(method, std::move(arguments)), Recorder(answer));
  EXPECT_EQ(answer.count, 1) << method << " answered once";
  return answer;
}

const EncodableValue& Entry(const Answer& answer, const char* key) {
  static const EncodableValue kMissing;
  if (!answer.value || !std::holds_alternative<EncodableMap>(*answer.value)) return kMissing;
  const auto& map = std::get<EncodableMap>(*answer.value);
  const auto it = map.find(EncodableValue(key));
  return it == map.end() ? kMissing : it->second;
}

constexpr std::u16string_view kUsbStor = u"SYSTEM\\CurrentControlSet\\Services\\USBSTOR";

std::optional<std::uint32_t> UsbStorStart() {
  const auto stored = sim::RegistryValue(platform::kHkeyLocalMachine, kUsbStor, u"Start");
  if (!stored || stored->data.size() != 4) return std::nullopt;
  std::uint32_t value = 0;
  std::memcpy(&value, stored->data.data(), 4);
  return value;
}

TEST_F(DeviceMonitorTest, TheStatusMethodAnswersAllEightSections) {
  const Answer answer = CallMonitor("getDeviceStatusDetailed");
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  ASSERT_TRUE(answer.value && std::holds_alternative<EncodableMap>(*answer.value));
  EXPECT_EQ(std::get<EncodableMap>(*answer.value).size(), 8u);
}

TEST_F(DeviceMonitorTest, DisconnectWithoutATypeStillRunsAndAnswersFalse) {
  std::vector<EncodableValue> argumentsTried = {
      EncodableValue(), EncodableValue("keyboard"),
      EncodableValue(EncodableMap{{EncodableValue("deviceType"), EncodableValue(7)}})};
  for (const EncodableValue& arguments : argumentsTried) {
    const Answer answer =
        CallMonitor("disconnectDevice", std::make_unique<EncodableValue>(arguments));
    ASSERT_EQ(answer.kind, Answer::kSuccess);
    EXPECT_EQ(answer.value, EncodableValue(false));
  }
}

TEST_F(DeviceMonitorTest, DisconnectOfATypeThatMatchesNothingAnswersFalse) {
  const Answer answer = CallMonitor(
      "disconnectDevice", std::make_unique<EncodableValue>(EncodableMap{
                              {EncodableValue("deviceType"), EncodableValue("nothing")}}));
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(answer.value, EncodableValue(false));
}

TEST_F(DeviceMonitorTest, ThePolicyWithoutItsKeyIsUnavailableWithTheSystemsCode) {
  const Answer answer = CallMonitor("getUsbStoragePolicy");
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(Entry(answer, "available"), EncodableValue(false));
  EXPECT_EQ(Entry(answer, "errorCode"), EncodableValue(std::int64_t{2}));
}

TEST_F(DeviceMonitorTest, SetPolicyWithNoArgumentsEnablesStorage) {
  sim::SetRegistryDword(platform::kHkeyLocalMachine, kUsbStor, u"Start", 4);
  const Answer answer = CallMonitor("setUsbStoragePolicy");
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(UsbStorStart(), 3u);
  EXPECT_EQ(Entry(answer, "disabled"), EncodableValue(false));
}

TEST_F(DeviceMonitorTest, SetPolicyReadsEachKeyOnItsOwn) {
  sim::SetRegistryDword(platform::kHkeyLocalMachine, kUsbStor, u"Start", 3);
  const Answer answer = CallMonitor(
      "setUsbStoragePolicy",
      std::make_unique<EncodableValue>(EncodableMap{
          {EncodableValue("disabled"), EncodableValue(true)},
          {EncodableValue("disconnectCurrent"), EncodableValue("no")}}));  // not a bool: true
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(UsbStorStart(), 4u);
  EXPECT_EQ(Entry(answer, "disabled"), EncodableValue(true));
  EXPECT_EQ(Entry(answer, "startValue"), EncodableValue(std::int32_t{4}));
}

TEST_F(DeviceMonitorTest, NoMethodAnswersWithAnError) {
  for (const char* method : {"getDeviceStatusDetailed", "disconnectDevice", "getUsbStoragePolicy",
                             "setUsbStoragePolicy", "GetDeviceStatusDetailed", ""}) {
    EXPECT_NE(CallMonitor(method).kind, Answer::kError) << method;
  }
  EXPECT_EQ(CallMonitor("GetDeviceStatusDetailed").kind, Answer::kNotImplemented)
      << "names compare with their case";
}

TEST_F(DeviceMonitorTest, AnUnknownMethodIsNotImplemented) {
  ASSERT_TRUE(InitDeviceMonitor(window, &messenger));
  const auto call = StandardMethodCodec::GetInstance().EncodeMethodCall(
      MethodCall("noSuchMethod", std::make_unique<EncodableValue>()));
  const auto responses = fake.ResponsesTo(fake.Deliver(kDeviceMonitorChannel, *call));
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_TRUE(responses[0].bytes.empty());
}

}  // namespace

#include "devices/device_disconnect.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/kernel.h"
#include "sim_core.h"
#include "sim_setupapi.h"

namespace {

using namespace platform;

// GUID_DEVCLASS_DISKDRIVE, _KEYBOARD, _CAMERA, _MONITOR and _USB.
constexpr Guid kDiskDriveClass = {
    0x4D36E967, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid kKeyboardClass = {
    0x4D36E96B, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid kCameraClass = {
    0xCA3E7AB9, 0xB4C3, 0x4AE6, {0x82, 0x51, 0x57, 0x9E, 0xF9, 0x33, 0x89, 0x0F}};
constexpr Guid kMonitorClass = {
    0x4D36E96E, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid kUsbClass = {
    0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

// A stick is chosen by its USB device, the one USBSTOR drives; the disk below it is no USB device.
constexpr char16_t kFirstStick[] = u"USB\\VID_0951&PID_1666\\60A44C413A8BF3A0B9690095";
constexpr char16_t kSecondStick[] = u"USB\\VID_0781&PID_5581\\4C530001190820115193";
constexpr char16_t kKeyboard[] = u"HID\\VID_046D&PID_C31C&MI_00\\7&1A2B3C&0&0000";
constexpr char16_t kWebcam[] = u"USB\\VID_046D&PID_085B&MI_00\\6&2F1E&0&0000";
constexpr char16_t kMonitor[] = u"DISPLAY\\DELA0F4\\5&1234ABCD&0&UID4352";

const sim::RemovalAnswer kVeto{kCrRemoveVetoed, sim::kPnpVetoOutstandingOpen, u"explorer.exe"};

std::uint32_t AddStick(std::u16string_view id, std::u16string_view diskName) {
  sim::Device usb;
  usb.instanceId = id;
  usb.setupClass = kUsbClass;
  usb.description = u"USB Mass Storage Device";
  usb.manufacturer = u"Compatible USB storage device";
  usb.service = u"USBSTOR";
  usb.className = u"USB";
  if (sim::AddDevice(usb) == 0) return 0;
  sim::Device disk;
  disk.instanceId = u"USBSTOR\\DISK&" + std::u16string(id.substr(id.rfind(u'\\') + 1));
  disk.parentId = id;
  disk.setupClass = kDiskDriveClass;
  disk.friendlyName = std::u16string(diskName);
  disk.description = u"Disk drive";
  disk.manufacturer = u"(Standard disk drives)";
  disk.service = u"disk";
  disk.className = u"DiskDrive";
  return sim::AddDevice(disk);
}

std::uint32_t AddKeyboard() {
  sim::Device keyboard;
  keyboard.instanceId = kKeyboard;
  keyboard.setupClass = kKeyboardClass;
  keyboard.description = u"HID Keyboard Device";
  keyboard.manufacturer = u"(Standard keyboards)";
  keyboard.service = u"kbdhid";
  keyboard.className = u"Keyboard";
  return sim::AddDevice(keyboard);
}

std::uint32_t AddWebcam() {
  sim::Device webcam;
  webcam.instanceId = kWebcam;
  webcam.setupClass = kCameraClass;
  webcam.friendlyName = u"Logitech BRIO";
  webcam.description = u"USB Video Device";
  webcam.manufacturer = u"Microsoft";
  webcam.service = u"usbvideo";
  webcam.className = u"Camera";
  return sim::AddDevice(webcam);
}

std::uint32_t AddMonitor() {
  sim::Device monitor;
  monitor.instanceId = kMonitor;
  monitor.setupClass = kMonitorClass;
  monitor.description = u"Generic PnP Monitor";
  monitor.manufacturer = u"(Standard monitor types)";
  monitor.service = u"monitor";
  monitor.className = u"Monitor";
  return sim::AddDevice(monitor);
}

std::string Entry(const char* call, std::u16string_view id) {
  std::string entry = std::string(call) + " ";
  for (const char16_t unit : id) entry.push_back(static_cast<char>(unit));  // ids are ASCII
  return entry;
}

std::vector<std::string> RemovalCalls() { return sim::JournalEntries("CM_"); }

class DisconnectDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
  void TearDown() override {
    EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u) << "every device list is destroyed again";
    EXPECT_EQ(sim::InvalidDeviceInfoListUses(), 0);
  }
};

TEST_F(DisconnectDeviceTest, EmptyTypeReturnsFalseWithoutOpeningAList) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  EXPECT_FALSE(DisconnectDevice(""));
  EXPECT_EQ(sim::DeviceInfoListsMade(), 0u);
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(DisconnectDeviceTest, UnknownTypeWalksTheListAndMatchesNothing) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  ASSERT_NE(AddKeyboard(), 0u);
  EXPECT_FALSE(DisconnectDevice("printer"));
  EXPECT_EQ(sim::DeviceInfoListsMade(), 1u);
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(DisconnectDeviceTest, NoDeviceListReturnsFalse) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  sim::RefuseDeviceInfoList(std::nullopt, kErrorNotEnoughMemory);
  EXPECT_FALSE(DisconnectDevice("usb_storage"));
  EXPECT_TRUE(RemovalCalls().empty());
  EXPECT_TRUE(sim::DeviceExists(kFirstStick));
}

TEST_F(DisconnectDeviceTest, NoMatchingDeviceReturnsFalse) {
  ASSERT_NE(AddKeyboard(), 0u);
  EXPECT_FALSE(DisconnectDevice("usb_storage"));
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(DisconnectDeviceTest, StickIsEjectedAndNothingElseIsTried) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  EXPECT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Request_Device_EjectW", kFirstStick)}));
  EXPECT_FALSE(sim::DeviceExists(kFirstStick));
}

TEST_F(DisconnectDeviceTest, OfTwoSticksOnlyTheFirstIsRemoved) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  ASSERT_NE(AddStick(kSecondStick, u"SanDisk Ultra USB Device"), 0u);
  EXPECT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_FALSE(sim::DeviceExists(kFirstStick));
  EXPECT_TRUE(sim::DeviceExists(kSecondStick));
  EXPECT_EQ(RemovalCalls().size(), 1u);
}

TEST_F(DisconnectDeviceTest, SecondCallTakesTheOtherStick) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  ASSERT_NE(AddStick(kSecondStick, u"SanDisk Ultra USB Device"), 0u);
  ASSERT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_FALSE(sim::DeviceExists(kSecondStick));
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Request_Device_EjectW", kFirstStick),
                                      Entry("CM_Request_Device_EjectW", kSecondStick)}));
  EXPECT_FALSE(DisconnectDevice("usb_storage"));
}

TEST_F(DisconnectDeviceTest, StickWhoseEjectIsVetoedIsDisabledAndThatCountsAsSuccess) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  sim::ScriptEject(kFirstStick, kVeto);
  EXPECT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Request_Device_EjectW", kFirstStick),
                                      Entry("CM_Disable_DevNode", kFirstStick)}));
  EXPECT_TRUE(sim::DeviceDisabled(kFirstStick));
  EXPECT_TRUE(sim::DeviceExists(kFirstStick));
}

TEST_F(DisconnectDeviceTest, StickThatRefusesEjectAndDisableIsRemovedWithItsSubtree) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  sim::ScriptEject(kFirstStick, kVeto);
  sim::ScriptDisable(kFirstStick, kCrFailure);
  EXPECT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Request_Device_EjectW", kFirstStick),
                                      Entry("CM_Disable_DevNode", kFirstStick),
                                      Entry("CM_Query_And_Remove_SubTreeW", kFirstStick)}));
  EXPECT_FALSE(sim::DeviceExists(kFirstStick));
}

TEST_F(DisconnectDeviceTest, KeyboardIsNeverEjected) {
  ASSERT_NE(AddKeyboard(), 0u);
  EXPECT_TRUE(DisconnectDevice("keyboard"));
  EXPECT_EQ(RemovalCalls(), (std::vector<std::string>{Entry("CM_Disable_DevNode", kKeyboard)}));
  EXPECT_TRUE(sim::DeviceDisabled(kKeyboard));
}

TEST_F(DisconnectDeviceTest, KeyboardIsRemovedWithItsSubtreeOnlyWhenDisablingFails) {
  ASSERT_NE(AddKeyboard(), 0u);
  sim::ScriptDisable(kKeyboard, kCrFailure);
  EXPECT_TRUE(DisconnectDevice("keyboard"));
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Disable_DevNode", kKeyboard),
                                      Entry("CM_Query_And_Remove_SubTreeW", kKeyboard)}));
  EXPECT_FALSE(sim::DeviceExists(kKeyboard));
}

TEST_F(DisconnectDeviceTest, DeviceThatRefusesEveryStepEndsTheCallWithFalse) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  ASSERT_NE(AddStick(kSecondStick, u"SanDisk Ultra USB Device"), 0u);
  sim::ScriptEject(kFirstStick, kVeto);
  sim::ScriptDisable(kFirstStick, kCrFailure);
  sim::ScriptSubtreeRemoval(kFirstStick, kVeto);
  EXPECT_FALSE(DisconnectDevice("usb_storage"));
  // The walk stops at the refusing stick: the second one is left alone.
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Request_Device_EjectW", kFirstStick),
                                      Entry("CM_Disable_DevNode", kFirstStick),
                                      Entry("CM_Query_And_Remove_SubTreeW", kFirstStick)}));
  EXPECT_TRUE(sim::DeviceExists(kFirstStick));
  EXPECT_FALSE(sim::DeviceDisabled(kFirstStick));
  EXPECT_TRUE(sim::DeviceExists(kSecondStick));
}

TEST_F(DisconnectDeviceTest, CameraReachesAnyWebcam) {
  ASSERT_NE(AddWebcam(), 0u);
  EXPECT_TRUE(DisconnectDevice("camera"));
  EXPECT_EQ(RemovalCalls(), (std::vector<std::string>{Entry("CM_Disable_DevNode", kWebcam)}));
  EXPECT_TRUE(sim::DeviceDisabled(kWebcam));
}

TEST_F(DisconnectDeviceTest, ProductCameraTypeDoesNotReachAnyWebcam) {
  ASSERT_NE(AddWebcam(), 0u);
  EXPECT_FALSE(DisconnectDevice("camera_360"));
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(DisconnectDeviceTest, MonitorIsDisabledWithoutBeingAUsbDevice) {
  ASSERT_NE(AddMonitor(), 0u);
  EXPECT_TRUE(DisconnectDevice("monitor"));
  EXPECT_EQ(RemovalCalls(), (std::vector<std::string>{Entry("CM_Disable_DevNode", kMonitor)}));
  EXPECT_TRUE(sim::DeviceDisabled(kMonitor));
}

TEST_F(DisconnectDeviceTest, UsbHubIsNeverTakenForAStorageDevice) {
  sim::Device hub;
  hub.instanceId = u"USB\\VID_05E3&PID_0610\\5&3A1B&0&4";
  hub.setupClass = kUsbClass;
  hub.description = u"Generic USB Hub";
  hub.friendlyName = u"Mass Storage Hub";
  hub.service = u"USBHUB3";
  hub.className = u"USB";
  ASSERT_NE(sim::AddDevice(hub), 0u);
  EXPECT_FALSE(DisconnectDevice("usb_storage"));
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(DisconnectDeviceTest, WordsInTheInstanceIdAloneDoNotMatch) {
  // With no names at all, the status reply would show the instance id as the device's name;
  // the words of that id must not pick the device for removal.
  sim::Device nameless;
  nameless.instanceId = u"USB\\VID_1234&PID_5678\\KEYBOARD01";
  nameless.setupClass = kUsbClass;
  nameless.service = u"usbccgp";
  ASSERT_NE(sim::AddDevice(nameless), 0u);
  EXPECT_FALSE(DisconnectDevice("keyboard"));
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(DisconnectDeviceTest, DeviceThatIsNotPresentIsNotChosen) {
  ASSERT_NE(AddStick(kFirstStick, u"Kingston DataTraveler 3.0 USB Device"), 0u);
  ASSERT_NE(AddStick(kSecondStick, u"SanDisk Ultra USB Device"), 0u);
  sim::SetDevicePresent(kFirstStick, false);
  EXPECT_TRUE(DisconnectDevice("usb_storage"));
  EXPECT_EQ(RemovalCalls(),
            (std::vector<std::string>{Entry("CM_Request_Device_EjectW", kSecondStick)}));
}

}  // namespace

// What the simulated device tree adds for tests, which no Wine prefix can show: a tree a test
// builds, with classes, interfaces and phantoms, removal calls answered as scripted and
// journalled, properties left unset, refused notifications, and a thousand devices.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/setupapi.h"
#include "sim_core.h"
#include "sim_setupapi.h"

namespace {

using namespace platform;

// GUID_DEVCLASS_USB and GUID_DEVCLASS_HIDCLASS.
constexpr Guid kUsbClass = {0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0, 0}};
constexpr Guid kHidClass = {
    0x745A17A0, 0x74D3, 0x11D0, {0xB6, 0xFE, 0x00, 0xA0, 0xC9, 0x0F, 0x57, 0xDA}};

constexpr std::u16string_view kHub = u"USB\\ROOT_HUB30\\4&1&0";
constexpr std::u16string_view kStick = u"USB\\VID_0781&PID_5567\\4C530001";
constexpr std::u16string_view kMouse = u"HID\\VID_046D&PID_C077\\7&2&0&0000";

class SimulatedDevices : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    sim::Device hub;
    hub.instanceId = kHub;
    hub.setupClass = kUsbClass;
    hub.description = u"USB Root Hub (USB 3.0)";
    hub.service = u"USBHUB3";
    hub.className = u"USB";
    hub.classGuidText = sim::GuidText(kUsbClass);
    hub.manufacturer = u"(Standard USB HUBs)";
    hub.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\usb#root_hub30#4&1&0#{a5dcbf10}"}};
    ASSERT_NE(sim::AddDevice(hub), 0u);

    sim::Device stick;
    stick.instanceId = kStick;
    stick.parentId = kHub;
    stick.setupClass = kUsbClass;
    stick.description = u"USB Mass Storage Device";
    stick.service = u"USBSTOR";
    stick.friendlyName = u"SanDisk Cruzer";
    stick.interfaces = {
        {sim::kUsbDeviceInterface, u"\\\\?\\usb#vid_0781&pid_5567#4c530001#{a5dcbf10}"}};
    ASSERT_NE(sim::AddDevice(stick), 0u);

    sim::Device mouse;
    mouse.instanceId = kMouse;
    mouse.parentId = kHub;
    mouse.setupClass = kHidClass;
    mouse.description = u"HID-compliant mouse";
    mouse.interfaces = {
        {sim::kHidInterface, u"\\\\?\\hid#vid_046d&pid_c077#7&2&0&0000#{4d1e55b2}"}};
    ASSERT_NE(sim::AddDevice(mouse), 0u);
  }

  void TearDown() override { EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u); }
};

constexpr std::uint32_t kAllPresent = kDigcfPresent | kDigcfAllClasses;
// A device tree deeper than this is taken for a walk that never ends.
constexpr int kDeepestTree = 64;

std::vector<DeviceInfoData> DevicesOf(DeviceInfoSet set) {
  std::vector<DeviceInfoData> devices;
  DeviceInfoData device;
  for (std::uint32_t index = 0; SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    devices.push_back(device);
  }
  return devices;
}

std::u16string InstanceIdOf(DeviceInfoSet set, const DeviceInfoData& device) {
  char16_t buffer[256] = {};
  return SetupDiGetDeviceInstanceIdW(set, device, buffer, 256, nullptr) ? buffer : u"";
}

std::vector<std::u16string> IdsOf(DeviceInfoSet set) {
  std::vector<std::u16string> ids;
  DeviceInfoData device;
  for (std::uint32_t index = 0; SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    char16_t buffer[256] = {};
    if (SetupDiGetDeviceInstanceIdW(set, device, buffer, 256, nullptr)) ids.emplace_back(buffer);
  }
  return ids;
}

std::vector<std::u16string> IdsOf(const Guid* guid, std::uint32_t flags) {
  const UniqueDeviceInfoSet set(SetupDiGetClassDevsW(guid, flags));
  return set ? IdsOf(set.get()) : std::vector<std::u16string>{u"<failed>"};
}

std::uint32_t NodeOf(std::u16string_view id) {
  std::uint32_t node = 0;
  const std::u16string text(id);
  return CM_Locate_DevNodeW(&node, text.c_str(), kCmLocateDevnodeNormal) == kCrSuccess ? node : 0;
}

std::vector<std::u16string> InterfacePaths(const Guid& interfaceClass, std::uint32_t flags) {
  const UniqueDeviceInfoSet set(SetupDiGetClassDevsW(&interfaceClass, flags));
  std::vector<std::u16string> paths;
  DeviceInterfaceData data;
  for (std::uint32_t index = 0;
       SetupDiEnumDeviceInterfaces(set.get(), nullptr, interfaceClass, index, &data); ++index) {
    std::uint32_t required = 0;
    EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(set.get(), data, nullptr, 0, &required, nullptr));
    EXPECT_EQ(GetLastError(), kErrorInsufficientBuffer);
    std::u16string path(required, u'\0');
    DeviceInfoData owner;
    EXPECT_TRUE(
        SetupDiGetDeviceInterfaceDetailW(set.get(), data, path.data(), required, nullptr, &owner));
    path.resize(required - 1);
    char16_t id[256] = {};
    EXPECT_TRUE(SetupDiGetDeviceInstanceIdW(set.get(), owner, id, 256, nullptr))
        << "the owner is a device of the same list";
    paths.push_back(path + u" @ " + id);
  }
  EXPECT_EQ(GetLastError(), kErrorNoMoreItems);
  return paths;
}

TEST_F(SimulatedDevices, AllPresentDevicesAreListedInTheOrderTheyCame) {
  EXPECT_EQ(
      IdsOf(nullptr, kDigcfPresent | kDigcfAllClasses),
      (std::vector<std::u16string>{std::u16string(sim::kComputerInstanceId), std::u16string(kHub),
                                   std::u16string(kStick), std::u16string(kMouse)}));
}

TEST_F(SimulatedDevices, ASetupClassListsOnlyItsDevices) {
  EXPECT_EQ(IdsOf(&kHidClass, kDigcfPresent), std::vector<std::u16string>{std::u16string(kMouse)});
  EXPECT_EQ(IdsOf(&kUsbClass, kDigcfPresent),
            (std::vector<std::u16string>{std::u16string(kHub), std::u16string(kStick)}));
}

TEST_F(SimulatedDevices, WithoutAClassOrEveryClassTheListFailsWithInvalidParameter) {
  EXPECT_EQ(SetupDiGetClassDevsW(nullptr, kDigcfPresent), DeviceInfoSet{});
  EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
}

TEST_F(SimulatedDevices, APhantomIsListedOnlyWhenAbsentDevicesAreAsked) {
  sim::SetDevicePresent(kStick, false);
  EXPECT_EQ(IdsOf(&kUsbClass, kDigcfPresent), std::vector<std::u16string>{std::u16string(kHub)});
  EXPECT_EQ(IdsOf(&kUsbClass, 0),
            (std::vector<std::u16string>{std::u16string(kHub), std::u16string(kStick)}));
  EXPECT_EQ(NodeOf(kStick), 0u) << "a phantom has no node to locate";
}

TEST_F(SimulatedDevices, InterfacesOfAClassComeWithTheirPathsAndOwners) {
  EXPECT_EQ(InterfacePaths(sim::kUsbDeviceInterface, kDigcfPresent | kDigcfDeviceInterface),
            (std::vector<std::u16string>{
                u"\\\\?\\usb#root_hub30#4&1&0#{a5dcbf10} @ " + std::u16string(kHub),
                u"\\\\?\\usb#vid_0781&pid_5567#4c530001#{a5dcbf10} @ " + std::u16string(kStick)}));
  EXPECT_EQ(InterfacePaths(sim::kHidInterface, kDigcfPresent | kDigcfDeviceInterface),
            (std::vector<std::u16string>{u"\\\\?\\hid#vid_046d&pid_c077#7&2&0&0000#{4d1e55b2} @ " +
                                         std::u16string(kMouse)}));
  EXPECT_EQ(IdsOf(&sim::kHidInterface, kDigcfPresent | kDigcfDeviceInterface),
            std::vector<std::u16string>{std::u16string(kMouse)});
}

TEST_F(SimulatedDevices, InterfacesOfOneDeviceAreItsOwn) {
  const UniqueDeviceInfoSet set(SetupDiGetClassDevsW(&kUsbClass, kDigcfPresent));
  DeviceInfoData stick;
  ASSERT_TRUE(SetupDiEnumDeviceInfo(set.get(), 1, &stick));
  DeviceInterfaceData data;
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(set.get(), &stick, sim::kUsbDeviceInterface, 0, &data));
  EXPECT_EQ(data.interfaceClassGuid, sim::kUsbDeviceInterface);
  char16_t path[128] = {};
  ASSERT_TRUE(SetupDiGetDeviceInterfaceDetailW(set.get(), data, path, 128, nullptr, nullptr));
  EXPECT_EQ(std::u16string(path), u"\\\\?\\usb#vid_0781&pid_5567#4c530001#{a5dcbf10}");
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set.get(), &stick, sim::kUsbDeviceInterface, 1, &data));
  EXPECT_EQ(GetLastError(), kErrorNoMoreItems);
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set.get(), &stick, sim::kHidInterface, 0, &data));
  EXPECT_EQ(GetLastError(), kErrorNoMoreItems);
}

TEST_F(SimulatedDevices, PropertiesAreUtf16WithATerminatorAndAMissingOneIsInvalidData) {
  const UniqueDeviceInfoSet set(SetupDiGetClassDevsW(&kUsbClass, kDigcfPresent));
  DeviceInfoData stick;
  ASSERT_TRUE(SetupDiEnumDeviceInfo(set.get(), 1, &stick));
  std::uint32_t type = 0;
  std::uint32_t required = 0;
  EXPECT_FALSE(SetupDiGetDeviceRegistryPropertyW(set.get(), stick, kSpdrpService, &type, nullptr, 0,
                                                 &required));
  EXPECT_EQ(GetLastError(), kErrorInsufficientBuffer);
  EXPECT_EQ(required, 16u) << "USBSTOR and its terminator";
  std::vector<std::uint8_t> bytes(required);
  ASSERT_TRUE(SetupDiGetDeviceRegistryPropertyW(set.get(), stick, kSpdrpService, &type,
                                                bytes.data(), required, nullptr));
  EXPECT_EQ(type, sim::kRegSz);
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{'U', 0, 'S', 0, 'B', 0, 'S', 0, 'T', 0, 'O', 0, 'R',
                                              0, 0, 0}));

  for (const std::uint32_t unset : {kSpdrpMfg, kSpdrpClass, kSpdrpClassGuid}) {
    required = 99;
    EXPECT_FALSE(SetupDiGetDeviceRegistryPropertyW(set.get(), stick, unset, &type, bytes.data(),
                                                   static_cast<std::uint32_t>(bytes.size()),
                                                   &required));
    EXPECT_EQ(GetLastError(), sim::kErrorInvalidData) << unset;
  }
  ASSERT_TRUE(SetupDiGetDeviceRegistryPropertyW(set.get(), stick, kSpdrpFriendlyName, &type,
                                                nullptr, 0, &required) == false);
  EXPECT_EQ(required, 30u) << "SanDisk Cruzer and its terminator";
}

TEST_F(SimulatedDevices, TheClassGuidPropertyIsTheTextTheTestGave) {
  const UniqueDeviceInfoSet set(SetupDiGetClassDevsW(&kUsbClass, kDigcfPresent));
  DeviceInfoData hub;
  ASSERT_TRUE(SetupDiEnumDeviceInfo(set.get(), 0, &hub));
  EXPECT_EQ(hub.classGuid, kUsbClass);
  std::vector<std::uint8_t> bytes(200);
  std::uint32_t required = 0;
  ASSERT_TRUE(SetupDiGetDeviceRegistryPropertyW(set.get(), hub, kSpdrpClassGuid, nullptr,
                                                bytes.data(), 200, &required));
  std::u16string text;
  for (std::uint32_t i = 0; i + 1 < required - 2; i += 2) {
    text.push_back(static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8)));
  }
  EXPECT_EQ(text, u"{36FC9E60-C465-11CF-8056-444553540000}");
}

TEST_F(SimulatedDevices, ParentsLeadThroughTheHubToTheRoot) {
  std::uint32_t node = NodeOf(kMouse);
  ASSERT_NE(node, 0u);
  std::vector<std::u16string> walk;
  std::uint32_t parent = 0;
  while (CM_Get_Parent(&parent, node, 0) == kCrSuccess) {
    char16_t id[128] = {};
    EXPECT_EQ(CM_Get_Device_IDW(parent, id, 128, 0), kCrSuccess);
    walk.emplace_back(id);
    node = parent;
  }
  EXPECT_EQ(walk, (std::vector<std::u16string>{std::u16string(kHub),
                                               std::u16string(sim::kRootInstanceId)}));
  EXPECT_EQ(CM_Get_Parent(&parent, node, 0), kCrNoSuchDevnode);
}

TEST_F(SimulatedDevices, CmGetDeviceIdWantsRoomForTheIdNotTheTerminator) {
  const std::uint32_t node = NodeOf(kHub);
  std::u16string exact(kHub.size(), u'#');
  EXPECT_EQ(CM_Get_Device_IDW(node, exact.data(), static_cast<std::uint32_t>(exact.size()), 0),
            kCrSuccess);
  EXPECT_EQ(exact, kHub);
  EXPECT_EQ(CM_Get_Device_IDW(node, exact.data(), static_cast<std::uint32_t>(exact.size() - 1), 0),
            sim::kCrBufferSmall);
  EXPECT_EQ(CM_Get_Device_IDW(0xFFFF, exact.data(), 100, 0), sim::kCrInvalidDevnode);
}

TEST_F(SimulatedDevices, InstanceIdsAreFoundWithoutCase) {
  EXPECT_EQ(NodeOf(u"usb\\vid_0781&pid_5567\\4c530001"), NodeOf(kStick));
  EXPECT_NE(NodeOf(kStick), 0u);
}

TEST_F(SimulatedDevices, AVetoedEjectTellsWhoRefusedAndLeavesTheDevice) {
  sim::ScriptEject(kStick, {kCrRemoveVetoed, sim::kPnpVetoOutstandingOpen, u"\\Device\\Harddisk1"});
  std::uint32_t vetoType = 0;
  char16_t vetoName[64] = {};
  EXPECT_EQ(CM_Request_Device_EjectW(NodeOf(kStick), &vetoType, vetoName, 64, 0), kCrRemoveVetoed);
  EXPECT_EQ(vetoType, sim::kPnpVetoOutstandingOpen);
  EXPECT_EQ(std::u16string(vetoName), u"\\Device\\Harddisk1");
  EXPECT_TRUE(sim::DeviceExists(kStick));

  char16_t shortName[8] = {};
  EXPECT_EQ(CM_Request_Device_EjectW(NodeOf(kStick), &vetoType, shortName, 8, 0), kCrRemoveVetoed);
  EXPECT_EQ(std::u16string(shortName), u"\\Device") << "cut to the room given";
}

TEST_F(SimulatedDevices, RemovalCallsAreJournalledInOrderAndAnAcceptedEjectRemovesTheDevice) {
  sim::ScriptDisable(kMouse, kCrFailure);
  sim::ScriptSubtreeRemoval(kHub, {kCrRemoveVetoed, sim::kPnpVetoDevice, std::u16string(kHub)});
  const std::uint32_t mouse = NodeOf(kMouse);
  const std::uint32_t stick = NodeOf(kStick);
  const std::uint32_t hub = NodeOf(kHub);

  EXPECT_EQ(CM_Disable_DevNode(mouse, kCmRemoveUiNotOk), kCrFailure);
  EXPECT_FALSE(sim::DeviceDisabled(kMouse));
  std::uint32_t vetoType = 0;
  EXPECT_EQ(CM_Query_And_Remove_SubTreeW(hub, &vetoType, nullptr, 0, kCmRemoveUiNotOk),
            kCrRemoveVetoed);
  EXPECT_EQ(vetoType, sim::kPnpVetoDevice);
  EXPECT_EQ(CM_Request_Device_EjectW(stick, &vetoType, nullptr, 0, 0), kCrSuccess);

  std::vector<std::string> removals;
  for (const std::string& entry : sim::Journal()) {
    if (entry.rfind("CM_", 0) == 0) removals.push_back(entry);
  }
  EXPECT_EQ(removals, (std::vector<std::string>{"CM_Disable_DevNode " + WideToUtf8(kMouse),
                                                "CM_Query_And_Remove_SubTreeW " + WideToUtf8(kHub),
                                                "CM_Request_Device_EjectW " + WideToUtf8(kStick)}));

  EXPECT_FALSE(sim::DeviceExists(kStick));
  EXPECT_EQ(IdsOf(&kUsbClass, 0), std::vector<std::u16string>{std::u16string(kHub)});
  EXPECT_EQ(NodeOf(kStick), 0u);
  char16_t id[64] = {};
  EXPECT_EQ(CM_Get_Device_IDW(stick, id, 64, 0), sim::kCrInvalidDevnode);
}

TEST_F(SimulatedDevices, AnAcceptedSubtreeRemovalTakesEverythingBelow) {
  EXPECT_EQ(CM_Query_And_Remove_SubTreeW(NodeOf(kHub), nullptr, nullptr, 0, kCmRemoveUiNotOk),
            kCrSuccess);
  EXPECT_EQ(IdsOf(nullptr, kDigcfAllClasses),
            std::vector<std::u16string>{std::u16string(sim::kComputerInstanceId)});
  EXPECT_EQ(sim::DeviceCount(), 1u);
}

TEST_F(SimulatedDevices, AnAcceptedDisableLeavesTheDeviceListed) {
  EXPECT_EQ(CM_Disable_DevNode(NodeOf(kMouse), 0), kCrSuccess);
  EXPECT_TRUE(sim::DeviceDisabled(kMouse));
  EXPECT_EQ(IdsOf(&kHidClass, kDigcfPresent), std::vector<std::u16string>{std::u16string(kMouse)});
}

TEST_F(SimulatedDevices, AnOpenListKeepsWhatItFoundButLaterListsDoNot) {
  const UniqueDeviceInfoSet before(SetupDiGetClassDevsW(&kUsbClass, kDigcfPresent));
  sim::RemoveDevice(kStick);
  EXPECT_EQ(IdsOf(before.get()),
            (std::vector<std::u16string>{std::u16string(kHub), std::u16string(kStick)}));
  EXPECT_EQ(IdsOf(&kUsbClass, kDigcfPresent), std::vector<std::u16string>{std::u16string(kHub)});
}

TEST_F(SimulatedDevices, ADestroyedOrUnknownListIsAnInvalidHandle) {
  const DeviceInfoSet set = SetupDiGetClassDevsW(nullptr, kDigcfAllClasses);
  ASSERT_NE(set, DeviceInfoSet{});
  EXPECT_EQ(sim::OpenDeviceInfoListCount(), 1u);
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(set));
  EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u);
  DeviceInfoData device;
  EXPECT_FALSE(SetupDiEnumDeviceInfo(set, 0, &device));
  EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
  EXPECT_FALSE(SetupDiDestroyDeviceInfoList(set));
  EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
  EXPECT_FALSE(SetupDiEnumDeviceInfo(static_cast<DeviceInfoSet>(0x1234), 0, &device));
  EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
  EXPECT_EQ(sim::InvalidDeviceInfoListUses(), 3);
}

TEST_F(SimulatedDevices, ADeviceOfAnotherListIsAnInvalidParameter) {
  const UniqueDeviceInfoSet usb(SetupDiGetClassDevsW(&kUsbClass, kDigcfPresent));
  const UniqueDeviceInfoSet hid(SetupDiGetClassDevsW(&kHidClass, kDigcfPresent));
  DeviceInfoData stick;
  ASSERT_TRUE(SetupDiEnumDeviceInfo(usb.get(), 1, &stick));
  char16_t id[128] = {};
  EXPECT_FALSE(SetupDiGetDeviceInstanceIdW(hid.get(), stick, id, 128, nullptr));
  EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
}

TEST_F(SimulatedDevices, NotificationsAreCountedAndARefusalCarriesItsError) {
  const auto window = reinterpret_cast<WindowHandle>(std::uintptr_t{0x100});  // NOLINT
  {
    const UniqueDeviceNotification usb(
        RegisterDeviceNotificationW(window, sim::kUsbDeviceInterface, kDeviceNotifyWindowHandle));
    ASSERT_TRUE(usb);
    EXPECT_EQ(sim::OpenDeviceNotificationCount(), 1u);
    ASSERT_EQ(sim::DeviceNotifications().size(), 1u);
    EXPECT_EQ(sim::DeviceNotifications()[0].interfaceClass, sim::kUsbDeviceInterface);
    EXPECT_EQ(sim::DeviceNotifications()[0].window, window);
  }
  EXPECT_EQ(sim::OpenDeviceNotificationCount(), 0u);

  sim::SetDeviceNotificationFailure(kErrorAccessDenied);
  EXPECT_EQ(RegisterDeviceNotificationW(window, sim::kHidInterface, kDeviceNotifyWindowHandle),
            DeviceNotifyHandle{});
  EXPECT_EQ(GetLastError(), kErrorAccessDenied);
  EXPECT_EQ(sim::OpenDeviceNotificationCount(), 0u);

  EXPECT_EQ(sim::Journal(),
            (std::vector<std::string>{
                "RegisterDeviceNotificationW {A5DCBF10-6530-11D2-901F-00C04FB951ED}",
                "UnregisterDeviceNotification",
                "RegisterDeviceNotificationW {4D1E55B2-F16F-11CF-88CB-001111000030}"}));
}

TEST_F(SimulatedDevices, AFixtureWithATakenIdOrAnUnknownParentIsRefused) {
  sim::Device again;
  again.instanceId = u"usb\\root_hub30\\4&1&0";
  EXPECT_EQ(sim::AddDevice(again), 0u);
  sim::Device orphan;
  orphan.instanceId = u"USB\\ORPHAN\\1";
  orphan.parentId = u"USB\\NOT_THERE\\1";
  EXPECT_EQ(sim::AddDevice(orphan), 0u);
}

TEST_F(SimulatedDevices, LocateFindsTheNodeOfEveryListedDeviceAndItsIdAgrees) {
  const UniqueDeviceInfoSet set(platform::SetupDiGetClassDevsW(nullptr, kAllPresent));
  ASSERT_TRUE(set);
  const std::vector<DeviceInfoData> devices = DevicesOf(set.get());
  ASSERT_FALSE(devices.empty());
  for (const DeviceInfoData& device : devices) {
    const std::u16string id = InstanceIdOf(set.get(), device);
    ASSERT_FALSE(id.empty());
    std::uint32_t node = 0;
    ASSERT_EQ(platform::CM_Locate_DevNodeW(&node, id.c_str(), platform::kCmLocateDevnodeNormal),
              platform::kCrSuccess)
        << std::string(id.begin(), id.end());
    EXPECT_EQ(node, device.devInst);
    std::u16string back(id.size() + 1, u'#');
    ASSERT_EQ(
        platform::CM_Get_Device_IDW(node, back.data(), static_cast<std::uint32_t>(back.size()), 0),
        platform::kCrSuccess);
    EXPECT_EQ(back, id + u'\0');
  }
}

TEST_F(SimulatedDevices, LocatingAnIdNoDeviceHasIsNoSuchDevnode) {
  std::uint32_t node = 0;
  EXPECT_EQ(platform::CM_Locate_DevNodeW(&node, u"KT\\NO_SUCH_DEVICE\\0000",
                                         platform::kCmLocateDevnodeNormal),
            platform::kCrNoSuchDevnode);
}

TEST_F(SimulatedDevices, AWalkUpFromEveryDeviceEndsAtTheRoot) {
  std::uint32_t root = 0;
  ASSERT_EQ(platform::CM_Locate_DevNodeW(&root, nullptr, platform::kCmLocateDevnodeNormal),
            platform::kCrSuccess);
  const UniqueDeviceInfoSet set(platform::SetupDiGetClassDevsW(nullptr, kAllPresent));
  ASSERT_TRUE(set);
  const std::vector<DeviceInfoData> devices = DevicesOf(set.get());
  ASSERT_FALSE(devices.empty());
  for (const DeviceInfoData& device : devices) {
    std::uint32_t node = device.devInst;
    int steps = 0;
    std::uint32_t parent = 0;
    while (steps < kDeepestTree &&
           platform::CM_Get_Parent(&parent, node, 0) == platform::kCrSuccess) {
      node = parent;
      ++steps;
    }
    EXPECT_LT(steps, kDeepestTree);
    EXPECT_GT(steps, 0) << "a listed device is never the root";
    EXPECT_EQ(node, root);
  }
  std::uint32_t aboveRoot = 0;
  EXPECT_NE(platform::CM_Get_Parent(&aboveRoot, root, 0), platform::kCrSuccess);
}

TEST_F(SimulatedDevices, ASecondUnregistrationOfOneHandleIsAnInvalidHandle) {
  const auto window = reinterpret_cast<WindowHandle>(std::uintptr_t{0x100});  // NOLINT
  const DeviceNotifyHandle handle =
      RegisterDeviceNotificationW(window, sim::kHidInterface, kDeviceNotifyWindowHandle);
  ASSERT_NE(handle, DeviceNotifyHandle{});
  EXPECT_TRUE(UnregisterDeviceNotification(handle));
  EXPECT_FALSE(UnregisterDeviceNotification(handle));
  EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
}

TEST_F(SimulatedDevices, AThousandDevicesEnumerateWithTheirInterfacesAndIds) {
  constexpr int kCount = 1000;
  for (int i = 0; i < kCount; ++i) {
    sim::Device device;
    device.instanceId = u"HID\\VID_1234&PID_0001\\" + AsciiToWide(std::to_string(i));
    device.parentId = kHub;
    device.setupClass = kHidClass;
    device.description = u"HID device";
    device.interfaces = {{sim::kHidInterface, u"\\\\?\\hid#" + AsciiToWide(std::to_string(i))}};
    ASSERT_NE(sim::AddDevice(device), 0u);
  }
  const UniqueDeviceInfoSet set(
      SetupDiGetClassDevsW(&sim::kHidInterface, kDigcfPresent | kDigcfDeviceInterface));
  ASSERT_TRUE(set);
  int interfaces = 0;
  DeviceInterfaceData data;
  for (std::uint32_t index = 0;
       SetupDiEnumDeviceInterfaces(set.get(), nullptr, sim::kHidInterface, index, &data); ++index) {
    ++interfaces;
  }
  EXPECT_EQ(interfaces, kCount + 1);
  const std::vector<std::u16string> ids = IdsOf(set.get());
  ASSERT_EQ(ids.size(), static_cast<std::size_t>(kCount + 1));
  EXPECT_EQ(ids[0], kMouse);
  EXPECT_EQ(ids[kCount], u"HID\\VID_1234&PID_0001\\999");
  for (int i = 0; i < kCount; i += 97) {
    const std::u16string id = u"HID\\VID_1234&PID_0001\\" + AsciiToWide(std::to_string(i));
    char16_t back[64] = {};
    ASSERT_EQ(CM_Get_Device_IDW(NodeOf(id), back, 64, 0), kCrSuccess);
    EXPECT_EQ(std::u16string(back), id);
  }
}

}  // namespace

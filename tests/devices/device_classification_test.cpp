// Classification and the status reply against the simulated device tree, and the walk from an
// interface path to the physical device that the arrival log reports.
#include "devices/device_classification.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "base/text.h"
#include "platform/owners.h"
#include "sim_core.h"
#include "sim_setupapi.h"

namespace {

// GUID_DEVCLASS_HIDCLASS, _MONITOR, _KEYBOARD.
constexpr Guid kHidClass = {
    0x745A17A0, 0x74D3, 0x11D0, {0xB6, 0xFE, 0x00, 0xA0, 0xC9, 0x0F, 0x57, 0xDA}};
constexpr Guid kMonitorClass = {
    0x4D36E96E, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid kKeyboardClass = {
    0x4D36E96B, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

constexpr unsigned long kErrorNotEnoughMemory = 8;

constexpr const char* kSections[] = {"monitor",    "camera",      "keyboard", "mouse",
                                     "camera_360", "usb_storage", "receiver", "projector"};

class DeviceClassification : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
  void TearDown() override {
    EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u);
    EXPECT_EQ(sim::InvalidDeviceInfoListUses(), 0);
  }

  static sim::Device UsbDevice(std::u16string_view id, std::u16string_view description,
                               std::u16string_view service) {
    sim::Device device;
    device.instanceId = id;
    device.setupClass = kUsbSetupClass;
    device.description = description;
    device.service = service;
    device.className = u"USB";
    device.classGuidText = sim::GuidText(kUsbSetupClass);
    return device;
  }

  static std::uint32_t Add(const sim::Device& device) {
    const std::uint32_t node = sim::AddDevice(device);
    EXPECT_NE(node, 0u) << WideToUtf8(device.instanceId);
    return node;
  }
};

const EncodableMap& Section(const EncodableMap& reply, const char* key) {
  return std::get<EncodableMap>(reply.at(EncodableValue(key)));
}

const EncodableList& Devices(const EncodableMap& reply, const char* key) {
  return std::get<EncodableList>(Section(reply, key).at(EncodableValue("devices")));
}

std::int32_t Count(const EncodableMap& reply, const char* key) {
  return std::get<std::int32_t>(Section(reply, key).at(EncodableValue("count")));
}

std::string Status(const EncodableMap& reply, const char* key) {
  return std::get<std::string>(Section(reply, key).at(EncodableValue("status")));
}

std::string Field(const EncodableValue& record, const char* key) {
  return std::get<std::string>(std::get<EncodableMap>(record).at(EncodableValue(key)));
}

// Every section holding a record with this instance id.
std::vector<std::string> SectionsListing(const EncodableMap& reply, std::string_view instanceId) {
  std::vector<std::string> found;
  for (const char* key : kSections) {
    for (const EncodableValue& record : Devices(reply, key)) {
      if (Field(record, "instanceId") == instanceId) found.emplace_back(key);
    }
  }
  return found;
}

std::size_t TotalCount(const EncodableMap& reply) {
  std::size_t total = 0;
  for (const char* key : kSections) total += Devices(reply, key).size();
  return total;
}

// ---- The status reply ----

TEST_F(DeviceClassification, NoDeviceListGivesAllEightSectionsEmptyAndNotConnected) {
  sim::Device mouse = UsbDevice(u"HID\\VID_046D&PID_C077\\1", u"HID-compliant mouse", u"mouhid");
  Add(mouse);
  sim::RefuseDeviceInfoList(std::nullopt, kErrorNotEnoughMemory);

  const EncodableMap reply = GetDeviceStatusDetailed();

  EXPECT_EQ(reply.size(), 8u);
  for (const char* key : kSections) {
    ASSERT_EQ(reply.count(EncodableValue(key)), 1u) << key;
    EXPECT_EQ(Section(reply, key).size(), 3u) << key;
    EXPECT_EQ(Status(reply, key), "未连接") << key;
    EXPECT_TRUE(Devices(reply, key).empty()) << key;
    EXPECT_EQ(Count(reply, key), 0) << key;
  }
}

TEST_F(DeviceClassification, EmptyTreeStillAnswersEverySection) {
  const EncodableMap reply = GetDeviceStatusDetailed();
  EXPECT_EQ(reply.size(), 8u);
  for (const char* key : kSections) EXPECT_EQ(Status(reply, key), "未连接") << key;
}

TEST_F(DeviceClassification, Ps2KeyboardIsNotReported) {
  sim::Device keyboard;
  keyboard.instanceId = u"ACPI\\PNP0303\\4&1D401FB5&0";
  keyboard.setupClass = kKeyboardClass;
  keyboard.description = u"Standard PS/2 Keyboard";
  keyboard.service = u"i8042prt";
  keyboard.className = u"Keyboard";
  Add(keyboard);

  const EncodableMap reply = GetDeviceStatusDetailed();

  EXPECT_TRUE(SectionsListing(reply, "ACPI\\PNP0303\\4&1D401FB5&0").empty());
  EXPECT_EQ(Status(reply, "keyboard"), "未连接");
}

TEST_F(DeviceClassification, MonitorWithoutUsbIdIsReportedUnderMonitor) {
  sim::Device monitor;
  monitor.instanceId = u"DISPLAY\\DELA0B1\\5&2A1B3C&0&UID4352";
  monitor.setupClass = kMonitorClass;
  monitor.description = u"Generic PnP Monitor";
  monitor.service = u"monitor";
  monitor.className = u"Monitor";
  monitor.manufacturer = u"(Standard monitor types)";
  Add(monitor);

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "monitor"), 1);
  EXPECT_EQ(Status(reply, "monitor"), "已连接");
  const EncodableValue& record = Devices(reply, "monitor")[0];
  EXPECT_EQ(Field(record, "name"), "Generic PnP Monitor");
  EXPECT_EQ(Field(record, "pnpClass"), "Monitor");
  EXPECT_EQ(Field(record, "service"), "monitor");
  EXPECT_EQ(Field(record, "manufacturer"), "(Standard monitor types)");
  EXPECT_EQ(Field(record, "vid"), "");
  EXPECT_EQ(Field(record, "pid"), "");
}

TEST_F(DeviceClassification, MonitorNamingAControllerIsStillReported) {
  sim::Device monitor;
  monitor.instanceId = u"DISPLAY\\ABC1234\\1";
  monitor.setupClass = kMonitorClass;
  monitor.friendlyName = u"Monitor on display controller";
  monitor.className = u"MONITOR";
  Add(monitor);

  EXPECT_EQ(SectionsListing(GetDeviceStatusDetailed(), "DISPLAY\\ABC1234\\1"),
            std::vector<std::string>{"monitor"});
}

TEST_F(DeviceClassification, OwnProductsGetTheirSectionsAndDisplayNames) {
  sim::Device camera = UsbDevice(u"USB\\VID_328F&PID_00D4\\A1", u"USB Video Device", u"usbvideo");
  camera.friendlyName = u"Integrated keyboard camera";
  Add(camera);
  Add(UsbDevice(u"USB\\VID_328F&PID_00A8\\A2", u"USB Video Device", u"usbvideo"));
  Add(UsbDevice(u"USB\\VID_EFEF&PID_0038\\A3", u"USB Input Device", u"HidUsb"));

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "camera"), 1);
  EXPECT_EQ(Field(Devices(reply, "camera")[0], "name"), "KELVO 4K 超清摄像头");
  // Only the name is replaced: the device's own texts stay in the record.
  EXPECT_EQ(Field(Devices(reply, "camera")[0], "friendlyName"), "Integrated keyboard camera");
  EXPECT_EQ(Count(reply, "keyboard"), 0);
  ASSERT_EQ(Count(reply, "camera_360"), 1);
  EXPECT_EQ(Field(Devices(reply, "camera_360")[0], "name"), "KELVO 360全景摄像头");
  ASSERT_EQ(Count(reply, "projector"), 1);
  EXPECT_EQ(Field(Devices(reply, "projector")[0], "name"), "KELVO 投屏器");
  EXPECT_EQ(Field(Devices(reply, "projector")[0], "vid"), "EFEF");
  EXPECT_EQ(Field(Devices(reply, "projector")[0], "pid"), "0038");
}

TEST_F(DeviceClassification, OwnVendorWithAnotherProductFallsThroughToTheWordTests) {
  Add(UsbDevice(u"USB\\VID_328F&PID_0001\\B1", u"USB Keyboard", u"kbdhid"));
  Add(UsbDevice(u"USB\\VID_328F&PID_0002\\B2", u"USB Flash Drive", u"USBSTOR"));
  Add(UsbDevice(u"USB\\VID_328F&PID_0003\\B3", u"USB Video Device", u"usbvideo"));

  const EncodableMap reply = GetDeviceStatusDetailed();

  EXPECT_EQ(SectionsListing(reply, "USB\\VID_328F&PID_0001\\B1"),
            std::vector<std::string>{"keyboard"});
  EXPECT_EQ(SectionsListing(reply, "USB\\VID_328F&PID_0002\\B2"),
            std::vector<std::string>{"usb_storage"});
  // No generic camera test in the status reply.
  EXPECT_TRUE(SectionsListing(reply, "USB\\VID_328F&PID_0003\\B3").empty());
  EXPECT_EQ(Count(reply, "camera"), 0);
  EXPECT_EQ(Field(Devices(reply, "keyboard")[0], "name"), "USB Keyboard");
}

TEST_F(DeviceClassification, WirelessReceiverNamingAControllerIsDropped) {
  Add(UsbDevice(u"USB\\VID_045E&PID_0719\\C1", u"Xbox 360 Wireless Receiver for Windows",
                u"HidUsb"));
  sim::Device controller =
      UsbDevice(u"USB\\VID_045E&PID_0800\\C2", u"Wireless receiver and controller", u"HidUsb");
  Add(controller);

  const EncodableMap reply = GetDeviceStatusDetailed();

  EXPECT_EQ(SectionsListing(reply, "USB\\VID_045E&PID_0719\\C1"),
            std::vector<std::string>{"receiver"});
  EXPECT_TRUE(SectionsListing(reply, "USB\\VID_045E&PID_0800\\C2").empty());
}

TEST_F(DeviceClassification, HubsAndHostControllersAreNotReported) {
  sim::Device hub = UsbDevice(u"USB\\ROOT_HUB30\\4&1&0", u"USB Root Hub (USB 3.0)", u"USBHUB3");
  Add(hub);
  Add(UsbDevice(u"USB\\VID_05E3&PID_0610\\D1", u"Generic USB Hub keyboard", u"usbhub"));
  Add(UsbDevice(u"USB\\VID_8086&PID_A36D\\D2", u"USB xHCI Compliant keyboard", u"USBXHCI"));

  EXPECT_EQ(TotalCount(GetDeviceStatusDetailed()), 0u);
}

TEST_F(DeviceClassification, VendorIdWithoutProductIdGivesEmptyIds) {
  Add(UsbDevice(u"USB\\VID_046D\\E1", u"USB Mouse", u"mouhid"));

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "mouse"), 1);
  EXPECT_EQ(Field(Devices(reply, "mouse")[0], "vid"), "");
  EXPECT_EQ(Field(Devices(reply, "mouse")[0], "pid"), "");
}

TEST_F(DeviceClassification, LowerCaseInstanceIdGivesUpperCaseIds) {
  Add(UsbDevice(u"usb\\vid_0bda&pid_a1b2\\f1", u"USB Mouse", u"mouhid"));

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "mouse"), 1);
  const EncodableValue& record = Devices(reply, "mouse")[0];
  EXPECT_EQ(Field(record, "vid"), "0BDA");
  EXPECT_EQ(Field(record, "pid"), "A1B2");
  EXPECT_EQ(Field(record, "instanceId"), "usb\\vid_0bda&pid_a1b2\\f1");
}

// An instance id that does not fit the buffer of 200 units reads as empty, like any failed read.
TEST_F(DeviceClassification, InstanceIdOfTwoHundredUnitsIsReadAsUnknown) {
  const std::u16string fits = u"USB\\VID_1111&PID_2222\\" + std::u16string(199 - 22, u'a');
  const std::u16string tooLong = u"USB\\VID_3333&PID_4444\\" + std::u16string(200 - 22, u'b');
  ASSERT_EQ(fits.size(), 199u);
  ASSERT_EQ(tooLong.size(), 200u);
  sim::Device first;
  first.instanceId = fits;
  first.service = u"mouhid";
  Add(first);
  sim::Device second;
  second.instanceId = tooLong;
  second.service = u"mouhid";
  second.description = u"USB mouse";
  Add(second);

  const EncodableMap reply = GetDeviceStatusDetailed();

  // The first is USB-like by its id; the second has no id and passes only through its service.
  ASSERT_EQ(Count(reply, "mouse"), 2);
  EXPECT_EQ(Field(Devices(reply, "mouse")[0], "instanceId"), WideToUtf8(fits));
  EXPECT_EQ(Field(Devices(reply, "mouse")[0], "name"), WideToUtf8(fits));
  EXPECT_EQ(Field(Devices(reply, "mouse")[0], "vid"), "1111");
  EXPECT_EQ(Field(Devices(reply, "mouse")[1], "instanceId"), "");
  EXPECT_EQ(Field(Devices(reply, "mouse")[1], "vid"), "");
}

TEST_F(DeviceClassification, DeviceWithoutNamesOrIdIsUnknownDeviceOncePerSection) {
  // Two nameless receivers share the key "unknown" in one section.
  for (const char16_t* id : {u"USB\\VID_1000&PID_0001\\", u"USB\\VID_1000&PID_0002\\"}) {
    sim::Device device;
    device.instanceId = std::u16string(id) + std::u16string(190, u'x');
    device.service = u"hidusb";
    device.manufacturer = u"Dongle Co";
    Add(device);
  }
  sim::Device keyboard;
  keyboard.instanceId = u"USB\\VID_1000&PID_0003\\" + std::u16string(190, u'y');
  keyboard.service = u"kbdhid";
  Add(keyboard);

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "receiver"), 1);
  EXPECT_EQ(Field(Devices(reply, "receiver")[0], "name"), "Unknown Device");
  EXPECT_EQ(Field(Devices(reply, "receiver")[0], "instanceId"), "");
  EXPECT_EQ(Field(Devices(reply, "receiver")[0], "manufacturer"), "Dongle Co");
  ASSERT_EQ(Count(reply, "keyboard"), 1);
  EXPECT_EQ(Field(Devices(reply, "keyboard")[0], "name"), "Unknown Device");
}

TEST_F(DeviceClassification, SameInstanceIdInTwoLetterCasesGivesOneRecord) {
  DeviceSection section;
  DeviceFacts facts;
  facts.instanceId = u"USB\\VID_046D&PID_C077\\7";
  facts.displayName = u"first";
  AddDeviceToSection(section, facts.instanceId, EncodeDeviceRecord(facts, {}));
  facts.instanceId = u"usb\\vid_046d&pid_c077\\7";
  facts.displayName = u"second";
  AddDeviceToSection(section, facts.instanceId, EncodeDeviceRecord(facts, {}));

  ASSERT_EQ(section.devices.size(), 1u);
  EXPECT_EQ(Field(section.devices[0], "name"), "first");
  EXPECT_EQ(section.seenKeys.count(u"usb\\vid_046d&pid_c077\\7"), 1u);
  EXPECT_EQ(std::get<std::int32_t>(EncodeDeviceSection(section).at(EncodableValue("count"))), 1);
}

TEST_F(DeviceClassification, SameDeviceInTwoSectionsIsKeptInEach) {
  DeviceSection keyboards;
  DeviceSection mice;
  DeviceFacts facts;
  facts.instanceId = u"USB\\VID_1\\1";
  AddDeviceToSection(keyboards, facts.instanceId, EncodeDeviceRecord(facts, {}));
  AddDeviceToSection(mice, facts.instanceId, EncodeDeviceRecord(facts, {}));
  EXPECT_EQ(keyboards.devices.size(), 1u);
  EXPECT_EQ(mice.devices.size(), 1u);
}

TEST_F(DeviceClassification, MouseWhoseDescriptionHoldsKeyboardLandsInKeyboard) {
  Add(UsbDevice(u"HID\\VID_046D&PID_C52B&MI_01\\G1", u"Keyboard and mouse combo", u"mouhid"));

  const EncodableMap reply = GetDeviceStatusDetailed();

  EXPECT_EQ(SectionsListing(reply, "HID\\VID_046D&PID_C52B&MI_01\\G1"),
            std::vector<std::string>{"keyboard"});
  EXPECT_EQ(Count(reply, "mouse"), 0);
}

TEST_F(DeviceClassification, WordTestsReadEveryNameAndChineseWords) {
  sim::Device byFriendly = UsbDevice(u"USB\\VID_0001&PID_0001\\H1", u"USB Input Device", u"x");
  byFriendly.friendlyName = u"无线鼠标";
  Add(byFriendly);
  sim::Device byManufacturer = UsbDevice(u"USB\\VID_0001&PID_0002\\H2", u"Disk", u"disk");
  byManufacturer.manufacturer = u"Kingston DataTraveler";
  Add(byManufacturer);
  sim::Device byClass = UsbDevice(u"USB\\VID_0001&PID_0003\\H3", u"Drive", u"disk");
  byClass.className = u"DiskDrive";
  Add(byClass);
  Add(UsbDevice(u"USB\\VID_0001&PID_0004\\H4", u"2.4G 接收器", u"HidUsb"));
  Add(UsbDevice(u"USB\\VID_0001&PID_0005\\H5", u"Nothing to see", u"WinUSB"));

  const EncodableMap reply = GetDeviceStatusDetailed();

  EXPECT_EQ(SectionsListing(reply, "USB\\VID_0001&PID_0001\\H1"),
            std::vector<std::string>{"mouse"});
  EXPECT_EQ(SectionsListing(reply, "USB\\VID_0001&PID_0002\\H2"),
            std::vector<std::string>{"usb_storage"});
  EXPECT_EQ(SectionsListing(reply, "USB\\VID_0001&PID_0003\\H3"),
            std::vector<std::string>{"usb_storage"});
  EXPECT_EQ(SectionsListing(reply, "USB\\VID_0001&PID_0004\\H4"),
            std::vector<std::string>{"receiver"});
  EXPECT_TRUE(SectionsListing(reply, "USB\\VID_0001&PID_0005\\H5").empty());
  EXPECT_EQ(Field(Devices(reply, "mouse")[0], "name"), "无线鼠标");
}

TEST_F(DeviceClassification, RecordHoldsNineStringsWithDeviceIdEqualToInstanceId) {
  sim::Device stick =
      UsbDevice(u"USB\\VID_0781&PID_5567\\4C53", u"USB Mass Storage Device", u"USBSTOR");
  stick.friendlyName = u"SanDisk Cruzer";
  stick.manufacturer = u"Compatible USB storage device";
  Add(stick);

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "usb_storage"), 1);
  const auto& record = std::get<EncodableMap>(Devices(reply, "usb_storage")[0]);
  EXPECT_EQ(record.size(), 9u);
  const EncodableValue& value = Devices(reply, "usb_storage")[0];
  EXPECT_EQ(Field(value, "name"), "SanDisk Cruzer");
  EXPECT_EQ(Field(value, "friendlyName"), "SanDisk Cruzer");
  EXPECT_EQ(Field(value, "manufacturer"), "Compatible USB storage device");
  EXPECT_EQ(Field(value, "service"), "USBSTOR");
  EXPECT_EQ(Field(value, "pnpClass"), "USB");
  EXPECT_EQ(Field(value, "instanceId"), "USB\\VID_0781&PID_5567\\4C53");
  EXPECT_EQ(Field(value, "deviceId"), "USB\\VID_0781&PID_5567\\4C53");
  EXPECT_EQ(Field(value, "vid"), "0781");
  EXPECT_EQ(Field(value, "pid"), "5567");
  EXPECT_EQ(Status(reply, "usb_storage"), "已连接");
}

TEST_F(DeviceClassification, DevicesThatAreNotPresentAreNotReported) {
  sim::Device stick = UsbDevice(u"USB\\VID_0781&PID_5567\\P1", u"USB Mass Storage", u"USBSTOR");
  stick.present = false;
  Add(stick);
  EXPECT_EQ(TotalCount(GetDeviceStatusDetailed()), 0u);
}

TEST_F(DeviceClassification, ThousandDevicesAreListedInEnumerationOrder) {
  for (int i = 0; i < 1000; ++i) {
    const std::u16string number = Utf8ToWide(std::to_string(i));
    const char16_t* const description = i % 2 == 0 ? u"USB Keyboard" : u"USB Mouse";
    Add(UsbDevice(u"USB\\VID_1234&PID_5678\\" + number, description, u"HidUsb"));
  }

  const EncodableMap reply = GetDeviceStatusDetailed();

  ASSERT_EQ(Count(reply, "keyboard"), 500);
  ASSERT_EQ(Count(reply, "mouse"), 500);
  EXPECT_EQ(Field(Devices(reply, "keyboard")[0], "instanceId"), "USB\\VID_1234&PID_5678\\0");
  EXPECT_EQ(Field(Devices(reply, "keyboard")[499], "instanceId"), "USB\\VID_1234&PID_5678\\998");
  EXPECT_EQ(Field(Devices(reply, "mouse")[499], "instanceId"), "USB\\VID_1234&PID_5678\\999");
}

// ---- Properties ----

TEST_F(DeviceClassification, RegistryTextIsTheFirstStringOfAMultiString) {
  sim::Device device = UsbDevice(u"USB\\VID_1\\M1", u"", u"x");
  device.description = std::u16string(u"first\0second\0", 14);
  device.manufacturer = u"";
  Add(device);
  const platform::UniqueDeviceInfoSet list(platform::SetupDiGetClassDevsW(
      nullptr, platform::kDigcfPresent | platform::kDigcfAllClasses));
  ASSERT_TRUE(list);
  platform::DeviceInfoData data;
  bool found = false;
  for (std::uint32_t i = 0; platform::SetupDiEnumDeviceInfo(list.get(), i, &data); ++i) {
    if (GetDeviceInstanceText(list.get(), data) != u"USB\\VID_1\\M1") continue;
    found = true;
    EXPECT_EQ(GetDeviceRegistryText(list.get(), data, platform::kSpdrpDeviceDesc), u"first");
    // Unset, empty and unknown properties all read as empty.
    EXPECT_EQ(GetDeviceRegistryText(list.get(), data, platform::kSpdrpFriendlyName), u"");
    EXPECT_EQ(GetDeviceRegistryText(list.get(), data, platform::kSpdrpMfg), u"");
    EXPECT_EQ(GetDeviceRegistryText(list.get(), data, 0x99), u"");
    EXPECT_EQ(GetDeviceRegistryText(list.get(), data, platform::kSpdrpService), u"x");
  }
  EXPECT_TRUE(found);
}

// ---- The physical device behind an interface path ----

constexpr std::u16string_view kHubId = u"USB\\ROOT_HUB30\\4&1&0";
constexpr std::u16string_view kCompositeId = u"USB\\VID_046D&PID_C52B\\5&2&0&1";
constexpr std::u16string_view kFunctionId = u"USB\\VID_046D&PID_C52B&MI_00\\6&3&0&0000";
constexpr std::u16string_view kFunctionPath =
    u"\\\\?\\usb#vid_046d&pid_c52b&mi_00#6&3&0&0000#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";

class PhysicalDeviceInfo : public DeviceClassification {
 protected:
  static std::u16string PathOf(std::u16string_view id) {
    return u"\\\\?\\" + LowerCopy(id) + u"#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
  }

  // A root hub, a composite receiver on it and the receiver's first function below that.
  void AddReceiver(std::u16string_view compositeDescription = u"USB Composite Device") {
    sim::Device hub = UsbDevice(kHubId, u"USB Root Hub (USB 3.0)", u"USBHUB3");
    hub.interfaces = {{sim::kUsbDeviceInterface, PathOf(kHubId)}};
    Add(hub);
    sim::Device composite = UsbDevice(kCompositeId, compositeDescription, u"usbccgp");
    composite.parentId = kHubId;
    composite.interfaces = {{sim::kUsbDeviceInterface, PathOf(kCompositeId)}};
    Add(composite);
    sim::Device function = UsbDevice(kFunctionId, u"USB Input Device", u"HidUsb");
    function.setupClass = kHidClass;
    function.className = u"HIDClass";
    function.classGuidText = sim::GuidText(kHidClass);
    function.parentId = kCompositeId;
    function.interfaces = {{sim::kUsbDeviceInterface, std::u16string(kFunctionPath)}};
    Add(function);
  }

  std::u16string vid = u"x";
  std::u16string pid = u"x";
  std::u16string product = u"x";
  std::u16string port = u"x";
};

TEST_F(PhysicalDeviceInfo, WalkEndsAtTheCompositeParent) {
  AddReceiver();

  ASSERT_TRUE(GetPhysicalDeviceInfo(kFunctionPath, vid, pid, product, port));

  EXPECT_EQ(vid, u"046D");
  EXPECT_EQ(pid, u"C52B");
  EXPECT_EQ(product, u"USB Composite Device");
  EXPECT_EQ(port, kCompositeId);
}

TEST_F(PhysicalDeviceInfo, PathIsComparedWithoutLetterCase) {
  AddReceiver();
  EXPECT_TRUE(GetPhysicalDeviceInfo(
      u"\\\\?\\USB#VID_046D&PID_C52B&MI_00#6&3&0&0000#{A5DCBF10-6530-11D2-901F-00C04FB951ED}", vid,
      pid, product, port));
  EXPECT_EQ(port, kCompositeId);
}

TEST_F(PhysicalDeviceInfo, IdsMissingFromThePathComeFromThePhysicalDevice) {
  AddReceiver();
  sim::Device child = UsbDevice(u"USB\\NOIDS\\7&1", u"Vendor device", u"WinUSB");
  child.parentId = kCompositeId;
  child.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\usb#noids#7&1#{a5dcbf10}"}};
  Add(child);

  ASSERT_TRUE(GetPhysicalDeviceInfo(u"\\\\?\\usb#noids#7&1#{a5dcbf10}", vid, pid, product, port));

  EXPECT_EQ(vid, u"046D");
  EXPECT_EQ(pid, u"C52B");
}

TEST_F(PhysicalDeviceInfo, FriendlyNameIsTheProductStringWithinFiveHundredTwelveBytes) {
  AddReceiver();
  sim::Device fits = UsbDevice(u"USB\\VID_0001&PID_0001\\1", u"USB Composite Device", u"usbccgp");
  fits.friendlyName = std::u16string(255, u'f');
  fits.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\fits"}};
  Add(fits);
  sim::Device tooLong =
      UsbDevice(u"USB\\VID_0001&PID_0002\\1", u"USB Composite Device", u"usbccgp");
  tooLong.friendlyName = std::u16string(256, u'g');
  tooLong.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\toolong"}};
  Add(tooLong);

  ASSERT_TRUE(GetPhysicalDeviceInfo(u"\\\\?\\fits", vid, pid, product, port));
  EXPECT_EQ(product, std::u16string(255, u'f'));
  ASSERT_TRUE(GetPhysicalDeviceInfo(u"\\\\?\\toolong", vid, pid, product, port));
  EXPECT_EQ(product, u"USB Composite Device");
  EXPECT_EQ(pid, u"0002");
}

TEST_F(PhysicalDeviceInfo, CompositeBeyondFiveHundredTwelveBytesIsNotSeen) {
  // Past the buffer the description is not read, so the walk goes on up to the hub, whose parent
  // (the tree's root) is in no list.
  AddReceiver(std::u16string(250, u' ') + u"Composite");

  EXPECT_FALSE(GetPhysicalDeviceInfo(kFunctionPath, vid, pid, product, port));
  // The ids of the path were taken before the walk.
  EXPECT_EQ(vid, u"046D");
  EXPECT_EQ(pid, u"C52B");
  EXPECT_EQ(product, u"");
  EXPECT_EQ(port, u"");
}

TEST_F(PhysicalDeviceInfo, CompositeIsTestedCaseSensitively) {
  AddReceiver(u"USB composite device");
  EXPECT_FALSE(GetPhysicalDeviceInfo(kFunctionPath, vid, pid, product, port));
}

TEST_F(PhysicalDeviceInfo, CompositeOfAnotherSetupClassDoesNotEndTheWalk) {
  AddReceiver();
  sim::Device child = UsbDevice(u"USB\\VID_0002&PID_0002\\1", u"Composite sensor", u"x");
  child.classGuidText = sim::GuidText(kHidClass);
  child.parentId = kCompositeId;
  child.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\sensor"}};
  Add(child);
  sim::Device garbled = UsbDevice(u"USB\\VID_0003&PID_0003\\1", u"Composite thing", u"x");
  garbled.classGuidText = u"not a guid";
  garbled.parentId = kCompositeId;
  garbled.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\garbled"}};
  Add(garbled);

  ASSERT_TRUE(GetPhysicalDeviceInfo(u"\\\\?\\sensor", vid, pid, product, port));
  EXPECT_EQ(port, kCompositeId);
  ASSERT_TRUE(GetPhysicalDeviceInfo(u"\\\\?\\garbled", vid, pid, product, port));
  EXPECT_EQ(port, kCompositeId);
}

TEST_F(PhysicalDeviceInfo, UnknownPathFailsWithClearedOutputs) {
  AddReceiver();
  EXPECT_FALSE(GetPhysicalDeviceInfo(u"\\\\?\\usb#nothing", vid, pid, product, port));
  EXPECT_EQ(vid, u"");
  EXPECT_EQ(pid, u"");
  EXPECT_EQ(product, u"");
  EXPECT_EQ(port, u"");
}

TEST_F(PhysicalDeviceInfo, ParentOutsideTheListFails) {
  sim::Device parent = UsbDevice(u"USB\\VID_0004&PID_0004\\1", u"USB Composite Device", u"x");
  Add(parent);  // no interface, so in no interface list
  sim::Device child = UsbDevice(u"USB\\VID_0004&PID_0004&MI_00\\1", u"Function", u"x");
  child.parentId = parent.instanceId;
  child.interfaces = {{sim::kUsbDeviceInterface, u"\\\\?\\child"}};
  Add(child);

  EXPECT_FALSE(GetPhysicalDeviceInfo(u"\\\\?\\child", vid, pid, product, port));
}

TEST_F(PhysicalDeviceInfo, HidPathIsNotLookedForInTheHidListWhenTheUsbListOpens) {
  AddReceiver();
  sim::Device mouse = UsbDevice(u"HID\\VID_046D&PID_C52B&MI_00\\7&1", u"HID mouse", u"mouhid");
  mouse.parentId = kFunctionId;
  mouse.interfaces = {{sim::kHidInterface, u"\\\\?\\hid#mouse"}};
  Add(mouse);

  EXPECT_FALSE(GetPhysicalDeviceInfo(u"\\\\?\\hid#mouse", vid, pid, product, port));
}

TEST_F(PhysicalDeviceInfo, HidListIsUsedOnlyWhenTheUsbListCannotBeOpened) {
  sim::Device composite = UsbDevice(kCompositeId, u"USB Composite Device", u"usbccgp");
  composite.interfaces = {{sim::kHidInterface, u"\\\\?\\hid#composite"}};
  Add(composite);
  sim::Device mouse = UsbDevice(u"HID\\VID_046D&PID_C52B&MI_00\\7&1", u"HID mouse", u"mouhid");
  mouse.classGuidText = sim::GuidText(kHidClass);
  mouse.parentId = kCompositeId;
  mouse.interfaces = {{sim::kHidInterface, u"\\\\?\\hid#mouse"}};
  Add(mouse);
  sim::RefuseDeviceInfoList(sim::kUsbDeviceInterface, kErrorNotEnoughMemory);

  ASSERT_TRUE(GetPhysicalDeviceInfo(u"\\\\?\\hid#mouse", vid, pid, product, port));
  EXPECT_EQ(port, kCompositeId);

  sim::RefuseDeviceInfoList(sim::kHidInterface, kErrorNotEnoughMemory);
  EXPECT_FALSE(GetPhysicalDeviceInfo(u"\\\\?\\hid#mouse", vid, pid, product, port));
}

// A chain of plain devices below a composite one: the composite is found within ten passes.
class PhysicalDeviceDepth : public PhysicalDeviceInfo {
 protected:
  void AddChain(int depth) {
    sim::Device top = UsbDevice(kCompositeId, u"USB Composite Device", u"usbccgp");
    top.interfaces = {{sim::kUsbDeviceInterface, PathOf(kCompositeId)}};
    Add(top);
    std::u16string parent(kCompositeId);
    for (int i = 1; i <= depth; ++i) {
      const std::u16string id = u"USB\\LEVEL" + Utf8ToWide(std::to_string(i)) + u"\\1";
      sim::Device device = UsbDevice(id, u"Level", u"x");
      device.parentId = parent;
      device.interfaces = {{sim::kUsbDeviceInterface, PathOf(id)}};
      Add(device);
      parent = id;
    }
    leafPath = PathOf(parent);
  }
  std::u16string leafPath;
};

TEST_F(PhysicalDeviceDepth, CompositeNineLevelsUpIsFoundOnTheTenthPass) {
  AddChain(9);
  ASSERT_TRUE(GetPhysicalDeviceInfo(leafPath, vid, pid, product, port));
  EXPECT_EQ(port, kCompositeId);
}

TEST_F(PhysicalDeviceDepth, CompositeTenLevelsUpIsBeyondTheWalk) {
  AddChain(10);
  EXPECT_FALSE(GetPhysicalDeviceInfo(leafPath, vid, pid, product, port));
  EXPECT_EQ(port, u"");
}

// ---- Pure tests ----

TEST(ParseVidPid, TakesTheFirstOfEachAnywhereAndUpperCasesThem) {
  std::u16string vid = u"old";
  std::u16string pid = u"old";
  EXPECT_TRUE(ParseVidPid(u"\\\\?\\hid#vid_zz&pid_12g4&vid_abcd0&x&PiD_eF01#", vid, pid));
  EXPECT_EQ(vid, u"ABCD");
  EXPECT_EQ(pid, u"EF01");
}

TEST(ParseVidPid, VendorWithoutProductLeavesBothOutputsAsTheyWere) {
  std::u16string vid = u"keep";
  std::u16string pid = u"this";
  EXPECT_FALSE(ParseVidPid(u"USB\\VID_046D\\5&1", vid, pid));
  EXPECT_FALSE(ParseVidPid(u"USB\\PID_046D\\5&1", vid, pid));
  EXPECT_FALSE(ParseVidPid(u"VID_12", vid, pid));
  EXPECT_FALSE(ParseVidPid(u"", vid, pid));
  EXPECT_EQ(vid, u"keep");
  EXPECT_EQ(pid, u"this");
}

TEST(ParseVidPid, OnlyAsciiLettersFoldAndDigitsMayRunOn) {
  std::u16string vid;
  std::u16string pid;
  // A fullwidth letter is no letter of the pattern.
  EXPECT_FALSE(ParseVidPid(u"ＶID_1234&PID_5678", vid, pid));
  EXPECT_TRUE(ParseVidPid(u"PID_56789VID_123456", vid, pid));
  EXPECT_EQ(vid, u"1234");
  EXPECT_EQ(pid, u"5678");
}

TEST(ContainsText, EmptyNeedleIsFoundAndLongerNeedleIsNot) {
  EXPECT_TRUE(ContainsText(u"", u""));
  EXPECT_TRUE(ContainsText(u"abc", u""));
  EXPECT_FALSE(ContainsText(u"ab", u"abc"));
  EXPECT_TRUE(ContainsText(u"usb mouse", u"mouse"));
  EXPECT_FALSE(ContainsText(u"USB Mouse", u"mouse"));
}

TEST(LowerCopy, OnlyAsciiLettersChange) {
  EXPECT_EQ(LowerCopy(u"USB 键盘 ÄÖ Ｋ"), u"usb 键盘 ÄÖ Ｋ");
  EXPECT_EQ(LowerCopy(u"HID\\VID_ABCD"), u"hid\\vid_abcd");
}

TEST(IsUsbLikeDevice, ByBusPrefixVendorIdOrService) {
  EXPECT_TRUE(IsUsbLikeDevice(u"usb\\root_hub30\\1", u""));
  EXPECT_TRUE(IsUsbLikeDevice(u"hid\\vid_046d&pid_c077\\1", u""));
  EXPECT_TRUE(IsUsbLikeDevice(u"acpi\\pnp0f13\\1", u"i8042hid"));
  EXPECT_TRUE(IsUsbLikeDevice(u"scsi\\disk\\1", u"usbstor"));
  EXPECT_FALSE(IsUsbLikeDevice(u"acpi\\pnp0303\\1", u"i8042prt"));
  EXPECT_FALSE(IsUsbLikeDevice(u"xusb\\1", u"disk"));
}

TEST(IsHubOrController, ByServiceOrWords) {
  EXPECT_TRUE(IsHubOrController(u"", u"usbhub3"));
  EXPECT_TRUE(IsHubOrController(u"", u"usbxhci"));
  EXPECT_TRUE(IsHubOrController(u"usb root hub", u""));
  EXPECT_TRUE(IsHubOrController(u"xbox controller", u"hidusb"));
  EXPECT_FALSE(IsHubOrController(u"usb mouse", u"mouhid"));
}

TEST(MatchesDeviceType, EachTypeIsTestedOnItsOwn) {
  // A product camera whose names hold "keyboard" is a camera and a keyboard.
  constexpr std::u16string_view text = u"kelvo keyboard cam";
  EXPECT_TRUE(MatchesDeviceType("camera", text, u"usbvideo", u"image", u"usb\\vid_328f&pid_00d4\\1",
                                u"328F", u"00D4"));
  EXPECT_TRUE(MatchesDeviceType("keyboard", text, u"usbvideo", u"image",
                                u"usb\\vid_328f&pid_00d4\\1", u"328F", u"00D4"));
  EXPECT_FALSE(MatchesDeviceType("mouse", text, u"usbvideo", u"image", u"usb\\vid_328f&pid_00d4\\1",
                                 u"328F", u"00D4"));
}

TEST(MatchesDeviceType, CameraHasTheWiderFallback) {
  EXPECT_TRUE(MatchesDeviceType("camera", u"hd webcam", u"usbvideo", u"camera", u"usb\\vid_1\\1",
                                u"", u""));
  EXPECT_TRUE(MatchesDeviceType("camera", u"usb camera", u"usbvideo", u"image", u"usb\\vid_1\\1",
                                u"", u""));
  EXPECT_TRUE(MatchesDeviceType("camera", u"高清摄像头", u"usbvideo", u"image", u"usb\\vid_1\\1",
                                u"", u""));
  EXPECT_FALSE(
      MatchesDeviceType("camera", u"hd webcam", u"usbvideo", u"image", u"usb\\vid_1\\1", u"", u""));
  EXPECT_FALSE(MatchesDeviceType("camera_360", u"360 camera", u"usbvideo", u"camera",
                                 u"usb\\vid_1\\1", u"328F", u"00D4"));
  EXPECT_TRUE(MatchesDeviceType("camera_360", u"", u"usbvideo", u"camera", u"usb\\vid_1\\1",
                                u"328F", u"00A8"));
  EXPECT_TRUE(MatchesDeviceType("projector", u"", u"hidusb", u"hidclass", u"usb\\vid_1\\1", u"EFEF",
                                u"0038"));
  EXPECT_FALSE(MatchesDeviceType("projector", u"projector", u"hidusb", u"hidclass",
                                 u"usb\\vid_1\\1", u"EFEF", u"0039"));
}

TEST(MatchesDeviceType, MonitorFirstThenTheUsbAndHubFilters) {
  EXPECT_TRUE(
      MatchesDeviceType("monitor", u"controller", u"", u"monitor", u"display\\1", u"", u""));
  EXPECT_FALSE(MatchesDeviceType("monitor", u"", u"", u"keyboard", u"usb\\1", u"", u""));
  EXPECT_FALSE(MatchesDeviceType("keyboard", u"keyboard", u"i8042prt", u"keyboard",
                                 u"acpi\\pnp0303\\1", u"", u""));
  EXPECT_FALSE(MatchesDeviceType("receiver", u"receiver controller", u"hidusb", u"hidclass",
                                 u"usb\\1", u"", u""));
  EXPECT_TRUE(
      MatchesDeviceType("receiver", u"nano dongle", u"hidusb", u"hidclass", u"usb\\1", u"", u""));
  EXPECT_TRUE(MatchesDeviceType("usb_storage", u"disk", u"usbstor", u"usb", u"usb\\1", u"", u""));
  EXPECT_TRUE(MatchesDeviceType("mouse", u"", u"mouhid", u"hidclass", u"usb\\1", u"", u""));
  EXPECT_FALSE(MatchesDeviceType("Mouse", u"", u"mouhid", u"hidclass", u"usb\\1", u"", u""));
  EXPECT_FALSE(
      MatchesDeviceType("printer", u"printer", u"usbprint", u"printer", u"usb\\1", u"", u""));
}

}  // namespace

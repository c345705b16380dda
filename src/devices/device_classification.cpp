#include "devices/device_classification.h"

#include <array>
#include <utility>
#include <vector>

#include "base/text.h"
#include "devices/device_monitor.h"
#include "platform/com.h"
#include "platform/kernel.h"
#include "platform/owners.h"

namespace {

constexpr std::uint32_t kAllPresentDevices = platform::kDigcfPresent | platform::kDigcfAllClasses;
constexpr std::uint32_t kPresentInterfaces =
    platform::kDigcfPresent | platform::kDigcfDeviceInterface;

constexpr std::array<std::string_view, kDeviceSectionCount> kSectionKeys = {
    "monitor", "keyboard", "mouse", "camera", "camera_360", "usb_storage", "receiver", "projector"};

constexpr char kConnected[] = "已连接";
constexpr char kNotConnected[] = "未连接";

// The system's own products, told apart by their ids alone.
struct OwnProduct {
  std::u16string_view vid;
  std::u16string_view pid;
  DeviceSectionKind section;
  std::u16string_view name;
};
constexpr OwnProduct kOwnProducts[] = {
    {u"328F", u"00D4", DeviceSectionKind::kCamera, u"KELVO 4K 超清摄像头"},
    {u"328F", u"00A8", DeviceSectionKind::kCamera360, u"KELVO 360全景摄像头"},
    {u"EFEF", u"0038", DeviceSectionKind::kProjector, u"KELVO 投屏器"},
};

constexpr std::u16string_view kHubServices[] = {u"usbhub", u"usbxhci"};
// The bare "controller" drops game controllers too, and any receiver that names one.
constexpr std::u16string_view kHubWords[] = {u"root hub", u"host controller", u"controller"};
constexpr std::u16string_view kKeyboardWords[] = {u"keyboard", u"keypad", u"键盘"};
constexpr std::u16string_view kMouseWords[] = {u"mouse", u"鼠标"};
constexpr std::u16string_view kStorageWords[] = {u"mass storage", u"usb storage", u"flash drive",
                                                 u"datatraveler", u"大容量"};
constexpr std::u16string_view kReceiverWords[] = {u"receiver", u"dongle", u"接收器"};
constexpr std::u16string_view kCameraWords[] = {u"camera", u"摄像"};

template <std::size_t N>
bool ContainsAny(std::u16string_view text, const std::u16string_view (&needles)[N]) {
  for (const std::u16string_view needle : needles) {
    if (ContainsText(text, needle)) return true;
  }
  return false;
}

bool IsOwnProduct(std::u16string_view vid, std::u16string_view pid, DeviceSectionKind section) {
  for (const OwnProduct& product : kOwnProducts) {
    if (product.section == section) return vid == product.vid && pid == product.pid;
  }
  return false;
}

bool IsKeyboard(std::u16string_view searchText, std::u16string_view service,
                std::u16string_view pnpClass) {
  return pnpClass == u"keyboard" || ContainsText(service, u"kbdhid") ||
         ContainsAny(searchText, kKeyboardWords);
}

bool IsMouse(std::u16string_view searchText, std::u16string_view service,
             std::u16string_view pnpClass) {
  return pnpClass == u"mouse" || ContainsText(service, u"mouhid") ||
         ContainsAny(searchText, kMouseWords);
}

bool IsUsbStorage(std::u16string_view searchText, std::u16string_view service,
                  std::u16string_view pnpClass) {
  return service == u"usbstor" || pnpClass == u"diskdrive" ||
         ContainsAny(searchText, kStorageWords);
}

bool IsReceiver(std::u16string_view searchText) { return ContainsAny(searchText, kReceiverWords); }

// The word tests of the chain, in the chain's order.
struct WordTest {
  DeviceSectionKind section;
  bool (*matches)(std::u16string_view searchText, std::u16string_view service,
                  std::u16string_view pnpClass);
};
constexpr WordTest kWordTests[] = {
    {DeviceSectionKind::kKeyboard, &IsKeyboard},
    {DeviceSectionKind::kMouse, &IsMouse},
    {DeviceSectionKind::kUsbStorage, &IsUsbStorage},
    {DeviceSectionKind::kReceiver, [](std::u16string_view searchText, std::u16string_view,
                                      std::u16string_view) { return IsReceiver(searchText); }},
};

bool IsHexDigit(char16_t unit) {
  const char16_t folded = FoldChar(unit);
  return (folded >= u'0' && folded <= u'9') || (folded >= u'a' && folded <= u'f');
}

char16_t UpperHex(char16_t unit) {
  return unit >= u'a' && unit <= u'f' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

// The four digits after the first `prefix` (lower-case, four units) that is followed by four hex
// digits, letters of both in any case: what a search for "PREFIX([0-9A-F]{4})" finds.
std::optional<std::u16string> FindTaggedHex(std::u16string_view source,
                                            std::u16string_view prefix) {
  constexpr std::size_t kDigits = 4;
  const std::size_t length = prefix.size() + kDigits;
  for (std::size_t at = 0; at + length <= source.size(); ++at) {
    bool matched = true;
    for (std::size_t i = 0; i < prefix.size() && matched; ++i) {
      matched = FoldChar(source[at + i]) == prefix[i];
    }
    for (std::size_t i = prefix.size(); i < length && matched; ++i) {
      matched = IsHexDigit(source[at + i]);
    }
    if (!matched) continue;
    std::u16string digits(source.substr(at + prefix.size(), kDigits));
    for (char16_t& unit : digits) unit = UpperHex(FoldChar(unit));
    return digits;
  }
  return std::nullopt;
}

// The registry's UTF-16 is little-endian whatever the host; the text ends at the first
// terminator or at the buffer's end.
std::u16string TextOfBytes(const std::uint8_t* bytes, std::size_t size) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    const auto unit = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (unit == u'\0') break;
    text.push_back(unit);
  }
  return text;
}

// One read into a zeroed buffer of a fixed size: a longer value is not read at all.
std::u16string ReadFixedProperty(platform::DeviceInfoSet set,
                                 const platform::DeviceInfoData& device, std::uint32_t property,
                                 std::uint32_t bytes) {
  std::vector<std::uint8_t> buffer(bytes, 0);
  if (!platform::SetupDiGetDeviceRegistryPropertyW(set, device, property, nullptr, buffer.data(),
                                                   bytes, nullptr)) {
    return {};
  }
  return TextOfBytes(buffer.data(), buffer.size());
}

std::u16string UnitsToText(const std::vector<char16_t>& units) {
  std::u16string text(units.data(), units.size());
  return text.substr(0, text.find(u'\0'));
}

// The path of an interface, asked for its size first and read in a second call.
std::optional<std::u16string> InterfacePath(platform::DeviceInfoSet set,
                                            const platform::DeviceInterfaceData& interfaceData,
                                            platform::DeviceInfoData* owner) {
  std::uint32_t required = 0;
  if (platform::SetupDiGetDeviceInterfaceDetailW(set, interfaceData, nullptr, 0, &required,
                                                 nullptr) ||
      platform::GetLastError() != platform::kErrorInsufficientBuffer || required == 0) {
    return std::nullopt;
  }
  std::vector<char16_t> path(required, u'\0');
  if (!platform::SetupDiGetDeviceInterfaceDetailW(set, interfaceData, path.data(), required,
                                                  nullptr, owner)) {
    return std::nullopt;
  }
  return UnitsToText(path);
}

// The device of the list that owns the interface with this path, compared as _wcsicmp does.
std::optional<platform::DeviceInfoData> FindInterfaceOwner(platform::DeviceInfoSet set,
                                                           const Guid& interfaceClass,
                                                           std::u16string_view interfacePath) {
  platform::DeviceInterfaceData interfaceData;
  for (std::uint32_t index = 0;
       platform::SetupDiEnumDeviceInterfaces(set, nullptr, interfaceClass, index, &interfaceData);
       ++index) {
    platform::DeviceInfoData owner;
    const std::optional<std::u16string> path = InterfacePath(set, interfaceData, &owner);
    if (path && EqualsFolded(*path, interfacePath)) return owner;
  }
  return std::nullopt;
}

std::optional<std::u16string> InstanceIdOf(platform::DeviceInfoSet set,
                                           const platform::DeviceInfoData& device) {
  std::vector<char16_t> buffer(kDeviceIdUnits, u'\0');
  if (!platform::SetupDiGetDeviceInstanceIdW(set, device, buffer.data(), kDeviceIdUnits, nullptr)) {
    return std::nullopt;
  }
  return UnitsToText(buffer);
}

// A composite parent is where the physical device is; its children are its functions.
bool IsCompositeParent(platform::DeviceInfoSet set, const platform::DeviceInfoData& device) {
  Guid classGuid;
  const std::u16string classText =
      ReadFixedProperty(set, device, platform::kSpdrpClassGuid, kClassGuidTextBytes);
  if (platform::CLSIDFromString(classText, &classGuid) != 0 || !(classGuid == kUsbSetupClass)) {
    return false;
  }
  return ContainsText(ReadFixedProperty(set, device, platform::kSpdrpDeviceDesc, kDeviceTextBytes),
                      u"Composite");
}

std::optional<std::u16string> ParentInstanceId(std::u16string_view instanceId) {
  const std::u16string id(instanceId);
  std::uint32_t node = 0;
  std::uint32_t parent = 0;
  if (platform::CM_Locate_DevNodeW(&node, id.c_str(), platform::kCmLocateDevnodeNormal) !=
          platform::kCrSuccess ||
      platform::CM_Get_Parent(&parent, node, 0) != platform::kCrSuccess) {
    return std::nullopt;
  }
  std::vector<char16_t> buffer(kDeviceIdUnits, u'\0');
  if (platform::CM_Get_Device_IDW(parent, buffer.data(), kDeviceIdUnits, 0) !=
      platform::kCrSuccess) {
    return std::nullopt;
  }
  return UnitsToText(buffer);
}

std::optional<platform::DeviceInfoData> FindListedDevice(platform::DeviceInfoSet set,
                                                         std::u16string_view instanceId) {
  platform::DeviceInfoData device;
  for (std::uint32_t index = 0; platform::SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    const std::optional<std::u16string> id = InstanceIdOf(set, device);
    if (id && EqualsFolded(*id, instanceId)) return device;
  }
  return std::nullopt;
}

// Up the tree from the interface's own device until a composite parent, within the list.
std::optional<platform::DeviceInfoData> WalkToPhysicalDevice(platform::DeviceInfoSet set,
                                                             platform::DeviceInfoData current) {
  for (int pass = 1; pass <= kPhysicalDevicePasses; ++pass) {
    if (IsCompositeParent(set, current)) return current;
    const std::optional<std::u16string> id = InstanceIdOf(set, current);
    if (!id) return std::nullopt;
    const std::optional<std::u16string> parentId = ParentInstanceId(*id);
    if (!parentId) return std::nullopt;
    const std::optional<platform::DeviceInfoData> parent = FindListedDevice(set, *parentId);
    if (!parent) return std::nullopt;
    current = *parent;
  }
  return std::nullopt;
}

}  // namespace

std::string_view DeviceSectionKey(DeviceSectionKind kind) {
  return kSectionKeys[static_cast<std::size_t>(kind)];
}

std::u16string LowerCopy(std::u16string_view text) { return FoldCase(text); }

bool ContainsText(std::u16string_view text, std::u16string_view needle) {
  return text.find(needle) != std::u16string_view::npos;
}

bool ParseVidPid(std::u16string_view source, std::u16string& vid, std::u16string& pid) {
  std::optional<std::u16string> vendor = FindTaggedHex(source, u"vid_");
  if (!vendor) return false;
  std::optional<std::u16string> product = FindTaggedHex(source, u"pid_");
  if (!product) return false;
  vid = std::move(*vendor);
  pid = std::move(*product);
  return true;
}

std::u16string GetDeviceRegistryText(platform::DeviceInfoSet set,
                                     const platform::DeviceInfoData& device,
                                     std::uint32_t property) {
  std::uint32_t required = 0;
  if (platform::SetupDiGetDeviceRegistryPropertyW(set, device, property, nullptr, nullptr, 0,
                                                  &required) ||
      platform::GetLastError() != platform::kErrorInsufficientBuffer || required == 0) {
    return {};
  }
  // Two spare bytes keep a terminator behind a value stored without one.
  std::vector<std::uint8_t> buffer(required + 2, 0);
  if (!platform::SetupDiGetDeviceRegistryPropertyW(set, device, property, nullptr, buffer.data(),
                                                   required, nullptr)) {
    return {};
  }
  return TextOfBytes(buffer.data(), buffer.size());
}

std::u16string GetDeviceInstanceText(platform::DeviceInfoSet set,
                                     const platform::DeviceInfoData& device) {
  return InstanceIdOf(set, device).value_or(std::u16string());
}

DeviceFacts ReadDeviceFacts(platform::DeviceInfoSet set, const platform::DeviceInfoData& device) {
  DeviceFacts facts;
  facts.instanceId = GetDeviceInstanceText(set, device);
  facts.friendlyName = GetDeviceRegistryText(set, device, platform::kSpdrpFriendlyName);
  facts.deviceDescription = GetDeviceRegistryText(set, device, platform::kSpdrpDeviceDesc);
  facts.manufacturer = GetDeviceRegistryText(set, device, platform::kSpdrpMfg);
  facts.service = GetDeviceRegistryText(set, device, platform::kSpdrpService);
  facts.pnpClass = GetDeviceRegistryText(set, device, platform::kSpdrpClass);
  for (const std::u16string* candidate :
       {&facts.friendlyName, &facts.deviceDescription, &facts.instanceId}) {
    if (!candidate->empty()) {
      facts.displayName = *candidate;
      break;
    }
  }
  if (facts.displayName.empty()) facts.displayName = u"Unknown Device";
  ParseVidPid(facts.instanceId, facts.vid, facts.pid);
  facts.serviceLower = LowerCopy(facts.service);
  facts.pnpClassLower = LowerCopy(facts.pnpClass);
  facts.instanceIdLower = LowerCopy(facts.instanceId);
  return facts;
}

std::u16string StatusSearchText(const DeviceFacts& facts) {
  return LowerCopy(facts.displayName + u" " + facts.friendlyName + u" " + facts.deviceDescription +
                   u" " + facts.manufacturer);
}

bool IsUsbLikeDevice(std::u16string_view instanceIdLower, std::u16string_view serviceLower) {
  return instanceIdLower.substr(0, 4) == u"usb\\" || ContainsText(instanceIdLower, u"vid_") ||
         ContainsText(serviceLower, u"hid") || ContainsText(serviceLower, u"usbstor");
}

bool IsHubOrController(std::u16string_view searchText, std::u16string_view serviceLower) {
  return ContainsAny(serviceLower, kHubServices) || ContainsAny(searchText, kHubWords);
}

std::optional<DeviceClassification> ClassifyDevice(const DeviceFacts& facts) {
  // A monitor is reported whatever bus it sits on.
  if (facts.pnpClassLower == u"monitor") {
    return DeviceClassification{DeviceSectionKind::kMonitor, {}};
  }
  if (!IsUsbLikeDevice(facts.instanceIdLower, facts.serviceLower)) return std::nullopt;
  if (IsHubOrController(facts.searchText, facts.serviceLower)) return std::nullopt;
  for (const OwnProduct& product : kOwnProducts) {
    if (facts.vid == product.vid && facts.pid == product.pid) {
      return DeviceClassification{product.section, product.name};
    }
  }
  for (const WordTest& test : kWordTests) {
    if (test.matches(facts.searchText, facts.serviceLower, facts.pnpClassLower)) {
      return DeviceClassification{test.section, {}};
    }
  }
  return std::nullopt;
}

bool MatchesDeviceType(std::string_view type, std::u16string_view searchText,
                       std::u16string_view serviceLower, std::u16string_view pnpClassLower,
                       std::u16string_view instanceIdLower, std::u16string_view vid,
                       std::u16string_view pid) {
  if (type == "monitor") return pnpClassLower == u"monitor";
  if (!IsUsbLikeDevice(instanceIdLower, serviceLower)) return false;
  if (IsHubOrController(searchText, serviceLower)) return false;
  if (type == "camera") {
    return IsOwnProduct(vid, pid, DeviceSectionKind::kCamera) || pnpClassLower == u"camera" ||
           ContainsAny(searchText, kCameraWords);
  }
  if (type == "camera_360") return IsOwnProduct(vid, pid, DeviceSectionKind::kCamera360);
  if (type == "projector") return IsOwnProduct(vid, pid, DeviceSectionKind::kProjector);
  for (const WordTest& test : kWordTests) {
    if (type == DeviceSectionKey(test.section)) {
      return test.matches(searchText, serviceLower, pnpClassLower);
    }
  }
  return false;
}

DeviceRecord EncodeDeviceRecord(const DeviceFacts& facts, std::u16string_view name) {
  const std::string instanceId = WideToUtf8(facts.instanceId);
  return DeviceRecord{
      {"name", WideToUtf8(name.empty() ? std::u16string_view(facts.displayName) : name)},
      {"friendlyName", WideToUtf8(facts.friendlyName)},
      {"manufacturer", WideToUtf8(facts.manufacturer)},
      {"service", WideToUtf8(facts.service)},
      {"pnpClass", WideToUtf8(facts.pnpClass)},
      {"instanceId", instanceId},
      {"deviceId", instanceId},
      {"vid", WideToUtf8(facts.vid)},
      {"pid", WideToUtf8(facts.pid)},
  };
}

void AddDeviceToSection(DeviceSection& section, std::u16string_view instanceId,
                        DeviceRecord record) {
  std::u16string key = instanceId.empty() ? std::u16string(u"unknown") : LowerCopy(instanceId);
  if (!section.seenKeys.insert(std::move(key)).second) return;
  section.devices.emplace_back(std::move(record));
}

EncodableMap EncodeDeviceSection(const DeviceSection& section) {
  return EncodableMap{
      {"status", section.devices.empty() ? kNotConnected : kConnected},
      {"devices", section.devices},
      {"count", static_cast<std::int32_t>(section.devices.size())},
  };
}

EncodableMap GetDeviceStatusDetailed() {
  std::array<DeviceSection, kDeviceSectionCount> sections;
  const platform::UniqueDeviceInfoSet list(
      platform::SetupDiGetClassDevsW(nullptr, kAllPresentDevices));
  if (list) {
    platform::DeviceInfoData device;
    for (std::uint32_t index = 0; platform::SetupDiEnumDeviceInfo(list.get(), index, &device);
         ++index) {
      DeviceFacts facts = ReadDeviceFacts(list.get(), device);
      facts.searchText = StatusSearchText(facts);
      const std::optional<DeviceClassification> classification = ClassifyDevice(facts);
      if (!classification) continue;
      AddDeviceToSection(sections[static_cast<std::size_t>(classification->section)],
                         facts.instanceId, EncodeDeviceRecord(facts, classification->productName));
    }
  }
  EncodableMap reply;
  for (std::size_t i = 0; i < kDeviceSectionCount; ++i) {
    reply.emplace(std::string(kSectionKeys[i]), EncodeDeviceSection(sections[i]));
  }
  return reply;
}

bool GetPhysicalDeviceInfo(std::u16string_view interfacePath, std::u16string& vid,
                           std::u16string& pid, std::u16string& productString,
                           std::u16string& portPath) {
  vid.clear();
  pid.clear();
  productString.clear();
  portPath.clear();
  ParseVidPid(interfacePath, vid, pid);

  // HID is tried only when the USB list cannot be made at all, not when the path is not in it.
  Guid interfaceClass = kUsbDeviceInterfaceClass;
  platform::UniqueDeviceInfoSet list(
      platform::SetupDiGetClassDevsW(&interfaceClass, kPresentInterfaces));
  if (!list) {
    interfaceClass = kHidInterfaceClass;
    list.reset(platform::SetupDiGetClassDevsW(&interfaceClass, kPresentInterfaces));
    if (!list) return false;
  }
  const std::optional<platform::DeviceInfoData> owner =
      FindInterfaceOwner(list.get(), interfaceClass, interfacePath);
  if (!owner) return false;
  const std::optional<platform::DeviceInfoData> physical = WalkToPhysicalDevice(list.get(), *owner);
  if (!physical) return false;

  productString =
      ReadFixedProperty(list.get(), *physical, platform::kSpdrpFriendlyName, kDeviceTextBytes);
  if (productString.empty()) {
    productString =
        ReadFixedProperty(list.get(), *physical, platform::kSpdrpDeviceDesc, kDeviceTextBytes);
  }
  const std::u16string instanceId = GetDeviceInstanceText(list.get(), *physical);
  if (vid.empty() || pid.empty()) ParseVidPid(instanceId, vid, pid);
  portPath = instanceId;
  return true;
}

// Which of the eight kinds of device a managed PC cares about are connected: every present device
// is read into a few strings and sorted into at most one section by a fixed chain of string
// tests. Only the reading touches SetupAPI; the tests are pure text logic, so that the
// disconnection path can ask the same questions of the same facts.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "base/guid.h"
#include "channels/encodable_value.h"
#include "platform/setupapi.h"

// GUID_DEVCLASS_USB: the setup class of hubs and of composite parents.
inline constexpr Guid kUsbSetupClass = {
    0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

// Fixed buffers of the reads: instance ids in wide characters, properties in bytes.
inline constexpr std::uint32_t kDeviceIdUnits = 200;
inline constexpr std::uint32_t kClassGuidTextBytes = 128;
inline constexpr std::uint32_t kDeviceTextBytes = 512;

// At most this many steps up the tree in search of the physical device.
inline constexpr int kPhysicalDevicePasses = 10;

// The strings of one device during one enumeration step. `searchText` is left to the caller,
// because the status reply and the disconnection path build it differently.
struct DeviceFacts {
  std::u16string instanceId;
  std::u16string friendlyName;
  std::u16string deviceDescription;
  std::u16string manufacturer;
  std::u16string service;
  std::u16string pnpClass;
  std::u16string vid;  // four upper-case hex digits, or empty
  std::u16string pid;
  std::u16string displayName;
  std::u16string searchText;
  std::u16string serviceLower;
  std::u16string pnpClassLower;
  std::u16string instanceIdLower;
};

// The sections of the reply, in the reply's order.
enum class DeviceSectionKind {
  kMonitor,
  kKeyboard,
  kMouse,
  kCamera,
  kCamera360,
  kUsbStorage,
  kReceiver,
  kProjector,
};
inline constexpr std::size_t kDeviceSectionCount = 8;
// The reply's key of a section: "monitor", "keyboard", ... "projector".
std::string_view DeviceSectionKey(DeviceSectionKind kind);

// The section a device enters and the name it is listed under (empty: its own `displayName`).
struct DeviceClassification {
  DeviceSectionKind section;
  std::u16string_view productName;
};

// Each code unit lowered on its own; only A-Z change, as the Windows runtime's C locale does.
std::u16string LowerCopy(std::u16string_view text);
// Case-sensitive; an empty needle is found, a needle longer than the text is not.
bool ContainsText(std::u16string_view text, std::u16string_view needle);

// The first "VID_xxxx" and the first "PID_xxxx" anywhere in the source, letters in any case.
// Only when both are found are `vid` and `pid` assigned, upper-cased; otherwise both stay.
bool ParseVidPid(std::u16string_view source, std::u16string& vid, std::u16string& pid);

// A property's text up to its first terminator (a multi-string's first string); empty when it
// cannot be read.
std::u16string GetDeviceRegistryText(platform::DeviceInfoSet set,
                                     const platform::DeviceInfoData& device,
                                     std::uint32_t property);
// The instance id through a buffer of 200 units; empty when it does not fit or cannot be read.
std::u16string GetDeviceInstanceText(platform::DeviceInfoSet set,
                                     const platform::DeviceInfoData& device);
// Everything but `searchText`.
DeviceFacts ReadDeviceFacts(platform::DeviceInfoSet set, const platform::DeviceInfoData& device);
// The status reply's search text: display name, friendly name, description and manufacturer.
std::u16string StatusSearchText(const DeviceFacts& facts);

bool IsUsbLikeDevice(std::u16string_view instanceIdLower, std::u16string_view serviceLower);
bool IsHubOrController(std::u16string_view searchText, std::u16string_view serviceLower);
// The chain of the status reply; nullopt for a device that is not reported.
std::optional<DeviceClassification> ClassifyDevice(const DeviceFacts& facts);
// Each type tested on its own, with the wider camera test; what the disconnection path asks.
bool MatchesDeviceType(std::string_view type, std::u16string_view searchText,
                       std::u16string_view serviceLower, std::u16string_view pnpClassLower,
                       std::u16string_view instanceIdLower, std::u16string_view vid,
                       std::u16string_view pid);

// Nine UTF-8 strings: name, friendlyName, manufacturer, service, pnpClass, instanceId, deviceId,
// vid, pid.
using DeviceRecord = EncodableMap;

struct DeviceSection {
  EncodableList devices;
  std::set<std::u16string> seenKeys;  // lower-cased instance ids, "unknown" for none
};

// `name` empty: the device's own display name.
DeviceRecord EncodeDeviceRecord(const DeviceFacts& facts, std::u16string_view name);
// Drops the record when its instance id, in any letter case, is in the section already.
void AddDeviceToSection(DeviceSection& section, std::u16string_view instanceId,
                        DeviceRecord record);
// {status, devices, count}.
EncodableMap EncodeDeviceSection(const DeviceSection& section);

// The reply of getDeviceStatusDetailed: all eight sections, always.
EncodableMap GetDeviceStatusDetailed();

// For the arrival log: from a device interface path up to the physical device (a composite
// parent, or the interface's own device), its ids, product string and instance id as port path.
bool GetPhysicalDeviceInfo(std::u16string_view interfacePath, std::u16string& vid,
                           std::u16string& pid, std::u16string& productString,
                           std::u16string& portPath);

// Devices: the device information lists of SetupAPI, the device nodes of the configuration
// manager, and device notifications to a window. Names and values are Win32's; the Windows build
// implements them in win32/setupapi.cpp, the host build with a simulated device tree.
#pragma once

#include <cstdint>

#include "base/guid.h"
#include "platform/handles.h"

namespace platform {

inline constexpr std::uint32_t kDigcfPresent = 0x02;
inline constexpr std::uint32_t kDigcfAllClasses = 0x04;
inline constexpr std::uint32_t kDigcfDeviceInterface = 0x10;

inline constexpr std::uint32_t kSpdrpDeviceDesc = 0;
inline constexpr std::uint32_t kSpdrpService = 4;
inline constexpr std::uint32_t kSpdrpClass = 7;
inline constexpr std::uint32_t kSpdrpClassGuid = 8;
inline constexpr std::uint32_t kSpdrpMfg = 11;
inline constexpr std::uint32_t kSpdrpFriendlyName = 12;

// CONFIGRET results.
inline constexpr std::uint32_t kCrSuccess = 0x00;
inline constexpr std::uint32_t kCrFailure = 0x13;
inline constexpr std::uint32_t kCrNoSuchDevnode = 0x0D;
inline constexpr std::uint32_t kCrRemoveVetoed = 0x17;
inline constexpr std::uint32_t kCmLocateDevnodeNormal = 0;
inline constexpr std::uint32_t kCmRemoveUiNotOk = 0x01;

// WM_DEVICECHANGE and its records.
inline constexpr std::uint32_t kDbtDeviceArrival = 0x8000;
inline constexpr std::uint32_t kDbtDeviceRemoveComplete = 0x8004;
inline constexpr std::uint32_t kDbtDevtypVolume = 2;
inline constexpr std::uint32_t kDbtDevtypDeviceInterface = 5;
inline constexpr std::uint32_t kDeviceNotifyWindowHandle = 0x0;
inline constexpr std::uint32_t kDeviceNotifyAllInterfaceClasses = 0x4;

// SP_DEVINFO_DATA: one device of a list. `reserved` is the list's own note of the device and
// goes back unchanged into every later call about it.
struct DeviceInfoData {
  Guid classGuid;
  std::uint32_t devInst = 0;
  std::uintptr_t reserved = 0;
};

// SP_DEVICE_INTERFACE_DATA: one interface of a list.
struct DeviceInterfaceData {
  Guid interfaceClassGuid;
  std::uint32_t flags = 0;
  std::uintptr_t reserved = 0;
};

// A list of all present devices (no class, kDigcfAllClasses), of one setup class, or of the
// present interfaces of an interface class (kDigcfDeviceInterface); {} on failure.
DeviceInfoSet SetupDiGetClassDevsW(const Guid* classGuid, std::uint32_t flags);
// The device at `index`; false past the end (kErrorNoMoreItems).
bool SetupDiEnumDeviceInfo(DeviceInfoSet set, std::uint32_t index, DeviceInfoData* device);
bool SetupDiDestroyDeviceInfoList(DeviceInfoSet set);
// The instance id into `buffer` of `size` units, zero-terminated; `required` (if not null) gets
// the units needed, terminator included.
bool SetupDiGetDeviceInstanceIdW(DeviceInfoSet set, const DeviceInfoData& device, char16_t* buffer,
                                 std::uint32_t size, std::uint32_t* required);
// A property's raw bytes. With a null buffer or one too small: false, kErrorInsufficientBuffer
// and the size in bytes in `required`.
bool SetupDiGetDeviceRegistryPropertyW(DeviceInfoSet set, const DeviceInfoData& device,
                                       std::uint32_t property, std::uint32_t* type,
                                       std::uint8_t* buffer, std::uint32_t size,
                                       std::uint32_t* required);
// The interface of `interfaceClass` at `index`, of the whole list when `device` is null.
bool SetupDiEnumDeviceInterfaces(DeviceInfoSet set, const DeviceInfoData* device,
                                 const Guid& interfaceClass, std::uint32_t index,
                                 DeviceInterfaceData* interfaceData);
// The interface's device path into `path` of `capacity` units, zero-terminated, and (if not
// null) the device that owns it. With a null buffer or one too small: false,
// kErrorInsufficientBuffer and the units needed in `required`.
bool SetupDiGetDeviceInterfaceDetailW(DeviceInfoSet set, const DeviceInterfaceData& interfaceData,
                                      char16_t* path, std::uint32_t capacity,
                                      std::uint32_t* required, DeviceInfoData* device);

// The configuration manager: CONFIGRET results, kCrSuccess on success.
std::uint32_t CM_Locate_DevNodeW(std::uint32_t* devInst, const char16_t* deviceId,
                                 std::uint32_t flags);
std::uint32_t CM_Get_Parent(std::uint32_t* parent, std::uint32_t devInst, std::uint32_t flags);
// The instance id into `buffer` of `length` units.
std::uint32_t CM_Get_Device_IDW(std::uint32_t devInst, char16_t* buffer, std::uint32_t length,
                                std::uint32_t flags);
std::uint32_t CM_Request_Device_EjectW(std::uint32_t devInst, std::uint32_t* vetoType,
                                       char16_t* vetoName, std::uint32_t nameLength,
                                       std::uint32_t flags);
std::uint32_t CM_Disable_DevNode(std::uint32_t devInst, std::uint32_t flags);
std::uint32_t CM_Query_And_Remove_SubTreeW(std::uint32_t devInst, std::uint32_t* vetoType,
                                           char16_t* vetoName, std::uint32_t nameLength,
                                           std::uint32_t flags);

// RegisterDeviceNotificationW of a DEV_BROADCAST_DEVICEINTERFACE_W filter (size 32, record type
// 5, the class GUID, no name) for a window; {} on failure.
DeviceNotifyHandle RegisterDeviceNotificationW(WindowHandle window, const Guid& interfaceClass,
                                               std::uint32_t flags);
bool UnregisterDeviceNotification(DeviceNotifyHandle handle);

}  // namespace platform

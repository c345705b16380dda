// The device seam over setupapi (SetupDi*, CM_*) and user32 (device notifications).
#include <windows.h>

#include <cfgmgr32.h>
#include <dbt.h>
#include <setupapi.h>

#include <cstring>

#include "platform/setupapi.h"
#include "platform/win32/text.h"

namespace platform {

namespace {

HDEVINFO AsSet(DeviceInfoSet set) {
  return reinterpret_cast<HDEVINFO>(static_cast<std::uintptr_t>(set));
}

GUID AsGuid(const Guid& guid) {
  GUID native = {};
  native.Data1 = guid.data1;
  native.Data2 = guid.data2;
  native.Data3 = guid.data3;
  std::memcpy(native.Data4, guid.data4.data(), sizeof(native.Data4));
  return native;
}

Guid FromGuid(const GUID& native) {
  Guid guid;
  guid.data1 = native.Data1;
  guid.data2 = native.Data2;
  guid.data3 = native.Data3;
  std::memcpy(guid.data4.data(), native.Data4, sizeof(native.Data4));
  return guid;
}

SP_DEVINFO_DATA AsDevice(const DeviceInfoData& device) {
  SP_DEVINFO_DATA native = {};
  native.cbSize = sizeof(native);
  native.ClassGuid = AsGuid(device.classGuid);
  native.DevInst = device.devInst;
  native.Reserved = device.reserved;
  return native;
}

DeviceInfoData FromDevice(const SP_DEVINFO_DATA& native) {
  return {FromGuid(native.ClassGuid), native.DevInst, native.Reserved};
}

}  // namespace

DeviceInfoSet SetupDiGetClassDevsW(const Guid* classGuid, std::uint32_t flags) {
  GUID native = {};
  if (classGuid) native = AsGuid(*classGuid);
  const HDEVINFO set =
      ::SetupDiGetClassDevsW(classGuid ? &native : nullptr, nullptr, nullptr, flags);
  if (set == INVALID_HANDLE_VALUE) return {};
  return static_cast<DeviceInfoSet>(reinterpret_cast<std::uintptr_t>(set));
}

bool SetupDiEnumDeviceInfo(DeviceInfoSet set, std::uint32_t index, DeviceInfoData* device) {
  SP_DEVINFO_DATA native = {};
  native.cbSize = sizeof(native);
  if (!::SetupDiEnumDeviceInfo(AsSet(set), index, &native)) return false;
  *device = FromDevice(native);
  return true;
}

bool SetupDiDestroyDeviceInfoList(DeviceInfoSet set) {
  return ::SetupDiDestroyDeviceInfoList(AsSet(set)) != FALSE;
}

bool SetupDiGetDeviceInstanceIdW(DeviceInfoSet set, const DeviceInfoData& device, char16_t* buffer,
                                 std::uint32_t size, std::uint32_t* required) {
  SP_DEVINFO_DATA native = AsDevice(device);
  DWORD needed = 0;
  const BOOL ok =
      ::SetupDiGetDeviceInstanceIdW(AsSet(set), &native, AsWideBuffer(buffer), size, &needed);
  if (required) *required = needed;
  return ok != FALSE;
}

bool SetupDiGetDeviceRegistryPropertyW(DeviceInfoSet set, const DeviceInfoData& device,
                                       std::uint32_t property, std::uint32_t* type,
                                       std::uint8_t* buffer, std::uint32_t size,
                                       std::uint32_t* required) {
  SP_DEVINFO_DATA native = AsDevice(device);
  DWORD nativeType = 0;
  DWORD needed = 0;
  const BOOL ok = ::SetupDiGetDeviceRegistryPropertyW(AsSet(set), &native, property, &nativeType,
                                                      buffer, size, &needed);
  if (type) *type = nativeType;
  if (required) *required = needed;
  return ok != FALSE;
}

bool SetupDiEnumDeviceInterfaces(DeviceInfoSet set, const DeviceInfoData* device,
                                 const Guid& interfaceClass, std::uint32_t index,
                                 DeviceInterfaceData* interfaceData) {
  SP_DEVINFO_DATA nativeDevice = {};
  if (device) nativeDevice = AsDevice(*device);
  const GUID nativeClass = AsGuid(interfaceClass);
  SP_DEVICE_INTERFACE_DATA native = {};
  native.cbSize = sizeof(native);
  if (!::SetupDiEnumDeviceInterfaces(AsSet(set), device ? &nativeDevice : nullptr, &nativeClass,
                                     index, &native)) {
    return false;
  }
  *interfaceData = {FromGuid(native.InterfaceClassGuid), native.Flags, native.Reserved};
  return true;
}

bool SetupDiGetDeviceInterfaceDetailW(DeviceInfoSet set, const DeviceInterfaceData& interfaceData,
                                      char16_t* path, std::uint32_t capacity,
                                      std::uint32_t* required, DeviceInfoData* device) {
  SP_DEVICE_INTERFACE_DATA native = {};
  native.cbSize = sizeof(native);
  native.InterfaceClassGuid = AsGuid(interfaceData.interfaceClassGuid);
  native.Flags = interfaceData.flags;
  native.Reserved = interfaceData.reserved;
  SP_DEVINFO_DATA nativeDevice = {};
  nativeDevice.cbSize = sizeof(nativeDevice);

  // The detail record is cbSize followed by the path; the seam speaks in units of the path.
  const DWORD header = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
  const DWORD bytes = path ? header + capacity * sizeof(wchar_t) : 0;
  std::wstring storage(bytes == 0 ? 0 : (bytes + sizeof(wchar_t) - 1) / sizeof(wchar_t) + 1,
                       L'\0');
  auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(storage.data());
  if (detail) detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
  DWORD needed = 0;
  const BOOL ok = ::SetupDiGetDeviceInterfaceDetailW(AsSet(set), &native, detail, bytes, &needed,
                                                     &nativeDevice);
  if (required) *required = needed > header ? (needed - header) / sizeof(wchar_t) : 0;
  if (!ok) return false;
  const std::wstring_view devicePath(detail->DevicePath);
  const std::size_t count = std::min<std::size_t>(devicePath.size(), capacity - 1);
  std::memcpy(path, devicePath.data(), count * sizeof(wchar_t));
  path[count] = u'\0';
  if (device) *device = FromDevice(nativeDevice);
  return true;
}

std::uint32_t CM_Locate_DevNodeW(std::uint32_t* devInst, const char16_t* deviceId,
                                 std::uint32_t flags) {
  DEVINST native = 0;
  const CONFIGRET result =
      ::CM_Locate_DevNodeW(&native, const_cast<wchar_t*>(AsWideOrNull(deviceId)), flags);
  *devInst = native;
  return result;
}

std::uint32_t CM_Get_Parent(std::uint32_t* parent, std::uint32_t devInst, std::uint32_t flags) {
  DEVINST native = 0;
  const CONFIGRET result = ::CM_Get_Parent(&native, devInst, flags);
  *parent = native;
  return result;
}

std::uint32_t CM_Get_Device_IDW(std::uint32_t devInst, char16_t* buffer, std::uint32_t length,
                                std::uint32_t flags) {
  return ::CM_Get_Device_IDW(devInst, AsWideBuffer(buffer), length, flags);
}

std::uint32_t CM_Request_Device_EjectW(std::uint32_t devInst, std::uint32_t* vetoType,
                                       char16_t* vetoName, std::uint32_t nameLength,
                                       std::uint32_t flags) {
  PNP_VETO_TYPE veto = PNP_VetoTypeUnknown;
  const CONFIGRET result =
      ::CM_Request_Device_EjectW(devInst, &veto, AsWideBuffer(vetoName), nameLength, flags);
  if (vetoType) *vetoType = static_cast<std::uint32_t>(veto);
  return result;
}

std::uint32_t CM_Disable_DevNode(std::uint32_t devInst, std::uint32_t flags) {
  return ::CM_Disable_DevNode(devInst, flags);
}

std::uint32_t CM_Query_And_Remove_SubTreeW(std::uint32_t devInst, std::uint32_t* vetoType,
                                           char16_t* vetoName, std::uint32_t nameLength,
                                           std::uint32_t flags) {
  PNP_VETO_TYPE veto = PNP_VetoTypeUnknown;
  const CONFIGRET result =
      ::CM_Query_And_Remove_SubTreeW(devInst, &veto, AsWideBuffer(vetoName), nameLength, flags);
  if (vetoType) *vetoType = static_cast<std::uint32_t>(veto);
  return result;
}

DeviceNotifyHandle RegisterDeviceNotificationW(WindowHandle window, const Guid& interfaceClass,
                                               std::uint32_t flags) {
  DEV_BROADCAST_DEVICEINTERFACE_W filter = {};
  filter.dbcc_size = sizeof(filter);
  filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
  filter.dbcc_classguid = AsGuid(interfaceClass);
  const HDEVNOTIFY handle = ::RegisterDeviceNotificationW(window, &filter, flags);
  return static_cast<DeviceNotifyHandle>(reinterpret_cast<std::uintptr_t>(handle));
}

bool UnregisterDeviceNotification(DeviceNotifyHandle handle) {
  return ::UnregisterDeviceNotification(
             reinterpret_cast<HDEVNOTIFY>(static_cast<std::uintptr_t>(handle))) != FALSE;
}

}  // namespace platform

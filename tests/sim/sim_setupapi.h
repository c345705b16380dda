// The simulated device tree behind platform/setupapi.h: devices a test describes, each with its
// instance id, setup class, the six text properties, a parent, whether it is present, and its
// interfaces; device information lists over them; the configuration manager's device nodes; the
// three removal calls with answers a test scripts; device notifications.
//
// The root device node is always there ("HTREE\ROOT\0"); it is a node only, never a member of a
// list. After a reset the tree holds what every Windows has below it: the computer itself
// (kComputerInstanceId, present, no interfaces, no service). Instance ids compare without A-Z case,
// as Windows compares them. A list is a snapshot of the devices (or interfaces) that matched when
// it was made: later changes to the tree do not reach a list that is open, as on Windows, but a
// device removed for real is in no later list.
//
// Journalled in sim::Journal(): "CM_Request_Device_EjectW <instance id>", "CM_Disable_DevNode
// <instance id>", "CM_Query_And_Remove_SubTreeW <instance id>" (an unknown node as "#<number>"),
// "RegisterDeviceNotificationW <interface class>" and "UnregisterDeviceNotification".
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/guid.h"
#include "platform/handles.h"
#include "platform/setupapi.h"

namespace sim {

// GUID_DEVINTERFACE_USB_DEVICE and GUID_DEVINTERFACE_HID, the interface classes the agent watches.
inline constexpr Guid kUsbDeviceInterface = {
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};
inline constexpr Guid kHidInterface = {
    0x4D1E55B2, 0xF16F, 0x11CF, {0x88, 0xCB, 0x00, 0x11, 0x11, 0x00, 0x00, 0x30}};

inline constexpr std::u16string_view kRootInstanceId = u"HTREE\\ROOT\\0";
inline constexpr std::u16string_view kComputerInstanceId = u"ROOT\\ACPI_HAL\\0000";
// GUID_DEVCLASS_COMPUTER.
inline constexpr Guid kComputerClass = {
    0x4D36E966, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

// Answers the seam does not name because the logic never tests for them; tests here do.
inline constexpr unsigned long kErrorInvalidData = 13;            // property not set
inline constexpr unsigned long kErrorInvalidRegProperty = 0x209;  // unknown property code
inline constexpr unsigned long kErrorInvalidWindowHandle = 1400;
inline constexpr std::uint32_t kCrInvalidPointer = 0x03;
inline constexpr std::uint32_t kCrInvalidDevnode = 0x05;
inline constexpr std::uint32_t kCrBufferSmall = 0x1A;
inline constexpr std::uint32_t kRegSz = 1;
// PNP_VETO_TYPE values a script may give.
inline constexpr std::uint32_t kPnpVetoOutstandingOpen = 5;
inline constexpr std::uint32_t kPnpVetoDevice = 6;
inline constexpr std::uint32_t kPnpVetoDriver = 7;

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in capitals, as Windows writes a class GUID as text.
std::u16string GuidText(const Guid& guid);

struct DeviceInterface {
  Guid interfaceClass;
  std::u16string path;
};

struct Device {
  std::u16string instanceId;
  // Empty: a child of the root. Otherwise a device added before this one.
  std::u16string parentId;
  Guid setupClass;
  // SPDRP_DEVICEDESC, _SERVICE, _CLASS, _CLASSGUID, _MFG and _FRIENDLYNAME; none is not set.
  std::optional<std::u16string> description;
  std::optional<std::u16string> service;
  std::optional<std::u16string> className;
  std::optional<std::u16string> classGuidText;
  std::optional<std::u16string> manufacturer;
  std::optional<std::u16string> friendlyName;
  // Not present: known to the system (a phantom) but not plugged in.
  bool present = true;
  std::vector<DeviceInterface> interfaces;
};

// ---- The tree ----
// Adds the device and answers its device node number; 0 when the id is taken or the parent is
// unknown, so that a mistaken fixture fails the test that made it.
std::uint32_t AddDevice(const Device& device);
void SetDevicePresent(std::u16string_view instanceId, bool present);
// Takes the device and everything below it out of the tree, as an unplug does.
void RemoveDevice(std::u16string_view instanceId);
// Known to the tree and not removed, present or not.
bool DeviceExists(std::u16string_view instanceId);
// Disabled by a CM_Disable_DevNode that was not refused.
bool DeviceDisabled(std::u16string_view instanceId);
std::size_t DeviceCount();  // not counting the root, counting the computer

// ---- Removal answers ----
// What a removal call answers for this device: kCrSuccess removes the device (eject, subtree
// removal) or disables it; kCrRemoveVetoed with a veto type and name tells who refused.
struct RemovalAnswer {
  std::uint32_t result = platform::kCrSuccess;
  std::uint32_t vetoType = 0;
  std::u16string vetoName;
};
void ScriptEject(std::u16string_view instanceId, RemovalAnswer answer);
void ScriptSubtreeRemoval(std::u16string_view instanceId, RemovalAnswer answer);
void ScriptDisable(std::u16string_view instanceId, std::uint32_t result);

// ---- Lists ----
// Lists made and not yet destroyed: a test shows that every list was destroyed.
std::size_t OpenDeviceInfoListCount();
// Lists made since the reset, destroyed or not: a test shows that a call opened none.
std::size_t DeviceInfoListsMade();
// Calls that named a list that was never made or is destroyed already.
int InvalidDeviceInfoListUses();
// SetupDiGetClassDevsW refuses the lists of this class (none: the list of every class) with this
// error until the next reset, as Windows does when memory runs out: the callers' no-list paths.
void RefuseDeviceInfoList(std::optional<Guid> classGuid, unsigned long error);

// ---- Device notifications ----
// Registrations fail with this error until told otherwise (0 lets them through again).
void SetDeviceNotificationFailure(unsigned long error);
std::size_t OpenDeviceNotificationCount();
struct NotificationRegistration {
  platform::WindowHandle window = nullptr;
  Guid interfaceClass;
  std::uint32_t flags = 0;
};
// Registrations open now, in the order they were made.
std::vector<NotificationRegistration> DeviceNotifications();

}  // namespace sim

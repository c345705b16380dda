#include "devices/device_disconnect.h"

#include <array>
#include <cstdint>
#include <string>

#include "devices/device_classification.h"
#include "platform/owners.h"
#include "platform/setupapi.h"

namespace {

// The veto buffers are handed over as Windows asks, but nobody reads them: a refusal is only a
// reason to try the next, harder means.
constexpr std::uint32_t kVetoNameUnits = 260;

// Narrower than the status reply's text: no display name, so an instance id that stood in for a
// missing name cannot match a word by accident.
std::u16string DisconnectSearchText(const DeviceFacts& facts) {
  return LowerCopy(facts.friendlyName + u" " + facts.deviceDescription + u" " + facts.manufacturer);
}

bool MatchesForDisconnect(std::string_view deviceType, const DeviceFacts& facts) {
  return MatchesDeviceType(deviceType, DisconnectSearchText(facts), facts.serviceLower,
                           facts.pnpClassLower, facts.instanceIdLower, facts.vid, facts.pid);
}

// Only storage may be ejected: that is the one kind a user expects to pull safely, and the eject
// lets the volume flush first.
bool TryEject(std::uint32_t devInst) {
  std::uint32_t vetoType = 0;
  std::array<char16_t, kVetoNameUnits> vetoName{};
  return platform::CM_Request_Device_EjectW(devInst, &vetoType, vetoName.data(), kVetoNameUnits,
                                            0) == platform::kCrSuccess;
}

bool TryDisable(std::uint32_t devInst) {
  return platform::CM_Disable_DevNode(devInst, 0) == platform::kCrSuccess;
}

// No dialog may come up on the user's desktop for a removal the agent asked for.
bool TryRemoveSubtree(std::uint32_t devInst) {
  std::uint32_t vetoType = 0;
  std::array<char16_t, kVetoNameUnits> vetoName{};
  return platform::CM_Query_And_Remove_SubTreeW(devInst, &vetoType, vetoName.data(), kVetoNameUnits,
                                                platform::kCmRemoveUiNotOk) == platform::kCrSuccess;
}

// Mildest first; each means is tried once.
bool RemoveDevice(std::string_view deviceType, std::uint32_t devInst) {
  if (deviceType == "usb_storage" && TryEject(devInst)) return true;
  if (TryDisable(devInst)) return true;
  return TryRemoveSubtree(devInst);
}

}  // namespace

bool DisconnectDevice(std::string_view deviceType) {
  if (deviceType.empty()) return false;

  const platform::UniqueDeviceInfoSet devices(platform::SetupDiGetClassDevsW(
      nullptr, platform::kDigcfPresent | platform::kDigcfAllClasses));
  if (!devices) return false;

  platform::DeviceInfoData device;
  for (std::uint32_t index = 0; platform::SetupDiEnumDeviceInfo(devices.get(), index, &device);
       ++index) {
    const DeviceFacts facts = ReadDeviceFacts(devices.get(), device);
    // The first match is the one acted on, whatever the outcome: Dart asks again for the next.
    if (MatchesForDisconnect(deviceType, facts)) return RemoveDevice(deviceType, device.devInst);
  }
  return false;
}

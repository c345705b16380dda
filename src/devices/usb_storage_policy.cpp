#include "devices/usb_storage_policy.h"

#include "app/registry_reader.h"
#include "devices/device_disconnect.h"
#include "platform/registry.h"

namespace {

// The driver's service lives in the 64-bit view; a 32-bit build must not read a copy elsewhere.
RegistryNumber ReadUsbStorageStart() {
  return ReadRegistryDword(platform::kHkeyLocalMachine, kUsbStorageServiceKey,
                           kUsbStorageStartValue, platform::kKeyWow6464Key);
}

}  // namespace

UsbStoragePolicyReply EncodeUsbStoragePolicy(bool success, bool available, std::int32_t startValue,
                                             std::int64_t errorCode, bool disconnectedCurrent) {
  return UsbStoragePolicyReply{
      {EncodableValue("success"), EncodableValue(success)},
      {EncodableValue("available"), EncodableValue(available)},
      {EncodableValue("disabled"),
       EncodableValue(startValue == static_cast<std::int32_t>(kUsbStorageDisabledStart))},
      {EncodableValue("startValue"), EncodableValue(startValue)},
      {EncodableValue("errorCode"), EncodableValue(errorCode)},
      {EncodableValue("disconnectedCurrent"), EncodableValue(disconnectedCurrent)},
  };
}

UsbStoragePolicyReply GetUsbStoragePolicy() {
  const RegistryNumber start = ReadUsbStorageStart();
  if (start.status != platform::kErrorSuccess) {
    return EncodeUsbStoragePolicy(false, false, 0, start.status, false);
  }
  return EncodeUsbStoragePolicy(true, true, static_cast<std::int32_t>(start.value), 0, false);
}

UsbStoragePolicyReply SetUsbStoragePolicy(bool disabled, bool disconnectCurrent) {
  // Without the key there is no driver to govern, so nothing is made up in its place.
  const RegistryNumber before = ReadUsbStorageStart();
  if (before.status != platform::kErrorSuccess) {
    return EncodeUsbStoragePolicy(false, false, 0, before.status, false);
  }

  const std::uint32_t wanted = disabled ? kUsbStorageDisabledStart : kUsbStorageEnabledStart;
  const long written = WriteRegistryDword(platform::kHkeyLocalMachine, kUsbStorageServiceKey,
                                          kUsbStorageStartValue, wanted, platform::kKeyWow6464Key);
  if (written != platform::kErrorSuccess) {
    return EncodeUsbStoragePolicy(false, true, static_cast<std::int32_t>(before.value), written,
                                  false);
  }

  // Enabling never touches devices: a stick that is attached will be picked up on its next
  // arrival once the driver may start.
  const bool disconnected = disabled && disconnectCurrent && DisconnectDevice("usb_storage");

  // The write went through, so a failed read-back does not undo `success`; it only shows as an
  // unknown number with its own code.
  const RegistryNumber after = ReadUsbStorageStart();
  if (after.status != platform::kErrorSuccess) {
    return EncodeUsbStoragePolicy(true, true, 0, after.status, disconnected);
  }
  return EncodeUsbStoragePolicy(true, true, static_cast<std::int32_t>(after.value), 0,
                                disconnected);
}

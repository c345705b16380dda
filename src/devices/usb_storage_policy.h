// The USB storage policy: the start type of the platform's USB mass storage driver, read and
// written in the 64-bit view of HKLM, for `getUsbStoragePolicy` and `setUsbStoragePolicy`.
// Every failure is told inside the reply; none is an error of the channel call.
#pragma once

#include <cstdint>
#include <string_view>

#include "channels/encodable_value.h"

inline constexpr std::u16string_view kUsbStorageServiceKey =
    u"SYSTEM\\CurrentControlSet\\Services\\USBSTOR";
inline constexpr std::u16string_view kUsbStorageStartValue = u"Start";
inline constexpr std::uint32_t kUsbStorageDisabledStart = 4;  // SERVICE_DISABLED
inline constexpr std::uint32_t kUsbStorageEnabledStart = 3;   // SERVICE_DEMAND_START

// success, available, disabled, startValue (int32_t), errorCode (int64_t), disconnectedCurrent:
// all six, always.
using UsbStoragePolicyReply = EncodableMap;

// `disabled` is derived: only a start value of 4 counts as disabled.
UsbStoragePolicyReply EncodeUsbStoragePolicy(bool success, bool available, std::int32_t startValue,
                                             std::int64_t errorCode, bool disconnectedCurrent);

UsbStoragePolicyReply GetUsbStoragePolicy();

// Writes 4 or 3 as `disabled` asks, even when the value is already there. Only when disabling
// and asked to, the first attached storage device is taken off too. The reply's number is read
// back after the write, so it says what the registry holds, not what was meant.
UsbStoragePolicyReply SetUsbStoragePolicy(bool disabled, bool disconnectCurrent);

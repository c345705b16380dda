// The device monitor: tells Dart that hardware changed and answers its questions about the
// hardware on "com.kelvo.tarnel/device_monitor". It registers the main window for device
// notifications, takes the WM_DEVICECHANGE messages the window forwards, debounces them per
// device path and event, logs each accepted one on stdout and sends `onDeviceChanged` without
// data. Everything runs on the window's thread; the module has no lock and starts no thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/exported.h"
#include "base/guid.h"
#include "channels/binary_messenger.h"
#include "channels/method_call.h"
#include "channels/method_result.h"
#include "platform/handles.h"

inline constexpr char kDeviceMonitorChannel[] = "com.kelvo.tarnel/device_monitor";
inline constexpr Guid kUsbDeviceInterfaceClass = {
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};
inline constexpr Guid kHidInterfaceClass = {
    0x4D1E55B2, 0xF16F, 0x11CF, {0x88, 0xCB, 0x00, 0x11, 0x11, 0x00, 0x00, 0x30}};
inline constexpr std::uint32_t kDeviceDebounceMs = 100;
inline constexpr std::uint32_t kDeviceStampSweepAgeMs = 1000;

// The four values of a DEV_BROADCAST record that the event path reads.
struct DeviceBroadcast {
  std::uint32_t type = 0;      // dbch_devicetype
  std::uint32_t unitMask = 0;  // DEV_BROADCAST_VOLUME
  Guid classGuid;              // DEV_BROADCAST_DEVICEINTERFACE_W
  std::u16string path;         // its dbcc_name, up to the terminator or the record's end
};

// Reads a DEV_BROADCAST_HDR record and what its type carries, never past the size it states.
// nullopt for a null record or one whose size is smaller than its type needs.
std::optional<DeviceBroadcast> DecodeDeviceBroadcast(const void* record);

KT_EXPORTED bool InitDeviceMonitor(platform::WindowHandle window, BinaryMessenger* messenger);
// Always 1: ignored, dropped and accepted events alike.
KT_EXPORTED std::intptr_t HandleDeviceChange(platform::WindowHandle window, std::uint64_t eventCode,
                                             const void* record);
KT_EXPORTED void CleanupDeviceMonitor(platform::WindowHandle window);

// True when an event with this base and code came less than 100 ms after the last accepted one.
bool IsDuplicateDeviceEvent(std::u16string_view base, std::uint32_t eventCode);
void NotifyDeviceChanged();
void HandleDeviceMonitorCall(const MethodCall& call, std::unique_ptr<MethodResult> result);

// Debounce keys and their stamps, for tests.
std::size_t DeviceEventStampCount();
bool HasDeviceEventStamp(std::u16string_view key);

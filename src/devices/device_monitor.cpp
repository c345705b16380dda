#include "devices/device_monitor.h"

#include <cstring>
#include <exception>
#include <map>
#include <string>

#include "base/text.h"
#include "channels/channel_arguments.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "devices/device_classification.h"
#include "devices/device_disconnect.h"
#include "devices/driver_list.h"
#include "devices/hardware_report.h"
#include "devices/product_serial.h"
#include "devices/startup_report.h"
#include "devices/usb_storage_policy.h"
#include "platform/kernel.h"
#include "platform/setupapi.h"

namespace {

constexpr std::uint32_t kHeaderSize = 12;       // DEV_BROADCAST_HDR
constexpr std::uint32_t kVolumeMaskEnd = 16;    // dbcv_unitmask ends here
constexpr std::uint32_t kInterfaceNameAt = 28;  // dbcc_name starts after the class GUID

// The module's one set of process-wide state.
struct DeviceMonitorState {
  platform::DeviceNotifyHandle usbNotification{};
  platform::DeviceNotifyHandle hidNotification{};
  std::unique_ptr<MethodChannel> deviceChannel;
  std::map<std::u16string, std::uint32_t> deviceEventStamps;
};

DeviceMonitorState& State() {
  static DeviceMonitorState state;
  return state;
}

// Each finished line is flushed, so that a reader of the output sees it at once.
void Log(std::string_view text) {
  platform::WriteStandardOutput(text);
  if (!text.empty() && text.back() == '\n') platform::FlushStandardOutput();
}

void LogWide(std::u16string_view text) {
  platform::WriteStandardOutputWide(text);
  if (!text.empty() && text.back() == u'\n') platform::FlushStandardOutput();
}

std::u16string Decimal(std::uint64_t value) { return AsciiToWide(std::to_string(value)); }

std::uint32_t ReadU32(const std::uint8_t* bytes) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

void Unregister(platform::DeviceNotifyHandle& handle) {
  if (handle == platform::DeviceNotifyHandle{}) return;
  platform::UnregisterDeviceNotification(handle);
  handle = {};
}

platform::DeviceNotifyHandle Register(platform::WindowHandle window, const Guid& interfaceClass,
                                      std::string_view name) {
  const platform::DeviceNotifyHandle handle = platform::RegisterDeviceNotificationW(
      window, interfaceClass,
      platform::kDeviceNotifyWindowHandle | platform::kDeviceNotifyAllInterfaceClasses);
  if (handle != platform::DeviceNotifyHandle{}) {
    Log("[DeviceMonitor] RegisterDeviceNotification (" + std::string(name) + ") Success\n");
  } else {
    Log("[DeviceMonitor] RegisterDeviceNotification (" + std::string(name) +
        ") Failed: Error Code " + std::to_string(platform::GetLastError()) + "\n");
  }
  return handle;
}

const char* EventName(std::uint32_t eventCode) {
  return eventCode == platform::kDbtDeviceArrival ? "ARRIVAL" : "REMOVAL";
}

std::u16string OrNotAvailable(const std::u16string& value) {
  return value.empty() ? u"(N/A)" : value;
}

// What the arrival is, for the log only: nothing else reads it.
void LogPhysicalDevice(const std::u16string& path) {
  std::u16string vid;
  std::u16string pid;
  std::u16string product;
  std::u16string port;
  if (!GetPhysicalDeviceInfo(path, vid, pid, product, port)) {
    Log("  (Failed to get physical entity info)\n");
    return;
  }
  Log("  Port Path: ");
  LogWide(OrNotAvailable(port));
  Log(", VID: ");
  LogWide(OrNotAvailable(vid));
  Log(", PID: ");
  LogWide(OrNotAvailable(pid));
  Log(", Product String: ");
  LogWide(OrNotAvailable(product) + u"\n");
}

// An arrival or a removal, its record read.
std::intptr_t HandleDecodedDeviceChange(std::uint32_t eventCode, const DeviceBroadcast& record) {
  if (record.type == platform::kDbtDevtypVolume) {
    if (IsDuplicateDeviceEvent(u"VOLUME_" + Decimal(record.unitMask), eventCode)) return 1;
    Log(std::string("[DeviceMonitor] Volume ") + EventName(eventCode) +
        ": unitMask=" + std::to_string(record.unitMask) + "\n");
    NotifyDeviceChanged();
    return 1;
  }
  if (record.type != platform::kDbtDevtypDeviceInterface) return 1;
  const bool usb = record.classGuid == kUsbDeviceInterfaceClass;
  if (!usb && record.classGuid != kHidInterfaceClass) return 1;
  if (record.path.empty()) {
    Log("[DeviceMonitor] Device path is empty!\n");
    return 1;
  }
  if (IsDuplicateDeviceEvent(record.path, eventCode)) return 1;
  Log(std::string("[DeviceMonitor] ") + (usb ? "USB" : "HID") + " Device " + EventName(eventCode) +
      ": ");
  LogWide(record.path + u"\n");
  if (eventCode == platform::kDbtDeviceArrival) LogPhysicalDevice(record.path);
  NotifyDeviceChanged();
  return 1;
}

}  // namespace

std::optional<DeviceBroadcast> DecodeDeviceBroadcast(const void* record) {
  if (!record) return std::nullopt;
  const auto* bytes = static_cast<const std::uint8_t*>(record);
  const std::uint32_t size = ReadU32(bytes);
  if (size < kHeaderSize) return std::nullopt;
  DeviceBroadcast decoded;
  decoded.type = ReadU32(bytes + 4);
  if (decoded.type == platform::kDbtDevtypVolume) {
    if (size < kVolumeMaskEnd) return std::nullopt;
    decoded.unitMask = ReadU32(bytes + kHeaderSize);
  } else if (decoded.type == platform::kDbtDevtypDeviceInterface) {
    if (size < kInterfaceNameAt) return std::nullopt;
    std::memcpy(&decoded.classGuid, bytes + kHeaderSize, sizeof(Guid));
    // The name runs to its terminator, or to the record's end when the sender left none.
    for (std::uint32_t at = kInterfaceNameAt; at + 2 <= size; at += 2) {
      char16_t unit = 0;
      std::memcpy(&unit, bytes + at, sizeof unit);
      if (unit == u'\0') break;
      decoded.path.push_back(unit);
    }
  }
  return decoded;
}

bool InitDeviceMonitor(platform::WindowHandle window, BinaryMessenger* messenger) {
  if (!window) return false;
  DeviceMonitorState& state = State();
  if (messenger) {
    state.deviceChannel = std::make_unique<MethodChannel>(messenger, kDeviceMonitorChannel,
                                                          &StandardMethodCodec::GetInstance());
    state.deviceChannel->SetMethodCallHandler(HandleDeviceMonitorCall);
    Log("[DeviceMonitor] MethodChannel initialized\n");
  }
  Unregister(state.usbNotification);
  Unregister(state.hidNotification);
  state.usbNotification = Register(window, kUsbDeviceInterfaceClass, "USB");
  state.hidNotification = Register(window, kHidInterfaceClass, "HID");
  return state.usbNotification != platform::DeviceNotifyHandle{} ||
         state.hidNotification != platform::DeviceNotifyHandle{};
}

std::intptr_t HandleDeviceChange(platform::WindowHandle, std::uint64_t eventCode,
                                 const void* record) {
  if (eventCode != platform::kDbtDeviceArrival && eventCode != platform::kDbtDeviceRemoveComplete) {
    return 1;
  }
  const std::optional<DeviceBroadcast> decoded = DecodeDeviceBroadcast(record);
  if (!decoded) return 1;
  return HandleDecodedDeviceChange(static_cast<std::uint32_t>(eventCode), *decoded);
}

void CleanupDeviceMonitor(platform::WindowHandle) {
  DeviceMonitorState& state = State();
  if (state.usbNotification != platform::DeviceNotifyHandle{}) {
    Unregister(state.usbNotification);
    Log("[DeviceMonitor] USB Device Notification Unregistered\n");
  }
  if (state.hidNotification != platform::DeviceNotifyHandle{}) {
    Unregister(state.hidNotification);
    Log("[DeviceMonitor] HID Device Notification Unregistered\n");
  }
  state.deviceChannel.reset();
  state.deviceEventStamps.clear();
}

bool IsDuplicateDeviceEvent(std::u16string_view base, std::uint32_t eventCode) {
  auto& stamps = State().deviceEventStamps;
  const std::uint32_t now = platform::GetTickCount();
  const std::u16string key = std::u16string(base) + u"_" + Decimal(eventCode);
  const auto found = stamps.find(key);
  if (found != stamps.end()) {
    // Unsigned differences stay right across the counter's wrap.
    if (now - found->second < kDeviceDebounceMs) return true;
    found->second = now;
    return false;
  }
  stamps.emplace(key, now);
  const std::uint32_t sweepNow = platform::GetTickCount();
  std::erase_if(stamps, [sweepNow](const auto& stamp) {
    return sweepNow - stamp.second > kDeviceStampSweepAgeMs;
  });
  return false;
}

void NotifyDeviceChanged() {
  DeviceMonitorState& state = State();
  if (!state.deviceChannel) return;
  try {
    state.deviceChannel->InvokeMethod("onDeviceChanged", nullptr);
    Log("[DeviceMonitor] Notified Flutter about device change\n");
  } catch (const std::exception& error) {
    Log(std::string("[DeviceMonitor] Failed to notify Flutter: ") + error.what() + "\n");
  }
}

void HandleDeviceMonitorCall(const MethodCall& call, std::unique_ptr<MethodResult> result) {
  const std::string& method = call.method_name();
  // Arguments that are no map read as an empty one: every key then takes its default.
  static const EncodableMap kNoArguments;
  const EncodableValue* arguments = call.arguments();
  const EncodableMap& map = arguments && std::holds_alternative<EncodableMap>(*arguments)
                                ? std::get<EncodableMap>(*arguments)
                                : kNoArguments;
  if (method == "getDeviceStatusDetailed") {
    result->Success(EncodableValue(GetDeviceStatusDetailed()));
  } else if (method == "getHardwareSpecs") {
    result->Success(EncodableValue(GetHardwareSpecs()));
  } else if (method == "getStartupReportInfo") {
    result->Success(EncodableValue(GetStartupReportInfo()));
  } else if (method == "getDriverList") {
    result->Success(EncodableValue(GetDriverList()));
  } else if (method == "getWindowsProductSerialNumber") {
    result->Success(EncodableValue(GetWindowsProductSerialNumber()));
  } else if (method == "disconnectDevice") {
    result->Success(EncodableValue(DisconnectDevice(GetString(map, "deviceType"))));
  } else if (method == "getUsbStoragePolicy") {
    result->Success(EncodableValue(GetUsbStoragePolicy()));
  } else if (method == "setUsbStoragePolicy") {
    result->Success(EncodableValue(SetUsbStoragePolicy(GetBool(map, "disabled", false),
                                                       GetBool(map, "disconnectCurrent", true))));
  } else {
    result->NotImplemented();
  }
}

std::size_t DeviceEventStampCount() { return State().deviceEventStamps.size(); }

bool HasDeviceEventStamp(std::u16string_view key) {
  return State().deviceEventStamps.count(std::u16string(key)) != 0;
}

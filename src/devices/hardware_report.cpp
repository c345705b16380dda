#include "devices/hardware_report.h"

#include <cstdint>
#include <string>

#include "app/registry_reader.h"
#include "base/text.h"
#include "devices/device_classification.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/registry.h"
#include "platform/setupapi.h"

namespace {

constexpr std::u16string_view kCurrentVersionKey =
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr std::u16string_view kProcessorKey = u"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
constexpr std::uint64_t kFirstWindows11Build = 22000;

bool HitsAny(std::u16string_view lowered, std::initializer_list<std::u16string_view> words) {
  for (const std::u16string_view word : words) {
    if (ContainsText(lowered, word)) return true;
  }
  return false;
}

// Base 10 up to the first non-digit; saturates rather than wraps on absurd lengths.
std::uint64_t LeadingNumber(std::u16string_view text) {
  std::uint64_t value = 0;
  for (const char16_t unit : text) {
    if (unit < u'0' || unit > u'9') break;
    if (value > UINT64_MAX / 10) return UINT64_MAX;
    value = value * 10 + static_cast<std::uint64_t>(unit - u'0');
  }
  return value;
}

std::u16string CurrentVersionText(std::u16string_view name) {
  return ReadRegistryText(platform::kHkeyLocalMachine, kCurrentVersionKey, name);
}

}  // namespace

std::u16string FirstClassDeviceName(const Guid& setupClass,
                                    std::initializer_list<std::u16string_view> exclusions) {
  const platform::UniqueDeviceInfoSet set(
      platform::SetupDiGetClassDevsW(&setupClass, platform::kDigcfPresent));
  if (!set) return {};
  platform::DeviceInfoData device;
  for (std::uint32_t index = 0; platform::SetupDiEnumDeviceInfo(set.get(), index, &device);
       ++index) {
    std::u16string candidate =
        GetDeviceRegistryText(set.get(), device, platform::kSpdrpFriendlyName);
    if (candidate.empty()) {
      candidate = GetDeviceRegistryText(set.get(), device, platform::kSpdrpDeviceDesc);
    }
    if (candidate.empty() || HitsAny(LowerCopy(candidate), exclusions)) continue;
    return candidate;
  }
  return {};
}

std::u16string WindowsVersionText() {
  std::u16string text = CurrentVersionText(u"ProductName");
  const std::u16string displayVersion = CurrentVersionText(u"DisplayVersion");
  const std::u16string buildNumber = CurrentVersionText(u"CurrentBuildNumber");
  // The build decides: Windows 11 kept the product name "Windows 10".
  if (!buildNumber.empty() && LeadingNumber(buildNumber) >= kFirstWindows11Build) {
    constexpr std::u16string_view kOld = u"Windows 10";
    const std::size_t at = text.find(kOld);
    if (at != std::u16string::npos) text.replace(at, kOld.size(), u"Windows 11");
  }
  if (!displayVersion.empty() && text.find(displayVersion) == std::u16string::npos) {
    text += u' ';
    text += displayVersion;
  }
  return text;
}

std::u16string FormatTotalMemory() {
  std::uint64_t total = 0;
  if (!platform::GlobalMemoryStatusEx(&total) || total == 0) return {};
  // Adding half of 2^30 before the shift rounds to the nearest, a half up.
  return AsciiToWide(std::to_string((total + 0x20000000) >> 30) + " GB");
}

EncodableMap GetHardwareSpecs() {
  // Read in the documented order: one source failing leaves only its own key empty.
  EncodableMap reply;
  const auto put = [&reply](const char* key, const std::u16string& value) {
    reply.emplace(EncodableValue(key), EncodableValue(WideToUtf8(value)));
  };
  put("processor",
      ReadRegistryText(platform::kHkeyLocalMachine, kProcessorKey, u"ProcessorNameString"));
  put("computerSystem", WindowsVersionText());
  put("memory", FormatTotalMemory());
  put("hardDisk", FirstClassDeviceName(kDiskDriveClass, kDiskExclusions));
  put("graphicsCard", FirstClassDeviceName(kDisplayAdapterClass, kDisplayExclusions));
  put("monitor", FirstClassDeviceName(kMonitorClass, kMonitorExclusions));
  put("soundCard", FirstClassDeviceName(kSoundClass, kSoundExclusions));
  put("networkCard", FirstClassDeviceName(kNetworkAdapterClass, kNetworkExclusions));
  put("productId", CurrentVersionText(u"ProductId"));
  put("registeredOwner", CurrentVersionText(u"RegisteredOwner"));
  return reply;
}

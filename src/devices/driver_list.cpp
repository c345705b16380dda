#include "devices/driver_list.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "base/text.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/services.h"

namespace {

constexpr const char* kStateNames[] = {"Stopped", "Start Pending",    "Stop Pending",
                                       "Running", "Continue Pending", "Pause Pending",
                                       "Paused"};

}  // namespace

const char* ServiceStateName(unsigned long state) {
  if (state < platform::kServiceStopped || state > platform::kServicePaused) return "Unknown";
  return kStateNames[state - platform::kServiceStopped];
}

std::u16string ServiceBinaryPath(platform::ServiceHandle service) {
  std::uint32_t needed = 0;
  std::optional<std::u16string> path;
  if (platform::QueryServiceConfigW(service, 0, &needed, &path) || needed == 0 ||
      platform::GetLastError() != platform::kErrorInsufficientBuffer) {
    return {};
  }
  if (!platform::QueryServiceConfigW(service, needed, &needed, &path)) return {};
  return path.value_or(std::u16string());
}

EncodableList GetDriverList() {
  EncodableList drivers;
  const platform::UniqueServiceHandle manager(
      platform::OpenSCManagerW(platform::kScManagerEnumerateService));
  if (!manager) return drivers;
  std::uint32_t needed = 0;
  std::vector<platform::ServiceStatusRecord> records;
  if (platform::EnumServicesStatusExW(manager.get(), platform::kServiceDriver,
                                      platform::kServiceStateAll, 0, &needed, &records) ||
      needed == 0 || platform::GetLastError() != platform::kErrorMoreData) {
    return drivers;
  }
  if (!platform::EnumServicesStatusExW(manager.get(), platform::kServiceDriver,
                                       platform::kServiceStateAll, needed, &needed, &records)) {
    return drivers;
  }
  drivers.reserve(records.size());
  for (const platform::ServiceStatusRecord& record : records) {
    std::u16string path;
    const platform::UniqueServiceHandle service(
        platform::OpenServiceW(manager.get(), record.serviceName, platform::kServiceQueryConfig));
    if (service) path = ServiceBinaryPath(service.get());
    EncodableMap driver;
    driver.emplace(EncodableValue("name"), EncodableValue(WideToUtf8(record.serviceName)));
    driver.emplace(EncodableValue("description"),
                   EncodableValue(WideToUtf8(record.displayName.value_or(record.serviceName))));
    driver.emplace(EncodableValue("state"), EncodableValue(ServiceStateName(record.currentState)));
    driver.emplace(EncodableValue("pathname"), EncodableValue(WideToUtf8(path)));
    driver.emplace(EncodableValue("version"), EncodableValue("--"));
    drivers.emplace_back(std::move(driver));
  }
  return drivers;
}

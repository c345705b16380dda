// The service control manager seam over advapi32.
#include <windows.h>

#include <optional>
#include <vector>

#include "platform/services.h"
#include "platform/win32/text.h"

static_assert(sizeof(SERVICE_STATUS_PROCESS) == 36, "the status buffer is 36 bytes");

namespace platform {

ServiceHandle OpenSCManagerW(unsigned long access) {
  return ::OpenSCManagerW(nullptr, nullptr, access);
}

ServiceHandle OpenServiceW(ServiceHandle manager, std::u16string_view name, unsigned long access) {
  return ::OpenServiceW(manager, AsWide(name).c_str(), access);
}

bool QueryServiceStatusEx(ServiceHandle service, unsigned long* state) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  if (!::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&status),
                              sizeof(status), &needed)) {
    return false;
  }
  *state = status.dwCurrentState;
  return true;
}

bool StartServiceW(ServiceHandle service) { return ::StartServiceW(service, 0, nullptr) != FALSE; }

bool CloseServiceHandle(ServiceHandle handle) { return ::CloseServiceHandle(handle) != FALSE; }

namespace {

std::optional<std::u16string> TextOrNull(const wchar_t* text) {
  if (text == nullptr) return std::nullopt;
  return FromWide(text);
}

}  // namespace

bool EnumServicesStatusExW(ServiceHandle manager, std::uint32_t serviceType,
                           std::uint32_t serviceState, std::uint32_t bufferSize,
                           std::uint32_t* bytesNeeded, std::vector<ServiceStatusRecord>* records) {
  // DWORD-aligned storage for the records and the strings they point into.
  std::vector<std::uint64_t> storage((bufferSize + 7) / 8);
  DWORD needed = 0;
  DWORD returned = 0;
  DWORD resume = 0;
  const BOOL ok = ::EnumServicesStatusExW(
      manager, SC_ENUM_PROCESS_INFO, serviceType, serviceState,
      reinterpret_cast<LPBYTE>(storage.data()), bufferSize, &needed, &returned, &resume, nullptr);
  *bytesNeeded = needed;
  if (!ok) return false;
  const auto* entries = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(storage.data());
  records->clear();
  for (DWORD i = 0; i < returned; ++i) {
    records->push_back({TextOrNull(entries[i].lpServiceName).value_or(std::u16string()),
                        TextOrNull(entries[i].lpDisplayName),
                        entries[i].ServiceStatusProcess.dwCurrentState});
  }
  return true;
}

bool QueryServiceConfigW(ServiceHandle service, std::uint32_t bufferSize,
                         std::uint32_t* bytesNeeded, std::optional<std::u16string>* binaryPath) {
  std::vector<std::uint64_t> storage((bufferSize + 7) / 8);
  DWORD needed = 0;
  const BOOL ok = ::QueryServiceConfigW(
      service, reinterpret_cast<LPQUERY_SERVICE_CONFIGW>(storage.data()), bufferSize, &needed);
  *bytesNeeded = needed;
  if (!ok) return false;
  *binaryPath =
      TextOrNull(reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(storage.data())->lpBinaryPathName);
  return true;
}

}  // namespace platform

// The service control manager. Names and values are Win32's; the Windows build implements it in
// win32/services.cpp. A null handle is a failed open, and the failure's code is GetLastError().
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handles.h"

namespace platform {

inline constexpr unsigned long kScManagerConnect = 0x0001;
inline constexpr unsigned long kScManagerEnumerateService = 0x0004;
inline constexpr unsigned long kServiceQueryConfig = 0x0001;
inline constexpr unsigned long kServiceQueryStatus = 0x0004;
inline constexpr unsigned long kServiceStart = 0x0010;

inline constexpr unsigned long kServiceStopped = 1;
inline constexpr unsigned long kServiceStartPending = 2;
inline constexpr unsigned long kServiceStopPending = 3;
inline constexpr unsigned long kServiceRunning = 4;
inline constexpr unsigned long kServiceContinuePending = 5;
inline constexpr unsigned long kServicePausePending = 6;
inline constexpr unsigned long kServicePaused = 7;

// OpenSCManagerW(local machine, active database, access).
ServiceHandle OpenSCManagerW(unsigned long access);
ServiceHandle OpenServiceW(ServiceHandle manager, std::u16string_view name, unsigned long access);
// QueryServiceStatusEx at SC_STATUS_PROCESS_INFO into a SERVICE_STATUS_PROCESS (36 bytes):
// dwCurrentState goes to *state.
bool QueryServiceStatusEx(ServiceHandle service, unsigned long* state);
// StartServiceW(service, 0, nullptr).
bool StartServiceW(ServiceHandle service);
bool CloseServiceHandle(ServiceHandle handle);

inline constexpr std::uint32_t kScEnumProcessInfo = 0;
inline constexpr std::uint32_t kServiceDriver = 0x0B;
inline constexpr std::uint32_t kServiceStateAll = 0x03;

// One record of EnumServicesStatusExW; a display name the record left null is nullopt.
struct ServiceStatusRecord {
  std::u16string serviceName;
  std::optional<std::u16string> displayName;
  unsigned long currentState = 0;
};
// EnumServicesStatusExW at SC_ENUM_PROCESS_INFO from the start (resume handle 0), into a buffer
// of `bufferSize` bytes. Too small a buffer: false, kErrorMoreData and the bytes needed.
bool EnumServicesStatusExW(ServiceHandle manager, std::uint32_t serviceType,
                           std::uint32_t serviceState, std::uint32_t bufferSize,
                           std::uint32_t* bytesNeeded, std::vector<ServiceStatusRecord>* records);
// QueryServiceConfigW into a buffer of `bufferSize` bytes: lpBinaryPathName, nullopt when null.
// Too small a buffer: false, kErrorInsufficientBuffer and the bytes needed.
bool QueryServiceConfigW(ServiceHandle service, std::uint32_t bufferSize,
                         std::uint32_t* bytesNeeded, std::optional<std::u16string>* binaryPath);

}  // namespace platform

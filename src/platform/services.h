// The service control manager. Names and values are Win32's; the Windows build implements it in
// win32/services.cpp. A null handle is a failed open, and the failure's code is GetLastError().
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/handles.h"

namespace platform {

inline constexpr unsigned long kScManagerConnect = 0x0001;
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

}  // namespace platform

// What the service bootstrap needs of the service control manager. Handles are opaque; a null
// handle is a failed open, and the failure's code is then platform::GetLastError().
#pragma once

#include <optional>
#include <string_view>

#include "platform/unique_handle.h"

namespace platform {

using ServiceHandle = void*;

// OpenSCManagerW(local machine, active database, access); null on failure.
ServiceHandle OpenSCManagerW(unsigned long access);

// OpenServiceW(manager, name, access); null on failure.
ServiceHandle OpenServiceW(ServiceHandle manager, std::u16string_view name, unsigned long access);

// QueryServiceStatusEx at SC_STATUS_PROCESS_INFO into a SERVICE_STATUS_PROCESS (36 bytes):
// dwCurrentState, or nullopt when the call fails.
std::optional<unsigned long> QueryServiceStatusEx(ServiceHandle service);

// StartServiceW(service, 0, nullptr); false on failure.
bool StartServiceW(ServiceHandle service);

// Leaves the last error as it was, so that a failure's code survives the clean-up before it is
// read.
void CloseServiceHandle(ServiceHandle handle);

}  // namespace platform

struct ServiceHandleTraits {
  using Type = platform::ServiceHandle;
  static constexpr Type Null() { return nullptr; }
  static bool IsValid(Type handle) { return handle != nullptr; }
  static void Close(Type handle) { platform::CloseServiceHandle(handle); }
};
using UniqueServiceHandle = UniqueHandle<ServiceHandleTraits>;

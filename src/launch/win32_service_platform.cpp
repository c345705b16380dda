#include <windows.h>

#include "launch/service_platform.h"
#include "platform/win32_text.h"

static_assert(sizeof(SERVICE_STATUS_PROCESS) == 36, "the status buffer is 36 bytes");

namespace platform {

ServiceHandle OpenSCManagerW(unsigned long access) {
  return ::OpenSCManagerW(nullptr, nullptr, access);
}

ServiceHandle OpenServiceW(ServiceHandle manager, std::u16string_view name, unsigned long access) {
  return ::OpenServiceW(static_cast<SC_HANDLE>(manager), AsWide(name).c_str(), access);
}

std::optional<unsigned long> QueryServiceStatusEx(ServiceHandle service) {
  SERVICE_STATUS_PROCESS status = {};
  DWORD needed = 0;
  if (!::QueryServiceStatusEx(static_cast<SC_HANDLE>(service), SC_STATUS_PROCESS_INFO,
                              reinterpret_cast<LPBYTE>(&status), sizeof(status), &needed)) {
    return std::nullopt;
  }
  return status.dwCurrentState;
}

bool StartServiceW(ServiceHandle service) {
  return ::StartServiceW(static_cast<SC_HANDLE>(service), 0, nullptr) != 0;
}

void CloseServiceHandle(ServiceHandle handle) {
  const DWORD error = ::GetLastError();
  ::CloseServiceHandle(static_cast<SC_HANDLE>(handle));
  ::SetLastError(error);
}

}  // namespace platform

// The service control manager seam over advapi32.
#include <windows.h>

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

}  // namespace platform

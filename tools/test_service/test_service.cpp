// Stands in for the agent's service so that starting, querying and stopping it can be tried
// against a real service control manager. It reports running at once and stops when asked.
#include <windows.h>

namespace {

wchar_t kServiceName[] = L"KelvoTarnelService";

SERVICE_STATUS_HANDLE statusHandle = nullptr;
HANDLE stopEvent = nullptr;
DWORD checkPoint = 0;

void ReportStatus(DWORD state, DWORD exitCode = NO_ERROR) {
  SERVICE_STATUS status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  status.dwWin32ExitCode = exitCode;
  const bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  // A pending state must show progress, or the manager may take the service for hung.
  status.dwCheckPoint = pending ? ++checkPoint : 0;
  status.dwWaitHint = pending ? 3000 : 0;
  ::SetServiceStatus(statusHandle, &status);
}

DWORD WINAPI ControlHandler(DWORD control, DWORD, LPVOID, LPVOID) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
      ReportStatus(SERVICE_STOP_PENDING);
      ::SetEvent(stopEvent);
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

void WINAPI ServiceMain(DWORD, LPWSTR*) {
  statusHandle = ::RegisterServiceCtrlHandlerExW(kServiceName, ControlHandler, nullptr);
  if (!statusHandle) return;
  stopEvent = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (!stopEvent) {
    ReportStatus(SERVICE_STOPPED, ::GetLastError());
    return;
  }
  ReportStatus(SERVICE_RUNNING);
  ::WaitForSingleObject(stopEvent, INFINITE);
  ::CloseHandle(stopEvent);
  ReportStatus(SERVICE_STOPPED);
}

}  // namespace

int wmain() {
  SERVICE_TABLE_ENTRYW table[] = {{kServiceName, ServiceMain}, {nullptr, nullptr}};
  return ::StartServiceCtrlDispatcherW(table) ? 0 : static_cast<int>(::GetLastError());
}

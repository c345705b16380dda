#include "service/service_bootstrap.h"

#include <optional>
#include <string_view>
#include <utility>

#include "app/app_log.h"
#include "app/product.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/services.h"

namespace {

using platform::UniqueServiceHandle;

// Starting also reads the state while the service comes up, through the same handle.
constexpr unsigned long kServiceStartAndQuery =
    platform::kServiceStart | platform::kServiceQueryStatus;
static_assert(kServiceStartAndQuery == 20);

constexpr unsigned kPollIntervalMs = 500;
constexpr unsigned kWaitLimitMs = 10000;

// How one outcome is told. The debugger's words and the log's words differ on purpose, so each
// keeps its own text. A %lu takes the failure's code; an empty log text is not logged.
struct Report {
  std::u16string_view debugger;
  std::u16string_view log;
};

void Tell(const Report& report, unsigned long error) {
  // A text without a conversion comes out of the formatter unchanged, so every report takes
  // the same road whether or not it carries the code.
  platform::OutputDebugStringW(FormatLogLine(report.debugger, error));
  if (!report.log.empty()) WriteAppLog(FormatLogLine(report.log, error));
}

// Opening the service for one purpose: reading its state, or starting it. The two tell the same
// failures in different words.
struct OpenPurpose {
  unsigned long access;
  Report managerUnavailable;
  Report missing;
  Report openFailed;
};

constexpr OpenPurpose kOpenForQuery{
    platform::kServiceQueryStatus,
    {u"[KelvoTarnel] Failed to open service control manager\n", u""},
    {u"[KelvoTarnel] Service does not exist\n", u"Service does not exist"},
    {u"[KelvoTarnel] Failed to open service. Error: %lu\n",
     u"Failed to open service for query. Error: %lu"},
};

constexpr OpenPurpose kOpenForStart{
    kServiceStartAndQuery,
    {u"[KelvoTarnel] Failed to open service control manager. Error: %lu\n",
     u"Failed to open service control manager. Error: %lu"},
    {u"[KelvoTarnel] Service does not exist. Please install the service first.\n",
     u"Service does not exist. Please install the service first."},
    {u"[KelvoTarnel] Failed to open service. Error: %lu\n",
     u"Failed to open service for start. Error: %lu"},
};

constexpr Report kQueryFailed{u"[KelvoTarnel] Failed to query service status\n",
                              u"Failed to query service status. Error: %lu"};

// A refused start is not always a failure: someone else may have started the service first.
struct StartRefusal {
  unsigned long error;
  bool serviceRuns;
  Report report;
};

constexpr StartRefusal kKnownStartRefusals[] = {
    {platform::kErrorServiceAlreadyRunning,
     true,
     {u"[KelvoTarnel] Service is already running\n", u"Service is already running"}},
    {platform::kErrorAccessDenied,
     false,
     {u"[KelvoTarnel] Access denied. Administrator privileges may be required to start the "
      u"service.\n",
      u"Access denied while starting service. Administrator privileges are required."}},
};

constexpr Report kStartFailed{u"[KelvoTarnel] Failed to start service. Error: %lu\n",
                              u"Failed to start service. Error: %lu"};

constexpr std::string_view kAlreadyRunning = "[KelvoTarnel] Service is already running\n";
constexpr std::string_view kAttemptingStart =
    "[KelvoTarnel] Service is not running, attempting to start...\n";
constexpr std::string_view kStartSent =
    "[KelvoTarnel] Service start command sent, waiting for service to start...\n";
constexpr std::string_view kStartedSuccessfully = "[KelvoTarnel] Service started successfully\n";
constexpr std::string_view kStoppedWhileStarting =
    "[KelvoTarnel] Service failed to start (stopped state)\n";
constexpr std::string_view kStartTimeout = "[KelvoTarnel] Service start timeout\n";

// The service handle is released before the manager it came from.
struct OpenedService {
  UniqueServiceHandle manager;
  UniqueServiceHandle service;

  void Close() {
    service.reset();
    manager.reset();
  }
};

std::optional<OpenedService> OpenService(const OpenPurpose& purpose) {
  UniqueServiceHandle manager(platform::OpenSCManagerW(platform::kScManagerConnect));
  if (!manager) {
    Tell(purpose.managerUnavailable, platform::GetLastError());
    return std::nullopt;
  }
  UniqueServiceHandle service(
      platform::OpenServiceW(manager.get(), product::kServiceName, purpose.access));
  if (!service) {
    const unsigned long error = platform::GetLastError();
    Tell(error == platform::kErrorServiceDoesNotExist ? purpose.missing : purpose.openFailed,
         error);
    return std::nullopt;
  }
  return OpenedService{std::move(manager), std::move(service)};
}

bool TellStartRefusal(unsigned long error) {
  for (const StartRefusal& refusal : kKnownStartRefusals) {
    if (refusal.error == error) {
      Tell(refusal.report, error);
      return refusal.serviceRuns;
    }
  }
  Tell(kStartFailed, error);
  return false;
}

// A start that is merely slow ends here with false; the service may still come up later and
// nothing looks again.
bool WaitUntilRunning(OpenedService opened) {
  unsigned elapsedMs = 0;
  for (;;) {
    unsigned long state = 0;
    if (!platform::QueryServiceStatusEx(opened.service.get(), &state)) return false;
    if (state == platform::kServiceRunning) {
      platform::OutputDebugStringA(kStartedSuccessfully);
      return true;
    }
    if (state == platform::kServiceStopped) {
      platform::OutputDebugStringA(kStoppedWhileStarting);
      return false;
    }
    platform::Sleep(kPollIntervalMs);
    elapsedMs += kPollIntervalMs;
    if (elapsedMs >= kWaitLimitMs) {
      opened.Close();
      platform::OutputDebugStringA(kStartTimeout);
      return false;
    }
  }
}

}  // namespace

bool IsServiceRunning() {
  std::optional<OpenedService> opened = OpenService(kOpenForQuery);
  if (!opened) return false;
  unsigned long state = 0;
  if (!platform::QueryServiceStatusEx(opened->service.get(), &state)) {
    Tell(kQueryFailed, platform::GetLastError());
    return false;
  }
  return state == platform::kServiceRunning;
}

bool EnsureServiceRunning() {
  if (IsServiceRunning()) {
    platform::OutputDebugStringA(kAlreadyRunning);
    return true;
  }
  platform::OutputDebugStringA(kAttemptingStart);

  std::optional<OpenedService> opened = OpenService(kOpenForStart);
  if (!opened) return false;
  if (!platform::StartServiceW(opened->service.get())) {
    const unsigned long error = platform::GetLastError();
    opened->Close();
    return TellStartRefusal(error);
  }
  platform::OutputDebugStringA(kStartSent);
  return WaitUntilRunning(std::move(*opened));
}

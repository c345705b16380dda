#include "sim_service.h"

#include <cstdint>
#include <deque>
#include <map>

#include "launch/service_platform.h"
#include "base/text.h"
#include "sim_launch.h"
#include "sim_platform.h"

namespace {

constexpr std::u16string_view kInstalledName = u"KelvoTarnelService";

constexpr unsigned long kServiceQueryStatus = 4;
constexpr unsigned long kServiceStart = 16;

constexpr unsigned long kErrorAccessDenied = 5;
constexpr unsigned long kErrorInvalidHandle = 6;
constexpr unsigned long kErrorServiceAlreadyRunning = 1056;
constexpr unsigned long kErrorServiceDoesNotExist = 1060;

enum class HandleKind { kManager, kService };

struct OpenHandle {
  HandleKind kind;
  unsigned long access;
};

struct ServiceWorld {
  bool installed = true;
  unsigned long state = sim::kServiceStopped;
  std::optional<unsigned long> managerError;
  int managerOpensBeforeFailure = 0;
  int managerOpens = 0;
  std::map<unsigned long, unsigned long> openServiceErrors;  // access -> error
  std::deque<sim::QueryAnswer> script;
  std::optional<unsigned long> startError;
  int queries = 0;
  int starts = 0;
  std::uintptr_t nextHandle = 0x5000;
  std::map<std::uintptr_t, OpenHandle> handles;
  int invalidUses = 0;
};

ServiceWorld& W() {
  static ServiceWorld world;
  return world;
}

platform::ServiceHandle NewHandle(HandleKind kind, unsigned long access) {
  const std::uintptr_t value = W().nextHandle;
  W().nextHandle += 0x10;
  W().handles[value] = {kind, access};
  return reinterpret_cast<platform::ServiceHandle>(value);
}

// The open handle of this kind, or null after counting the misuse and setting its error.
const OpenHandle* Lookup(platform::ServiceHandle handle, HandleKind kind) {
  const auto it = W().handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == W().handles.end() || it->second.kind != kind) {
    ++W().invalidUses;
    sim::SetLastErrorValue(kErrorInvalidHandle);
    return nullptr;
  }
  return &it->second;
}

platform::ServiceHandle Fail(unsigned long error) {
  sim::SetLastErrorValue(error);
  return nullptr;
}

}  // namespace

namespace sim {

void ResetServices() { W() = ServiceWorld(); }
void SetServiceInstalled(bool installed) { W().installed = installed; }
void SetServiceState(unsigned long state) { W().state = state; }
unsigned long ServiceState() { return W().state; }

void FailOpenSCManager(unsigned long error, int successfulOpens) {
  W().managerError = error;
  W().managerOpensBeforeFailure = successfulOpens;
}

void FailOpenService(unsigned long access, unsigned long error) {
  W().openServiceErrors[access] = error;
}

void ScriptQueries(std::vector<QueryAnswer> answers) {
  W().script.assign(answers.begin(), answers.end());
}

void FailStartService(unsigned long error) { W().startError = error; }

int QueryCount() { return W().queries; }
int StartCount() { return W().starts; }
int OpenServiceHandleCount() { return static_cast<int>(W().handles.size()); }
int InvalidServiceHandleUses() { return W().invalidUses; }

}  // namespace sim

namespace platform {

ServiceHandle OpenSCManagerW(unsigned long access) {
  sim::Record("OpenSCManagerW " + std::to_string(access));
  ServiceWorld& w = W();
  if (w.managerError && w.managerOpens >= w.managerOpensBeforeFailure) {
    return Fail(*w.managerError);
  }
  ++w.managerOpens;
  return NewHandle(HandleKind::kManager, access);
}

ServiceHandle OpenServiceW(ServiceHandle manager, std::u16string_view name, unsigned long access) {
  sim::Record("OpenServiceW " + WideToUtf8(name) + " " + std::to_string(access));
  if (!Lookup(manager, HandleKind::kManager)) return nullptr;
  if (!W().installed || !EqualsFolded(name, kInstalledName)) {
    return Fail(kErrorServiceDoesNotExist);
  }
  const auto refused = W().openServiceErrors.find(access);
  if (refused != W().openServiceErrors.end()) return Fail(refused->second);
  return NewHandle(HandleKind::kService, access);
}

std::optional<unsigned long> QueryServiceStatusEx(ServiceHandle service) {
  sim::Record("QueryServiceStatusEx");
  ++W().queries;
  const OpenHandle* handle = Lookup(service, HandleKind::kService);
  if (!handle) return std::nullopt;
  if ((handle->access & kServiceQueryStatus) == 0) {
    sim::SetLastErrorValue(kErrorAccessDenied);
    return std::nullopt;
  }
  if (W().script.empty()) return W().state;
  const sim::QueryAnswer answer = W().script.front();
  W().script.pop_front();
  if (!answer.state) sim::SetLastErrorValue(answer.error);
  return answer.state;
}

bool StartServiceW(ServiceHandle service) {
  sim::Record("StartServiceW");
  ++W().starts;
  const OpenHandle* handle = Lookup(service, HandleKind::kService);
  if (!handle) return false;
  unsigned long error = 0;
  if ((handle->access & kServiceStart) == 0) {
    error = kErrorAccessDenied;
  } else if (W().startError) {
    error = *W().startError;
  } else if (W().state != sim::kServiceStopped) {
    error = kErrorServiceAlreadyRunning;
  }
  if (error != 0) {
    sim::SetLastErrorValue(error);
    return false;
  }
  W().state = sim::kServiceStartPending;
  return true;
}

void CloseServiceHandle(ServiceHandle handle) {
  const auto it = W().handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == W().handles.end()) {
    sim::Record("CloseServiceHandle <not open>");
    ++W().invalidUses;
    return;
  }
  sim::Record(it->second.kind == HandleKind::kManager ? "CloseServiceHandle manager"
                                                      : "CloseServiceHandle service");
  W().handles.erase(it);
}

}  // namespace platform

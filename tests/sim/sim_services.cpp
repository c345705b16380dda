#include "sim_services.h"

#include <deque>
#include <map>
#include <mutex>

#include "app/product.h"
#include "base/text.h"
#include "platform/kernel.h"
#include "sim_core.h"

namespace sim {
namespace {

// The sizes Windows counts for x64 records: ENUM_SERVICE_STATUS_PROCESSW and
// QUERY_SERVICE_CONFIGW, each followed by its strings.
constexpr std::uint32_t kEnumRecordBytes = 56;
constexpr std::uint32_t kConfigRecordBytes = 64;

enum class HandleKind { kManager, kService };
struct OpenHandle {
  HandleKind kind;
  unsigned long access;
  std::u16string service;  // folded
};

struct Manager {
  std::mutex lock;
  std::map<std::u16string, Service> services;  // by folded name
  std::optional<unsigned long> managerError;
  int managerOpensBeforeFailure = 0;
  int managerOpens = 0;
  std::map<unsigned long, unsigned long> openServiceErrors;  // access -> error
  std::deque<QueryAnswer> script;
  std::optional<unsigned long> startError;
  int queries = 0;
  int starts = 0;
  std::uintptr_t nextHandle = 0x5000;
  std::map<std::uintptr_t, OpenHandle> handles;
  int invalidUses = 0;
};

Manager& M() {
  static Manager manager;
  return manager;
}

const std::u16string& AgentKey() {
  static const std::u16string key = FoldCase(product::kServiceName);
  return key;
}

Service AgentService() {
  Service service;
  service.name = std::u16string(product::kServiceName);
  service.displayName = service.name;
  return service;
}

void Reset() {
  const std::lock_guard guard(M().lock);
  Manager& m = M();
  m.services = {{AgentKey(), AgentService()}};
  m.managerError.reset();
  m.managerOpensBeforeFailure = 0;
  m.managerOpens = 0;
  m.openServiceErrors.clear();
  m.script.clear();
  m.startError.reset();
  m.queries = 0;
  m.starts = 0;
  m.handles.clear();
  m.invalidUses = 0;
}

const bool registered = [] {
  Reset();
  return OnReset(&Reset);
}();

platform::ServiceHandle NewHandleLocked(HandleKind kind, unsigned long access,
                                        std::u16string service = {}) {
  const std::uintptr_t value = M().nextHandle;
  M().nextHandle += 0x10;
  M().handles[value] = {kind, access, std::move(service)};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
  return reinterpret_cast<platform::ServiceHandle>(value);
}

// The open handle of this kind, or null after counting the misuse and setting its error.
const OpenHandle* LookupLocked(platform::ServiceHandle handle, HandleKind kind) {
  const auto it = M().handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == M().handles.end() || it->second.kind != kind) {
    ++M().invalidUses;
    platform::SetLastError(platform::kErrorInvalidHandle);
    return nullptr;
  }
  return &it->second;
}

Service* ServiceOfLocked(const OpenHandle& handle) {
  const auto it = M().services.find(handle.service);
  return it == M().services.end() ? nullptr : &it->second;
}

platform::ServiceHandle Fail(unsigned long error) {
  platform::SetLastError(error);
  return nullptr;
}

std::uint32_t TextBytes(const std::optional<std::u16string>& text) {
  return static_cast<std::uint32_t>(((text ? text->size() : 0) + 1) * sizeof(char16_t));
}

}  // namespace

void AddService(const Service& service) {
  const std::lock_guard guard(M().lock);
  M().services[FoldCase(service.name)] = service;
}

void SetServiceInstalled(bool installed) {
  const std::lock_guard guard(M().lock);
  if (!installed) {
    M().services.erase(AgentKey());
  } else {
    M().services.try_emplace(AgentKey(), AgentService());
  }
}

void SetServiceState(unsigned long state) {
  const std::lock_guard guard(M().lock);
  const auto it = M().services.find(AgentKey());
  if (it != M().services.end()) it->second.state = state;
}

unsigned long ServiceState() {
  const std::lock_guard guard(M().lock);
  const auto it = M().services.find(AgentKey());
  return it == M().services.end() ? 0 : it->second.state;
}

void FailOpenSCManager(unsigned long error, int successfulOpens) {
  const std::lock_guard guard(M().lock);
  M().managerError = error;
  M().managerOpensBeforeFailure = successfulOpens;
}

void FailOpenService(unsigned long access, unsigned long error) {
  const std::lock_guard guard(M().lock);
  M().openServiceErrors[access] = error;
}

void ScriptQueries(std::vector<QueryAnswer> answers) {
  const std::lock_guard guard(M().lock);
  M().script.assign(answers.begin(), answers.end());
}

void FailStartService(unsigned long error) {
  const std::lock_guard guard(M().lock);
  M().startError = error;
}

int QueryCount() {
  const std::lock_guard guard(M().lock);
  return M().queries;
}

int StartCount() {
  const std::lock_guard guard(M().lock);
  return M().starts;
}

int OpenServiceHandleCount() {
  const std::lock_guard guard(M().lock);
  return static_cast<int>(M().handles.size());
}

int InvalidServiceHandleUses() {
  const std::lock_guard guard(M().lock);
  return M().invalidUses;
}

}  // namespace sim

namespace platform {

using sim::M;

ServiceHandle OpenSCManagerW(unsigned long access) {
  sim::Record("OpenSCManagerW " + std::to_string(access));
  const std::lock_guard guard(M().lock);
  if (M().managerError && M().managerOpens >= M().managerOpensBeforeFailure) {
    return sim::Fail(*M().managerError);
  }
  ++M().managerOpens;
  return sim::NewHandleLocked(sim::HandleKind::kManager, access);
}

ServiceHandle OpenServiceW(ServiceHandle manager, std::u16string_view name, unsigned long access) {
  sim::Record("OpenServiceW " + WideToUtf8(name) + " " + std::to_string(access));
  const std::lock_guard guard(M().lock);
  if (!sim::LookupLocked(manager, sim::HandleKind::kManager)) return nullptr;
  const std::u16string key = FoldCase(name);
  if (!M().services.contains(key)) return sim::Fail(kErrorServiceDoesNotExist);
  const auto refused = M().openServiceErrors.find(access);
  if (refused != M().openServiceErrors.end()) return sim::Fail(refused->second);
  return sim::NewHandleLocked(sim::HandleKind::kService, access, key);
}

bool QueryServiceStatusEx(ServiceHandle service, unsigned long* state) {
  sim::Record("QueryServiceStatusEx");
  const std::lock_guard guard(M().lock);
  ++M().queries;
  const sim::OpenHandle* handle = sim::LookupLocked(service, sim::HandleKind::kService);
  if (!handle) return false;
  if ((handle->access & kServiceQueryStatus) == 0) {
    SetLastError(kErrorAccessDenied);
    return false;
  }
  const sim::Service* entry = sim::ServiceOfLocked(*handle);
  if (!entry) {
    SetLastError(kErrorInvalidHandle);  // deleted under the handle
    return false;
  }
  if (M().script.empty()) {
    *state = entry->state;
    return true;
  }
  const sim::QueryAnswer answer = M().script.front();
  M().script.pop_front();
  if (!answer.state) {
    SetLastError(answer.error);
    return false;
  }
  *state = *answer.state;
  return true;
}

bool StartServiceW(ServiceHandle service) {
  sim::Record("StartServiceW");
  const std::lock_guard guard(M().lock);
  ++M().starts;
  const sim::OpenHandle* handle = sim::LookupLocked(service, sim::HandleKind::kService);
  if (!handle) return false;
  sim::Service* entry = sim::ServiceOfLocked(*handle);
  unsigned long error = kErrorSuccess;
  if ((handle->access & kServiceStart) == 0) {
    error = kErrorAccessDenied;
  } else if (M().startError) {
    error = *M().startError;
  } else if (!entry) {
    error = kErrorInvalidHandle;
  } else if (entry->state != kServiceStopped) {
    error = kErrorServiceAlreadyRunning;
  }
  if (error != kErrorSuccess) {
    SetLastError(error);
    return false;
  }
  entry->state = kServiceStartPending;
  return true;
}

bool CloseServiceHandle(ServiceHandle handle) {
  std::string entry;
  {
    const std::lock_guard guard(M().lock);
    const auto it = M().handles.find(reinterpret_cast<std::uintptr_t>(handle));
    if (it == M().handles.end()) {
      ++M().invalidUses;
      entry = "CloseServiceHandle <not open>";
    } else {
      entry = it->second.kind == sim::HandleKind::kManager ? "CloseServiceHandle manager"
                                                           : "CloseServiceHandle service";
      M().handles.erase(it);
    }
  }
  sim::Record(entry);
  if (entry.ends_with("<not open>")) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  return true;
}

bool EnumServicesStatusExW(ServiceHandle manager, std::uint32_t serviceType,
                           std::uint32_t serviceState, std::uint32_t bufferSize,
                           std::uint32_t* bytesNeeded, std::vector<ServiceStatusRecord>* records) {
  sim::Record("EnumServicesStatusExW " + std::to_string(serviceType) + " " +
              std::to_string(serviceState) + " " + std::to_string(bufferSize));
  const std::lock_guard guard(M().lock);
  const sim::OpenHandle* handle = sim::LookupLocked(manager, sim::HandleKind::kManager);
  if (!handle) return false;
  if ((handle->access & kScManagerEnumerateService) == 0) {
    SetLastError(kErrorAccessDenied);
    return false;
  }
  std::vector<ServiceStatusRecord> found;
  std::uint32_t needed = 0;
  for (const auto& [key, service] : M().services) {
    const bool active = service.state != kServiceStopped;
    const bool wantedState =
        ((serviceState & 1) != 0 && active) || ((serviceState & 2) != 0 && !active);
    if ((service.type & serviceType) == 0 || !wantedState) continue;
    needed +=
        sim::kEnumRecordBytes + sim::TextBytes(service.name) + sim::TextBytes(service.displayName);
    found.push_back({service.name, service.displayName, service.state});
  }
  *bytesNeeded = needed;
  if (bufferSize < needed) {
    SetLastError(kErrorMoreData);
    return false;
  }
  *bytesNeeded = 0;
  *records = std::move(found);
  return true;
}

bool QueryServiceConfigW(ServiceHandle service, std::uint32_t bufferSize,
                         std::uint32_t* bytesNeeded, std::optional<std::u16string>* binaryPath) {
  sim::Record("QueryServiceConfigW " + std::to_string(bufferSize));
  const std::lock_guard guard(M().lock);
  const sim::OpenHandle* handle = sim::LookupLocked(service, sim::HandleKind::kService);
  if (!handle) return false;
  if ((handle->access & kServiceQueryConfig) == 0) {
    SetLastError(kErrorAccessDenied);
    return false;
  }
  const sim::Service* entry = sim::ServiceOfLocked(*handle);
  if (!entry) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  // The binary path, then an empty group, an empty dependency list (two terminators), the
  // account and the display name.
  const std::uint32_t needed = sim::kConfigRecordBytes + sim::TextBytes(entry->binaryPath) + 2 + 4 +
                               sim::TextBytes(u"LocalSystem") + sim::TextBytes(entry->displayName);
  *bytesNeeded = needed;
  if (bufferSize < needed) {
    SetLastError(kErrorInsufficientBuffer);
    return false;
  }
  *binaryPath = entry->binaryPath;
  return true;
}

}  // namespace platform

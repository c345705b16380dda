#include "sim_network.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>

#include "sim_core.h"
#include "sim_kernel.h"

namespace sim {

namespace {

// x64 sizes from <iphlpapi.h> and <ws2def.h>.
constexpr std::uint32_t kAdapterRecordBytes = 448;
constexpr std::uint32_t kUnicastRecordBytes = 64;
constexpr std::uint32_t kSockaddrInBytes = 16;
constexpr std::uint32_t kSockaddrIn6Bytes = 28;
// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" and its terminator.
constexpr std::uint32_t kGuidNameBytes = 39;

std::uint32_t Aligned(std::uint32_t bytes) { return (bytes + 7U) & ~7U; }

std::uint32_t WideTextBytes(const std::optional<std::u16string>& text) {
  if (!text) return 0;
  return Aligned(static_cast<std::uint32_t>((text->size() + 1) * sizeof(char16_t)));
}

std::uint32_t SockaddrBytes(const SimAddress& address) {
  if (address.family == platform::kAfInet) return kSockaddrInBytes;
  if (address.family == kAfInet6) return kSockaddrIn6Bytes;
  // SOCKADDR's family word and whatever the address carries.
  return static_cast<std::uint32_t>(sizeof(std::uint16_t) + address.bytes.size());
}

bool FamilyKnown(std::uint16_t family) {
  return family == kAfUnspec || family == platform::kAfInet || family == kAfInet6;
}

bool Listed(const SimAdapter& adapter, std::uint16_t family) {
  if (family == platform::kAfInet) return adapter.ipv4Bound;
  if (family == kAfInet6) return adapter.ipv6Bound;
  return adapter.ipv4Bound || adapter.ipv6Bound;
}

bool AddressListed(const SimAddress& address, std::uint16_t family, std::uint32_t flags) {
  if ((flags & kGaaFlagSkipUnicast) != 0) return false;
  return family == kAfUnspec || address.family == family;
}

void CheckFixture(const std::vector<SimAdapter>& adapters) {
  for (const SimAdapter& adapter : adapters) {
    if (adapter.physicalAddress.size() > kMaxPhysicalAddressLength) {
      std::fprintf(stderr, "sim_network: a physical address of %zu bytes does not fit the record\n",
                   adapter.physicalAddress.size());
      std::abort();
    }
    for (const SimAddress& address : adapter.unicast) {
      const bool ipv4Wrong = address.family == platform::kAfInet && address.bytes.size() != 4;
      const bool ipv6Wrong = address.family == kAfInet6 && address.bytes.size() != 16;
      if (ipv4Wrong || ipv6Wrong) {
        std::fprintf(stderr, "sim_network: an address of family %u has %zu bytes\n",
                     static_cast<unsigned>(address.family), address.bytes.size());
        std::abort();
      }
    }
  }
}

struct PendingChange {
  int calls = 0;
  std::vector<SimAdapter> adapters;
};

struct State {
  std::mutex lock;
  std::vector<SimAdapter> adapters;
  std::deque<std::uint32_t> scripted;
  std::vector<PendingChange> changes;

  State() { Reset(); }

  void Reset() {
    adapters = {LoopbackAdapter()};
    scripted.clear();
    changes.clear();
  }
};

State& S() {
  static State state;
  return state;
}

void ResetNetwork() {
  const std::lock_guard guard(S().lock);
  S().Reset();
}

[[maybe_unused]] const bool registered = OnReset(&ResetNetwork);

std::uint32_t BytesNeeded(const std::vector<SimAdapter>& adapters, std::uint16_t family,
                          std::uint32_t flags) {
  std::uint32_t bytes = 0;
  for (const SimAdapter& adapter : adapters) {
    if (!Listed(adapter, family)) continue;
    bytes += kAdapterRecordBytes + Aligned(kGuidNameBytes) + WideTextBytes(adapter.friendlyName) +
             WideTextBytes(adapter.description) + WideTextBytes(std::u16string());
    for (const SimAddress& address : adapter.unicast) {
      if (AddressListed(address, family, flags)) {
        bytes += kUnicastRecordBytes + Aligned(SockaddrBytes(address));
      }
    }
  }
  return bytes;
}

platform::AdapterAddresses ToRecord(const SimAdapter& adapter, std::uint16_t family,
                                    std::uint32_t flags) {
  platform::AdapterAddresses record;
  record.operStatus = adapter.operStatus;
  record.ifType = adapter.ifType;
  record.friendlyName = adapter.friendlyName;
  record.description = adapter.description;
  record.physicalAddress = adapter.physicalAddress;
  for (const SimAddress& address : adapter.unicast) {
    if (!AddressListed(address, family, flags)) continue;
    platform::UnicastAddress unicast;
    unicast.family = address.family;
    if (address.family == platform::kAfInet) {
      std::copy(address.bytes.begin(), address.bytes.end(), unicast.ipv4.begin());
    }
    record.unicast.push_back(unicast);
  }
  return record;
}

// Counts one finished call towards every pending change and applies those that are due.
void CountCall(State& s) {
  for (auto change = s.changes.begin(); change != s.changes.end();) {
    if (--change->calls <= 0) {
      s.adapters = std::move(change->adapters);
      change = s.changes.erase(change);
    } else {
      ++change;
    }
  }
}

}  // namespace

SimAddress Ipv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
  return SimAddress{platform::kAfInet, {a, b, c, d}};
}

SimAddress Ipv6(const std::array<std::uint8_t, 16>& bytes) {
  return SimAddress{kAfInet6, std::vector<std::uint8_t>(bytes.begin(), bytes.end())};
}

SimAdapter LoopbackAdapter() {
  SimAdapter adapter;
  adapter.ifType = platform::kIfTypeSoftwareLoopback;
  adapter.friendlyName = u"Loopback Pseudo-Interface 1";
  adapter.description = u"Software Loopback Interface 1";
  std::array<std::uint8_t, 16> ipv6Loopback = {};
  ipv6Loopback[15] = 1;
  adapter.unicast = {Ipv6(ipv6Loopback), Ipv4(127, 0, 0, 1)};
  return adapter;
}

void SetAdapters(std::vector<SimAdapter> adapters) {
  CheckFixture(adapters);
  const std::lock_guard guard(S().lock);
  S().adapters = std::move(adapters);
}

std::vector<SimAdapter> Adapters() {
  const std::lock_guard guard(S().lock);
  return S().adapters;
}

void ChangeAdaptersAfterCalls(int calls, std::vector<SimAdapter> adapters) {
  CheckFixture(adapters);
  const std::lock_guard guard(S().lock);
  S().changes.push_back(PendingChange{calls, std::move(adapters)});
}

void ScriptAdaptersResults(std::vector<std::uint32_t> results) {
  const std::lock_guard guard(S().lock);
  S().scripted.insert(S().scripted.end(), results.begin(), results.end());
}

std::uint32_t AdaptersBytesNeeded(std::uint16_t family, std::uint32_t flags) {
  const std::lock_guard guard(S().lock);
  return BytesNeeded(S().adapters, family, flags);
}

}  // namespace sim

namespace platform {

std::uint32_t GetAdaptersAddresses(std::uint16_t family, std::uint32_t flags,
                                   std::uint32_t bufferSize, std::uint32_t* neededSize,
                                   std::vector<AdapterAddresses>* adapters) {
  sim::Record("GetAdaptersAddresses " + std::to_string(family) + " " + sim::Hex(flags) + " " +
              std::to_string(bufferSize));
  sim::State& s = sim::S();
  const std::lock_guard guard(s.lock);
  const std::uint32_t result = [&]() -> std::uint32_t {
    if (!s.scripted.empty()) {
      const std::uint32_t scripted = s.scripted.front();
      s.scripted.pop_front();
      if (scripted != kErrorSuccess) return scripted;
    }
    if (neededSize == nullptr || adapters == nullptr || !sim::FamilyKnown(family)) {
      return kErrorInvalidParameter;
    }
    bool any = false;
    for (const sim::SimAdapter& adapter : s.adapters) any = any || sim::Listed(adapter, family);
    if (!any) return kErrorNoData;
    const std::uint32_t needed = sim::BytesNeeded(s.adapters, family, flags);
    if (bufferSize < needed) {
      *neededSize = needed;
      return kErrorBufferOverflow;
    }
    adapters->clear();
    for (const sim::SimAdapter& adapter : s.adapters) {
      if (sim::Listed(adapter, family)) adapters->push_back(sim::ToRecord(adapter, family, flags));
    }
    return kErrorSuccess;
  }();
  sim::CountCall(s);
  return result;
}

bool InetNtopW(std::uint16_t family, const std::array<std::uint8_t, 4>& address, char16_t* buffer,
               std::size_t size) {
  sim::Record("InetNtopW " + std::to_string(family) + " " + std::to_string(size));
  if (family != kAfInet) {
    sim::SetLastErrorValue(sim::kWsaEAfNoSupport);
    return false;
  }
  std::u16string text;
  for (std::size_t i = 0; i < address.size(); ++i) {
    if (i != 0) text += u'.';
    for (const char digit : std::to_string(address[i])) text += static_cast<char16_t>(digit);
  }
  if (buffer == nullptr || size < text.size() + 1) {
    sim::SetLastErrorValue(kErrorInvalidParameter);
    return false;
  }
  std::copy(text.begin(), text.end(), buffer);
  buffer[text.size()] = u'\0';
  return true;
}

}  // namespace platform

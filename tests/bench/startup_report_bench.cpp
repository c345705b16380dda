// The startup report's adapter walk over 64 simulated adapters of 4 addresses each, next to the
// bare adapter listing it starts with, measured in the same run: the ratio is what the walk
// (exclusion words, address text, scores) adds to reading the adapters at all.
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ratio_report.h"

#include "devices/startup_report.h"
#include "platform/network.h"
#include "sim_core.h"
#include "sim_network.h"

namespace {

constexpr int kAdapters = 64;
constexpr int kAddressesPerAdapter = 4;
constexpr std::uint32_t kFlags = 14;

void LayOut() {
  sim::ResetSimulation();
  std::vector<sim::SimAdapter> adapters;
  for (int i = 0; i < kAdapters; ++i) {
    sim::SimAdapter adapter;
    adapter.friendlyName = u"Ethernet " + std::u16string(1, static_cast<char16_t>(u'A' + i % 26)) +
                           std::u16string(1, static_cast<char16_t>(u'0' + i / 26));
    adapter.description =
        i % 8 == 0 ? u"Hyper-V Virtual Ethernet Adapter" : u"Intel(R) Ethernet Controller I225-V";
    adapter.ifType = i % 3 == 0 ? platform::kIfTypeIeee80211 : platform::kIfTypeEthernetCsmacd;
    adapter.physicalAddress = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, static_cast<std::uint8_t>(i)};
    const auto host = static_cast<std::uint8_t>(i);
    adapter.unicast = {sim::Ipv4(203, 0, 113, host), sim::Ipv4(172, 20, host, 1),
                       sim::Ipv4(10, 1, host, 1), sim::Ipv4(192, 168, host, 1)};
    adapters.push_back(adapter);
  }
  sim::SetAdapters(adapters);
}

std::size_t ListBytes() { return sim::AdaptersBytesNeeded(platform::kAfInet, kFlags); }

void BM_StartupReportWalk(benchmark::State& state) {
  LayOut();
  for (auto _ : state) {
    EncodableMap reply = GetStartupReportInfo();
    benchmark::DoNotOptimize(reply);
  }
}
BENCHMARK(BM_StartupReportWalk);

void BM_ListAdaptersBaseline(benchmark::State& state) {
  LayOut();
  const auto bytes = static_cast<std::uint32_t>(ListBytes());
  for (auto _ : state) {
    std::vector<platform::AdapterAddresses> adapters;
    std::uint32_t needed = 0;
    const std::uint32_t result =
        platform::GetAdaptersAddresses(platform::kAfInet, kFlags, bytes, &needed, &adapters);
    benchmark::DoNotOptimize(result);
    benchmark::DoNotOptimize(adapters);
  }
}
BENCHMARK(BM_ListAdaptersBaseline);

}  // namespace

int main(int argc, char** argv) {
  LayOut();
  return bench::RunWithRatios(argc, argv, "BM_ListAdaptersBaseline", "listing the adapters",
                              {"BM_StartupReportWalk"}, ListBytes());
}

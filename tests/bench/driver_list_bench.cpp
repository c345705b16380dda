// The driver list's record building over 500 simulated drivers, next to the bare enumeration
// of the same drivers (size call and filled call) in the same run: the ratio is what opening
// each driver, reading its path and building its map adds to listing them.
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ratio_report.h"

#include "base/text.h"
#include "devices/driver_list.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/services.h"
#include "sim_core.h"
#include "sim_services.h"

namespace {

constexpr int kDrivers = 500;

void LayOut() {
  sim::ResetSimulation();
  sim::SetServiceInstalled(false);
  for (int i = 0; i < kDrivers; ++i) {
    const std::u16string name = u"drv" + AsciiToWide(std::to_string(i));
    sim::Service driver;
    driver.name = name;
    driver.displayName = u"Simulated Kernel Driver " + name;
    driver.type = (i % 5 == 0) ? 0x02 : 0x01;
    driver.state = (i % 3 == 0) ? platform::kServiceStopped : platform::kServiceRunning;
    driver.binaryPath = u"\\SystemRoot\\System32\\drivers\\" + name + u".sys";
    sim::AddService(driver);
  }
}

void BM_DriverListRecords(benchmark::State& state) {
  LayOut();
  for (auto _ : state) {
    EncodableList drivers = GetDriverList();
    benchmark::DoNotOptimize(drivers);
  }
}
BENCHMARK(BM_DriverListRecords);

void BM_EnumerateDriversBaseline(benchmark::State& state) {
  LayOut();
  for (auto _ : state) {
    const platform::UniqueServiceHandle manager(
        platform::OpenSCManagerW(platform::kScManagerEnumerateService));
    std::uint32_t needed = 0;
    std::vector<platform::ServiceStatusRecord> records;
    platform::EnumServicesStatusExW(manager.get(), platform::kServiceDriver,
                                    platform::kServiceStateAll, 0, &needed, &records);
    platform::EnumServicesStatusExW(manager.get(), platform::kServiceDriver,
                                    platform::kServiceStateAll, needed, &needed, &records);
    benchmark::DoNotOptimize(records);
  }
}
BENCHMARK(BM_EnumerateDriversBaseline);

// The bytes of the enumeration's records, as the size call tells them.
std::size_t RecordBytes() {
  LayOut();
  const platform::UniqueServiceHandle manager(
      platform::OpenSCManagerW(platform::kScManagerEnumerateService));
  std::uint32_t needed = 0;
  std::vector<platform::ServiceStatusRecord> records;
  platform::EnumServicesStatusExW(manager.get(), platform::kServiceDriver,
                                  platform::kServiceStateAll, 0, &needed, &records);
  return needed;
}

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, "BM_EnumerateDriversBaseline", "enumerating the drivers",
                              {"BM_DriverListRecords"}, RecordBytes());
}

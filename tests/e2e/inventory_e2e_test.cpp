// The machine inventory of the real executable under Wine, through the engine stand-in, checked
// against what the Linux host and the prefix report themselves. tests/wine/inventory_test.sh runs
// it inside network namespaces it lays out, one Wine session each, and says by KT_LAYOUT_ADDRESS
// and KT_LAYOUT_INTERFACE which address and adapter that layout's ranking must choose.
#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "app_session.h"
#include "method_calls.h"
#include "wine_process.h"

namespace {

using driver::MethodReply;
using e2e::kTimeout;

constexpr const char* kDeviceMonitor = e2e::kDeviceMonitorChannel;

// A command's standard output, run with the session's display and prefix.
std::string Capture(const std::string& command) {
  const std::string display = driver::ReadFile(driver::WineRoot() + "/display");
  const std::string full = "export DISPLAY=" + display.substr(0, display.find('\n')) +
                           " WINEPREFIX=" + driver::WineRoot() +
                           "/prefix WINEDEBUG=-all; timeout 60 " + command + " 2>/dev/null";
  std::string output;
  FILE* pipe = ::popen(full.c_str(), "r");
  if (pipe == nullptr) return output;
  char buffer[4096];
  std::size_t read = 0;
  while ((read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, read);
  ::pclose(pipe);
  return output;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  std::string line;
  while (std::getline(stream, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

// One REG_SZ value as `wine reg query` prints it; nullopt when the value is missing.
std::optional<std::string> PrefixValue(const std::string& key, const std::string& name) {
  const std::string marker = "    " + name + "    REG_SZ    ";
  for (const std::string& line : Lines(Capture("wine reg query '" + key + "' /v " + name))) {
    if (line.rfind(marker, 0) == 0) return line.substr(marker.size());
    if (line == "    " + name + "    REG_SZ") return std::string();
  }
  return std::nullopt;
}

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

const std::string& Field(const EncodableMap& map, const char* key) {
  return std::get<std::string>(map.at(EncodableValue(key)));
}

class InventoryTest : public e2e::AppFixture {
 protected:
  MethodReply Call(const std::string& method) {
    return driver::CallMethod(*engine_, kDeviceMonitor, method, std::nullopt, kTimeout);
  }
  EncodableMap CallForMap(const std::string& method) {
    const MethodReply reply = Call(method);
    EXPECT_EQ(reply.kind, MethodReply::Kind::kSuccess) << method;
    const auto* map = std::get_if<EncodableMap>(&reply.value);
    return map ? *map : EncodableMap();
  }
};

TEST_F(InventoryTest, StartupReportChoosesTheLayoutsAdapterWithItsHostFacts) {
  const std::string address = Env("KT_LAYOUT_ADDRESS");
  const std::string interface = Env("KT_LAYOUT_INTERFACE");
  ASSERT_FALSE(address.empty()) << "run through tests/wine/inventory_test.sh, which lays out "
                                   "the network and names the expected address";
  // The hardware address as Linux knows it, "aa:bb:..." made upper case and joined by "-".
  std::string mac = driver::ReadFile("/sys/class/net/" + interface + "/address");
  mac.erase(std::remove(mac.begin(), mac.end(), '\n'), mac.end());
  ASSERT_EQ(mac.size(), 17u) << interface;
  std::transform(mac.begin(), mac.end(), mac.begin(),
                 [](char c) { return c == ':' ? '-' : static_cast<char>(std::toupper(c)); });
  // The screen as the X server reports it.
  std::string screen;
  for (const std::string& line : Lines(Capture("xdpyinfo"))) {
    const std::size_t at = line.find("dimensions:");
    if (at == std::string::npos) continue;
    std::istringstream fields(line.substr(at + 11));
    fields >> screen;
  }
  ASSERT_FALSE(screen.empty());

  StartApp();
  const EncodableMap report = CallForMap("getStartupReportInfo");
  ASSERT_EQ(report.size(), 4u);
  EXPECT_EQ(Field(report, "bindIp"), address);
  EXPECT_EQ(Field(report, "mac"), mac);
  EXPECT_EQ(report.at(EncodableValue("isWiredNetwork")), EncodableValue(std::int32_t{1}));
  EXPECT_EQ(Field(report, "resolution"), screen);
}

TEST_F(InventoryTest, HardwareReportAgreesWithMeminfoAndThePrefixRegistry) {
  // MemTotal in kB, rounded to the nearest 2^30 bytes with a half rounding up.
  std::uint64_t kilobytes = 0;
  for (const std::string& line : Lines(driver::ReadFile("/proc/meminfo"))) {
    if (line.rfind("MemTotal:", 0) == 0) kilobytes = std::stoull(line.substr(9));
  }
  ASSERT_GT(kilobytes, 0u);
  const std::string memory = std::to_string((kilobytes * 1024 + (1ULL << 29)) >> 30) + " GB";

  const std::string versionKey = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
  const std::string processor =
      PrefixValue("HKLM\\HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0", "ProcessorNameString")
          .value_or("");
  const std::string product = PrefixValue(versionKey, "ProductName").value_or("");
  const std::string build = PrefixValue(versionKey, "CurrentBuildNumber").value_or("");
  const std::string display = PrefixValue(versionKey, "DisplayVersion").value_or("");
  ASSERT_FALSE(processor.empty());
  ASSERT_FALSE(product.empty());
  // Wine's prefix reports a build below 22000 and no display version: the name stays.
  ASSERT_LT(std::stoul(build), 22000u);
  ASSERT_TRUE(display.empty());

  StartApp();
  EncodableMap hardware = CallForMap("getHardwareSpecs");
  ASSERT_EQ(hardware.size(), 10u);
  EXPECT_EQ(Field(hardware, "memory"), memory);
  EXPECT_EQ(Field(hardware, "processor"), processor);
  EXPECT_EQ(Field(hardware, "computerSystem"), product);
  EXPECT_EQ(Field(hardware, "productId"), PrefixValue(versionKey, "ProductId").value_or(""));
  EXPECT_EQ(Field(hardware, "registeredOwner"),
            PrefixValue(versionKey, "RegisteredOwner").value_or(""));

  // A build of the newer generation and a display version, written into the prefix: the rule
  // is read again on the next call, nothing cached.
  ASSERT_EQ(e2e::RunInSession("wine reg add '" + versionKey +
                              "' /v CurrentBuildNumber /t REG_SZ /d 22631 /f"),
            0);
  ASSERT_EQ(
      e2e::RunInSession("wine reg add '" + versionKey + "' /v DisplayVersion /t REG_SZ /d 23H2 /f"),
      0);
  ASSERT_EQ(e2e::RunInSession("wine reg add '" + versionKey +
                              "' /v ProductName /t REG_SZ /d 'Windows 10 Pro' /f"),
            0);
  hardware = CallForMap("getHardwareSpecs");
  EXPECT_EQ(Field(hardware, "computerSystem"), "Windows 11 Pro 23H2");
  e2e::RunInSession("wine reg add '" + versionKey + "' /v CurrentBuildNumber /t REG_SZ /d " +
                    build + " /f");
  e2e::RunInSession("wine reg delete '" + versionKey + "' /v DisplayVersion /f");
  e2e::RunInSession("wine reg add '" + versionKey + "' /v ProductName /t REG_SZ /d '" + product +
                    "' /f");
}

TEST_F(InventoryTest, DriverListHoldsEveryDriverServiceOfThePrefixWithItsState) {
  // Every service key whose type is a kernel (1), file-system (2) or recognizer (8) driver.
  std::set<std::string> expected;
  std::string key;
  const std::string servicesKey = "HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\";
  for (const std::string& line :
       Lines(Capture("wine reg query 'HKLM\\System\\CurrentControlSet\\Services' /s /v Type"))) {
    if (line.rfind(servicesKey, 0) == 0) key = line.substr(servicesKey.size());
    const std::string marker = "    Type    REG_DWORD    ";
    if (line.rfind(marker, 0) != 0 || key.empty() || key.find('\\') != std::string::npos) continue;
    const unsigned long type = std::stoul(line.substr(marker.size()), nullptr, 16);
    if (type == 1 || type == 2 || type == 8) expected.insert(key);
  }
  ASSERT_FALSE(expected.empty());

  StartApp();
  const MethodReply reply = Call("getDriverList");
  ASSERT_EQ(reply.kind, MethodReply::Kind::kSuccess);
  const auto* drivers = std::get_if<EncodableList>(&reply.value);
  ASSERT_NE(drivers, nullptr);
  std::set<std::string> listed;
  const std::map<int, std::string> stateNames = {
      {1, "Stopped"},          {2, "Start Pending"}, {3, "Stop Pending"}, {4, "Running"},
      {5, "Continue Pending"}, {6, "Pause Pending"}, {7, "Paused"}};
  for (const EncodableValue& value : *drivers) {
    const auto& driver = std::get<EncodableMap>(value);
    ASSERT_EQ(driver.size(), 5u);
    const std::string& name = Field(driver, "name");
    listed.insert(name);
    EXPECT_EQ(Field(driver, "version"), "--");
    // The state as the prefix's service manager tells it to its own command-line tool.
    int state = 0;
    for (const std::string& line : Lines(Capture("wine sc query " + name))) {
      const std::size_t at = line.find("STATE              : ");
      if (at != std::string::npos) state = std::atoi(line.c_str() + at + 21);
    }
    ASSERT_TRUE(stateNames.count(state)) << name;
    EXPECT_EQ(Field(driver, "state"), stateNames.at(state)) << name;
  }
  EXPECT_EQ(listed, expected);
}

// What Linux tells of the firmware's serial: Wine builds its SMBIOS tables from these files.
std::string HostSerial(const char* file) {
  std::string text = driver::ReadFile(std::string("/sys/class/dmi/id/") + file);
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n'; };
  while (!text.empty() && blank(text.back())) text.pop_back();
  while (!text.empty() && blank(text.front())) text.erase(0, 1);
  if (text == "To be filled by O.E.M." || text == "Default string") return {};
  return text;
}

TEST_F(InventoryTest, ProductSerialAnswersTheHostsSerialAsAString) {
  std::string expected = HostSerial("product_serial");
  if (expected.empty()) expected = HostSerial("board_serial");
  StartApp();
  const MethodReply reply = Call("getWindowsProductSerialNumber");
  ASSERT_EQ(reply.kind, MethodReply::Kind::kSuccess);
  ASSERT_TRUE(std::holds_alternative<std::string>(reply.value));
  const std::string& serial = std::get<std::string>(reply.value);
  std::cout << "getWindowsProductSerialNumber under Wine: \"" << serial << "\"\n";
  EXPECT_EQ(serial, expected);
}

// Wall time of each inventory method end to end, next to the time of a getIdleSeconds round
// trip in the same run: printed, never asserted.
TEST_F(InventoryTest, PrintsEachMethodsTimeNextToAnIdleRoundTrip) {
  StartApp();
  using Clock = std::chrono::steady_clock;
  constexpr int kRounds = 5;
  const auto median = [&](const std::string& channel, const std::string& method) {
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
      const auto start = Clock::now();
      const MethodReply reply =
          driver::CallMethod(*engine_, channel, method, std::nullopt, kTimeout);
      times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
      EXPECT_EQ(reply.kind, MethodReply::Kind::kSuccess) << method;
    }
    std::sort(times.begin(), times.end());
    return times[kRounds / 2];
  };
  const double idle = median(e2e::kSystemCommandsChannel, "getIdleSeconds");
  std::printf("median of %d calls through the stand-in (ms): getIdleSeconds %.2f\n", kRounds, idle);
  for (const char* method : {"getHardwareSpecs", "getStartupReportInfo", "getDriverList",
                             "getWindowsProductSerialNumber"}) {
    const double time = median(kDeviceMonitor, method);
    std::printf("  %-30s %8.2f ms = %.1f x getIdleSeconds\n", method, time, time / idle);
  }
}

}  // namespace

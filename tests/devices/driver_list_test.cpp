// The driver list against the simulated service control manager.
#include "devices/driver_list.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "answer_recorder.h"
#include "devices/device_monitor.h"
#include "platform/kernel.h"
#include "platform/services.h"
#include "sim_core.h"
#include "sim_services.h"

namespace {

constexpr std::uint32_t kKernelDriver = 0x01;
constexpr std::uint32_t kFileSystemDriver = 0x02;
constexpr std::uint32_t kRecognizerDriver = 0x08;
constexpr std::uint32_t kShareProcess = 0x20;

sim::Service Driver(std::u16string name, std::optional<std::u16string> display,
                    unsigned long state = platform::kServiceRunning,
                    std::uint32_t type = kKernelDriver) {
  sim::Service service;
  service.name = name;
  service.displayName = std::move(display);
  service.type = type;
  service.state = state;
  service.binaryPath = u"\\SystemRoot\\System32\\drivers\\" + name + u".sys";
  return service;
}

std::string Field(const EncodableValue& driver, const char* key) {
  return std::get<std::string>(std::get<EncodableMap>(driver).at(EncodableValue(key)));
}

class DriverList : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    sim::SetServiceInstalled(false);
  }
  void TearDown() override {
    EXPECT_EQ(sim::OpenServiceHandleCount(), 0);
    EXPECT_EQ(sim::InvalidServiceHandleUses(), 0);
  }
};

// ---- ServiceStateName ----

TEST(ServiceStateName, EachOfTheSevenStatesHasItsText) {
  EXPECT_STREQ(ServiceStateName(1), "Stopped");
  EXPECT_STREQ(ServiceStateName(2), "Start Pending");
  EXPECT_STREQ(ServiceStateName(3), "Stop Pending");
  EXPECT_STREQ(ServiceStateName(4), "Running");
  EXPECT_STREQ(ServiceStateName(5), "Continue Pending");
  EXPECT_STREQ(ServiceStateName(6), "Pause Pending");
  EXPECT_STREQ(ServiceStateName(7), "Paused");
}

TEST(ServiceStateName, StateOutsideOneToSevenIsUnknown) {
  EXPECT_STREQ(ServiceStateName(0), "Unknown");
  EXPECT_STREQ(ServiceStateName(8), "Unknown");
  EXPECT_STREQ(ServiceStateName(0xFFFFFFFFul), "Unknown");
}

// ---- GetDriverList ----

TEST_F(DriverList, EveryElementHasTheFiveStringKeysAndVersionDashes) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  sim::AddService(Driver(u"Ntfs", u"Ntfs", platform::kServiceRunning, kFileSystemDriver));
  sim::AddService(
      Driver(u"Fs_Rec", u"File System Recognizer", platform::kServiceStopped, kRecognizerDriver));
  const EncodableList drivers = GetDriverList();
  ASSERT_EQ(drivers.size(), 3u);
  for (const EncodableValue& driver : drivers) {
    const auto& map = std::get<EncodableMap>(driver);
    EXPECT_EQ(map.size(), 5u);
    EXPECT_EQ(Field(driver, "version"), "--");
  }
}

TEST_F(DriverList, OnlyDriverServicesAreListedWithTheirFields) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  sim::AddService(Driver(u"Dnscache", u"DNS Client", platform::kServiceRunning, kShareProcess));
  const EncodableList drivers = GetDriverList();
  ASSERT_EQ(drivers.size(), 1u);
  EXPECT_EQ(Field(drivers[0], "name"), "disk");
  EXPECT_EQ(Field(drivers[0], "description"), "Disk Driver");
  EXPECT_EQ(Field(drivers[0], "state"), "Running");
  EXPECT_EQ(Field(drivers[0], "pathname"), "\\SystemRoot\\System32\\drivers\\disk.sys");
}

TEST_F(DriverList, StoppedDriverIsListedAsStopped) {
  sim::AddService(Driver(u"cdrom", u"CD-ROM Driver", platform::kServiceStopped));
  const EncodableList drivers = GetDriverList();
  ASSERT_EQ(drivers.size(), 1u);
  EXPECT_EQ(Field(drivers[0], "state"), "Stopped");
}

TEST_F(DriverList, StateOutsideTheKnownOnesIsUnknown) {
  sim::AddService(Driver(u"odd", u"Odd Driver", 9));
  EXPECT_EQ(Field(GetDriverList().at(0), "state"), "Unknown");
}

TEST_F(DriverList, NullDisplayNameRepeatsTheShortName) {
  sim::AddService(Driver(u"nodisplay", std::nullopt));
  EXPECT_EQ(Field(GetDriverList().at(0), "description"), "nodisplay");
}

TEST_F(DriverList, EmptyDisplayNameStaysEmpty) {
  sim::AddService(Driver(u"emptydisplay", u""));
  EXPECT_EQ(Field(GetDriverList().at(0), "description"), "");
}

TEST_F(DriverList, DriverThatCannotBeOpenedIsListedWithEmptyPath) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  sim::FailOpenService(platform::kServiceQueryConfig, platform::kErrorAccessDenied);
  const EncodableList drivers = GetDriverList();
  ASSERT_EQ(drivers.size(), 1u);
  EXPECT_EQ(Field(drivers[0], "pathname"), "");
  EXPECT_EQ(Field(drivers[0], "name"), "disk");
  EXPECT_EQ(Field(drivers[0], "description"), "Disk Driver");
  EXPECT_EQ(Field(drivers[0], "state"), "Running");
  EXPECT_EQ(Field(drivers[0], "version"), "--");
}

TEST_F(DriverList, NullBinaryPathGivesEmptyPath) {
  sim::Service service = Driver(u"nopath", u"No Path");
  service.binaryPath = std::nullopt;
  sim::AddService(service);
  EXPECT_EQ(Field(GetDriverList().at(0), "pathname"), "");
}

TEST_F(DriverList, PathIsTakenWithoutExpandingItsPrefix) {
  sim::Service service = Driver(u"acpi", u"ACPI Driver");
  service.binaryPath = u"System32\\drivers\\ACPI.sys";
  sim::AddService(service);
  EXPECT_EQ(Field(GetDriverList().at(0), "pathname"), "System32\\drivers\\ACPI.sys");
}

TEST_F(DriverList, NonAsciiNamesCrossAsUtf8) {
  sim::AddService(Driver(u"wd", u"\u78C1\u76D8\u9A71\u52A8"));
  EXPECT_EQ(Field(GetDriverList().at(0), "description"),
            "\xE7\xA3\x81\xE7\x9B\x98\xE9\xA9\xB1\xE5\x8A\xA8");
}

TEST_F(DriverList, ManagerThatCannotBeOpenedGivesTheEmptyList) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  sim::FailOpenSCManager(platform::kErrorAccessDenied);
  EXPECT_TRUE(GetDriverList().empty());
}

TEST_F(DriverList, NoDriversAtAllGivesTheEmptyList) { EXPECT_TRUE(GetDriverList().empty()); }

TEST_F(DriverList, ADriverAddedBetweenTheTwoCallsFailsTheEnumerationAndGivesEmpty) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  // The hook runs as the second call is recorded, before it is answered.
  sim::SetCallHook([](const std::string& entry) {
    if (entry.starts_with("EnumServicesStatusExW") && !entry.ends_with(" 0")) {
      sim::AddService(Driver(u"latecomer", u"Late Driver"));
    }
  });
  EXPECT_TRUE(GetDriverList().empty());
  sim::SetCallHook(nullptr);
}

TEST_F(DriverList, EnumerationAsksForDriversInAnyStateWithTheSizeFirst) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  GetDriverList();
  const auto calls = sim::JournalEntries("EnumServicesStatusExW");
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0], "EnumServicesStatusExW 11 3 0");
  EXPECT_EQ(sim::JournalEntries("OpenSCManagerW").at(0), "OpenSCManagerW 4");
  EXPECT_EQ(sim::JournalEntries("OpenServiceW").at(0), "OpenServiceW disk 1");
}

TEST_F(DriverList, ListKeepsTheManagersOrder) {
  sim::AddService(Driver(u"b", u"B"));
  sim::AddService(Driver(u"a", u"A"));
  sim::AddService(Driver(u"c", u"C"));
  // The simulated manager answers by name, as Windows does.
  const EncodableList drivers = GetDriverList();
  ASSERT_EQ(drivers.size(), 3u);
  EXPECT_EQ(Field(drivers[0], "name"), "a");
  EXPECT_EQ(Field(drivers[1], "name"), "b");
  EXPECT_EQ(Field(drivers[2], "name"), "c");
}

TEST_F(DriverList, ChannelAnswersTheListWithSuccess) {
  sim::AddService(Driver(u"disk", u"Disk Driver"));
  Answer answer;
  HandleDeviceMonitorCall(MethodCall("getDriverList", nullptr), Recorder(answer));
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(std::get<EncodableList>(*answer.value).size(), 1u);
}

}  // namespace

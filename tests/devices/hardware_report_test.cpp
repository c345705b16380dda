// The hardware report against the simulated device tree, registry and memory status.
#include "devices/hardware_report.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "answer_recorder.h"
#include "base/text.h"
#include "devices/device_monitor.h"
#include "platform/registry.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_registry.h"
#include "sim_setupapi.h"

namespace {

using platform::kHkeyLocalMachine;

constexpr std::u16string_view kCurrentVersion = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr std::u16string_view kProcessor = u"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
constexpr std::uint64_t kGiB = 1ULL << 30;
constexpr unsigned long kErrorNotEnoughMemory = 8;

class HardwareReport : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
  void TearDown() override {
    EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u);
    EXPECT_EQ(sim::InvalidDeviceInfoListUses(), 0);
    EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u);
  }

  // A present device of the class; a name left nullopt is a property that is not set.
  static void AddDevice(const Guid& setupClass, std::optional<std::u16string> friendlyName,
                        std::optional<std::u16string> description, bool present = true) {
    static int serial = 0;
    sim::Device device;
    device.instanceId = u"PCI\\VEN_TEST&DEV_" + AsciiToWide(std::to_string(++serial));
    device.setupClass = setupClass;
    device.friendlyName = std::move(friendlyName);
    device.description = std::move(description);
    device.present = present;
    ASSERT_NE(sim::AddDevice(device), 0u);
  }

  static void SetVersion(std::u16string_view product, std::u16string_view display,
                         std::u16string_view build) {
    sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductName", product);
    sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"DisplayVersion", display);
    sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber", build);
  }

  static std::string Key(const EncodableMap& reply, const char* key) {
    return std::get<std::string>(reply.at(EncodableValue(key)));
  }
};

// ---- FirstClassDeviceName ----

TEST_F(HardwareReport, OnlyBasicDisplayAdapterGivesEmptyGraphicsCard) {
  AddDevice(kDisplayAdapterClass, std::nullopt, u"Microsoft Basic Display Adapter");
  EXPECT_EQ(FirstClassDeviceName(kDisplayAdapterClass, kDisplayExclusions), u"");
  EXPECT_EQ(Key(GetHardwareSpecs(), "graphicsCard"), "");
}

TEST_F(HardwareReport, VirtualDiskInAnyCaseIsSkippedForTheNext) {
  AddDevice(kDiskDriveClass, u"Msft VIRTUAL Disk", u"Disk drive");
  AddDevice(kDiskDriveClass, u"Samsung SSD 980 PRO 1TB", u"Disk drive");
  EXPECT_EQ(FirstClassDeviceName(kDiskDriveClass, kDiskExclusions), u"Samsung SSD 980 PRO 1TB");
}

TEST_F(HardwareReport, DeviceWithNeitherNameNorDescriptionDoesNotEndTheWalk) {
  AddDevice(kSoundClass, std::nullopt, std::nullopt);
  AddDevice(kSoundClass, u"", u"");
  AddDevice(kSoundClass, std::nullopt, u"Realtek High Definition Audio");
  EXPECT_EQ(FirstClassDeviceName(kSoundClass, kSoundExclusions), u"Realtek High Definition Audio");
}

TEST_F(HardwareReport, FriendlyNameIsPreferredAndKeepsItsLetterCase) {
  AddDevice(kMonitorClass, u"DELL U2720Q", u"Generic PnP Monitor");
  EXPECT_EQ(FirstClassDeviceName(kMonitorClass, kMonitorExclusions), u"DELL U2720Q");
}

TEST_F(HardwareReport, ExcludedFriendlyNameSkipsTheDeviceEvenWithAGoodDescription) {
  // The description is only a stand-in for a missing friendly name, never a second chance.
  AddDevice(kSoundClass, u"Legacy Audio Drivers", u"Realtek Audio");
  EXPECT_EQ(FirstClassDeviceName(kSoundClass, kSoundExclusions), u"");
}

TEST_F(HardwareReport, TapInsideALongerWordDisqualifiesANetworkAdapter) {
  AddDevice(kNetworkAdapterClass, u"Startap Ethernet", std::nullopt);
  AddDevice(kNetworkAdapterClass, u"WAN Miniport (IP)", std::nullopt);
  AddDevice(kNetworkAdapterClass, u"Intel(R) Wi-Fi 6 AX201", std::nullopt);
  EXPECT_EQ(FirstClassDeviceName(kNetworkAdapterClass, kNetworkExclusions),
            u"Intel(R) Wi-Fi 6 AX201");
}

TEST_F(HardwareReport, TheFirstPassingDeviceWinsWithoutRanking) {
  AddDevice(kDisplayAdapterClass, u"Intel(R) UHD Graphics 770", std::nullopt);
  AddDevice(kDisplayAdapterClass, u"NVIDIA GeForce RTX 4090", std::nullopt);
  EXPECT_EQ(FirstClassDeviceName(kDisplayAdapterClass, kDisplayExclusions),
            u"Intel(R) UHD Graphics 770");
}

TEST_F(HardwareReport, DevicesThatAreNotPresentAreNotListed) {
  AddDevice(kDiskDriveClass, u"Unplugged USB Disk", std::nullopt, /*present=*/false);
  AddDevice(kDiskDriveClass, u"WDC WD10EZEX", std::nullopt);
  EXPECT_EQ(FirstClassDeviceName(kDiskDriveClass, kDiskExclusions), u"WDC WD10EZEX");
}

TEST_F(HardwareReport, ARefusedListGivesEmptyForThatClassOnly) {
  AddDevice(kDiskDriveClass, u"WDC WD10EZEX", std::nullopt);
  AddDevice(kMonitorClass, u"DELL U2720Q", std::nullopt);
  sim::RefuseDeviceInfoList(kDiskDriveClass, kErrorNotEnoughMemory);
  const EncodableMap reply = GetHardwareSpecs();
  EXPECT_EQ(Key(reply, "hardDisk"), "");
  EXPECT_EQ(Key(reply, "monitor"), "DELL U2720Q");
}

TEST_F(HardwareReport, StorageSpacesDiskIsSkipped) {
  AddDevice(kDiskDriveClass, u"Microsoft Storage Spaces Device", std::nullopt);
  EXPECT_EQ(FirstClassDeviceName(kDiskDriveClass, kDiskExclusions), u"");
}

// ---- WindowsVersionText ----

TEST_F(HardwareReport, Build22631MakesWindows10ProWindows11ProWithDisplayVersion) {
  SetVersion(u"Windows 10 Pro", u"23H2", u"22631");
  EXPECT_EQ(WindowsVersionText(), u"Windows 11 Pro 23H2");
}

TEST_F(HardwareReport, BuildBelow22000KeepsWindows10) {
  SetVersion(u"Windows 10 Pro", u"22H2", u"19045");
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Pro 22H2");
  SetVersion(u"Windows 10 Pro", u"", u"21999");
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Pro");
}

TEST_F(HardwareReport, Build22000ExactlyIsWindows11) {
  SetVersion(u"Windows 10 Home", u"", u"22000");
  EXPECT_EQ(WindowsVersionText(), u"Windows 11 Home");
}

TEST_F(HardwareReport, EmptyProductNameWithDisplayVersionStartsWithABlank) {
  SetVersion(u"", u"23H2", u"22631");
  EXPECT_EQ(WindowsVersionText(), u" 23H2");
}

TEST_F(HardwareReport, DisplayVersionAlreadyInTheNameIsNotAddedTwice) {
  SetVersion(u"Windows 10 Enterprise 22H2", u"22H2", u"19045");
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Enterprise 22H2");
}

TEST_F(HardwareReport, EmptyBuildNumberLeavesWindows10AsItIs) {
  SetVersion(u"Windows 10 Pro", u"", u"");
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Pro");
}

TEST_F(HardwareReport, BuildNumberWithTrailingLettersParsesUpToThem) {
  SetVersion(u"Windows 10 Pro", u"", u"22631abc");
  EXPECT_EQ(WindowsVersionText(), u"Windows 11 Pro");
  SetVersion(u"Windows 10 Pro", u"", u"19045.3693");
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Pro");
}

TEST_F(HardwareReport, BuildNumberStartingWithALetterCountsAsZero) {
  SetVersion(u"Windows 10 Pro", u"", u"x22631");
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Pro");
}

TEST_F(HardwareReport, OnlyTheFirstWindows10IsReplaced) {
  SetVersion(u"Windows 10 Pro (Windows 10)", u"", u"22631");
  EXPECT_EQ(WindowsVersionText(), u"Windows 11 Pro (Windows 10)");
}

TEST_F(HardwareReport, ANameWithoutWindows10IsLeftAlone) {
  SetVersion(u"Windows Server 2022 Standard", u"21H2", u"22000");
  EXPECT_EQ(WindowsVersionText(), u"Windows Server 2022 Standard 21H2");
}

TEST_F(HardwareReport, BuildNumberOfTheWrongTypeCountsAsEmpty) {
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductName", u"Windows 10 Pro");
  sim::SetRegistryDword(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber", 22631);
  EXPECT_EQ(WindowsVersionText(), u"Windows 10 Pro");
}

// ---- FormatTotalMemory ----

TEST_F(HardwareReport, OneAndAHalfGiBReportsTwoGb) {
  sim::SetTotalPhysicalMemory(kGiB + kGiB / 2);
  EXPECT_EQ(FormatTotalMemory(), u"2 GB");
}

TEST_F(HardwareReport, LessThanHalfAGiBReportsZeroGb) {
  sim::SetTotalPhysicalMemory(kGiB / 2 - 1);
  EXPECT_EQ(FormatTotalMemory(), u"0 GB");
}

TEST_F(HardwareReport, SevenPointNineGiBReportsEightGb) {
  sim::SetTotalPhysicalMemory(kGiB * 79 / 10);
  EXPECT_EQ(FormatTotalMemory(), u"8 GB");
}

TEST_F(HardwareReport, JustBelowTheHalfRoundsDown) {
  sim::SetTotalPhysicalMemory(kGiB * 7 + kGiB / 2 - 1);
  EXPECT_EQ(FormatTotalMemory(), u"7 GB");
}

TEST_F(HardwareReport, ZeroTotalOrFailedStatusGivesEmpty) {
  sim::SetTotalPhysicalMemory(0);
  EXPECT_EQ(FormatTotalMemory(), u"");
  sim::SetTotalPhysicalMemory(std::nullopt);
  EXPECT_EQ(FormatTotalMemory(), u"");
}

// ---- GetHardwareSpecs ----

TEST_F(HardwareReport, ReplyHasExactlyTheTenKeysAllStrings) {
  const EncodableMap reply = GetHardwareSpecs();
  ASSERT_EQ(reply.size(), 10u);
  for (const char* key : {"processor", "computerSystem", "memory", "hardDisk", "graphicsCard",
                          "monitor", "soundCard", "networkCard", "productId", "registeredOwner"}) {
    const auto found = reply.find(EncodableValue(key));
    ASSERT_NE(found, reply.end()) << key;
    EXPECT_TRUE(std::holds_alternative<std::string>(found->second)) << key;
  }
}

TEST_F(HardwareReport, EveryKeyComesFromItsSource) {
  sim::SetRegistryString(kHkeyLocalMachine, kProcessor, u"ProcessorNameString",
                         u"  Intel(R) Core(TM) i7-12700 ");
  SetVersion(u"Windows 10 Pro", u"23H2", u"22631");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductId",
                         u"00330-80000-00000-AA123");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"RegisteredOwner", u"\u5F20\u4E09");
  sim::SetTotalPhysicalMemory(kGiB * 16 - 300 * 1024 * 1024);
  AddDevice(kDiskDriveClass, u"Samsung SSD 980", std::nullopt);
  AddDevice(kDisplayAdapterClass, std::nullopt, u"NVIDIA GeForce RTX 3060");
  AddDevice(kMonitorClass, std::nullopt, u"Generic PnP Monitor");
  AddDevice(kSoundClass, u"Realtek(R) Audio", std::nullopt);
  AddDevice(kNetworkAdapterClass, u"Intel(R) Ethernet Connection I219-V", std::nullopt);

  const EncodableMap reply = GetHardwareSpecs();
  EXPECT_EQ(Key(reply, "processor"), "  Intel(R) Core(TM) i7-12700 ");  // blanks as they stand
  EXPECT_EQ(Key(reply, "computerSystem"), "Windows 11 Pro 23H2");
  EXPECT_EQ(Key(reply, "memory"), "16 GB");
  EXPECT_EQ(Key(reply, "hardDisk"), "Samsung SSD 980");
  EXPECT_EQ(Key(reply, "graphicsCard"), "NVIDIA GeForce RTX 3060");
  EXPECT_EQ(Key(reply, "monitor"), "Generic PnP Monitor");
  EXPECT_EQ(Key(reply, "soundCard"), "Realtek(R) Audio");
  EXPECT_EQ(Key(reply, "networkCard"), "Intel(R) Ethernet Connection I219-V");
  EXPECT_EQ(Key(reply, "productId"), "00330-80000-00000-AA123");
  EXPECT_EQ(Key(reply, "registeredOwner"), "\xE5\xBC\xA0\xE4\xB8\x89");
}

TEST_F(HardwareReport, ClassListsAreReadInTheDocumentedOrder) {
  GetHardwareSpecs();
  // The five walks, disk, display, monitor, sound, network, each list made and ended once.
  EXPECT_EQ(sim::DeviceInfoListsMade(), 5u);
}

TEST_F(HardwareReport, OneFailedRegistrySourceLeavesOnlyItsKeyEmpty) {
  sim::SetRegistryString(kHkeyLocalMachine, kProcessor, u"ProcessorNameString", u"AMD Ryzen 7");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductId", u"P-1");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"RegisteredOwner", u"Owner");
  sim::FailRegistryCall(
      sim::RegistryFailure(sim::RegistryCall::kRegGetValueW, platform::kErrorAccessDenied)
          .OnValue(u"ProductId")
          .Always());
  const EncodableMap reply = GetHardwareSpecs();
  EXPECT_EQ(Key(reply, "processor"), "AMD Ryzen 7");
  EXPECT_EQ(Key(reply, "productId"), "");
  EXPECT_EQ(Key(reply, "registeredOwner"), "Owner");
}

TEST_F(HardwareReport, ProcessorValueOfTheWrongTypeGivesEmpty) {
  sim::SetRegistryDword(kHkeyLocalMachine, kProcessor, u"ProcessorNameString", 7);
  EXPECT_EQ(Key(GetHardwareSpecs(), "processor"), "");
}

TEST_F(HardwareReport, ProcessorValueWithoutTerminatorEndsAtTheValuesEnd) {
  const std::u16string name = u"ARM Cortex";
  std::vector<std::uint8_t> bytes(name.size() * 2);
  std::memcpy(bytes.data(), name.data(), bytes.size());
  sim::SetRegistryValue(kHkeyLocalMachine, kProcessor, u"ProcessorNameString", platform::kRegSz,
                        bytes);
  EXPECT_EQ(Key(GetHardwareSpecs(), "processor"), "ARM Cortex");
}

TEST_F(HardwareReport, ChannelAnswersTheMapWithSuccess) {
  sim::SetTotalPhysicalMemory(kGiB * 8);
  Answer answer;
  HandleDeviceMonitorCall(MethodCall("getHardwareSpecs", nullptr), Recorder(answer));
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  ASSERT_EQ(answer.count, 1);
  const auto& reply = std::get<EncodableMap>(*answer.value);
  EXPECT_EQ(reply.size(), 10u);
  EXPECT_EQ(Key(reply, "memory"), "8 GB");
}

}  // namespace

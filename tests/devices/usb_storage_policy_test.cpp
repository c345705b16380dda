#include "devices/usb_storage_policy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/kernel.h"
#include "sim_core.h"
#include "sim_registry.h"
#include "sim_setupapi.h"

namespace {

using namespace platform;

constexpr std::u16string_view kUsbStor = u"SYSTEM\\CurrentControlSet\\Services\\USBSTOR";
constexpr std::u16string_view kUsbStorJournal =
    u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\USBSTOR";
constexpr std::u16string_view kStick =
    u"USBSTOR\\DISK&VEN_KINGSTON&PROD_DATATRAVELER&REV_1.00\\0001";
constexpr std::u16string_view kStickParent = u"USB\\VID_0951&PID_1666\\0001";
// GUID_DEVCLASS_DISKDRIVE and GUID_DEVCLASS_USB.
constexpr Guid kDiskDriveClass = {
    0x4D36E967, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid kUsbClass = {
    0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

bool Flag(const UsbStoragePolicyReply& reply, const char* key) {
  return std::get<bool>(reply.at(EncodableValue(key)));
}
std::int32_t StartValue(const UsbStoragePolicyReply& reply) {
  return std::get<std::int32_t>(reply.at(EncodableValue("startValue")));
}
std::int64_t ErrorCode(const UsbStoragePolicyReply& reply) {
  return std::get<std::int64_t>(reply.at(EncodableValue("errorCode")));
}

std::vector<std::string> RemovalCalls() { return sim::JournalEntries("CM_"); }

class UsbStoragePolicy : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
  void TearDown() override {
    EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u) << "every key opened is closed again";
    EXPECT_EQ(sim::InvalidRegistryKeyUses(), 0);
    EXPECT_EQ(sim::OpenDeviceInfoListCount(), 0u) << "every device list is destroyed again";
  }

  static void SetStart(std::uint32_t value) {
    sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", value);
  }
  static std::uint32_t StoredStart() {
    const auto stored = sim::RegistryValue(kHkeyLocalMachine, kUsbStor, u"Start");
    EXPECT_TRUE(stored.has_value());
    if (!stored || stored->data.size() != 4) return 0xFFFFFFFF;
    return static_cast<std::uint32_t>(stored->data[0]) | (stored->data[1] << 8) |
           (stored->data[2] << 16) | (static_cast<std::uint32_t>(stored->data[3]) << 24);
  }
  // A stick as Windows shows it: the USB device and the disk below it, driven by USBSTOR.
  static void AttachStick() {
    sim::Device usb;
    usb.instanceId = kStickParent;
    usb.setupClass = kUsbClass;
    usb.description = u"USB Mass Storage Device";
    usb.service = u"USBSTOR";
    usb.className = u"USB";
    ASSERT_NE(sim::AddDevice(usb), 0u);
    sim::Device disk;
    disk.instanceId = kStick;
    disk.parentId = kStickParent;
    disk.setupClass = kDiskDriveClass;
    disk.friendlyName = u"Kingston DataTraveler 3.0 USB Device";
    disk.description = u"Disk drive";
    disk.manufacturer = u"(Standard disk drives)";
    disk.service = u"disk";
    disk.className = u"DiskDrive";
    ASSERT_NE(sim::AddDevice(disk), 0u);
  }
};

// ---- The reply ----

TEST_F(UsbStoragePolicy, ReplyHoldsSixEntriesOfTheirOwnTypes) {
  const UsbStoragePolicyReply reply = EncodeUsbStoragePolicy(true, false, 7, 1234567890123, true);
  ASSERT_EQ(reply.size(), 6u);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "available"));
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 7);
  EXPECT_EQ(ErrorCode(reply), 1234567890123);
  EXPECT_TRUE(Flag(reply, "disconnectedCurrent"));
}

TEST_F(UsbStoragePolicy, OnlyStartFourIsDisabled) {
  EXPECT_TRUE(Flag(EncodeUsbStoragePolicy(true, true, 4, 0, false), "disabled"));
  EXPECT_FALSE(Flag(EncodeUsbStoragePolicy(true, true, 3, 0, false), "disabled"));
  EXPECT_FALSE(Flag(EncodeUsbStoragePolicy(true, true, 2, 0, false), "disabled"));
  EXPECT_FALSE(Flag(EncodeUsbStoragePolicy(true, true, 0, 0, false), "disabled"));
}

// ---- Reading ----

TEST_F(UsbStoragePolicy, StartThreeReadsAsEnabled) {
  SetStart(3);
  const UsbStoragePolicyReply reply = GetUsbStoragePolicy();
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "available"));
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 3);
  EXPECT_EQ(ErrorCode(reply), 0);
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
}

TEST_F(UsbStoragePolicy, StartFourReadsAsDisabled) {
  SetStart(4);
  const UsbStoragePolicyReply reply = GetUsbStoragePolicy();
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 4);
}

TEST_F(UsbStoragePolicy, StartTwoReadsAsNotDisabled) {
  SetStart(2);
  const UsbStoragePolicyReply reply = GetUsbStoragePolicy();
  EXPECT_TRUE(Flag(reply, "available"));
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 2);
}

TEST_F(UsbStoragePolicy, MissingKeyReadsAsUnavailableWithItsCode) {
  const UsbStoragePolicyReply reply = GetUsbStoragePolicy();
  EXPECT_FALSE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "available"));
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 0);
  EXPECT_EQ(ErrorCode(reply), static_cast<std::int64_t>(kErrorFileNotFound));
}

TEST_F(UsbStoragePolicy, StartThatIsNoNumberIsUnavailable) {
  sim::SetRegistryString(kHkeyLocalMachine, kUsbStor, u"Start", u"4");
  const UsbStoragePolicyReply reply = GetUsbStoragePolicy();
  EXPECT_FALSE(Flag(reply, "available"));
  EXPECT_EQ(StartValue(reply), 0);
  EXPECT_EQ(ErrorCode(reply), static_cast<std::int64_t>(kErrorUnsupportedType));
}

TEST_F(UsbStoragePolicy, ReadingWritesNothing) {
  SetStart(3);
  GetUsbStoragePolicy();
  EXPECT_TRUE(sim::RegistryWrites().empty());
}

// ---- Writing ----

TEST_F(UsbStoragePolicy, MissingKeyIsNeitherMadeNorWritten) {
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  EXPECT_FALSE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "available"));
  EXPECT_EQ(StartValue(reply), 0);
  EXPECT_EQ(ErrorCode(reply), static_cast<std::int64_t>(kErrorFileNotFound));
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
  EXPECT_TRUE(sim::RegistryWrites().empty());
  EXPECT_FALSE(sim::RegistryKeyExists(kHkeyLocalMachine, kUsbStor));
}

TEST_F(UsbStoragePolicy, DisablingWritesFourAsADword) {
  SetStart(3);
  SetUsbStoragePolicy(true, false);
  const std::vector<sim::RegistryWrite> writes = sim::RegistryWrites();
  ASSERT_EQ(writes.size(), 1u);
  EXPECT_EQ(writes[0].call, sim::RegistryCall::kRegSetValueExW);
  EXPECT_EQ(writes[0].keyPath, kUsbStorJournal);
  EXPECT_EQ(writes[0].valueName, u"Start");
  EXPECT_EQ(writes[0].type, kRegDword);
  EXPECT_EQ(writes[0].data, (std::vector<std::uint8_t>{4, 0, 0, 0}));
}

TEST_F(UsbStoragePolicy, ReplyAfterDisablingReportsFourReadBack) {
  SetStart(3);
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, false);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "available"));
  EXPECT_TRUE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 4);
  EXPECT_EQ(ErrorCode(reply), 0);
  EXPECT_EQ(StoredStart(), 4u);
}

TEST_F(UsbStoragePolicy, EnablingWritesThree) {
  SetStart(4);
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(false, false);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(StartValue(reply), 3);
  EXPECT_EQ(StoredStart(), 3u);
}

TEST_F(UsbStoragePolicy, TheSameValueIsWrittenAgain) {
  SetStart(4);
  SetUsbStoragePolicy(true, false);
  EXPECT_EQ(sim::RegistryWrites().size(), 1u);
  EXPECT_EQ(StoredStart(), 4u);
}

TEST_F(UsbStoragePolicy, ReplyShowsWhatTheRegistryHoldsAfterTheWrite) {
  SetStart(3);
  AttachStick();
  // Whoever changes the value while the stick is taken off wins: the reply reads it back.
  sim::SetCallHook([](const std::string& entry) {
    if (entry.rfind("CM_Request_Device_EjectW", 0) == 0) SetStart(2);
  });
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  sim::SetCallHook(nullptr);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_EQ(StartValue(reply), 2);
  EXPECT_FALSE(Flag(reply, "disabled"));
}

TEST_F(UsbStoragePolicy, WithoutWriteRightsTheOldNumberStands) {
  SetStart(3);
  sim::DenyRegistryAccess(kHkeyLocalMachine, kUsbStor, kKeySetValue);
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  EXPECT_FALSE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "available"));
  EXPECT_EQ(StartValue(reply), 3);
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(ErrorCode(reply), static_cast<std::int64_t>(kErrorAccessDenied));
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
  EXPECT_EQ(StoredStart(), 3u);
}

TEST_F(UsbStoragePolicy, WithoutWriteRightsDisabledComesFromTheOldNumber) {
  SetStart(4);
  sim::DenyRegistryAccess(kHkeyLocalMachine, kUsbStor, kKeySetValue);
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(false, true);
  EXPECT_FALSE(Flag(reply, "success"));
  EXPECT_EQ(StartValue(reply), 4);
  EXPECT_TRUE(Flag(reply, "disabled"));
  EXPECT_NE(ErrorCode(reply), 0);
}

TEST_F(UsbStoragePolicy, RefusedWriteTouchesNoDevice) {
  SetStart(3);
  AttachStick();
  sim::FailRegistryCall(
      sim::RegistryFailure(sim::RegistryCall::kRegSetValueExW, 1021).OnValue(u"Start"));
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  EXPECT_FALSE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "available"));
  EXPECT_EQ(ErrorCode(reply), 1021);
  EXPECT_TRUE(RemovalCalls().empty());
  EXPECT_TRUE(sim::DeviceExists(kStick));
}

TEST_F(UsbStoragePolicy, FailedReadBackKeepsSuccess) {
  SetStart(3);
  sim::FailRegistryCall(
      sim::RegistryFailure(sim::RegistryCall::kRegGetValueW, kErrorNotEnoughMemory).After(1));
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, false);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "available"));
  EXPECT_EQ(StartValue(reply), 0);
  EXPECT_FALSE(Flag(reply, "disabled"));
  EXPECT_EQ(ErrorCode(reply), static_cast<std::int64_t>(kErrorNotEnoughMemory));
  EXPECT_EQ(StoredStart(), 4u);
}

// ---- Attached storage ----

TEST_F(UsbStoragePolicy, DisablingWithoutDisconnectCurrentTouchesNoDevice) {
  SetStart(3);
  AttachStick();
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, false);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
  EXPECT_TRUE(RemovalCalls().empty());
  EXPECT_TRUE(sim::DeviceExists(kStick));
}

TEST_F(UsbStoragePolicy, EnablingWithDisconnectCurrentTouchesNoDevice) {
  SetStart(4);
  AttachStick();
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(false, true);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
  EXPECT_TRUE(RemovalCalls().empty());
  EXPECT_TRUE(sim::DeviceExists(kStick));
}

TEST_F(UsbStoragePolicy, DisablingWithDisconnectCurrentTakesTheStickOff) {
  SetStart(3);
  AttachStick();
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_TRUE(Flag(reply, "disconnectedCurrent"));
  EXPECT_EQ(StartValue(reply), 4);
  EXPECT_TRUE(Flag(reply, "disabled"));
  ASSERT_FALSE(RemovalCalls().empty());
  EXPECT_EQ(RemovalCalls().front().rfind("CM_Request_Device_EjectW", 0), 0u);
  EXPECT_FALSE(sim::DeviceExists(kStick));
}

TEST_F(UsbStoragePolicy, WithNoAttachedStorageNothingIsDisconnected) {
  SetStart(3);
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
  EXPECT_TRUE(RemovalCalls().empty());
}

TEST_F(UsbStoragePolicy, StickThatRefusesEveryRemovalLeavesSuccessAlone) {
  SetStart(3);
  AttachStick();
  const sim::RemovalAnswer veto{kCrRemoveVetoed, sim::kPnpVetoOutstandingOpen, u"explorer.exe"};
  // Whichever of the two carries the storage words is the one chosen; both refuse.
  for (const std::u16string_view id : {kStickParent, kStick}) {
    sim::ScriptEject(id, veto);
    sim::ScriptDisable(id, kCrFailure);
    sim::ScriptSubtreeRemoval(id, veto);
  }
  const UsbStoragePolicyReply reply = SetUsbStoragePolicy(true, true);
  EXPECT_TRUE(Flag(reply, "success"));
  EXPECT_FALSE(Flag(reply, "disconnectedCurrent"));
  EXPECT_EQ(StartValue(reply), 4);
  EXPECT_EQ(RemovalCalls().size(), 3u);
}

}  // namespace

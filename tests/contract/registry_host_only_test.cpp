// What the simulated registry adds for tests, which no Wine prefix can show: keys whose security
// refuses rights (Wine runs every program as the prefix's administrator), scripted failures, the
// journal of writes and the count of open handles.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/owners.h"
#include "platform/registry.h"
#include "sim_core.h"
#include "sim_registry.h"

namespace {

using namespace platform;
using sim::RegistryCall;
using sim::RegistryView;

constexpr std::u16string_view kUsbStor = u"SYSTEM\\CurrentControlSet\\Services\\USBSTOR";

// A handle value that no call gave out.
RegistryKey Unopened(std::uintptr_t value) {
  return reinterpret_cast<RegistryKey>(value);  // NOLINT(performance-no-int-to-ptr)
}

class SimulatedRegistry : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

long OpenStatus(RegistryKey root, std::u16string_view path, std::uint32_t access) {
  RegistryKey key = nullptr;
  const long status = RegOpenKeyExW(root, path, 0, access, &key);
  if (status == kErrorSuccess) RegCloseKey(key);
  return status;
}

TEST_F(SimulatedRegistry, AKeyThatRefusesWritingOpensForReadingOnly) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::DenyRegistryAccess(kHkeyLocalMachine, kUsbStor, kKeySetValue);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kUsbStor, kKeySetValue | kKeyWow6464Key),
            kErrorAccessDenied);
  EXPECT_EQ(OpenStatus(kHkeyLocalMachine, kUsbStor, kKeyRead), kErrorSuccess);
  RegistryKey key = nullptr;
  EXPECT_EQ(RegCreateKeyExW(kHkeyLocalMachine, kUsbStor, 0, kKeyAllAccess, &key, nullptr),
            kErrorAccessDenied);
  EXPECT_EQ(key, nullptr);
}

TEST_F(SimulatedRegistry, AKeyThatRefusesSubkeysRefusesTheirCreation) {
  sim::DenyRegistryAccess(kHkeyLocalMachine, u"SOFTWARE\\Locked", kKeyCreateSubKey);
  RegistryKey key = nullptr;
  EXPECT_EQ(
      RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\Locked\\New", 0, kKeyRead, &key, nullptr),
      kErrorAccessDenied);
  EXPECT_FALSE(sim::RegistryKeyExists(kHkeyLocalMachine, u"SOFTWARE\\Locked\\New"));
}

TEST_F(SimulatedRegistry, AScriptedFailureHitsOnlyTheCallsItNames) {
  sim::SetRegistryString(kHkeyCurrentUser, u"Software\\A", u"Name", u"a");
  sim::SetRegistryString(kHkeyCurrentUser, u"Software\\B", u"Name", u"b");
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegOpenKeyExW, kErrorAccessDenied)
                            .OnKey(u"hkcu\\software\\b")
                            .Always());
  EXPECT_EQ(OpenStatus(kHkeyCurrentUser, u"Software\\A", kKeyRead), kErrorSuccess);
  EXPECT_EQ(OpenStatus(kHkeyCurrentUser, u"Software\\B", kKeyRead), kErrorAccessDenied);
  EXPECT_EQ(OpenStatus(kHkeyCurrentUser, u"Software\\B", kKeyRead), kErrorAccessDenied);
  std::uint32_t size = 0;
  EXPECT_EQ(
      RegGetValueW(kHkeyCurrentUser, u"Software\\B", u"Name", kRrfRtRegSz, nullptr, nullptr, &size),
      kErrorSuccess)
      << "each call is scripted under its own name";
}

TEST_F(SimulatedRegistry, AScriptedFailureCanLetCallsThroughFirstAndEnd) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegGetValueW, kErrorNotEnoughMemory)
                            .OnValue(u"start")
                            .After(1)
                            .Times(1));
  std::vector<long> answers;
  for (int i = 0; i < 3; ++i) {
    std::uint32_t value = 0;
    std::uint32_t size = 4;
    answers.push_back(RegGetValueW(kHkeyLocalMachine, kUsbStor, u"Start",
                                   kRrfRtRegDword | kRrfSubkeyWow6464Key, nullptr, &value, &size));
  }
  EXPECT_EQ(answers, (std::vector<long>{kErrorSuccess, kErrorNotEnoughMemory, kErrorSuccess}));
}

TEST_F(SimulatedRegistry, AFailedOpenGivesANullKey) {
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegOpenKeyExW, kErrorAccessDenied));
  RegistryKey key = Unopened(0x1234);
  EXPECT_EQ(RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, &key), kErrorAccessDenied);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u);
}

TEST_F(SimulatedRegistry, ARefusedWriteChangesNothingAndIsNotJournalled) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegSetValueExW, kErrorAccessDenied));
  RegistryKey key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(kHkeyLocalMachine, kUsbStor, 0, kKeySetValue, &key), kErrorSuccess);
  const UniqueRegistryKey owner(key);
  const std::uint32_t four = 4;
  EXPECT_EQ(RegSetValueExW(key, u"Start", kRegDword, &four, 4), kErrorAccessDenied);
  EXPECT_EQ(sim::RegistryValue(kHkeyLocalMachine, kUsbStor, u"Start")->data,
            (std::vector<std::uint8_t>{3, 0, 0, 0}));
  EXPECT_TRUE(sim::RegistryWrites().empty());
}

TEST_F(SimulatedRegistry, AFailedCloseStillReleasesTheHandle) {
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegCloseKey, kErrorInvalidHandle));
  RegistryKey key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, &key), kErrorSuccess);
  EXPECT_EQ(RegCloseKey(key), kErrorInvalidHandle);
  EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u);
}

TEST_F(SimulatedRegistry, ScriptedEnumerationFailureEndsAWalkEarly) {
  sim::CreateRegistryKey(kHkeyCurrentUser, u"Software\\List\\a");
  sim::CreateRegistryKey(kHkeyCurrentUser, u"Software\\List\\b");
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegEnumKeyExW, kErrorMoreData)
                            .OnKey(u"HKCU\\Software\\List")
                            .After(1));
  RegistryKey key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(kHkeyCurrentUser, u"Software\\List", 0, kKeyRead, &key), kErrorSuccess);
  const UniqueRegistryKey owner(key);
  char16_t name[8] = {};
  std::uint32_t size = 8;
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &size), kErrorSuccess);
  size = 8;
  EXPECT_EQ(RegEnumKeyExW(key, 1, name, &size), kErrorMoreData);
  size = 8;
  EXPECT_EQ(RegEnumKeyExW(key, 1, name, &size), kErrorSuccess);
}

TEST_F(SimulatedRegistry, TheJournalHoldsEveryWriteInOrder) {
  RegistryKey key = nullptr;
  ASSERT_EQ(
      RegCreateKeyExW(kHkeyCurrentUser, u"Software\\New\\Leaf", 0, kKeyAllAccess, &key, nullptr),
      kErrorSuccess);
  const UniqueRegistryKey owner(key);
  const std::uint32_t seven = 7;
  ASSERT_EQ(RegSetValueExW(key, u"Number", kRegDword, &seven, 4), kErrorSuccess);
  ASSERT_EQ(RegDeleteTreeW(kHkeyCurrentUser, u"Software\\New"), kErrorSuccess);

  const auto writes = sim::RegistryWrites();
  ASSERT_EQ(writes.size(), 4u);
  EXPECT_EQ(writes[0].call, RegistryCall::kRegCreateKeyExW);
  EXPECT_EQ(writes[0].keyPath, u"HKCU\\Software\\New");
  EXPECT_EQ(writes[1].keyPath, u"HKCU\\Software\\New\\Leaf");
  EXPECT_EQ(writes[2].call, RegistryCall::kRegSetValueExW);
  EXPECT_EQ(writes[2].valueName, u"Number");
  EXPECT_EQ(writes[2].type, kRegDword);
  EXPECT_EQ(writes[2].data, (std::vector<std::uint8_t>{7, 0, 0, 0}));
  EXPECT_EQ(writes[3].call, RegistryCall::kRegDeleteTreeW);
  EXPECT_EQ(sim::Journal(), (std::vector<std::string>{
                                "RegCreateKeyExW HKCU\\Software\\New",
                                "RegCreateKeyExW HKCU\\Software\\New\\Leaf",
                                "RegSetValueExW HKCU\\Software\\New\\Leaf Number",
                                "RegDeleteTreeW HKCU\\Software\\New",
                            }));
}

TEST_F(SimulatedRegistry, FixturesOfThe32BitViewLandInWow6432Node) {
  sim::SetRegistryString(kHkeyLocalMachine, u"SOFTWARE\\Vendor", u"Name", u"narrow", kRegSz,
                         RegistryView::k32);
  EXPECT_TRUE(sim::RegistryKeyExists(kHkeyLocalMachine, u"SOFTWARE\\WOW6432Node\\Vendor"));
  EXPECT_FALSE(sim::RegistryKeyExists(kHkeyLocalMachine, u"SOFTWARE\\Vendor"));
  sim::SetRegistryString(kHkeyCurrentUser, u"Software\\Vendor", u"Name", u"shared", kRegSz,
                         RegistryView::k32);
  EXPECT_TRUE(sim::RegistryKeyExists(kHkeyCurrentUser, u"Software\\Vendor"));
}

TEST_F(SimulatedRegistry, StringFixturesCarryOneTerminator) {
  sim::SetRegistryString(kHkeyCurrentUser, u"Software\\T", u"v", u"ab");
  EXPECT_EQ(sim::RegistryValue(kHkeyCurrentUser, u"Software\\T", u"v")->data,
            (std::vector<std::uint8_t>{'a', 0, 'b', 0, 0, 0}));
}

TEST_F(SimulatedRegistry, AResetLeavesOnlyTheSkeleton) {
  sim::CreateRegistryKey(kHkeyLocalMachine, u"SOFTWARE\\Left");
  RegistryKey key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, &key), kErrorSuccess);
  sim::ResetSimulation();
  EXPECT_FALSE(sim::RegistryKeyExists(kHkeyLocalMachine, u"SOFTWARE\\Left"));
  EXPECT_TRUE(sim::RegistryKeyExists(kHkeyLocalMachine, u"SOFTWARE\\WOW6432Node"));
  EXPECT_TRUE(sim::RegistryKeyExists(kHkeyLocalMachine, u"SYSTEM"));
  EXPECT_TRUE(sim::RegistryKeyExists(kHkeyCurrentUser, u"Software"));
  EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u);
  EXPECT_EQ(RegCloseKey(key), kErrorInvalidHandle);
}

TEST_F(SimulatedRegistry, OwnersLeaveNoKeyOpen) {
  {
    RegistryKey key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(kHkeyLocalMachine, u"SOFTWARE", 0, kKeyRead, &key), kErrorSuccess);
    const UniqueRegistryKey owner(key);
    EXPECT_EQ(sim::OpenRegistryKeyCount(), 1u);
  }
  EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u);
  EXPECT_EQ(sim::InvalidRegistryKeyUses(), 0);
}

TEST_F(SimulatedRegistry, UsesOfHandlesThatAreNotOpenAreCounted) {
  std::uint32_t size = 0;
  RegQueryValueExW(Unopened(0x44), u"v", nullptr, nullptr, &size);
  RegCloseKey(nullptr);
  EXPECT_EQ(sim::InvalidRegistryKeyUses(), 2);
}

TEST_F(SimulatedRegistry, ExpansionUsesTheVariablesTestsSet) {
  sim::SetRegistryString(kHkeyCurrentUser, u"Software\\E", u"v", u"%SystemRoot%\\x %Other%",
                         kRegExpandSz);
  sim::SetExpansionVariable(u"systemroot", u"C:\\Windows");
  char16_t text[64] = {};
  std::uint32_t size = sizeof(text);
  ASSERT_EQ(RegGetValueW(kHkeyCurrentUser, u"Software\\E", u"v", kRrfRtRegSz, nullptr, text, &size),
            kErrorSuccess);
  EXPECT_EQ(std::u16string(text), u"C:\\Windows\\x %Other%");
  EXPECT_EQ(size, (std::u16string_view(u"C:\\Windows\\x %Other%").size() + 1) * 2);
}

TEST_F(SimulatedRegistry, AFixtureWithAnUnknownRootIsATestError) {
  EXPECT_DEATH(sim::CreateRegistryKey(Unopened(0x10), u"x"), "no predefined key");
}

}  // namespace

#include "app/registry_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sim_core.h"
#include "sim_registry.h"

namespace {

using namespace platform;
using sim::RegistryCall;
using sim::RegistryView;

constexpr std::u16string_view kUninstall =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
constexpr std::u16string_view kAppPaths =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths";
constexpr std::u16string_view kProcessor = u"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
constexpr std::u16string_view kCurrentVersion = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr std::u16string_view kUsbStor = u"SYSTEM\\CurrentControlSet\\Services\\USBSTOR";

std::vector<std::uint8_t> Bytes(std::u16string_view units) {
  std::vector<std::uint8_t> bytes;
  for (const char16_t unit : units) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

class RegistryReader : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
  void TearDown() override {
    EXPECT_EQ(sim::OpenRegistryKeyCount(), 0u) << "every key opened is closed again";
    EXPECT_EQ(sim::InvalidRegistryKeyUses(), 0);
  }

  // An uninstall record's key, opened as the scan opens it.
  static UniqueRegistryKey Record(std::u16string_view name, RegistryView view = RegistryView::k64) {
    sim::CreateRegistryKey(kHkeyLocalMachine,
                           std::u16string(kUninstall) + u"\\" + std::u16string(name), view);
    const std::uint32_t flag = view == RegistryView::k64 ? kKeyWow6464Key : kKeyWow6432Key;
    return OpenRegistryKey(kHkeyLocalMachine,
                           std::u16string(kUninstall) + u"\\" + std::u16string(name),
                           kKeyRead | flag);
  }
  static std::u16string Path(std::u16string_view name) {
    return std::u16string(kUninstall) + u"\\" + std::u16string(name);
  }
};

// ---- Keys and subkeys ----

TEST_F(RegistryReader, OpensAKeyInTheViewItIsAskedFor) {
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(u"Narrow"), RegistryView::k32);
  EXPECT_TRUE(OpenRegistryKey(kHkeyLocalMachine, Path(u"Narrow"), kKeyRead | kKeyWow6432Key));
  EXPECT_FALSE(OpenRegistryKey(kHkeyLocalMachine, Path(u"Narrow"), kKeyRead | kKeyWow6464Key));
}

TEST_F(RegistryReader, AKeyThatCannotBeOpenedGivesAnEmptyOwner) {
  EXPECT_FALSE(OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead));
  sim::DenyRegistryAccess(kHkeyLocalMachine, kUninstall, kKeyRead);
  EXPECT_FALSE(OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead));
}

TEST_F(RegistryReader, SubkeysComeInTheOrderOfTheEnumeration) {
  for (const std::u16string_view name : {u"Zip", u"{A1B2}", u"app", u"Beta"}) {
    sim::CreateRegistryKey(kHkeyLocalMachine, Path(name));
  }
  const auto key = OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead | kKeyWow6464Key);
  EXPECT_EQ(EnumerateSubkeyNames(key.get()),
            (std::vector<std::u16string>{u"app", u"Beta", u"Zip", u"{A1B2}"}));
}

TEST_F(RegistryReader, AnApplicationInBothViewsIsListedInEachUnderTheSameName) {
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(u"{Tool}"), RegistryView::k64);
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(u"{Tool}"), RegistryView::k32);
  const auto wide = OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead | kKeyWow6464Key);
  const auto narrow = OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead | kKeyWow6432Key);
  EXPECT_EQ(EnumerateSubkeyNames(wide.get()), std::vector<std::u16string>{u"{Tool}"});
  EXPECT_EQ(EnumerateSubkeyNames(narrow.get()), std::vector<std::u16string>{u"{Tool}"});
}

TEST_F(RegistryReader, UserRecordsAreTheSameInBothViews) {
  sim::CreateRegistryKey(kHkeyCurrentUser, Path(u"UserApp"));
  for (const std::uint32_t view : {kKeyWow6464Key, kKeyWow6432Key}) {
    const auto key = OpenRegistryKey(kHkeyCurrentUser, kUninstall, kKeyRead | view);
    EXPECT_EQ(EnumerateSubkeyNames(key.get()), std::vector<std::u16string>{u"UserApp"});
  }
}

TEST_F(RegistryReader, ANameOfMoreThan255UnitsEndsTheListEarly) {
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(u"a"));
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(std::u16string(255, u'b')));
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(std::u16string(256, u'c')));
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(u"d"));
  const auto key = OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead);
  EXPECT_EQ(EnumerateSubkeyNames(key.get()),
            (std::vector<std::u16string>{u"a", std::u16string(255, u'b')}));
}

TEST_F(RegistryReader, AFailedEnumerationEndsTheList) {
  for (const std::u16string_view name : {u"a", u"b", u"c"}) {
    sim::CreateRegistryKey(kHkeyLocalMachine, Path(name));
  }
  sim::FailRegistryCall(
      sim::RegistryFailure(RegistryCall::kRegEnumKeyExW, kErrorNotEnoughMemory).After(1));
  const auto key = OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyRead);
  EXPECT_EQ(EnumerateSubkeyNames(key.get()), std::vector<std::u16string>{u"a"});
}

TEST_F(RegistryReader, AKeyOpenedWithoutTheRightToEnumerateListsNothing) {
  sim::CreateRegistryKey(kHkeyLocalMachine, Path(u"a"));
  const auto key = OpenRegistryKey(kHkeyLocalMachine, kUninstall, kKeyQueryValue);
  EXPECT_TRUE(EnumerateSubkeyNames(key.get()).empty());
}

// ---- Strings of the installed-applications scan ----

TEST_F(RegistryReader, AStringLosesItsTerminator) {
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"DisplayName", u"Editor");
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayName"), u"Editor");
}

TEST_F(RegistryReader, TrailingZeroUnitsInsideTheDataDoNotReachTheString) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"Publisher", kRegSz,
                        Bytes(std::u16string_view(u"Kelvo\0\0\0", 8)));
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"Publisher"), u"Kelvo");
}

TEST_F(RegistryReader, AZeroUnitInsideTheTextStays) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"DisplayName", kRegSz,
                        Bytes(std::u16string_view(u"ab\0cd\0", 6)));
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayName"), std::u16string(u"ab\0cd", 5));
}

TEST_F(RegistryReader, AStringStoredWithoutTerminatorIsReadWhole) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"DisplayVersion", kRegSz,
                        Bytes(u"1.2.3"));
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayVersion"), u"1.2.3");
}

TEST_F(RegistryReader, AnOddLastByteIsDropped) {
  auto bytes = Bytes(u"ab");
  bytes.push_back('c');
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"DisplayName", kRegSz, bytes);
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayName"), u"ab");
}

TEST_F(RegistryReader, AOneByteStringIsEmpty) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"DisplayName", kRegSz, {'x'});
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayName"), u"");
}

TEST_F(RegistryReader, ExpandableTextIsNotExpanded) {
  sim::SetExpansionVariable(u"ProgramFiles", u"C:\\Program Files");
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"DisplayIcon",
                         u"%ProgramFiles%\\App\\app.exe,0", kRegExpandSz);
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayIcon"),
            u"%ProgramFiles%\\App\\app.exe,0");
}

TEST_F(RegistryReader, AValueOfAnotherTypeReadsAsEmpty) {
  sim::SetRegistryDword(kHkeyLocalMachine, Path(u"App"), u"dword", 0x00410041);
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"multi", kRegMultiSz,
                        Bytes(std::u16string_view(u"a\0b\0\0", 5)));
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"binary", kRegBinary,
                        Bytes(std::u16string_view(u"text\0", 5)));
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"none", kRegNone,
                        Bytes(std::u16string_view(u"text\0", 5)));
  const auto key = Record(u"App");
  for (const std::u16string_view name : {u"dword", u"multi", u"binary", u"none"}) {
    EXPECT_EQ(ReadRegistryString(key.get(), name), u"") << std::string(name.begin(), name.end());
  }
}

TEST_F(RegistryReader, AnEmptyOrMissingValueReadsAsEmpty) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"Publisher", kRegSz, {});
  const auto key = Record(u"App");
  EXPECT_EQ(ReadRegistryString(key.get(), u"Publisher"), u"");
  EXPECT_EQ(ReadRegistryString(key.get(), u"InstallDate"), u"");
}

TEST_F(RegistryReader, AFailedSizeQueryReadsAsEmpty) {
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"DisplayName", u"Editor");
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegQueryValueExW, kErrorAccessDenied));
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayName"), u"");
}

TEST_F(RegistryReader, AFailedSecondReadReadsAsEmpty) {
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"DisplayName", u"Editor");
  sim::FailRegistryCall(
      sim::RegistryFailure(RegistryCall::kRegQueryValueExW, kErrorMoreData).After(1));
  EXPECT_EQ(ReadRegistryString(Record(u"App").get(), u"DisplayName"), u"");
}

TEST_F(RegistryReader, AKeyOpenedWithoutTheRightToQueryReadsAsEmpty) {
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"DisplayName", u"Editor");
  const auto key = OpenRegistryKey(kHkeyLocalMachine, Path(u"App"), kKeyEnumerateSubKeys);
  ASSERT_TRUE(key);
  EXPECT_EQ(ReadRegistryString(key.get(), u"DisplayName"), u"");
}

TEST_F(RegistryReader, AnApplicationPathRecordGivesItsFileNameAndItsDefaultValue) {
  const std::u16string record = std::u16string(kAppPaths) + u"\\tool.exe";
  sim::SetRegistryString(kHkeyLocalMachine, record, u"", u"C:\\Tools\\tool.exe");
  sim::SetRegistryString(kHkeyLocalMachine, record, u"Path", u"C:\\Tools");
  const auto paths = OpenRegistryKey(kHkeyLocalMachine, kAppPaths, kKeyRead | kKeyWow6464Key);
  EXPECT_EQ(EnumerateSubkeyNames(paths.get()), std::vector<std::u16string>{u"tool.exe"});
  const auto key = OpenRegistryKey(paths.get(), u"tool.exe", kKeyRead);
  EXPECT_EQ(ReadRegistryString(key.get(), u""), u"C:\\Tools\\tool.exe");
  EXPECT_EQ(ReadRegistryString(key.get(), u"Path"), u"C:\\Tools");
}

TEST_F(RegistryReader, AnApplicationPathRecordWithoutDefaultValueReadsAsEmpty) {
  sim::CreateRegistryKey(kHkeyLocalMachine, std::u16string(kAppPaths) + u"\\bare.exe");
  const auto key =
      OpenRegistryKey(kHkeyLocalMachine, std::u16string(kAppPaths) + u"\\bare.exe", kKeyRead);
  EXPECT_EQ(ReadRegistryString(key.get(), u""), u"");
}

// ---- Numbers of the installed-applications scan ----

TEST_F(RegistryReader, ADwordComesWithItsStatusAndType) {
  sim::SetRegistryDword(kHkeyLocalMachine, Path(u"App"), u"SystemComponent", 1);
  const RegistryDword read = QueryRegistryDword(Record(u"App").get(), u"SystemComponent");
  EXPECT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.type, kRegDword);
  EXPECT_EQ(read.value, 1u);
}

TEST_F(RegistryReader, SystemComponentOfZeroIsNoMarkOfAComponent) {
  sim::SetRegistryDword(kHkeyLocalMachine, Path(u"App"), u"SystemComponent", 0);
  const RegistryDword read = QueryRegistryDword(Record(u"App").get(), u"SystemComponent");
  EXPECT_EQ(read.type, kRegDword);
  EXPECT_EQ(read.value, 0u);
}

TEST_F(RegistryReader, SystemComponentStoredAsAStringIsNoDword) {
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"SystemComponent", u"1");
  const RegistryDword read = QueryRegistryDword(Record(u"App").get(), u"SystemComponent");
  EXPECT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.type, kRegSz);
}

TEST_F(RegistryReader, AMissingNumberStaysZero) {
  const RegistryDword read = QueryRegistryDword(Record(u"App").get(), u"NoRemove");
  EXPECT_EQ(read.status, kErrorFileNotFound);
  EXPECT_EQ(read.type, kRegNone);
  EXPECT_EQ(read.value, 0u);
}

TEST_F(RegistryReader, ANumberStoredAsTextGivesItsBytes) {
  // Whatever the type, the four bytes are the number: "1" and its terminator.
  sim::SetRegistryString(kHkeyLocalMachine, Path(u"App"), u"NoRemove", u"1");
  EXPECT_EQ(QueryRegistryDword(Record(u"App").get(), u"NoRemove").value, 0x31u);
}

TEST_F(RegistryReader, AShorterValueFillsTheLowBytes) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"NoRemove", kRegDword, {0x01, 0x02});
  const RegistryDword read = QueryRegistryDword(Record(u"App").get(), u"NoRemove");
  EXPECT_EQ(read.status, kErrorSuccess);
  EXPECT_EQ(read.value, 0x0201u);
}

TEST_F(RegistryReader, ALongerValueLeavesTheNumberZero) {
  sim::SetRegistryValue(kHkeyLocalMachine, Path(u"App"), u"NoRemove", kRegQword,
                        {1, 0, 0, 0, 0, 0, 0, 0});
  const RegistryDword read = QueryRegistryDword(Record(u"App").get(), u"NoRemove");
  EXPECT_EQ(read.status, kErrorMoreData);
  EXPECT_EQ(read.type, kRegQword);
  EXPECT_EQ(read.value, 0u);
}

// ---- ReadRegistryText ----

TEST_F(RegistryReader, TheProcessorNameComesAsItStandsBlanksIncluded) {
  sim::SetRegistryString(kHkeyLocalMachine, kProcessor, u"ProcessorNameString",
                         u"  Intel(R) Core(TM) i7-8700 CPU @ 3.20GHz  ");
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kProcessor, u"ProcessorNameString"),
            u"  Intel(R) Core(TM) i7-8700 CPU @ 3.20GHz  ");
}

TEST_F(RegistryReader, TheSystemsOwnTextsAreReadFromCurrentVersion) {
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductId", u"00330-80000-00000-AA");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"RegisteredOwner", u"Kelvo \u00e9");
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"ProductId"),
            u"00330-80000-00000-AA");
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"RegisteredOwner"),
            u"Kelvo \u00e9");
}

TEST_F(RegistryReader, AMissingKeyOrValueGivesEmptyText) {
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kProcessor, u"ProcessorNameString"), u"");
  sim::CreateRegistryKey(kHkeyLocalMachine, kCurrentVersion);
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"DisplayVersion"), u"");
}

TEST_F(RegistryReader, AnEmptyValueGivesEmptyText) {
  sim::SetRegistryValue(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber", kRegSz, {});
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"DisplayVersion", u"");
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber"), u"");
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"DisplayVersion"), u"");
}

TEST_F(RegistryReader, TextRunsToItsFirstZeroUnit) {
  sim::SetRegistryValue(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber", kRegSz,
                        Bytes(std::u16string_view(u"22631\0old\0", 10)));
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber"), u"22631");
}

TEST_F(RegistryReader, TextStoredWithoutTerminatorStillEnds) {
  sim::SetRegistryValue(kHkeyLocalMachine, kCurrentVersion, u"ProductName", kRegSz,
                        Bytes(u"Windows 10 Pro"));
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"ProductName"),
            u"Windows 10 Pro");
}

TEST_F(RegistryReader, TextOfAnOddLengthKeepsItsLastByteAsAUnit) {
  auto bytes = Bytes(u"23H");
  bytes.push_back('2');
  sim::SetRegistryValue(kHkeyLocalMachine, kCurrentVersion, u"DisplayVersion", kRegSz, bytes);
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"DisplayVersion"), u"23H2");
}

TEST_F(RegistryReader, ExpandableTextIsReadAsStored) {
  sim::SetExpansionVariable(u"SystemRoot", u"C:\\Windows");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"SystemRoot", u"%SystemRoot%",
                         kRegExpandSz);
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"SystemRoot"), u"%SystemRoot%");
}

TEST_F(RegistryReader, TextOfAnotherTypeIsEmpty) {
  sim::SetRegistryDword(kHkeyLocalMachine, kCurrentVersion, u"CurrentBuildNumber", 22631);
  sim::SetRegistryValue(kHkeyLocalMachine, kCurrentVersion, u"ProductName", kRegMultiSz,
                        Bytes(std::u16string_view(u"Windows\0\0", 9)));
  sim::SetRegistryValue(kHkeyLocalMachine, kCurrentVersion, u"ProductId", kRegBinary,
                        Bytes(std::u16string_view(u"id\0", 3)));
  for (const std::u16string_view name : {u"CurrentBuildNumber", u"ProductName", u"ProductId"}) {
    EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, name), u"")
        << std::string(name.begin(), name.end());
  }
}

TEST_F(RegistryReader, TextIsReadFromThe64BitView) {
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductName", u"Narrow", kRegSz,
                         RegistryView::k32);
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"ProductName"), u"");
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductName", u"Wide");
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"ProductName"), u"Wide");
}

TEST_F(RegistryReader, TextThatGrewBetweenTheTwoReadsIsEmpty) {
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductName", u"Windows 10 Pro");
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegGetValueW, kErrorMoreData).After(1));
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"ProductName"), u"");
}

TEST_F(RegistryReader, AKeyThatRefusesReadingGivesEmptyText) {
  sim::SetRegistryString(kHkeyLocalMachine, kCurrentVersion, u"ProductName", u"Windows 10 Pro");
  sim::DenyRegistryAccess(kHkeyLocalMachine, kCurrentVersion, kKeyQueryValue);
  EXPECT_EQ(ReadRegistryText(kHkeyLocalMachine, kCurrentVersion, u"ProductName"), u"");
}

// ---- The USB storage policy's number ----

TEST_F(RegistryReader, StartIsReadFromThe64BitView) {
  for (const std::uint32_t start : {3u, 4u, 2u}) {
    sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", start);
    const RegistryNumber read =
        ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key);
    EXPECT_EQ(read.status, kErrorSuccess);
    EXPECT_EQ(read.value, start);
  }
}

TEST_F(RegistryReader, AMachineWithoutTheKeyAnswersFileNotFound) {
  const RegistryNumber read =
      ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key);
  EXPECT_EQ(read.status, kErrorFileNotFound);
  EXPECT_EQ(read.value, 0u);
}

TEST_F(RegistryReader, ANumberOfAnotherTypeIsUnsupported) {
  sim::SetRegistryString(kHkeyLocalMachine, kUsbStor, u"Start", u"4");
  EXPECT_EQ(ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key).status,
            kErrorUnsupportedType);
  sim::SetRegistryValue(kHkeyLocalMachine, kUsbStor, u"Start", kRegBinary, {4, 0, 0, 0});
  const RegistryNumber binary =
      ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key);
  EXPECT_EQ(binary.status, kErrorUnsupportedType);
  EXPECT_EQ(binary.value, 0u);
}

TEST_F(RegistryReader, ANumberCanBeReadFromThe32BitView) {
  const std::u16string_view key = u"SOFTWARE\\Vendor";
  sim::SetRegistryDword(kHkeyLocalMachine, key, u"Level", 32, RegistryView::k32);
  sim::SetRegistryDword(kHkeyLocalMachine, key, u"Level", 64, RegistryView::k64);
  EXPECT_EQ(ReadRegistryDword(kHkeyLocalMachine, key, u"Level", kKeyWow6432Key).value, 32u);
  EXPECT_EQ(ReadRegistryDword(kHkeyLocalMachine, key, u"Level", kKeyWow6464Key).value, 64u);
}

TEST_F(RegistryReader, AFailedReadGivesItsStatus) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegGetValueW, kErrorNotEnoughMemory));
  const RegistryNumber read =
      ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key);
  EXPECT_EQ(read.status, kErrorNotEnoughMemory);
  EXPECT_EQ(read.value, 0u);
}

TEST_F(RegistryReader, StartIsWrittenAsFourBytesOfTheMachinesOwnView) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  ASSERT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 4, kKeyWow6464Key),
            kErrorSuccess);
  const auto writes = sim::RegistryWrites();
  ASSERT_EQ(writes.size(), 1u);
  EXPECT_EQ(writes[0].keyPath, u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\USBSTOR");
  EXPECT_EQ(writes[0].valueName, u"Start");
  EXPECT_EQ(writes[0].type, kRegDword);
  EXPECT_EQ(writes[0].data, (std::vector<std::uint8_t>{4, 0, 0, 0}));
  EXPECT_EQ(ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key).value, 4u);
}

TEST_F(RegistryReader, TheSameValueIsWrittenAgain) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  EXPECT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3, kKeyWow6464Key),
            kErrorSuccess);
  EXPECT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3, kKeyWow6464Key),
            kErrorSuccess);
  EXPECT_EQ(sim::RegistryWrites().size(), 2u);
}

TEST_F(RegistryReader, WritingAsksOnlyForTheRightToSetValues) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::DenyRegistryAccess(kHkeyLocalMachine, kUsbStor, kKeyQueryValue | kKeyEnumerateSubKeys);
  EXPECT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 4, kKeyWow6464Key),
            kErrorSuccess);
}

TEST_F(RegistryReader, AKeyThatRefusesWritingKeepsTheOldNumber) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::DenyRegistryAccess(kHkeyLocalMachine, kUsbStor, kKeySetValue);
  EXPECT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 4, kKeyWow6464Key),
            kErrorAccessDenied);
  EXPECT_TRUE(sim::RegistryWrites().empty());
  EXPECT_EQ(ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key).value, 3u);
}

TEST_F(RegistryReader, ARefusedWriteGivesItsStatus) {
  sim::SetRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 3);
  sim::FailRegistryCall(sim::RegistryFailure(RegistryCall::kRegSetValueExW, kErrorAccessDenied));
  EXPECT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 4, kKeyWow6464Key),
            kErrorAccessDenied);
  EXPECT_EQ(ReadRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", kKeyWow6464Key).value, 3u);
}

TEST_F(RegistryReader, WritingToAMissingKeyMakesNoKey) {
  EXPECT_EQ(WriteRegistryDword(kHkeyLocalMachine, kUsbStor, u"Start", 4, kKeyWow6464Key),
            kErrorFileNotFound);
  EXPECT_FALSE(sim::RegistryKeyExists(kHkeyLocalMachine, kUsbStor));
}

}  // namespace

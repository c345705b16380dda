// The SMBIOS serial: real-shaped tables (raw header, structures with their formatted areas and
// string sets, the double-zero terminators) and the firmware table call.
#include "devices/product_serial.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "answer_recorder.h"
#include "devices/device_monitor.h"
#include "platform/kernel.h"
#include "sim_core.h"
#include "sim_kernel.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// One structure: type, a formatted area of `length` bytes whose serial string number sits at
// offset 7, then its strings and the terminator.
Bytes Structure(std::uint8_t type, std::uint8_t serialNumber,
                std::initializer_list<std::string_view> strings, std::uint8_t length = 0x1B) {
  Bytes bytes(length, 0);
  bytes[0] = type;
  bytes[1] = length;
  bytes[2] = 0x10;  // handle
  if (length > 7) bytes[7] = serialNumber;
  if (strings.size() == 0) {
    bytes.push_back(0);
    bytes.push_back(0);
    return bytes;
  }
  for (const std::string_view text : strings) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.push_back(0);
  }
  bytes.push_back(0);
  return bytes;
}

Bytes Bios() { return Structure(0, 0, {"American Megatrends Inc.", "1.40", "03/15/2023"}, 0x18); }
Bytes End() { return Structure(127, 0, {}, 4); }

// RawSMBIOSData: calling method, major, minor, DMI revision, the table's length, the table.
Bytes Raw(std::initializer_list<Bytes> structures) {
  Bytes table;
  for (const Bytes& structure : structures)
    table.insert(table.end(), structure.begin(), structure.end());
  Bytes raw = {0, 3, 4, 0};
  const auto length = static_cast<std::uint32_t>(table.size());
  for (int shift = 0; shift < 32; shift += 8)
    raw.push_back(static_cast<std::uint8_t>(length >> shift));
  raw.insert(raw.end(), table.begin(), table.end());
  return raw;
}

std::string Parse(const Bytes& raw) { return ParseSmbiosSerial(raw.data(), raw.size()); }

TEST(ParseSmbiosSerial, SystemSerialIsTakenTrimmed) {
  const Bytes raw = Raw({Bios(), Structure(1, 4, {"LENOVO", "20XW", "ThinkPad X1", "  PF2ABCDE  "}),
                         Structure(2, 4, {"LENOVO", "20XW", "SDK0J40697", "L1HF16M00AB"}), End()});
  EXPECT_EQ(Parse(raw), "PF2ABCDE");
}

TEST(ParseSmbiosSerial, PlaceholderSystemSerialFallsBackToTheBaseboard) {
  const Bytes raw = Raw(
      {Bios(),
       Structure(1, 4,
                 {"System manufacturer", "System Product Name", "1.0", "To be filled by O.E.M."}),
       Structure(2, 4, {"ASUSTeK COMPUTER INC.", "PRIME B660M-A", "Rev 1.xx", "210685838801234"}),
       End()});
  EXPECT_EQ(Parse(raw), "210685838801234");
}

TEST(ParseSmbiosSerial, MissingSystemStructureFallsBackToTheBaseboard) {
  EXPECT_EQ(Parse(Raw({Bios(), Structure(2, 1, {"BSN-12345"}), End()})), "BSN-12345");
}

TEST(ParseSmbiosSerial, SystemSerialOfNoStringFallsBackToTheBaseboard) {
  EXPECT_EQ(Parse(Raw({Structure(1, 0, {"Maker"}), Structure(2, 1, {"BSN-1"}), End()})), "BSN-1");
}

TEST(ParseSmbiosSerial, BaseboardListedBeforeTheSystemStillLosesToIt) {
  EXPECT_EQ(Parse(Raw({Structure(2, 1, {"BSN-1"}), Structure(1, 1, {"SYS-1"}), End()})), "SYS-1");
}

TEST(ParseSmbiosSerial, OnlyPlaceholdersGiveEmpty) {
  EXPECT_EQ(
      Parse(Raw({Structure(1, 1, {"Default string"}), Structure(2, 1, {"default STRING"}), End()})),
      "");
  EXPECT_EQ(Parse(Raw({Structure(1, 1, {"   "}), Structure(2, 1, {"0000000000"}), End()})), "");
  EXPECT_EQ(Parse(Raw({Structure(1, 1, {" System Serial Number "}), End()})), "");
}

TEST(ParseSmbiosSerial, TablesWithoutSystemOrBaseboardGiveEmpty) {
  EXPECT_EQ(Parse(Raw({Bios(), End()})), "");
  EXPECT_EQ(Parse(Raw({})), "");
}

TEST(ParseSmbiosSerial, StructuresAfterTheEndOfTableAreNotRead) {
  EXPECT_EQ(Parse(Raw({Bios(), End(), Structure(1, 1, {"AFTER-END"})})), "");
}

TEST(ParseSmbiosSerial, StructureWithNoStringsIsSkippedOverItsDoubleZero) {
  EXPECT_EQ(Parse(Raw({Structure(32, 0, {}, 0x0B), Structure(1, 1, {"SYS-2"}), End()})), "SYS-2");
}

TEST(ParseSmbiosSerial, StringNumberBeyondTheStringSetGivesNothing) {
  EXPECT_EQ(Parse(Raw({Structure(1, 5, {"one", "two"}), End()})), "");
}

TEST(ParseSmbiosSerial, FormattedAreaTooShortForTheSerialGivesNothing) {
  EXPECT_EQ(Parse(Raw({Structure(1, 1, {"SYS-3"}, 7), Structure(2, 1, {"BSN-3"}), End()})),
            "BSN-3");
}

TEST(ParseSmbiosSerial, StatedLengthBeyondTheBufferIsCutToTheBuffer) {
  Bytes raw = Raw({Structure(1, 1, {"SYS-4"})});
  raw[4] = 0xFF;
  raw[5] = 0xFF;
  raw[6] = 0xFF;
  raw[7] = 0x7F;
  EXPECT_EQ(Parse(raw), "SYS-4");
}

TEST(ParseSmbiosSerial, StatedLengthShorterThanTheDataEndsTheTableThere) {
  Bytes raw = Raw({Bios(), Structure(1, 1, {"SYS-5"})});
  raw[4] = static_cast<std::uint8_t>(Bios().size());
  raw[5] = raw[6] = raw[7] = 0;
  EXPECT_EQ(Parse(raw), "");
}

TEST(ParseSmbiosSerial, StringsCutOffByTheBufferEndAreLeftOut) {
  Bytes raw = Raw({Structure(1, 2, {"Maker", "SERIAL-CUT"})});
  raw.resize(raw.size() - 3);  // inside "SERIAL-CUT", terminators gone
  raw[4] = static_cast<std::uint8_t>(raw.size() - 8);
  EXPECT_EQ(Parse(raw), "");
  raw = Raw({Structure(1, 1, {"SERIAL-OK", "Cut"})});
  raw.resize(raw.size() - 2);
  EXPECT_EQ(Parse(raw), "SERIAL-OK");
}

TEST(ParseSmbiosSerial, StructureLengthBelowItsHeaderEndsTheWalk) {
  Bytes broken = {1, 2, 0, 0, 0, 0};
  EXPECT_EQ(Parse(Raw({broken, Structure(1, 1, {"SYS-6"})})), "");
}

TEST(ParseSmbiosSerial, ShortOrNullBuffersGiveEmpty) {
  EXPECT_EQ(ParseSmbiosSerial(nullptr, 100), "");
  const Bytes raw = Raw({Structure(1, 1, {"SYS-7"})});
  EXPECT_EQ(ParseSmbiosSerial(raw.data(), 7), "");
  EXPECT_EQ(ParseSmbiosSerial(raw.data(), 8), "");
}

TEST(ParseSmbiosSerial, NonAsciiBytesBecomeValidUtf8) {
  EXPECT_EQ(Parse(Raw({Structure(1, 1,
                                 {"SN\xE9"
                                  "1"}),
                       End()})),
            "SN\xC3\xA9"
            "1");
}

TEST(IsPlaceholderSerial, KnownPlaceholdersInAnyCase) {
  EXPECT_TRUE(IsPlaceholderSerial("To be filled by O.E.M."));
  EXPECT_TRUE(IsPlaceholderSerial("TO BE FILLED BY O.E.M."));
  EXPECT_TRUE(IsPlaceholderSerial("Default string"));
  EXPECT_TRUE(IsPlaceholderSerial("Not Specified"));
  EXPECT_TRUE(IsPlaceholderSerial("000000"));
  EXPECT_TRUE(IsPlaceholderSerial(""));
  EXPECT_FALSE(IsPlaceholderSerial("PF2ABCDE"));
  EXPECT_FALSE(IsPlaceholderSerial("0000001"));
  EXPECT_FALSE(IsPlaceholderSerial("Default string 2"));
}

class ProductSerial : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

TEST_F(ProductSerial, FirmwareTableIsReadAndParsed) {
  sim::SetFirmwareTable(platform::kFirmwareTableRsmb,
                        Raw({Bios(), Structure(1, 1, {"VMware-56 4d"}), End()}));
  EXPECT_EQ(GetWindowsProductSerialNumber(), "VMware-56 4d");
}

TEST_F(ProductSerial, UnreadableFirmwareTableGivesEmpty) {
  sim::SetFirmwareTable(platform::kFirmwareTableRsmb, std::nullopt);
  EXPECT_EQ(GetWindowsProductSerialNumber(), "");
}

TEST_F(ProductSerial, ChannelAnswersAStringEvenWithNoTable) {
  Answer answer;
  HandleDeviceMonitorCall(MethodCall("getWindowsProductSerialNumber", nullptr), Recorder(answer));
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(std::get<std::string>(*answer.value), "");
  sim::SetFirmwareTable(platform::kFirmwareTableRsmb, Raw({Structure(2, 1, {" BSN-9 "}), End()}));
  Answer second;
  HandleDeviceMonitorCall(MethodCall("getWindowsProductSerialNumber", nullptr), Recorder(second));
  EXPECT_EQ(std::get<std::string>(*second.value), "BSN-9");
}

}  // namespace

// The startup report against simulated adapters and screen.
#include "devices/startup_report.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "answer_recorder.h"
#include "devices/device_monitor.h"
#include "sim_core.h"
#include "sim_network.h"
#include "sim_user.h"

namespace {

using sim::Ipv4;

struct Reply {
  std::string bindIp;
  std::string mac;
  std::int32_t isWiredNetwork = -1;
  std::string resolution;
};

Reply Read(const EncodableMap& map) {
  EXPECT_EQ(map.size(), 4u);
  Reply reply;
  reply.bindIp = std::get<std::string>(map.at(EncodableValue("bindIp")));
  reply.mac = std::get<std::string>(map.at(EncodableValue("mac")));
  // An integer by design of the reply, never a bool.
  reply.isWiredNetwork = std::get<std::int32_t>(map.at(EncodableValue("isWiredNetwork")));
  reply.resolution = std::get<std::string>(map.at(EncodableValue("resolution")));
  return reply;
}

Reply Report() { return Read(GetStartupReportInfo()); }

sim::SimAdapter Adapter(std::u16string name, std::vector<sim::SimAddress> addresses,
                        std::vector<std::uint8_t> mac = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E},
                        std::uint32_t ifType = platform::kIfTypeEthernetCsmacd) {
  sim::SimAdapter adapter;
  adapter.friendlyName = name;
  adapter.description = name + u" Controller";
  adapter.ifType = ifType;
  adapter.physicalAddress = std::move(mac);
  adapter.unicast = std::move(addresses);
  return adapter;
}

sim::SimAdapter WiFi(std::vector<sim::SimAddress> addresses,
                     std::vector<std::uint8_t> mac = {0xA4, 0xB1, 0xC1, 0x11, 0x22, 0x33}) {
  return Adapter(u"Wi-Fi", std::move(addresses), std::move(mac), platform::kIfTypeIeee80211);
}

class StartupReport : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

// ---- ScoreBindAddress ----

TEST(ScoreBindAddress, RangesScoreInTheirOrder) {
  EXPECT_EQ(ScoreBindAddress(u"192.168.1.5"), 0);
  EXPECT_EQ(ScoreBindAddress(u"10.0.0.5"), 1);
  EXPECT_EQ(ScoreBindAddress(u"172.20.0.5"), 2);
  EXPECT_EQ(ScoreBindAddress(u"8.8.8.8"), 9);
}

TEST(ScoreBindAddress, Only172From16To31ScoresTwo) {
  EXPECT_EQ(ScoreBindAddress(u"172.15.0.1"), 9);
  EXPECT_EQ(ScoreBindAddress(u"172.32.0.1"), 9);
  EXPECT_EQ(ScoreBindAddress(u"172.16.0.1"), 2);
  EXPECT_EQ(ScoreBindAddress(u"172.31.255.1"), 2);
}

TEST(ScoreBindAddress, FewerThanTwoDotsScoresNine) {
  EXPECT_EQ(ScoreBindAddress(u"172.16"), 9);
  EXPECT_EQ(ScoreBindAddress(u"172."), 9);
}

TEST(ScoreBindAddress, SecondFieldParsesUpToTheFirstNonDigit) {
  EXPECT_EQ(ScoreBindAddress(u"172.16x.0.1"), 2);
  EXPECT_EQ(ScoreBindAddress(u"172.x16.0.1"), 9);
  EXPECT_EQ(ScoreBindAddress(u"172.99999999999999999999.0.1"), 9);
}

TEST(ScoreBindAddress, PrefixesAreNotConfusedWithLookalikes) {
  EXPECT_EQ(ScoreBindAddress(u"192.169.1.1"), 9);
  EXPECT_EQ(ScoreBindAddress(u"100.64.0.1"), 9);
  EXPECT_EQ(ScoreBindAddress(u""), 9);
}

// ---- FormatMacAddress ----

TEST(FormatMacAddress, SixBytesGiveSeventeenUpperCaseCharacters) {
  const std::uint8_t mac[] = {0x00, 0x1a, 0x2b, 0xfc, 0x4d, 0x5e};
  EXPECT_EQ(FormatMacAddress(mac, 6), u"00-1A-2B-FC-4D-5E");
}

TEST(FormatMacAddress, NullOrZeroLengthGivesEmpty) {
  const std::uint8_t mac[] = {0x01};
  EXPECT_EQ(FormatMacAddress(nullptr, 6), u"");
  EXPECT_EQ(FormatMacAddress(mac, 0), u"");
}

TEST(FormatMacAddress, EightBytesAreFormattedTheSameWay) {
  const std::uint8_t mac[] = {0x02, 0x00, 0x5E, 0x10, 0x00, 0x00, 0x00, 0xFF};
  EXPECT_EQ(FormatMacAddress(mac, 8), u"02-00-5E-10-00-00-00-FF");
}

// ---- ContainsAnyText ----

TEST(ContainsAnyText, AnyNeedleAsASubstringHits) {
  EXPECT_TRUE(ContainsAnyText(u"intel(r) wireless bluetooth", kAdapterExclusions));
  EXPECT_TRUE(ContainsAnyText(u"\u6211\u7684\u84DD\u7259\u7F51\u7EDC", kAdapterExclusions));
  EXPECT_FALSE(ContainsAnyText(u"realtek pcie gbe family controller", kAdapterExclusions));
  EXPECT_FALSE(ContainsAnyText(u"", kAdapterExclusions));
  EXPECT_FALSE(ContainsAnyText(u"anything", {}));
}

TEST(ContainsAnyText, ComparisonIsCaseSensitive) {
  EXPECT_FALSE(ContainsAnyText(u"VPN Client", kAdapterExclusions));
  EXPECT_TRUE(ContainsAnyText(u"vpn client", kAdapterExclusions));
}

// ---- GetStartupReportInfo ----

TEST_F(StartupReport, WalkGoesOnThroughAllAddressesOfAnAdapter) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(172, 16, 0, 5), Ipv4(192, 168, 1, 5)})});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "192.168.1.5");
  EXPECT_EQ(reply.mac, "00-1A-2B-3C-4D-5E");
  EXPECT_EQ(reply.isWiredNetwork, 1);
}

TEST_F(StartupReport, WiFiListedFirstLosesToWiredOfEqualScore) {
  sim::SetAdapters({WiFi({Ipv4(192, 168, 1, 5)}), Adapter(u"Ethernet", {Ipv4(192, 168, 2, 5)})});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "192.168.2.5");
  EXPECT_EQ(reply.mac, "00-1A-2B-3C-4D-5E");
  EXPECT_EQ(reply.isWiredNetwork, 1);
}

TEST_F(StartupReport, RangeOutranksTheMedium) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)}), WiFi({Ipv4(192, 168, 1, 5)})});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "192.168.1.5");
  EXPECT_EQ(reply.mac, "A4-B1-C1-11-22-33");
  EXPECT_EQ(reply.isWiredNetwork, 0);
}

TEST_F(StartupReport, TwoWiredOfTheSameScoreYieldTheFirst) {
  sim::SetAdapters({Adapter(u"Ethernet 2", {Ipv4(10, 1, 0, 7)}, {1, 2, 3, 4, 5, 6}),
                    Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)}, {6, 5, 4, 3, 2, 1})});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "10.1.0.7");
  EXPECT_EQ(reply.mac, "01-02-03-04-05-06");
}

TEST_F(StartupReport, LaterWiFiOfEqualScoreDoesNotReplaceWired) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)}), WiFi({Ipv4(10, 0, 0, 6)})});
  EXPECT_EQ(Report().bindIp, "10.0.0.5");
}

TEST_F(StartupReport, VpnAdapterIsNeverChosen) {
  sim::SimAdapter vpn = Adapter(u"Ethernet 3", {Ipv4(192, 168, 50, 2)});
  vpn.description = u"Contoso VPN Adapter";
  sim::SetAdapters({vpn, Adapter(u"Ethernet", {Ipv4(8, 8, 4, 4)})});
  EXPECT_EQ(Report().bindIp, "8.8.4.4");
}

TEST_F(StartupReport, ChineseNamedBluetoothAdapterIsNeverChosen) {
  sim::SimAdapter bluetooth =
      Adapter(u"\u84DD\u7259\u7F51\u7EDC\u8FDE\u63A5", {Ipv4(192, 168, 1, 9)});
  bluetooth.description = u"Personal Area Network";
  sim::SetAdapters({bluetooth});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "");
  EXPECT_EQ(reply.mac, "");
  EXPECT_EQ(reply.isWiredNetwork, 0);
}

TEST_F(StartupReport, ExclusionWordsMatchInAnyLetterCase) {
  sim::SetAdapters({Adapter(u"VMware Network Adapter VMnet8", {Ipv4(192, 168, 80, 1)}),
                    Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)})});
  EXPECT_EQ(Report().bindIp, "10.0.0.5");
}

TEST_F(StartupReport, NoUsableAddressLeavesAddressAndMacEmptyAndWiredZero) {
  sim::SetAdapters({sim::LoopbackAdapter()});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "");
  EXPECT_EQ(reply.mac, "");
  EXPECT_EQ(reply.isWiredNetwork, 0);
  EXPECT_EQ(reply.resolution, "1920x1080");
}

TEST_F(StartupReport, ZeroAndLoopbackAddressesNeverCountEvenAsLastResort) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(0, 0, 0, 0), Ipv4(127, 0, 0, 2)})});
  EXPECT_EQ(Report().bindIp, "");
}

TEST_F(StartupReport, PublicAddressIsTheLastChoiceButUsable) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(203, 0, 113, 7)})});
  EXPECT_EQ(Report().bindIp, "203.0.113.7");
}

TEST_F(StartupReport, AdaptersThatAreDownOrLoopbackOrTunnelAreSkipped) {
  sim::SimAdapter down = Adapter(u"Ethernet 2", {Ipv4(192, 168, 1, 2)});
  down.operStatus = 2;
  sim::SimAdapter loop = Adapter(u"Ethernet 3", {Ipv4(192, 168, 1, 3)});
  loop.ifType = platform::kIfTypeSoftwareLoopback;
  sim::SimAdapter tunnel = Adapter(u"Ethernet 4", {Ipv4(192, 168, 1, 4)});
  tunnel.ifType = platform::kIfTypeTunnel;
  sim::SetAdapters({down, loop, tunnel, Adapter(u"Ethernet", {Ipv4(10, 9, 9, 9)})});
  EXPECT_EQ(Report().bindIp, "10.9.9.9");
}

TEST_F(StartupReport, AdapterWithNoNameOrDescriptionIsStillConsidered) {
  sim::SimAdapter bare = Adapter(u"", {Ipv4(192, 168, 3, 3)});
  bare.friendlyName = std::nullopt;
  bare.description = std::nullopt;
  sim::SetAdapters({bare});
  EXPECT_EQ(Report().bindIp, "192.168.3.3");
}

TEST_F(StartupReport, HardwareAddressOfLengthZeroGivesEmptyMac) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)}, {})});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "10.0.0.5");
  EXPECT_EQ(reply.mac, "");
  EXPECT_EQ(reply.isWiredNetwork, 1);
}

TEST_F(StartupReport, HardwareAddressOfLengthEightIsFormattedWhole) {
  sim::SetAdapters({Adapter(u"FireWire", {Ipv4(10, 0, 0, 5)}, {0, 1, 2, 3, 4, 5, 6, 0xAB})});
  EXPECT_EQ(Report().mac, "00-01-02-03-04-05-06-AB");
}

TEST_F(StartupReport, ManyAdaptersOverflowTheFirstBufferAndAreListedOnTheSecondCall) {
  std::vector<sim::SimAdapter> adapters;
  for (int i = 0; i < 40; ++i) {
    adapters.push_back(Adapter(u"Ethernet " + std::u16string(1, static_cast<char16_t>(u'A' + i)),
                               {Ipv4(203, 0, 113, static_cast<std::uint8_t>(i))}));
  }
  adapters.push_back(Adapter(u"Ethernet last", {Ipv4(192, 168, 7, 7)}));
  sim::SetAdapters(adapters);
  ASSERT_GT(sim::AdaptersBytesNeeded(platform::kAfInet, 14), 0x3C00u);
  EXPECT_EQ(Report().bindIp, "192.168.7.7");
  const auto calls = sim::JournalEntries("GetAdaptersAddresses");
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0], "GetAdaptersAddresses 2 0xe 15360");
}

TEST_F(StartupReport, AFailedQueryLeavesTheAddressEmptyButTheResolutionComputed) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)})});
  sim::ScriptAdaptersResults({31});
  const Reply reply = Report();
  EXPECT_EQ(reply.bindIp, "");
  EXPECT_EQ(reply.isWiredNetwork, 0);
  EXPECT_EQ(reply.resolution, "1920x1080");
}

TEST_F(StartupReport, ASecondOverflowGivesUp) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)})});
  sim::ScriptAdaptersResults({platform::kErrorBufferOverflow, platform::kErrorBufferOverflow});
  EXPECT_EQ(Report().bindIp, "");
  EXPECT_EQ(sim::JournalEntries("GetAdaptersAddresses").size(), 2u);
}

TEST_F(StartupReport, ResolutionIsEmptyWhenEitherSideIsNotPositive) {
  sim::MonitorConfig monitor;
  monitor.primaryScreen = {2560, 0};
  sim::SetMonitor(monitor);
  EXPECT_EQ(Report().resolution, "");
  monitor.primaryScreen = {2560, 1440};
  sim::SetMonitor(monitor);
  EXPECT_EQ(Report().resolution, "2560x1440");
}

TEST_F(StartupReport, ChannelAnswersTheMapWithSuccess) {
  sim::SetAdapters({Adapter(u"Ethernet", {Ipv4(10, 0, 0, 5)})});
  Answer answer;
  HandleDeviceMonitorCall(MethodCall("getStartupReportInfo", nullptr), Recorder(answer));
  ASSERT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(Read(std::get<EncodableMap>(*answer.value)).bindIp, "10.0.0.5");
}

}  // namespace

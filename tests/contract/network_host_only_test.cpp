// What the simulated network adds for tests, which no Wine prefix shows on demand: adapters with
// null names, wireless and tunnel types, addresses of other families, a list that changes between
// the size call and the real call, and the errors GetAdaptersAddresses answers besides overflow.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/kernel.h"
#include "platform/network.h"
#include "sim_core.h"
#include "sim_network.h"

namespace {

using namespace platform;

constexpr std::uint32_t kFlags =
    kGaaFlagSkipAnycast | kGaaFlagSkipMulticast | kGaaFlagSkipDnsServer;

class SimulatedNetwork : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

struct Answer {
  std::uint32_t result = 0;
  std::uint32_t needed = 0;
  std::vector<AdapterAddresses> adapters;
};

Answer Call(std::uint32_t size, std::uint16_t family = kAfInet, std::uint32_t flags = kFlags) {
  Answer answer;
  answer.result = GetAdaptersAddresses(family, flags, size, &answer.needed, &answer.adapters);
  return answer;
}

// The size call and the real call, both expected to go as the protocol says.
std::vector<AdapterAddresses> Read(std::uint16_t family = kAfInet, std::uint32_t flags = kFlags) {
  const Answer size = Call(0, family, flags);
  EXPECT_EQ(size.result, kErrorBufferOverflow);
  const Answer real = Call(size.needed, family, flags);
  EXPECT_EQ(real.result, kErrorSuccess);
  return real.adapters;
}

sim::SimAdapter Ethernet(std::u16string name, std::vector<sim::SimAddress> unicast) {
  sim::SimAdapter adapter;
  adapter.friendlyName = name;
  adapter.description = name + u" controller";
  adapter.physicalAddress = {0x00, 0x15, 0x5d, 0x01, 0x02, 0x03};
  adapter.unicast = std::move(unicast);
  return adapter;
}

TEST_F(SimulatedNetwork, AfterAResetOnlyTheLoopbackAdapterIsListed) {
  const std::vector<AdapterAddresses> adapters = Read();
  ASSERT_EQ(adapters.size(), 1U);
  EXPECT_EQ(adapters[0].ifType, kIfTypeSoftwareLoopback);
  EXPECT_EQ(adapters[0].operStatus, kIfOperStatusUp);
  EXPECT_TRUE(adapters[0].physicalAddress.empty());
  ASSERT_EQ(adapters[0].unicast.size(), 1U) << "::1 is not in the IPv4 list";
  EXPECT_EQ(adapters[0].unicast[0].ipv4, (std::array<std::uint8_t, 4>{127, 0, 0, 1}));
}

TEST_F(SimulatedNetwork, AdaptersComeInTheOrderTheTestLaidThemOut) {
  sim::SimAdapter wireless = Ethernet(u"Wi-Fi", {sim::Ipv4(192, 168, 1, 20)});
  wireless.ifType = kIfTypeIeee80211;
  sim::SimAdapter tunnel = Ethernet(u"VPN", {sim::Ipv4(10, 8, 0, 2)});
  tunnel.ifType = kIfTypeTunnel;
  tunnel.operStatus = 2;  // IfOperStatusDown
  sim::SetAdapters(
      {wireless, Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)}), tunnel, sim::LoopbackAdapter()});

  const std::vector<AdapterAddresses> adapters = Read();
  ASSERT_EQ(adapters.size(), 4U);
  EXPECT_EQ(adapters[0].friendlyName, std::u16string(u"Wi-Fi"));
  EXPECT_EQ(adapters[0].ifType, kIfTypeIeee80211);
  EXPECT_EQ(adapters[1].friendlyName, std::u16string(u"Ethernet"));
  EXPECT_EQ(adapters[1].ifType, kIfTypeEthernetCsmacd);
  EXPECT_EQ(adapters[2].friendlyName, std::u16string(u"VPN"));
  EXPECT_EQ(adapters[2].ifType, kIfTypeTunnel);
  EXPECT_EQ(adapters[2].operStatus, 2U);
  EXPECT_EQ(adapters[3].ifType, kIfTypeSoftwareLoopback);
  EXPECT_EQ(adapters[1].unicast.at(0).ipv4, (std::array<std::uint8_t, 4>{10, 0, 0, 5}));
}

TEST_F(SimulatedNetwork, NamesTheSystemLeftNullAreAbsent) {
  sim::SimAdapter nameless = Ethernet(u"x", {sim::Ipv4(10, 0, 0, 7)});
  nameless.friendlyName.reset();
  sim::SimAdapter undescribed = Ethernet(u"Named", {});
  undescribed.description.reset();
  sim::SimAdapter empty = Ethernet(u"", {});
  empty.description = u"";
  sim::SetAdapters({nameless, undescribed, empty});

  const std::vector<AdapterAddresses> adapters = Read();
  ASSERT_EQ(adapters.size(), 3U);
  EXPECT_FALSE(adapters[0].friendlyName.has_value());
  EXPECT_EQ(adapters[0].description, std::u16string(u"x controller"));
  EXPECT_EQ(adapters[1].friendlyName, std::u16string(u"Named"));
  EXPECT_FALSE(adapters[1].description.has_value());
  ASSERT_TRUE(adapters[2].friendlyName.has_value()) << "empty is not absent";
  EXPECT_TRUE(adapters[2].friendlyName->empty());
  ASSERT_TRUE(adapters[2].description.has_value());
}

TEST_F(SimulatedNetwork, PhysicalAddressesKeepTheirLengthIncludingNone) {
  sim::SimAdapter none = Ethernet(u"none", {});
  none.physicalAddress.clear();
  sim::SimAdapter eight = Ethernet(u"eight", {});
  eight.physicalAddress = {1, 2, 3, 4, 5, 6, 7, 8};
  sim::SimAdapter two = Ethernet(u"two", {});
  two.physicalAddress = {0xaa, 0xbb};
  sim::SetAdapters({none, Ethernet(u"six", {}), eight, two});

  const std::vector<AdapterAddresses> adapters = Read();
  ASSERT_EQ(adapters.size(), 4U);
  EXPECT_TRUE(adapters[0].physicalAddress.empty());
  EXPECT_EQ(adapters[1].physicalAddress,
            (std::vector<std::uint8_t>{0x00, 0x15, 0x5d, 0x01, 0x02, 0x03}));
  EXPECT_EQ(adapters[2].physicalAddress, (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(adapters[3].physicalAddress, (std::vector<std::uint8_t>{0xaa, 0xbb}));
}

TEST_F(SimulatedNetwork, TheIpv4ListLeavesOtherFamiliesOut) {
  std::array<std::uint8_t, 16> linkLocal = {0xfe, 0x80};
  linkLocal[15] = 0x42;
  const sim::SimAddress foreign{17, {1, 2, 3, 4, 5, 6}};
  sim::SetAdapters({Ethernet(u"Ethernet", {sim::Ipv6(linkLocal), sim::Ipv4(10, 0, 0, 5), foreign,
                                           sim::Ipv4(10, 0, 0, 6)})});

  const std::vector<AdapterAddresses> ipv4 = Read(kAfInet);
  ASSERT_EQ(ipv4.size(), 1U);
  ASSERT_EQ(ipv4[0].unicast.size(), 2U);
  EXPECT_EQ(ipv4[0].unicast[0].family, kAfInet);
  EXPECT_EQ(ipv4[0].unicast[0].ipv4, (std::array<std::uint8_t, 4>{10, 0, 0, 5}));
  EXPECT_EQ(ipv4[0].unicast[1].ipv4, (std::array<std::uint8_t, 4>{10, 0, 0, 6}));

  const std::vector<AdapterAddresses> all = Read(sim::kAfUnspec);
  ASSERT_EQ(all.size(), 1U);
  ASSERT_EQ(all[0].unicast.size(), 4U);
  EXPECT_EQ(all[0].unicast[0].family, sim::kAfInet6);
  EXPECT_EQ(all[0].unicast[2].family, 17U);
  EXPECT_EQ(all[0].unicast[2].ipv4, (std::array<std::uint8_t, 4>{})) << "only AF_INET has bytes";

  const std::vector<AdapterAddresses> ipv6 = Read(sim::kAfInet6);
  ASSERT_EQ(ipv6.size(), 1U);
  ASSERT_EQ(ipv6[0].unicast.size(), 1U);
  EXPECT_EQ(ipv6[0].unicast[0].family, sim::kAfInet6);
}

TEST_F(SimulatedNetwork, AnAdapterNotBoundToIpv4IsLeftOutOfTheIpv4List) {
  sim::SimAdapter teredo = Ethernet(u"Teredo", {sim::Ipv6({0x20, 0x01})});
  teredo.ifType = kIfTypeTunnel;
  teredo.ipv4Bound = false;
  sim::SetAdapters({teredo, Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)})});

  const std::vector<AdapterAddresses> ipv4 = Read(kAfInet);
  ASSERT_EQ(ipv4.size(), 1U);
  EXPECT_EQ(ipv4[0].friendlyName, std::u16string(u"Ethernet"));
  EXPECT_EQ(Read(sim::kAfUnspec).size(), 2U);
}

TEST_F(SimulatedNetwork, TheSizeGrowsWithNamesAndAddresses) {
  sim::SetAdapters({Ethernet(u"A", {sim::Ipv4(10, 0, 0, 5)})});
  const std::uint32_t base = Call(0).needed;
  ASSERT_GT(base, 0U);

  sim::SetAdapters({Ethernet(u"A much longer adapter name", {sim::Ipv4(10, 0, 0, 5)})});
  const std::uint32_t longerName = Call(0).needed;
  EXPECT_GT(longerName, base);

  sim::SetAdapters({Ethernet(u"A", {sim::Ipv4(10, 0, 0, 5), sim::Ipv4(10, 0, 0, 6)})});
  const std::uint32_t moreAddresses = Call(0).needed;
  EXPECT_GT(moreAddresses, base);

  sim::SetAdapters(
      {Ethernet(u"A", {sim::Ipv4(10, 0, 0, 5)}), Ethernet(u"B", {sim::Ipv4(10, 0, 0, 6)})});
  EXPECT_GT(Call(0).needed, moreAddresses) << "a second adapter costs more than an address";

  sim::SimAdapter withIpv6 = Ethernet(u"A", {sim::Ipv4(10, 0, 0, 5), sim::Ipv6({0xfe, 0x80})});
  sim::SetAdapters({withIpv6});
  EXPECT_EQ(Call(0).needed, base) << "the IPv4 list does not count the IPv6 address";
  EXPECT_GT(Call(0, sim::kAfUnspec).needed, base);
}

TEST_F(SimulatedNetwork, ExactlyTheSizeAnsweredIsEnough) {
  sim::SetAdapters({Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)}), sim::LoopbackAdapter()});
  const std::uint32_t needed = Call(0).needed;
  EXPECT_EQ(needed, sim::AdaptersBytesNeeded(kAfInet, kFlags));
  const Answer shortByOne = Call(needed - 1);
  EXPECT_EQ(shortByOne.result, kErrorBufferOverflow);
  EXPECT_EQ(shortByOne.needed, needed);
  EXPECT_TRUE(shortByOne.adapters.empty());
  const Answer exact = Call(needed);
  EXPECT_EQ(exact.result, kErrorSuccess);
  EXPECT_EQ(exact.adapters.size(), 2U);
}

TEST_F(SimulatedNetwork, AListThatGrowsBetweenTheTwoCallsOverflowsAgainWithTheNewSize) {
  sim::SetAdapters({Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)})});
  sim::ChangeAdaptersAfterCalls(1, {Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)}),
                                    Ethernet(u"USB tethering", {sim::Ipv4(192, 168, 42, 129)})});

  const Answer size = Call(0);
  ASSERT_EQ(size.result, kErrorBufferOverflow);
  const Answer stale = Call(size.needed);
  EXPECT_EQ(stale.result, kErrorBufferOverflow);
  EXPECT_GT(stale.needed, size.needed);
  EXPECT_TRUE(stale.adapters.empty());

  const Answer fresh = Call(stale.needed);
  ASSERT_EQ(fresh.result, kErrorSuccess);
  ASSERT_EQ(fresh.adapters.size(), 2U);
  EXPECT_EQ(fresh.adapters[1].friendlyName, std::u16string(u"USB tethering"));
}

TEST_F(SimulatedNetwork, AListThatShrinksBetweenTheTwoCallsFitsTheOldSize) {
  sim::SetAdapters({Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)}),
                    Ethernet(u"Wi-Fi", {sim::Ipv4(192, 168, 1, 20)})});
  sim::ChangeAdaptersAfterCalls(1, {Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)})});
  const Answer size = Call(0);
  const Answer real = Call(size.needed);
  ASSERT_EQ(real.result, kErrorSuccess);
  EXPECT_EQ(real.adapters.size(), 1U);
}

TEST_F(SimulatedNetwork, ScriptedErrorsAnswerInOrderThenTheListAnswersAgain) {
  sim::ScriptAdaptersResults({kErrorNoData, 0, kErrorNotEnoughMemory});
  std::vector<AdapterAddresses> untouched(1);
  untouched[0].friendlyName = u"left alone";
  std::uint32_t needed = 77;
  EXPECT_EQ(GetAdaptersAddresses(kAfInet, kFlags, 0, &needed, &untouched), kErrorNoData);
  EXPECT_EQ(needed, 77U);
  ASSERT_EQ(untouched.size(), 1U);
  EXPECT_EQ(untouched[0].friendlyName, std::u16string(u"left alone"));

  const Answer through = Call(0);
  EXPECT_EQ(through.result, kErrorBufferOverflow) << "0 lets the call through";
  EXPECT_EQ(Call(through.needed).result, kErrorNotEnoughMemory);
  EXPECT_EQ(Call(through.needed).result, kErrorSuccess);
}

TEST_F(SimulatedNetwork, NoAdapterForTheFamilyAnswersNoData) {
  sim::SetAdapters({});
  EXPECT_EQ(Call(0).result, kErrorNoData);
  EXPECT_EQ(Call(100000).result, kErrorNoData);

  sim::SimAdapter ipv6Only = Ethernet(u"Teredo", {sim::Ipv6({0x20, 0x01})});
  ipv6Only.ipv4Bound = false;
  sim::SetAdapters({ipv6Only});
  EXPECT_EQ(Call(0).result, kErrorNoData);
  EXPECT_EQ(Call(0, sim::kAfInet6).result, kErrorBufferOverflow);
}

TEST_F(SimulatedNetwork, AnUnknownFamilyIsAnInvalidParameter) {
  EXPECT_EQ(Call(0, 17).result, kErrorInvalidParameter);
  EXPECT_EQ(Call(100000, 17).result, kErrorInvalidParameter);
}

TEST_F(SimulatedNetwork, SkippingUnicastLeavesTheAddressListsEmpty) {
  sim::SetAdapters({Ethernet(u"Ethernet", {sim::Ipv4(10, 0, 0, 5)})});
  const std::vector<AdapterAddresses> adapters = Read(kAfInet, kFlags | sim::kGaaFlagSkipUnicast);
  ASSERT_EQ(adapters.size(), 1U);
  EXPECT_TRUE(adapters[0].unicast.empty());
  EXPECT_LT(Call(0, kAfInet, kFlags | sim::kGaaFlagSkipUnicast).needed, Call(0).needed);
}

TEST_F(SimulatedNetwork, EachCallIsJournalledWithFamilyFlagsAndSize) {
  const Answer size = Call(0);
  Call(size.needed, kAfInet, kGaaFlagSkipDnsServer);
  std::array<char16_t, 16> buffer = {};
  InetNtopW(kAfInet, {10, 0, 0, 5}, buffer.data(), 5);
  const std::vector<std::string> expected = {
      "GetAdaptersAddresses 2 0xe 0",
      "GetAdaptersAddresses 2 0x8 " + std::to_string(size.needed),
      "InetNtopW 2 5",
  };
  EXPECT_EQ(sim::Journal(), expected);
}

TEST_F(SimulatedNetwork, InetNtopWFailsWithTheErrorsWindowsSets) {
  std::array<char16_t, 16> buffer = {};
  EXPECT_FALSE(InetNtopW(kAfInet, {10, 0, 0, 5}, buffer.data(), 8));
  EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
  EXPECT_TRUE(InetNtopW(kAfInet, {10, 0, 0, 5}, buffer.data(), 9));
  EXPECT_EQ(std::u16string(buffer.data()), std::u16string(u"10.0.0.5"));
  EXPECT_FALSE(InetNtopW(17, {10, 0, 0, 5}, buffer.data(), buffer.size()));
  EXPECT_EQ(GetLastError(), sim::kWsaEAfNoSupport);
}

}  // namespace

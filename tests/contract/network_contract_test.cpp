// The network seam as the inventory reads it: GetAdaptersAddresses' size protocol, the loopback
// adapter every system lists, and InetNtopW's text of the IPv4 addresses. Whatever else the
// machine (or Wine's host) has is allowed, so only what holds everywhere is checked.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "platform/network.h"

namespace {

using namespace platform;

constexpr std::uint32_t kFlags =
    kGaaFlagSkipAnycast | kGaaFlagSkipMulticast | kGaaFlagSkipDnsServer;

// The size call, then the real call with the size it answered; a list that grew in between
// answers overflow again with a larger size, so a few rounds are allowed.
std::vector<AdapterAddresses> ReadAdapters(std::uint16_t family) {
  std::vector<AdapterAddresses> adapters;
  std::uint32_t size = 0;
  for (int round = 0; round < 4; ++round) {
    std::uint32_t needed = 0;
    const std::uint32_t result = GetAdaptersAddresses(family, kFlags, size, &needed, &adapters);
    if (result == 0) return adapters;
    EXPECT_EQ(result, kErrorBufferOverflow);
    if (result != kErrorBufferOverflow) break;
    EXPECT_GT(needed, size);
    size = needed;
  }
  ADD_FAILURE() << "the adapters were never read";
  return {};
}

std::u16string Text(const char* ascii) { return std::u16string(ascii, ascii + std::strlen(ascii)); }

// The four numbers of a dotted quad, or nothing when the text is not one.
std::optional<std::array<std::uint8_t, 4>> ParseDottedQuad(const std::u16string& text) {
  std::array<std::uint8_t, 4> bytes = {};
  std::size_t at = 0;
  for (std::size_t part = 0; part < bytes.size(); ++part) {
    if (part != 0) {
      if (at >= text.size() || text[at] != u'.') return std::nullopt;
      ++at;
    }
    const std::size_t start = at;
    unsigned value = 0;
    while (at < text.size() && text[at] >= u'0' && text[at] <= u'9' && at - start < 3) {
      value = value * 10 + static_cast<unsigned>(text[at] - u'0');
      ++at;
    }
    if (at == start || value > 255) return std::nullopt;
    if (at - start > 1 && text[start] == u'0') return std::nullopt;
    bytes[part] = static_cast<std::uint8_t>(value);
  }
  if (at != text.size()) return std::nullopt;
  return bytes;
}

TEST(GetAdaptersAddresses, ASizeCallWithoutABufferAnswersOverflowWithTheBytesNeeded) {
  std::uint32_t needed = 0;
  std::vector<AdapterAddresses> adapters;
  ASSERT_EQ(GetAdaptersAddresses(kAfInet, kFlags, 0, &needed, &adapters), kErrorBufferOverflow);
  EXPECT_GT(needed, 0U);
  EXPECT_TRUE(adapters.empty()) << "an overflow fills in nothing";

  std::uint32_t again = 0;
  ASSERT_EQ(GetAdaptersAddresses(kAfInet, kFlags, needed, &again, &adapters), 0U);
  EXPECT_FALSE(adapters.empty());
}

TEST(GetAdaptersAddresses, ABufferOneByteShortStillOverflows) {
  std::uint32_t needed = 0;
  std::vector<AdapterAddresses> adapters;
  ASSERT_EQ(GetAdaptersAddresses(kAfInet, kFlags, 0, &needed, &adapters), kErrorBufferOverflow);
  std::uint32_t again = 0;
  EXPECT_EQ(GetAdaptersAddresses(kAfInet, kFlags, needed - 1, &again, &adapters),
            kErrorBufferOverflow);
  EXPECT_GE(again, needed) << "the overflow answers the whole size again";
}

TEST(GetAdaptersAddresses, ListsTheLoopbackAdapterWith127001) {
  const std::vector<AdapterAddresses> adapters = ReadAdapters(kAfInet);
  bool found = false;
  for (const AdapterAddresses& adapter : adapters) {
    if (adapter.ifType != kIfTypeSoftwareLoopback) continue;
    for (const UnicastAddress& address : adapter.unicast) {
      const std::array<std::uint8_t, 4> loopback = {127, 0, 0, 1};
      if (address.family == kAfInet && address.ipv4 == loopback) found = true;
    }
  }
  EXPECT_TRUE(found) << "no software-loopback adapter with 127.0.0.1 among " << adapters.size()
                     << " adapters";
}

TEST(GetAdaptersAddresses, TheIpv4ListHoldsOnlyIpv4AddressesAndEachFormatsToItsDottedQuad) {
  const std::vector<AdapterAddresses> adapters = ReadAdapters(kAfInet);
  int formatted = 0;
  for (const AdapterAddresses& adapter : adapters) {
    for (const UnicastAddress& address : adapter.unicast) {
      EXPECT_EQ(address.family, kAfInet);
      std::array<char16_t, 16> buffer = {};
      ASSERT_TRUE(InetNtopW(kAfInet, address.ipv4, buffer.data(), buffer.size()));
      const std::u16string text(buffer.data());
      const auto parsed = ParseDottedQuad(text);
      ASSERT_TRUE(parsed.has_value())
          << "not a dotted quad: " << std::string(text.begin(), text.end());
      EXPECT_EQ(*parsed, address.ipv4);
      ++formatted;
    }
  }
  EXPECT_GE(formatted, 1) << "at least the loopback address";
}

TEST(InetNtopW, WritesTheDottedQuadWithItsTerminator) {
  std::array<char16_t, 16> buffer;
  buffer.fill(u'#');
  ASSERT_TRUE(InetNtopW(kAfInet, {192, 168, 1, 20}, buffer.data(), buffer.size()));
  EXPECT_EQ(std::u16string(buffer.data()), Text("192.168.1.20"));

  ASSERT_TRUE(InetNtopW(kAfInet, {0, 0, 0, 0}, buffer.data(), buffer.size()));
  EXPECT_EQ(std::u16string(buffer.data()), Text("0.0.0.0"));
  ASSERT_TRUE(InetNtopW(kAfInet, {255, 255, 255, 255}, buffer.data(), buffer.size()));
  EXPECT_EQ(std::u16string(buffer.data()), Text("255.255.255.255"));
}

TEST(InetNtopW, FailsWhenTheBufferHasNoRoomForTheTerminator) {
  std::array<char16_t, 16> buffer = {};
  // "192.168.1.20" is 12 units; the terminator makes 13.
  EXPECT_FALSE(InetNtopW(kAfInet, {192, 168, 1, 20}, buffer.data(), 12));
  EXPECT_FALSE(InetNtopW(kAfInet, {192, 168, 1, 20}, buffer.data(), 4));
  EXPECT_TRUE(InetNtopW(kAfInet, {192, 168, 1, 20}, buffer.data(), 13));
  EXPECT_EQ(std::u16string(buffer.data()), Text("192.168.1.20"));
}

}  // namespace

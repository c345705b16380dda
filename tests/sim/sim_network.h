// The simulated network behind platform/network.h: the adapters a test lays out, in list order,
// answered through GetAdaptersAddresses' size protocol, and InetNtopW's text of an IPv4 address.
//
// What it copies:
// - The size protocol: a buffer smaller than the list needs answers kErrorBufferOverflow with the
//   bytes needed, counted as a 64-bit Windows lays the list out (one 448-byte record per adapter,
//   its GUID name, friendly name, description and DNS suffix as text, one 64-byte record and one
//   socket address per unicast address, each piece 8-aligned), so the size grows with names and
//   addresses. A list with no adapter for the family answers kErrorNoData.
// - The family filter: AF_INET lists the adapters bound to IPv4 with their IPv4 addresses only,
//   AF_INET6 likewise for IPv6, AF_UNSPEC everything; any other family is
//   kErrorInvalidParameter. GAA_FLAG_SKIP_UNICAST leaves the unicast lists empty.
// - InetNtopW: the dotted quad, which needs its length plus a terminator in units; a smaller
//   buffer, or a family other than AF_INET, fails.
//
// After a reset the list holds what every Windows has: the loopback pseudo-interface, up, type
// software-loopback, without a physical address, with ::1 and 127.0.0.1.
//
// Every GetAdaptersAddresses is journalled as "GetAdaptersAddresses <family> 0x<flags hex>
// <buffer size>", every InetNtopW as "InetNtopW <family> <size>".
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/network.h"

namespace sim {

inline constexpr std::uint16_t kAfUnspec = 0;
inline constexpr std::uint16_t kAfInet6 = 23;
inline constexpr std::uint32_t kGaaFlagSkipUnicast = 0x0001;
// Windows' answer when the socket layer does not know the family.
inline constexpr unsigned long kWsaEAfNoSupport = 10047;
// The record holds at most this many bytes of physical address.
inline constexpr std::size_t kMaxPhysicalAddressLength = 8;

// One unicast address as a test writes it: the family and its bytes in network order (4 for
// AF_INET, 16 for AF_INET6, as many as the test likes for another family).
struct SimAddress {
  std::uint16_t family = platform::kAfInet;
  std::vector<std::uint8_t> bytes;
};
SimAddress Ipv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d);
SimAddress Ipv6(const std::array<std::uint8_t, 16>& bytes);

// One adapter as a test lays it out; a name left nullopt is a null pointer in the record.
struct SimAdapter {
  std::uint32_t operStatus = platform::kIfOperStatusUp;
  std::uint32_t ifType = platform::kIfTypeEthernetCsmacd;
  std::optional<std::u16string> friendlyName = u"Ethernet";
  std::optional<std::u16string> description = u"Simulated Ethernet Adapter";
  std::vector<std::uint8_t> physicalAddress;  // at most kMaxPhysicalAddressLength bytes
  std::vector<SimAddress> unicast;            // in list order
  // An adapter not bound to a family is left out of that family's list.
  bool ipv4Bound = true;
  bool ipv6Bound = true;
};

// The loopback pseudo-interface every Windows lists.
SimAdapter LoopbackAdapter();

// The adapters, in the order GetAdaptersAddresses lists them.
void SetAdapters(std::vector<SimAdapter> adapters);
std::vector<SimAdapter> Adapters();
// After `calls` more GetAdaptersAddresses calls the list becomes `adapters`, as a network that
// changes between a caller's size call and its real call.
void ChangeAdaptersAfterCalls(int calls, std::vector<SimAdapter> adapters);
// The next GetAdaptersAddresses calls answer these errors, one each, in order; 0 lets that call
// through. Then the list answers again.
void ScriptAdaptersResults(std::vector<std::uint32_t> results);

// The bytes the current list needs for this family and these flags.
std::uint32_t AdaptersBytesNeeded(std::uint16_t family, std::uint32_t flags);

}  // namespace sim

// Network adapters and address text. Names and values are Win32's; the Windows build implements
// them in win32/network.cpp over iphlpapi and ws2_32.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

inline constexpr std::uint16_t kAfInet = 2;
inline constexpr std::uint32_t kGaaFlagSkipAnycast = 0x0002;
inline constexpr std::uint32_t kGaaFlagSkipMulticast = 0x0004;
inline constexpr std::uint32_t kGaaFlagSkipDnsServer = 0x0008;
inline constexpr std::uint32_t kErrorBufferOverflow = 111;
inline constexpr std::uint32_t kIfOperStatusUp = 1;
inline constexpr std::uint32_t kIfTypeEthernetCsmacd = 6;
inline constexpr std::uint32_t kIfTypeSoftwareLoopback = 24;
inline constexpr std::uint32_t kIfTypeIeee80211 = 71;
inline constexpr std::uint32_t kIfTypeTunnel = 131;

// One unicast address of an adapter: its family and, for AF_INET, the four bytes in network
// order.
struct UnicastAddress {
  std::uint16_t family = 0;
  std::array<std::uint8_t, 4> ipv4 = {};
};

// The fields of IP_ADAPTER_ADDRESSES the logic reads. A name the system left null is nullopt.
struct AdapterAddresses {
  std::uint32_t operStatus = 0;
  std::uint32_t ifType = 0;
  std::optional<std::u16string> friendlyName;
  std::optional<std::u16string> description;
  std::vector<std::uint8_t> physicalAddress;  // PhysicalAddressLength bytes
  std::vector<UnicastAddress> unicast;
};

// GetAdaptersAddresses into a buffer of `bufferSize` bytes: 0 with the adapters in list order,
// kErrorBufferOverflow with the bytes needed in `neededSize`, or another error.
std::uint32_t GetAdaptersAddresses(std::uint16_t family, std::uint32_t flags,
                                   std::uint32_t bufferSize, std::uint32_t* neededSize,
                                   std::vector<AdapterAddresses>* adapters);

// InetNtopW of an AF_INET address into `buffer` of `size` units; false on failure.
bool InetNtopW(std::uint16_t family, const std::array<std::uint8_t, 4>& address, char16_t* buffer,
               std::size_t size);

}  // namespace platform

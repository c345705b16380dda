// The network seam over iphlpapi (adapters) and ws2_32 (address text).
#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>

#include <cstring>

#include "platform/network.h"
#include "platform/win32/text.h"

namespace platform {

namespace {

std::optional<std::u16string> TextOrNull(const wchar_t* text) {
  if (text == nullptr) return std::nullopt;
  return FromWide(text);
}

}  // namespace

std::uint32_t GetAdaptersAddresses(std::uint16_t family, std::uint32_t flags,
                                   std::uint32_t bufferSize, std::uint32_t* neededSize,
                                   std::vector<AdapterAddresses>* adapters) {
  // Pointer-aligned storage: the list is records that point at each other.
  std::vector<std::uint64_t> storage((bufferSize + 7) / 8);
  auto* first = bufferSize == 0 ? nullptr
                                : reinterpret_cast<IP_ADAPTER_ADDRESSES*>(storage.data());
  ULONG size = bufferSize;
  const ULONG result = ::GetAdaptersAddresses(family, flags, nullptr, first, &size);
  *neededSize = size;
  if (result != NO_ERROR) return result;
  adapters->clear();
  for (const IP_ADAPTER_ADDRESSES* adapter = first; adapter; adapter = adapter->Next) {
    AdapterAddresses entry;
    entry.operStatus = adapter->OperStatus;
    entry.ifType = adapter->IfType;
    entry.friendlyName = TextOrNull(adapter->FriendlyName);
    entry.description = TextOrNull(adapter->Description);
    entry.physicalAddress.assign(adapter->PhysicalAddress,
                                 adapter->PhysicalAddress + adapter->PhysicalAddressLength);
    for (const IP_ADAPTER_UNICAST_ADDRESS* unicast = adapter->FirstUnicastAddress; unicast;
         unicast = unicast->Next) {
      UnicastAddress address;
      const SOCKADDR* socket = unicast->Address.lpSockaddr;
      if (socket == nullptr) continue;
      address.family = socket->sa_family;
      if (socket->sa_family == AF_INET) {
        const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(socket);
        std::memcpy(address.ipv4.data(), &ipv4->sin_addr, address.ipv4.size());
      }
      entry.unicast.push_back(address);
    }
    adapters->push_back(std::move(entry));
  }
  return result;
}

bool InetNtopW(std::uint16_t family, const std::array<std::uint8_t, 4>& address, char16_t* buffer,
               std::size_t size) {
  // The seam carries four bytes: any other family would have Windows read past them.
  if (family != AF_INET) {
    ::WSASetLastError(WSAEAFNOSUPPORT);
    return false;
  }
  in_addr native = {};
  std::memcpy(&native, address.data(), address.size());
  return ::InetNtopW(family, &native, AsWideBuffer(buffer), size) != nullptr;
}

}  // namespace platform

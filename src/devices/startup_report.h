// The startup report of `getStartupReportInfo`: the one IPv4 address this machine reports to its
// server, the hardware address of the adapter that carries it, whether that adapter is wired,
// and the primary screen's resolution.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "channels/encodable_value.h"

// Adapters named like software or virtual ones never carry the reported address.
inline constexpr std::initializer_list<std::u16string_view> kAdapterExclusions = {
    u"virtual", u"hyper-v", u"virtualbox", u"vmware", u"loopback",    u"bluetooth",
    u"vpn",     u"tap",     u"tunnel",     u"rndis",  u"\u84DD\u7259"};

// Lower is better: 0 for 192.168., 1 for 10., 2 for 172.16. to 172.31., 9 for anything else.
int ScoreBindAddress(std::u16string_view address);
// "%02X" per byte joined by "-"; empty for a null pointer or a length of zero.
std::u16string FormatMacAddress(const std::uint8_t* bytes, std::size_t length);
bool ContainsAnyText(std::u16string_view text, std::initializer_list<std::u16string_view> needles);

// `bindIp`, `mac`, `isWiredNetwork` (a 32-bit integer) and `resolution`, always all four.
EncodableMap GetStartupReportInfo();

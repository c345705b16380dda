// The hardware report of `getHardwareSpecs`: one short text per main component, the first real
// device of each setup class, the system's version, its memory and two registration values.
// Nothing is cached: each call reads everything again.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "base/guid.h"
#include "channels/encodable_value.h"

// GUID_DEVCLASS_DISKDRIVE, _DISPLAY, _MONITOR, _MEDIA and _NET.
inline constexpr Guid kDiskDriveClass = {
    0x4D36E967, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
inline constexpr Guid kDisplayAdapterClass = {
    0x4D36E968, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
inline constexpr Guid kMonitorClass = {
    0x4D36E96E, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
inline constexpr Guid kSoundClass = {
    0x4D36E96C, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
inline constexpr Guid kNetworkAdapterClass = {
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

// Words that disqualify a device of each class, lower case, in test order.
inline constexpr std::initializer_list<std::u16string_view> kDiskExclusions = {u"virtual",
                                                                               u"storage spaces"};
inline constexpr std::initializer_list<std::u16string_view> kDisplayExclusions = {
    u"microsoft basic display"};
inline constexpr std::initializer_list<std::u16string_view> kMonitorExclusions = {};
inline constexpr std::initializer_list<std::u16string_view> kSoundExclusions = {u"legacy", u"midi"};
inline constexpr std::initializer_list<std::u16string_view> kNetworkExclusions = {
    u"wan miniport", u"bluetooth", u"virtual", u"vpn",    u"loopback",
    u"debug",        u"tap",       u"hyper-v", u"vmware", u"virtualbox"};

// The friendly name (else the description) of the first present device of the class that no
// exclusion word hits in its lower-cased copy, in its own letter case; empty when none passes.
std::u16string FirstClassDeviceName(const Guid& setupClass,
                                    std::initializer_list<std::u16string_view> exclusions);

// "ProductName", with "Windows 10" made "Windows 11" from build 22000 on, and "DisplayVersion"
// appended after a blank unless the text holds it already.
std::u16string WindowsVersionText();

// Total physical memory in whole GB, rounded to the nearest 2^30 bytes with a half rounding up;
// empty when the status can't be read or the total is zero.
std::u16string FormatTotalMemory();

// The ten keys, each a UTF-8 text, empty when its source yields nothing.
EncodableMap GetHardwareSpecs();

// The machine's serial number for `getWindowsProductSerialNumber`, from the firmware's SMBIOS
// tables: the system's serial (structure type 1), else the baseboard's (type 2), since the BIOS
// structure (type 0) carries none. Trimmed of blanks; empty when the tables hold none or only a
// placeholder that a board maker left in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The serial out of the bytes GetSystemFirmwareTable('RSMB') gives: the 8-byte RawSMBIOSData
// header, then the structure table of the length it states. Reads nothing outside `size` bytes,
// whatever the bytes claim. Non-ASCII bytes are taken as Latin-1, so the answer is valid UTF-8.
std::string ParseSmbiosSerial(const std::uint8_t* data, std::size_t size);

// True for texts that stand for no serial at all ("To be filled by O.E.M.", "Default string",
// ...), compared without A-Z case, and for texts of zeros only.
bool IsPlaceholderSerial(std::string_view serial);

// Never an error: the empty string when the firmware table can't be read.
std::string GetWindowsProductSerialNumber();

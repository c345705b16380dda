// A GUID as Win32 lays it out: 16 bytes, compared field by field.
#pragma once

#include <array>
#include <cstdint>

struct Guid {
  std::uint32_t data1 = 0;
  std::uint16_t data2 = 0;
  std::uint16_t data3 = 0;
  std::array<std::uint8_t, 8> data4 = {};
  bool operator==(const Guid&) const = default;
};

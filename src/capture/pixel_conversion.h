// A duplicated frame arrives as BGRA rows spaced by the staging texture's row pitch; Dart wants
// the same pixels packed row after row as RGBA. Every path here gives the same bytes as the scalar
// one, which is the reference: pixel x of row y is read at y * pitch + x * 4, its first and third
// bytes are swapped and alpha is kept as it stands. Any pitch is read as that formula says, even
// one smaller than a row, since the source is only read. Source and destination must not overlap;
// the destination receives exactly width * height * 4 bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

enum class ConversionPath : std::uint8_t {
  kScalar,
  kSsse3,  // pshufb over four pixels at a time
  kAvx2,   // vpshufb over eight pixels at a time
};

// The reference: one pixel at a time.
void ConvertBgraToRgbaScalar(const std::uint8_t* source, std::uint32_t pitch, std::uint32_t width,
                             std::uint32_t height, std::uint8_t* destination);

// The best path this CPU offers, decided once.
void ConvertBgraToRgba(const std::uint8_t* source, std::uint32_t pitch, std::uint32_t width,
                       std::uint32_t height, std::uint8_t* destination);

// One named path; a path the CPU does not offer falls back to the scalar one rather than fault.
void ConvertBgraToRgbaWith(ConversionPath path, const std::uint8_t* source, std::uint32_t pitch,
                           std::uint32_t width, std::uint32_t height, std::uint8_t* destination);

bool CpuOffersConversionPath(ConversionPath path);

// The paths this CPU offers, the scalar one first: what the tests compare against each other.
std::vector<ConversionPath> OfferedConversionPaths();

// What ConvertBgraToRgba runs here.
ConversionPath ChosenConversionPath();

const char* ConversionPathName(ConversionPath path);

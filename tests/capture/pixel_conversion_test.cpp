#include "capture/pixel_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

// Bytes either side of the destination, to see that nothing is written outside it.
constexpr std::size_t kGuard = 64;
constexpr std::uint8_t kGuardByte = 0xA5;

struct Frame {
  std::uint32_t width;
  std::uint32_t pitch;
  std::uint32_t height;
};

std::size_t SourceBytes(const Frame& frame) {
  if (frame.height == 0 || frame.width == 0) return 0;
  return static_cast<std::size_t>(frame.height - 1) * frame.pitch +
         static_cast<std::size_t>(frame.width) * 4;
}

std::size_t DestinationBytes(const Frame& frame) {
  return static_cast<std::size_t>(frame.width) * frame.height * 4;
}

// Runs one path with the source at `sourceOffset` and the destination at `destinationOffset`
// bytes past a 64-byte boundary, and answers the destination with its guards.
std::vector<std::uint8_t> RunPath(ConversionPath path, const std::vector<std::uint8_t>& pixels,
                                  const Frame& frame, std::size_t sourceOffset,
                                  std::size_t destinationOffset) {
  std::vector<std::uint8_t> source(pixels.size() + 128);
  std::uint8_t* sourceBase = source.data();
  sourceBase += (64 - reinterpret_cast<std::uintptr_t>(sourceBase) % 64) % 64;
  std::copy(pixels.begin(), pixels.end(), sourceBase + sourceOffset);

  std::vector<std::uint8_t> destination(DestinationBytes(frame) + 2 * kGuard + 128, kGuardByte);
  std::uint8_t* destinationBase = destination.data();
  destinationBase += (64 - reinterpret_cast<std::uintptr_t>(destinationBase) % 64) % 64;
  std::uint8_t* start = destinationBase + kGuard + destinationOffset;
  ConvertBgraToRgbaWith(path, sourceBase + sourceOffset, frame.pitch, frame.width, frame.height,
                        start);
  return std::vector<std::uint8_t>(start - kGuard, start + DestinationBytes(frame) + kGuard);
}

std::vector<std::uint8_t> RandomBytes(std::size_t count, std::mt19937& random) {
  std::uniform_int_distribution<int> byte(0, 255);
  std::vector<std::uint8_t> bytes(count);
  for (std::uint8_t& value : bytes) value = static_cast<std::uint8_t>(byte(random));
  return bytes;
}

bool GuardsIntact(const std::vector<std::uint8_t>& output) {
  const auto intact = [](std::uint8_t value) { return value == kGuardByte; };
  return std::all_of(output.begin(), output.begin() + kGuard, intact) &&
         std::all_of(output.end() - kGuard, output.end(), intact);
}

// Pitches a mapped texture may have: exactly a row, padded to a round size, and odd ones that
// leave every row at a different alignment.
std::vector<std::uint32_t> PitchesFor(std::uint32_t width) {
  const std::uint32_t row = width * 4;
  return {row, row + 4, row + 1, row + 3, row + 13, (row + 63) / 64 * 64 + 64};
}

TEST(ConvertBgraToRgba, ScalarSwapsBlueAndRedAndKeepsAlpha) {
  const std::vector<std::uint8_t> source = {0x10, 0x20, 0x30, 0x40, 0x00, 0x80, 0xFF, 0x00,
                                            0xFF, 0x00, 0x00, 0xFF, 0x01, 0x02, 0x03, 0x04};
  std::vector<std::uint8_t> destination(16, 0xEE);
  ConvertBgraToRgbaScalar(source.data(), 16, 4, 1, destination.data());
  const std::vector<std::uint8_t> expected = {0x30, 0x20, 0x10, 0x40, 0xFF, 0x80, 0x00, 0x00,
                                              0x00, 0x00, 0xFF, 0xFF, 0x03, 0x02, 0x01, 0x04};
  EXPECT_EQ(destination, expected);
}

TEST(ConvertBgraToRgba, ScalarSkipsThePaddingAtTheEndOfEachRow) {
  // Two rows of one pixel, each followed by three bytes of padding that must not reach the output.
  const std::vector<std::uint8_t> source = {0x01, 0x02, 0x03, 0x04, 0xDE, 0xAD, 0xBE,
                                            0x05, 0x06, 0x07, 0x08, 0xDE, 0xAD, 0xBE};
  std::vector<std::uint8_t> destination(8, 0xEE);
  ConvertBgraToRgbaScalar(source.data(), 7, 1, 2, destination.data());
  const std::vector<std::uint8_t> expected = {0x03, 0x02, 0x01, 0x04, 0x07, 0x06, 0x05, 0x08};
  EXPECT_EQ(destination, expected);
}

TEST(ConvertBgraToRgba, EveryOfferedPathSwapsBlueAndRedOnPixelsInEveryPartOfARow) {
  // 23 pixels: a 16-pixel block, an 8-less step, a 4-pixel step and a tail of 3 for the vector
  // paths. Pixel i is B=i, G=0x40+i, R=0x80+i, A=0xC0+i.
  constexpr std::uint32_t kWidth = 23;
  std::vector<std::uint8_t> source(kWidth * 4);
  for (std::uint32_t i = 0; i < kWidth; ++i) {
    source[i * 4 + 0] = static_cast<std::uint8_t>(i);
    source[i * 4 + 1] = static_cast<std::uint8_t>(0x40 + i);
    source[i * 4 + 2] = static_cast<std::uint8_t>(0x80 + i);
    source[i * 4 + 3] = static_cast<std::uint8_t>(0xC0 + i);
  }
  for (const ConversionPath path : OfferedConversionPaths()) {
    SCOPED_TRACE(ConversionPathName(path));
    std::vector<std::uint8_t> destination(kWidth * 4, 0xEE);
    ConvertBgraToRgbaWith(path, source.data(), kWidth * 4, kWidth, 1, destination.data());
    for (const std::uint32_t i : {0u, 3u, 7u, 15u, 16u, 19u, 20u, 22u}) {
      SCOPED_TRACE(i);
      EXPECT_EQ(destination[i * 4 + 0], 0x80 + i);
      EXPECT_EQ(destination[i * 4 + 1], 0x40 + i);
      EXPECT_EQ(destination[i * 4 + 2], i);
      EXPECT_EQ(destination[i * 4 + 3], 0xC0 + i);
    }
  }
}

TEST(ConvertBgraToRgba, EveryOfferedPathMatchesTheScalarOneForEveryShapeAndAlignment) {
  std::mt19937 random(20261125);
  const std::vector<ConversionPath> paths = OfferedConversionPaths();
  ASSERT_FALSE(paths.empty());
  ASSERT_EQ(paths.front(), ConversionPath::kScalar);
  int compared = 0;
  for (std::uint32_t width = 0; width <= 70; ++width) {
    for (const std::uint32_t pitch : PitchesFor(width)) {
      for (std::uint32_t height = 0; height <= 3; ++height) {
        const Frame frame{width, pitch, height};
        const std::vector<std::uint8_t> pixels = RandomBytes(SourceBytes(frame), random);
        const std::vector<std::uint8_t> reference =
            RunPath(ConversionPath::kScalar, pixels, frame, 0, 0);
        ASSERT_TRUE(GuardsIntact(reference));
        for (const ConversionPath path : paths) {
          for (const std::size_t sourceOffset : {0u, 1u, 3u, 4u, 17u}) {
            for (const std::size_t destinationOffset : {0u, 1u, 2u, 4u, 31u}) {
              const std::vector<std::uint8_t> output =
                  RunPath(path, pixels, frame, sourceOffset, destinationOffset);
              ASSERT_EQ(output, reference)
                  << ConversionPathName(path) << " width " << width << " pitch " << pitch
                  << " height " << height << " source +" << sourceOffset << " destination +"
                  << destinationOffset;
              ++compared;
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(compared, 71 * 6 * 4 * static_cast<int>(paths.size()) * 25);
}

TEST(ConvertBgraToRgba, ThePublicEntryGivesTheScalarBytesOnAFrameWithAPaddedPitch) {
  std::mt19937 random(7);
  const Frame frame{1366, 1366 * 4 + 64 * 3 - 8, 5};
  const std::vector<std::uint8_t> pixels = RandomBytes(SourceBytes(frame), random);
  std::vector<std::uint8_t> reference(DestinationBytes(frame));
  ConvertBgraToRgbaScalar(pixels.data(), frame.pitch, frame.width, frame.height, reference.data());
  std::vector<std::uint8_t> output(DestinationBytes(frame));
  ConvertBgraToRgba(pixels.data(), frame.pitch, frame.width, frame.height, output.data());
  EXPECT_EQ(output, reference);
}

TEST(ConvertBgraToRgba, TheChosenPathIsTheFastestTheCpuOffers) {
  const std::vector<ConversionPath> paths = OfferedConversionPaths();
  EXPECT_EQ(ChosenConversionPath(), paths.back());
  for (const ConversionPath path : paths) EXPECT_TRUE(CpuOffersConversionPath(path));
}

TEST(ConvertBgraToRgba, APitchSmallerThanARowReadsOverlappingRowsAsTheFormulaSays) {
  // Row y starts at y * pitch even when that lies inside the row before.
  const std::vector<std::uint8_t> source = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const std::vector<std::uint8_t> expected = {3, 2, 1, 4, 7, 6, 5, 8, 7, 6, 5, 8, 11, 10, 9, 12};
  for (const ConversionPath path : OfferedConversionPaths()) {
    SCOPED_TRACE(ConversionPathName(path));
    std::vector<std::uint8_t> destination(16, 0xEE);
    ConvertBgraToRgbaWith(path, source.data(), 4, 2, 2, destination.data());
    EXPECT_EQ(destination, expected);
  }
}

}  // namespace

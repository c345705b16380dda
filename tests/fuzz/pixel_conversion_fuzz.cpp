// Frames of any width, pitch and height, with the source and destination sized exactly and at
// any alignment: every path the CPU offers must write the scalar path's bytes, and nothing
// outside the destination. The buffers are exact heap blocks, so that a read past the last row or
// a write past the last pixel is caught by AddressSanitizer rather than landing in slack.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "capture/pixel_conversion.h"
#include "fuzz_check.h"

namespace {

struct Shape {
  std::uint32_t width;
  std::uint32_t pitch;
  std::uint32_t height;
  std::size_t sourceOffset;
  std::size_t destinationOffset;
};

std::uint16_t ReadUnit(const std::uint8_t* data) {
  return static_cast<std::uint16_t>(data[0] | (data[1] << 8));
}

// Eight header bytes: width, pitch and height kept small enough for a fast run, and where in
// a 32-byte block the two buffers start.
constexpr std::size_t kHeaderBytes = 8;

Shape ReadShape(const std::uint8_t* data) {
  Shape shape;
  shape.width = ReadUnit(data) % 600;
  // Any pitch, smaller or larger than a row; rows may overlap, the source is only read.
  shape.pitch = ReadUnit(data + 2) % 2600;
  shape.height = data[4] % 9;
  shape.sourceOffset = data[5] % 32;
  shape.destinationOffset = data[6] % 32;
  return shape;
}

std::size_t SourceBytes(const Shape& shape) {
  if (shape.width == 0 || shape.height == 0) return 0;
  return static_cast<std::size_t>(shape.height - 1) * shape.pitch +
         static_cast<std::size_t>(shape.width) * 4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kHeaderBytes) return 0;
  const Shape shape = ReadShape(data);
  const std::uint8_t* pixels = data + kHeaderBytes;
  const std::size_t pixelBytes = size - kHeaderBytes;

  // The rest of the input fills the source, repeated when it is short.
  const std::size_t sourceBytes = SourceBytes(shape);
  std::unique_ptr<std::uint8_t[]> source(new std::uint8_t[shape.sourceOffset + sourceBytes]);
  for (std::size_t i = 0; i < sourceBytes; ++i) {
    source[shape.sourceOffset + i] =
        pixelBytes == 0 ? static_cast<std::uint8_t>(i * 37) : pixels[i % pixelBytes];
  }
  const std::uint8_t* start = source.get() + shape.sourceOffset;

  const std::size_t destinationBytes = static_cast<std::size_t>(shape.width) * shape.height * 4;
  std::vector<std::uint8_t> reference(destinationBytes);
  ConvertBgraToRgbaScalar(start, shape.pitch, shape.width, shape.height, reference.data());

  // The reference itself, checked against the formula on every pixel.
  for (std::uint32_t y = 0; y < shape.height; ++y) {
    for (std::uint32_t x = 0; x < shape.width; ++x) {
      const std::uint8_t* in = start + static_cast<std::size_t>(y) * shape.pitch + x * 4;
      const std::uint8_t* out =
          reference.data() + (static_cast<std::size_t>(y) * shape.width + x) * 4;
      KT_CHECK(out[0] == in[2] && out[1] == in[1] && out[2] == in[0] && out[3] == in[3]);
    }
  }

  std::vector<ConversionPath> paths = OfferedConversionPaths();
  for (const ConversionPath path : paths) {
    std::unique_ptr<std::uint8_t[]> destination(
        new std::uint8_t[shape.destinationOffset + destinationBytes]);
    std::memset(destination.get(), 0x5A, shape.destinationOffset + destinationBytes);
    ConvertBgraToRgbaWith(path, start, shape.pitch, shape.width, shape.height,
                          destination.get() + shape.destinationOffset);
    for (std::size_t i = 0; i < shape.destinationOffset; ++i) KT_CHECK(destination[i] == 0x5A);
    KT_CHECK(destinationBytes == 0 || std::memcmp(destination.get() + shape.destinationOffset,
                                                  reference.data(), destinationBytes) == 0);
  }

  std::vector<std::uint8_t> chosen(destinationBytes);
  ConvertBgraToRgba(start, shape.pitch, shape.width, shape.height, chosen.data());
  KT_CHECK(chosen == reference);
  return 0;
}

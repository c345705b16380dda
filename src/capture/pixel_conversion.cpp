#include "capture/pixel_conversion.h"

#include <iterator>

#if defined(__x86_64__) || defined(__i386__)
#define KT_CAPTURE_X86 1
#include <immintrin.h>
#else
#define KT_CAPTURE_X86 0
#endif

namespace {

// Offsets are computed in size_t: a 4K frame's pitch times its height already passes 2^26, and
// nothing stops a caller from larger ones.
inline const std::uint8_t* SourceRow(const std::uint8_t* source, std::uint32_t pitch,
                                     std::uint32_t y) {
  return source + static_cast<std::size_t>(y) * pitch;
}

inline std::uint8_t* DestinationRow(std::uint8_t* destination, std::uint32_t width,
                                    std::uint32_t y) {
  return destination + static_cast<std::size_t>(y) * width * 4;
}

inline void ConvertPixels(const std::uint8_t* from, std::uint32_t count, std::uint8_t* to) {
  for (std::uint32_t x = 0; x < count; ++x) {
    const std::uint8_t* pixel = from + static_cast<std::size_t>(x) * 4;
    std::uint8_t* out = to + static_cast<std::size_t>(x) * 4;
    out[0] = pixel[2];
    out[1] = pixel[1];
    out[2] = pixel[0];
    out[3] = pixel[3];
  }
}

#if KT_CAPTURE_X86

// Byte order of one 16-byte lane after the shuffle: R G B A from B G R A, four pixels.
#define KT_BGRA_TO_RGBA_LANE 2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15

__attribute__((target("ssse3"))) void ConvertRowSsse3(const std::uint8_t* from, std::uint32_t width,
                                                      std::uint8_t* to) {
  const __m128i order = _mm_setr_epi8(KT_BGRA_TO_RGBA_LANE);
  std::uint32_t left = width;
  for (; left >= 8; left -= 8, from += 32, to += 32) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(first, order));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 16), _mm_shuffle_epi8(second, order));
  }
  if (left >= 4) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(block, order));
    left -= 4;
    from += 16;
    to += 16;
  }
  // The last pixels go one by one: a wider load would read past the row, and at the last row past
  // the mapped memory.
  ConvertPixels(from, left, to);
}

__attribute__((target("avx2"))) void ConvertRowAvx2(const std::uint8_t* from, std::uint32_t width,
                                                    std::uint8_t* to) {
  // vpshufb shuffles within each 128-bit half, so the pattern is the same lane twice.
  const __m256i order = _mm256_setr_epi8(KT_BGRA_TO_RGBA_LANE, KT_BGRA_TO_RGBA_LANE);
  std::uint32_t left = width;
  for (; left >= 16; left -= 16, from += 64, to += 64) {
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + 32));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_shuffle_epi8(first, order));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + 32), _mm256_shuffle_epi8(second, order));
  }
  if (left >= 8) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_shuffle_epi8(block, order));
    left -= 8;
    from += 32;
    to += 32;
  }
  if (left >= 4) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to),
                     _mm_shuffle_epi8(block, _mm256_castsi256_si128(order)));
    left -= 4;
    from += 16;
    to += 16;
  }
  ConvertPixels(from, left, to);
}

#undef KT_BGRA_TO_RGBA_LANE

__attribute__((target("ssse3"))) void ConvertSsse3(const std::uint8_t* source, std::uint32_t pitch,
                                                   std::uint32_t width, std::uint32_t height,
                                                   std::uint8_t* destination) {
  for (std::uint32_t y = 0; y < height; ++y) {
    ConvertRowSsse3(SourceRow(source, pitch, y), width, DestinationRow(destination, width, y));
  }
}

__attribute__((target("avx2"))) void ConvertAvx2(const std::uint8_t* source, std::uint32_t pitch,
                                                 std::uint32_t width, std::uint32_t height,
                                                 std::uint8_t* destination) {
  for (std::uint32_t y = 0; y < height; ++y) {
    ConvertRowAvx2(SourceRow(source, pitch, y), width, DestinationRow(destination, width, y));
  }
}

#endif  // KT_CAPTURE_X86

using Converter = void (*)(const std::uint8_t*, std::uint32_t, std::uint32_t, std::uint32_t,
                           std::uint8_t*);

// Fastest first; the scalar path closes the table because every CPU offers it.
constexpr ConversionPath kPreference[] = {ConversionPath::kAvx2, ConversionPath::kSsse3,
                                          ConversionPath::kScalar};

Converter ConverterFor(ConversionPath path) {
#if KT_CAPTURE_X86
  if (CpuOffersConversionPath(path)) {
    switch (path) {
      case ConversionPath::kAvx2:
        return &ConvertAvx2;
      case ConversionPath::kSsse3:
        return &ConvertSsse3;
      case ConversionPath::kScalar:
        break;
    }
  }
#else
  (void)path;
#endif
  return &ConvertBgraToRgbaScalar;
}

ConversionPath PickPath() {
  for (const ConversionPath path : kPreference) {
    if (CpuOffersConversionPath(path)) return path;
  }
  return ConversionPath::kScalar;
}

}  // namespace

void ConvertBgraToRgbaScalar(const std::uint8_t* source, std::uint32_t pitch, std::uint32_t width,
                             std::uint32_t height, std::uint8_t* destination) {
  for (std::uint32_t y = 0; y < height; ++y) {
    ConvertPixels(SourceRow(source, pitch, y), width, DestinationRow(destination, width, y));
  }
}

bool CpuOffersConversionPath(ConversionPath path) {
#if KT_CAPTURE_X86
  // A capture export may run before any static constructor of the process, so the CPU model is
  // filled in here rather than trusted to be ready.
  __builtin_cpu_init();
  switch (path) {
    case ConversionPath::kScalar:
      return true;
    case ConversionPath::kSsse3:
      return __builtin_cpu_supports("ssse3");
    case ConversionPath::kAvx2:
      return __builtin_cpu_supports("avx2");
  }
  return false;
#else
  return path == ConversionPath::kScalar;
#endif
}

std::vector<ConversionPath> OfferedConversionPaths() {
  std::vector<ConversionPath> paths;
  for (auto it = std::rbegin(kPreference); it != std::rend(kPreference); ++it) {
    if (CpuOffersConversionPath(*it)) paths.push_back(*it);
  }
  return paths;
}

ConversionPath ChosenConversionPath() {
  static const ConversionPath chosen = PickPath();
  return chosen;
}

void ConvertBgraToRgbaWith(ConversionPath path, const std::uint8_t* source, std::uint32_t pitch,
                           std::uint32_t width, std::uint32_t height, std::uint8_t* destination) {
  ConverterFor(path)(source, pitch, width, height, destination);
}

void ConvertBgraToRgba(const std::uint8_t* source, std::uint32_t pitch, std::uint32_t width,
                       std::uint32_t height, std::uint8_t* destination) {
  static const Converter converter = ConverterFor(ChosenConversionPath());
  converter(source, pitch, width, height, destination);
}

const char* ConversionPathName(ConversionPath path) {
  switch (path) {
    case ConversionPath::kScalar:
      return "scalar";
    case ConversionPath::kSsse3:
      return "ssse3";
    case ConversionPath::kAvx2:
      return "avx2";
  }
  return "unknown";
}

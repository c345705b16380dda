// A 3840x2160 frame through the scalar conversion and through the path this CPU is given, each
// next to a plain copy of the same bytes: the conversion reads and writes as much as memcpy does,
// so memcpy is the floor it is measured against.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "capture/pixel_conversion.h"
#include "ratio_report.h"

namespace {

constexpr std::uint32_t kWidth = 3840;
constexpr std::uint32_t kHeight = 2160;
constexpr std::uint32_t kPitch = kWidth * 4;
constexpr std::size_t kFrameBytes = static_cast<std::size_t>(kPitch) * kHeight;

// Filled once, so that the first timed pass pays for no page faults.
const std::vector<std::uint8_t>& Source() {
  static const std::vector<std::uint8_t> source = [] {
    std::vector<std::uint8_t> bytes(kFrameBytes);
    std::mt19937 random(3840);
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
      const std::uint32_t value = random();
      std::memcpy(&bytes[i], &value, 4);
    }
    return bytes;
  }();
  return source;
}

std::vector<std::uint8_t>& Destination() {
  static std::vector<std::uint8_t> destination(kFrameBytes, 1);
  return destination;
}

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(kFrameBytes));
}

void BM_MemcpyFrame(benchmark::State& state) {
  const std::vector<std::uint8_t>& source = Source();
  std::vector<std::uint8_t>& destination = Destination();
  for (auto _ : state) {
    std::memcpy(destination.data(), source.data(), kFrameBytes);
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_MemcpyFrame)->Unit(benchmark::kMillisecond);

void BM_ConvertScalar(benchmark::State& state) {
  const std::vector<std::uint8_t>& source = Source();
  std::vector<std::uint8_t>& destination = Destination();
  for (auto _ : state) {
    ConvertBgraToRgbaScalar(source.data(), kPitch, kWidth, kHeight, destination.data());
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_ConvertScalar)->Unit(benchmark::kMillisecond);

void BM_ConvertChosen(benchmark::State& state) {
  const std::vector<std::uint8_t>& source = Source();
  std::vector<std::uint8_t>& destination = Destination();
  state.SetLabel(ConversionPathName(ChosenConversionPath()));
  for (auto _ : state) {
    ConvertBgraToRgba(source.data(), kPitch, kWidth, kHeight, destination.data());
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_ConvertChosen)->Unit(benchmark::kMillisecond);

// Each path the CPU offers on its own, so that a slower fallback is seen too.
void BM_ConvertSsse3(benchmark::State& state) {
  if (!CpuOffersConversionPath(ConversionPath::kSsse3)) {
    state.SkipWithError("this CPU has no SSSE3");
    return;
  }
  const std::vector<std::uint8_t>& source = Source();
  std::vector<std::uint8_t>& destination = Destination();
  for (auto _ : state) {
    ConvertBgraToRgbaWith(ConversionPath::kSsse3, source.data(), kPitch, kWidth, kHeight,
                          destination.data());
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_ConvertSsse3)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, "BM_MemcpyFrame", "memcpy of the frame",
                              {"BM_ConvertScalar", "BM_ConvertChosen", "BM_ConvertSsse3"},
                              kFrameBytes);
}

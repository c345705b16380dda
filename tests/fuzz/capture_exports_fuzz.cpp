// The capture exports against any layout of adapters and outputs (names of any length, sizes of
// any sign, descriptions that fail), any frame answer and pitch, any buffer size and maximum, and
// one failing call anywhere: every answer is one the exports document, nothing outside the
// caller's buffer or the listed records is written, and every reference made is released.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "capture/screen_capture.h"
#include "fuzz_check.h"
#include "sim_capture.h"
#include "sim_core.h"

namespace {

class Reader {
 public:
  Reader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  std::uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
  std::int32_t Int16() {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(Byte() | Byte() << 8));
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

constexpr const char* kFailing[] = {"D3D11CreateDevice",
                                    "QueryInterface IDXGIDevice",
                                    "GetAdapter",
                                    "EnumOutputs",
                                    "GetDesc",
                                    "QueryInterface IDXGIOutput1",
                                    "DuplicateOutput",
                                    "CreateTexture2D",
                                    "AcquireNextFrame",
                                    "QueryInterface ID3D11Texture2D",
                                    "Map",
                                    "CreateDXGIFactory1",
                                    "EnumAdapters1"};

constexpr std::int32_t kFrameResults[] = {platform::kSOk, platform::kDxgiErrorWaitTimeout,
                                          platform::kDxgiErrorAccessLost, platform::kEFail};

bool Untouched(const std::uint8_t* bytes, std::size_t size, std::uint8_t fill) {
  for (std::size_t i = 0; i < size; ++i) {
    if (bytes[i] != fill) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sim::ResetSimulation();
  Reader in(data, size);

  std::vector<sim::SimDisplayAdapter> adapters(in.Byte() % 4);
  for (sim::SimDisplayAdapter& adapter : adapters) {
    adapter.outputs.resize(in.Byte() % 4);
    for (sim::SimOutput& output : adapter.outputs) {
      output.name.assign(in.Byte() % 200, static_cast<char16_t>(u'A' + in.Byte() % 26));
      output.desktop = {in.Int16(), in.Int16(), in.Int16(), in.Int16()};
      output.attached = in.Byte() % 2 == 0;
      output.descFails = in.Byte() % 5 == 0;
    }
  }
  sim::SetDisplayAdapters(adapters);
  const std::uint8_t failure = in.Byte();
  if (failure < std::size(kFailing) * 2) {
    sim::FailCaptureCall(kFailing[failure % std::size(kFailing)], platform::kEFail,
                         1 + in.Byte() % 3);
  }

  // The list: a maximum of any sign, records past it never written.
  const std::int32_t maxCount = static_cast<std::int8_t>(in.Byte()) % 10;
  std::vector<ScreenRecord> records(10);
  std::memset(records.data(), 0xCD, records.size() * sizeof(ScreenRecord));
  const std::int32_t listed = GetScreenList(records.data(), maxCount);
  KT_CHECK(listed >= 0 && listed <= (maxCount > 0 ? maxCount : 0));
  for (std::int32_t i = 0; i < listed; ++i) {
    KT_CHECK(records[i].index == i);
    KT_CHECK(records[i].attached <= 1);
    KT_CHECK(std::u16string(records[i].name).size() <= 127);
    KT_CHECK(Untouched(records[i].unused, 3, 0xCD));
  }
  KT_CHECK(Untouched(reinterpret_cast<const std::uint8_t*>(records.data() + listed),
                     (records.size() - listed) * sizeof(ScreenRecord), 0xCD));
  KT_CHECK(sim::LiveCaptureObjects().empty());

  // A frame grab of whatever output 0 of the first adapter is.
  ScreenCapture* capture = StartScreenCapture(in.Byte() % 3);
  if (capture) {
    const std::int32_t width = GetCaptureWidth(capture);
    const std::int32_t height = GetCaptureHeight(capture);
    const std::int64_t frameBytes = std::int64_t{width} * height * 4;
    const bool small = width >= 0 && height >= 0 && frameBytes <= 1 << 16;
    sim::SimFrame frame;
    frame.result = kFrameResults[in.Byte() % std::size(kFrameResults)];
    frame.resourceOnFailure = in.Byte() % 2 == 0;
    if (small && width > 0 && height > 0) {
      frame.pitch = static_cast<std::uint32_t>(width) * 4 + in.Byte() % 16;
      frame.bgra.resize(std::size_t{frame.pitch} * static_cast<std::uint32_t>(height));
      for (std::uint8_t& byte : frame.bgra) byte = in.Byte();
    }
    if (in.Byte() % 4 != 0) sim::QueueFrame(frame);
    // The caller's buffer is exactly the size it states, so a write past it is caught.
    const std::int32_t bufferSize =
        small ? static_cast<std::int32_t>(frameBytes) - 2 + in.Byte() % 4 : in.Int16();
    const std::size_t allocated = bufferSize > 0 ? static_cast<std::size_t>(bufferSize) : 0;
    const auto buffer = std::make_unique<std::uint8_t[]>(allocated + 1);
    std::memset(buffer.get(), 0xAB, allocated + 1);
    const std::int32_t result =
        CaptureFrame(capture, allocated > 0 ? buffer.get() : nullptr,
                     allocated > 0 ? bufferSize : static_cast<std::int32_t>(in.Byte()) - 128);
    KT_CHECK(result == -1 || result == 0 || (small && result == frameBytes));
    if (result <= 0) KT_CHECK(Untouched(buffer.get(), allocated + 1, 0xAB));
    if (result > 0) {
      KT_CHECK(buffer[allocated] == 0xAB);
      for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
          const std::uint8_t* from = frame.bgra.data() + std::size_t{frame.pitch} * y + x * 4;
          const std::uint8_t* to = buffer.get() + (std::size_t(y) * width + x) * 4;
          KT_CHECK(to[0] == from[2] && to[1] == from[1] && to[2] == from[0] && to[3] == from[3]);
        }
      }
    }
    StopScreenCapture(capture);
  }
  KT_CHECK(sim::LiveCaptureObjects().empty());
  KT_CHECK(sim::CaptureMisuses().empty());
  return 0;
}

#include "capture/screen_capture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "app/app_log.h"
#include "capture/pixel_conversion.h"
#include "paint/gdi_owners.h"
#include "platform/capture.h"
#include "platform/gdi.h"
#include "platform/user.h"

using platform::ComRef;

// Members are destroyed in reverse order, which releases staging, duplication, context and
// device in that order.
struct ScreenCapture {
  ComRef<platform::D3D11Device> device;
  ComRef<platform::D3D11DeviceContext> context;
  ComRef<platform::DxgiOutputDuplication> duplication;
  ComRef<platform::D3D11Texture2D> staging;
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::uint32_t outputIndex = 0;
};

namespace {

constexpr std::array<std::uint32_t, 3> kFeatureLevels = {
    platform::kD3dFeatureLevel11_0, platform::kD3dFeatureLevel10_1, platform::kD3dFeatureLevel10_0};

bool Succeeded(std::int32_t result) { return result >= 0; }

// The bytes of a whole frame, or nothing when the product does not fit the 32-bit result: a
// wrapped product would pass the size check and let the copy run past the caller's buffer.
std::optional<std::int32_t> FrameBytes(std::int32_t width, std::int32_t height) {
  if (width < 0 || height < 0) return std::nullopt;
  const std::int64_t bytes = static_cast<std::int64_t>(width) * height * 4;
  if (bytes > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(bytes);
}

// Runs a call that hands out one reference through its last argument and owns whatever it
// handed out; empty when the call failed, releasing anything it handed out all the same.
template <typename Handle, typename Call>
ComRef<Handle> Take(Call call) {
  Handle made{};
  const bool succeeded = Succeeded(call(&made));
  ComRef<Handle> owned(made);
  if (!succeeded) owned.reset();
  return owned;
}

std::unique_ptr<ScreenCapture> StartCapture(std::uint32_t outputIndex) {
  ComRef<platform::D3D11Device> device;
  ComRef<platform::D3D11DeviceContext> context;
  {
    platform::D3D11Device madeDevice{};
    platform::D3D11DeviceContext madeContext{};
    const std::int32_t result = platform::D3D11CreateDevice(
        platform::kD3dDriverTypeHardware, 0, kFeatureLevels, &madeDevice, &madeContext);
    device.reset(madeDevice);
    context.reset(madeContext);
    if (!Succeeded(result) || !device || !context) return nullptr;
  }

  const auto dxgiDevice = Take<platform::DxgiDevice>(
      [&](auto* out) { return platform::QueryInterface(device.get(), out); });
  if (!dxgiDevice) return nullptr;
  const auto adapter = Take<platform::DxgiAdapter>(
      [&](auto* out) { return platform::GetAdapter(dxgiDevice.get(), out); });
  if (!adapter) return nullptr;
  const auto output = Take<platform::DxgiOutput>(
      [&](auto* out) { return platform::EnumOutputs(adapter.get(), outputIndex, out); });
  if (!output) return nullptr;

  platform::OutputDesc desc;
  if (!Succeeded(platform::GetDesc(output.get(), &desc))) return nullptr;
  const std::int32_t width = desc.desktopCoordinates.Width();
  const std::int32_t height = desc.desktopCoordinates.Height();

  const auto output1 = Take<platform::DxgiOutput1>(
      [&](auto* out) { return platform::QueryInterface(output.get(), out); });
  if (!output1) return nullptr;
  auto duplication = Take<platform::DxgiOutputDuplication>(
      [&](auto* out) { return platform::DuplicateOutput(output1.get(), device.get(), out); });
  if (!duplication) return nullptr;

  platform::Texture2DDesc textureDesc;
  textureDesc.width = static_cast<std::uint32_t>(width);
  textureDesc.height = static_cast<std::uint32_t>(height);
  textureDesc.mipLevels = 1;
  textureDesc.arraySize = 1;
  textureDesc.format = platform::kDxgiFormatB8G8R8A8Unorm;
  textureDesc.sampleCount = 1;
  textureDesc.sampleQuality = 0;
  textureDesc.usage = platform::kD3d11UsageStaging;
  textureDesc.bindFlags = 0;
  textureDesc.cpuAccessFlags = platform::kD3d11CpuAccessRead;
  textureDesc.miscFlags = 0;
  auto staging = Take<platform::D3D11Texture2D>(
      [&](auto* out) { return platform::CreateTexture2D(device.get(), textureDesc, out); });
  if (!staging) return nullptr;

  auto capture = std::make_unique<ScreenCapture>();
  capture->device = std::move(device);
  capture->context = std::move(context);
  capture->duplication = std::move(duplication);
  capture->staging = std::move(staging);
  capture->width = width;
  capture->height = height;
  capture->outputIndex = outputIndex;
  return capture;
}

// Copies the acquired frame's texture through the staging texture into the caller's buffer;
// false when the copy could not be read.
bool CopyFrame(ScreenCapture& capture, platform::D3D11Texture2D frame, std::uint8_t* buffer) {
  platform::CopyResource(capture.context.get(), capture.staging.get(), frame);
  platform::MappedSubresource mapped;
  if (!Succeeded(platform::Map(capture.context.get(), capture.staging.get(), 0,
                               platform::kD3d11MapRead, &mapped))) {
    return false;
  }
  if (mapped.data) {
    ConvertBgraToRgba(mapped.data, mapped.rowPitch, static_cast<std::uint32_t>(capture.width),
                      static_cast<std::uint32_t>(capture.height), buffer);
  }
  platform::Unmap(capture.context.get(), capture.staging.get(), 0);
  return mapped.data != nullptr;
}

std::int32_t CaptureOneFrame(ScreenCapture& capture, std::uint8_t* buffer,
                             std::int32_t bufferSize) {
  const std::optional<std::int32_t> bytes = FrameBytes(capture.width, capture.height);
  if (!bytes || bufferSize < *bytes) return -1;

  platform::DxgiResource resource{};
  const std::int32_t acquired =
      platform::AcquireNextFrame(capture.duplication.get(), kFrameWaitMs, &resource);
  const ComRef<platform::DxgiResource> resourceRef(resource);
  if (acquired == platform::kDxgiErrorWaitTimeout) return 0;
  if (!Succeeded(acquired) || !resourceRef) return -1;

  // The frame's interfaces are released after ReleaseFrame, as they were taken after the acquire.
  const auto frame = Take<platform::D3D11Texture2D>(
      [&](auto* out) { return platform::QueryInterface(resource, out); });
  const bool copied = frame && CopyFrame(capture, frame.get(), buffer);
  platform::ReleaseFrame(capture.duplication.get());
  return copied ? *bytes : -1;
}

// ---- GetScreenList ----

void FillRecord(ScreenRecord& record, std::int32_t index, const platform::OutputDesc& desc) {
  record.index = index;
  // wcsncpy_s with truncation: at most 127 units and the terminator; what lies after the
  // terminator is left as it was.
  const std::size_t units = std::min(desc.deviceName.size(), kScreenNameUnits - 1);
  std::u16string name = desc.deviceName.substr(0, units);
  const std::size_t terminator = name.find(u'\0');
  if (terminator != std::u16string::npos) name.resize(terminator);
  std::memcpy(record.name, name.data(), name.size() * sizeof(char16_t));
  record.name[name.size()] = u'\0';
  record.width = desc.desktopCoordinates.Width();
  record.height = desc.desktopCoordinates.Height();
  record.attached = desc.attachedToDesktop ? 1 : 0;
}

std::int32_t ListScreens(ScreenRecord* records, std::int32_t maxCount) {
  if (!records || maxCount < 1) return 0;
  const auto factory =
      Take<platform::DxgiFactory1>([](auto* out) { return platform::CreateDXGIFactory1(out); });
  if (!factory) return 0;

  std::int32_t count = 0;
  for (std::uint32_t adapterIndex = 0; count < maxCount; ++adapterIndex) {
    const auto adapter = Take<platform::DxgiAdapter>(
        [&](auto* out) { return platform::EnumAdapters1(factory.get(), adapterIndex, out); });
    if (!adapter) break;
    for (std::uint32_t outputIndex = 0; count < maxCount; ++outputIndex) {
      const auto output = Take<platform::DxgiOutput>(
          [&](auto* out) { return platform::EnumOutputs(adapter.get(), outputIndex, out); });
      if (!output) break;
      platform::OutputDesc desc;
      if (!Succeeded(platform::GetDesc(output.get(), &desc))) continue;
      FillRecord(records[count], count, desc);
      ++count;
    }
  }
  return count;
}

// ---- CaptureScreenToFile ----

enum class Shot { kSaved, kFailedBeforeCopy, kFailedAfterCopy };

bool FindPngEncoder(std::vector<std::byte>& storage, Guid* clsid) {
  std::uint32_t count = 0;
  std::uint32_t size = 0;
  if (platform::GdipGetImageEncodersSize(&count, &size) != platform::kGdiplusOk || size == 0) {
    return false;
  }
  try {
    storage.resize(size);
  } catch (const std::bad_alloc&) {
    return false;
  }
  std::vector<platform::ImageEncoder> encoders;
  if (platform::GdipGetImageEncoders(count, size, storage, &encoders) != platform::kGdiplusOk) {
    return false;
  }
  for (const platform::ImageEncoder& encoder : encoders) {
    if (encoder.mimeType == u"image/png") {
      *clsid = encoder.clsid;
      return true;
    }
  }
  return false;
}

// Steps 3 to 10: every object made here is released, in reverse order of making, before the
// caller logs the failure and shuts GDI+ down.
Shot SaveScreen(std::u16string_view path) {
  const paint::WindowDc screen(nullptr);
  if (!screen) {
    LogScreenshot(u"Error: Failed to get screen device context");
    return Shot::kFailedBeforeCopy;
  }
  const paint::UniqueMemoryDc memory(platform::CreateCompatibleDC(screen.get()));
  if (!memory) {
    LogScreenshot(u"Error: Failed to create memory device context");
    return Shot::kFailedBeforeCopy;
  }
  const int width = platform::GetSystemMetrics(platform::kSmCxScreen);
  const int height = platform::GetSystemMetrics(platform::kSmCyScreen);
  const paint::UniqueBitmap bitmap(platform::CreateCompatibleBitmap(screen.get(), width, height));
  if (!bitmap) {
    LogScreenshot(u"Error: Failed to create bitmap");
    return Shot::kFailedBeforeCopy;
  }

  const paint::SelectedObject selection(memory.get(), bitmap.get());
  if (!selection || !platform::BitBlt(memory.get(), 0, 0, width, height, screen.get(), 0, 0,
                                      platform::kSrcCopy)) {
    LogScreenshot(u"Error: BitBlt copy failed");
    return Shot::kFailedAfterCopy;
  }

  platform::GpBitmap image{};
  const std::int32_t made = platform::GdipCreateBitmapFromHBITMAP(bitmap.get(), &image);
  const platform::UniqueGpBitmap imageRef(image);
  if (made != platform::kGdiplusOk || !imageRef) {
    LogScreenshot(u"Error: Bitmap creation failed");
    return Shot::kFailedAfterCopy;
  }

  std::vector<std::byte> encoderStorage;
  Guid png;
  if (!FindPngEncoder(encoderStorage, &png)) {
    LogScreenshot(u"Error: Failed to get PNG encoder CLSID");
    return Shot::kFailedAfterCopy;
  }

  const std::int32_t status = platform::GdipSaveImageToFile(image, path, png);
  if (status != platform::kGdiplusOk) {
    LogScreenshot(FormatLogLine(u"Error: PNG save failed, status: %d", status));
    return Shot::kFailedAfterCopy;
  }
  LogScreenshot(u"Screenshot saved: " + std::u16string(path));
  return Shot::kSaved;
}

std::int32_t SaveScreenToFile(const char16_t* path) {
  if (!path) {
    LogScreenshot(u"Error: File path is null");
    return -1;
  }
  platform::GdiplusToken token{};
  if (platform::GdiplusStartup(&token) != platform::kGdiplusOk) {
    LogScreenshot(u"Error: GDI+ initialization failed");
    return -1;
  }
  const std::u16string_view pathText(path);
  Shot shot = Shot::kFailedBeforeCopy;
  try {
    shot = SaveScreen(pathText);
  } catch (...) {
    // Only an allocation can throw here, and what was made is released already.
  }
  if (shot == Shot::kFailedAfterCopy) {
    LogScreenshot(u"Screenshot failed: " + std::u16string(pathText));
  }
  platform::GdiplusShutdown(token);
  return shot == Shot::kSaved ? 0 : -1;
}

}  // namespace

void LogScreenshot(std::u16string_view message) {
  try {
    WriteAppLog(u"[SCREENSHOT] " + std::u16string(message));
  } catch (...) {
  }
}

ScreenCapture* StartScreenCapture(std::uint32_t outputIndex) {
  try {
    return StartCapture(outputIndex).release();
  } catch (...) {
    return nullptr;
  }
}

void StopScreenCapture(ScreenCapture* capture) {
  // Takes the handle back from the caller: releasing it frees the references in their order.
  const std::unique_ptr<ScreenCapture> owned(capture);
}

std::int32_t CaptureFrame(ScreenCapture* capture, std::uint8_t* buffer, std::int32_t bufferSize) {
  if (!capture || !buffer) return -1;
  return CaptureOneFrame(*capture, buffer, bufferSize);
}

std::int32_t GetCaptureWidth(ScreenCapture* capture) { return capture ? capture->width : 0; }

std::int32_t GetCaptureHeight(ScreenCapture* capture) { return capture ? capture->height : 0; }

std::int32_t GetScreenList(ScreenRecord* records, std::int32_t maxCount) {
  return ListScreens(records, maxCount);
}

std::int32_t CaptureScreenToFile(const char16_t* path) { return SaveScreenToFile(path); }

// Screen capture: Direct3D 11, DXGI desktop duplication and GDI+'s image encoders. Names and
// values are Win32's; the Windows build implements them in win32/capture.cpp. Every COM interface
// pointer is a handle type of its own holding one reference, given back with Release. Results are
// HRESULTs (DXGI and D3D) or GDI+ status codes (0 is Ok).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/geometry.h"
#include "base/guid.h"
#include "base/unique_handle.h"
#include "platform/handles.h"

namespace platform {

enum class D3D11Device : std::uintptr_t {};
enum class D3D11DeviceContext : std::uintptr_t {};
enum class D3D11Texture2D : std::uintptr_t {};
enum class DxgiFactory1 : std::uintptr_t {};
enum class DxgiDevice : std::uintptr_t {};
enum class DxgiAdapter : std::uintptr_t {};  // IDXGIAdapter1 where EnumAdapters1 gave it
enum class DxgiOutput : std::uintptr_t {};
enum class DxgiOutput1 : std::uintptr_t {};
enum class DxgiOutputDuplication : std::uintptr_t {};
enum class DxgiResource : std::uintptr_t {};
// GDI+'s objects are not COM: a bitmap is disposed, the library's token shut down.
enum class GpBitmap : std::uintptr_t {};
enum class GdiplusToken : std::uintptr_t {};

inline constexpr std::int32_t kSOk = 0;
inline constexpr std::int32_t kEFail = static_cast<std::int32_t>(0x80004005);
inline constexpr std::int32_t kENoInterface = static_cast<std::int32_t>(0x80004002);
inline constexpr std::int32_t kDxgiErrorNotFound = static_cast<std::int32_t>(0x887A0002);
inline constexpr std::int32_t kDxgiErrorWaitTimeout = static_cast<std::int32_t>(0x887A0027);
inline constexpr std::int32_t kDxgiErrorAccessLost = static_cast<std::int32_t>(0x887A0026);

inline constexpr int kD3dDriverTypeHardware = 1;
inline constexpr std::uint32_t kD3dFeatureLevel11_0 = 0xb000;
inline constexpr std::uint32_t kD3dFeatureLevel10_1 = 0xa100;
inline constexpr std::uint32_t kD3dFeatureLevel10_0 = 0xa000;

inline constexpr std::uint32_t kDxgiFormatB8G8R8A8Unorm = 87;
inline constexpr std::uint32_t kD3d11UsageStaging = 3;
inline constexpr std::uint32_t kD3d11CpuAccessRead = 0x20000;
inline constexpr std::uint32_t kD3d11MapRead = 1;

inline constexpr std::int32_t kGdiplusOk = 0;

// D3D11_TEXTURE2D_DESC.
struct Texture2DDesc {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t mipLevels = 0;
  std::uint32_t arraySize = 0;
  std::uint32_t format = 0;
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleQuality = 0;
  std::uint32_t usage = 0;
  std::uint32_t bindFlags = 0;
  std::uint32_t cpuAccessFlags = 0;
  std::uint32_t miscFlags = 0;
};

// D3D11_MAPPED_SUBRESOURCE: valid until Unmap.
struct MappedSubresource {
  const std::uint8_t* data = nullptr;
  std::uint32_t rowPitch = 0;
  std::uint32_t depthPitch = 0;
};

// What DXGI_OUTPUT_DESC tells of an output. Windows' name field holds 32 units with its
// terminator; the name here runs to that terminator.
struct OutputDesc {
  std::u16string deviceName;
  Rect desktopCoordinates;
  bool attachedToDesktop = false;
};

// One entry of GDI+'s ImageCodecInfo array.
struct ImageEncoder {
  Guid clsid;
  std::u16string mimeType;
};

// Direct3D 11 and DXGI.
std::int32_t D3D11CreateDevice(int driverType, std::uint32_t flags,
                               std::span<const std::uint32_t> featureLevels, D3D11Device* device,
                               D3D11DeviceContext* context);
// IUnknown::QueryInterface for the three interfaces the capture asks for.
std::int32_t QueryInterface(D3D11Device device, DxgiDevice* dxgiDevice);
std::int32_t QueryInterface(DxgiOutput output, DxgiOutput1* output1);
std::int32_t QueryInterface(DxgiResource resource, D3D11Texture2D* texture);
std::int32_t GetAdapter(DxgiDevice device, DxgiAdapter* adapter);
std::int32_t CreateDXGIFactory1(DxgiFactory1* factory);
std::int32_t EnumAdapters1(DxgiFactory1 factory, std::uint32_t index, DxgiAdapter* adapter);
std::int32_t EnumOutputs(DxgiAdapter adapter, std::uint32_t index, DxgiOutput* output);
std::int32_t GetDesc(DxgiOutput output, OutputDesc* desc);
std::int32_t DuplicateOutput(DxgiOutput1 output, D3D11Device device,
                             DxgiOutputDuplication* duplication);
std::int32_t AcquireNextFrame(DxgiOutputDuplication duplication, std::uint32_t timeoutMs,
                              DxgiResource* resource);
std::int32_t ReleaseFrame(DxgiOutputDuplication duplication);
std::int32_t CreateTexture2D(D3D11Device device, const Texture2DDesc& desc,
                             D3D11Texture2D* texture);
void CopyResource(D3D11DeviceContext context, D3D11Texture2D destination, D3D11Texture2D source);
std::int32_t Map(D3D11DeviceContext context, D3D11Texture2D texture, std::uint32_t subresource,
                 std::uint32_t mapType, MappedSubresource* mapped);
void Unmap(D3D11DeviceContext context, D3D11Texture2D texture, std::uint32_t subresource);

// IUnknown::Release of one reference.
void Release(D3D11Device object);
void Release(D3D11DeviceContext object);
void Release(D3D11Texture2D object);
void Release(DxgiFactory1 object);
void Release(DxgiDevice object);
void Release(DxgiAdapter object);
void Release(DxgiOutput object);
void Release(DxgiOutput1 object);
void Release(DxgiOutputDuplication object);
void Release(DxgiResource object);

// GDI+. Startup asks for version 1 with no callbacks.
std::int32_t GdiplusStartup(GdiplusToken* token);
void GdiplusShutdown(GdiplusToken token);
// No palette.
std::int32_t GdipCreateBitmapFromHBITMAP(BitmapHandle bitmap, GpBitmap* image);
std::int32_t GdipGetImageEncodersSize(std::uint32_t* count, std::uint32_t* size);
// Fills `buffer` (`size` bytes, as the size call answered) with the array and its strings, and
// reads the `count` entries out of it.
std::int32_t GdipGetImageEncoders(std::uint32_t count, std::uint32_t size,
                                  std::span<std::byte> buffer, std::vector<ImageEncoder>* encoders);
// No encoder parameters.
std::int32_t GdipSaveImageToFile(GpBitmap image, std::u16string_view path, const Guid& encoder);
std::int32_t GdipDisposeImage(GpBitmap image);

template <typename Handle>
struct ComReleaseTraits {
  using Type = Handle;
  static constexpr Type Null() { return Type{}; }
  static bool IsValid(Type handle) { return handle != Type{}; }
  static void Close(Type handle) { Release(handle); }
};

// One owned COM reference.
template <typename Handle>
using ComRef = UniqueHandle<ComReleaseTraits<Handle>>;

struct GpBitmapTraits {
  using Type = GpBitmap;
  static constexpr Type Null() { return Type{}; }
  static bool IsValid(Type image) { return image != Type{}; }
  static void Close(Type image) { GdipDisposeImage(image); }
};
using UniqueGpBitmap = UniqueHandle<GpBitmapTraits>;

}  // namespace platform

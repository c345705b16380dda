// The capture seam over d3d11, dxgi and GDI+'s flat interface. Every handle is the interface
// pointer itself, so each call only casts.
#include <windows.h>
#include <d3d11.h>
#include <dxgi1_2.h>
#include <gdiplus.h>

#include <cstring>
#include <string>

#include "platform/capture.h"
#include "platform/win32/text.h"

namespace platform {
namespace {

template <typename Interface, typename Handle>
Interface* As(Handle handle) {
  return reinterpret_cast<Interface*>(static_cast<std::uintptr_t>(handle));
}

template <typename Handle, typename Interface>
Handle From(Interface* pointer) {
  return static_cast<Handle>(reinterpret_cast<std::uintptr_t>(pointer));
}

template <typename Handle, typename Interface, typename Source>
std::int32_t Query(Source* source, Handle* out) {
  Interface* found = nullptr;
  const HRESULT result =
      source->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&found));
  *out = From<Handle>(found);
  return result;
}

Guid FromClsid(const CLSID& clsid) {
  Guid guid;
  guid.data1 = clsid.Data1;
  guid.data2 = clsid.Data2;
  guid.data3 = clsid.Data3;
  std::memcpy(guid.data4.data(), clsid.Data4, sizeof clsid.Data4);
  return guid;
}

CLSID ToClsid(const Guid& guid) {
  CLSID clsid;
  clsid.Data1 = guid.data1;
  clsid.Data2 = guid.data2;
  clsid.Data3 = guid.data3;
  std::memcpy(clsid.Data4, guid.data4.data(), sizeof clsid.Data4);
  return clsid;
}

}  // namespace

std::int32_t D3D11CreateDevice(int driverType, std::uint32_t flags,
                               std::span<const std::uint32_t> featureLevels, D3D11Device* device,
                               D3D11DeviceContext* context) {
  ID3D11Device* madeDevice = nullptr;
  ID3D11DeviceContext* madeContext = nullptr;
  const HRESULT result =
      ::D3D11CreateDevice(nullptr, static_cast<D3D_DRIVER_TYPE>(driverType), nullptr, flags,
                          reinterpret_cast<const D3D_FEATURE_LEVEL*>(featureLevels.data()),
                          static_cast<UINT>(featureLevels.size()), D3D11_SDK_VERSION, &madeDevice,
                          nullptr, &madeContext);
  *device = From<D3D11Device>(madeDevice);
  *context = From<D3D11DeviceContext>(madeContext);
  return result;
}

std::int32_t QueryInterface(D3D11Device device, DxgiDevice* dxgiDevice) {
  return Query<DxgiDevice, IDXGIDevice>(As<ID3D11Device>(device), dxgiDevice);
}

std::int32_t QueryInterface(DxgiOutput output, DxgiOutput1* output1) {
  return Query<DxgiOutput1, IDXGIOutput1>(As<IDXGIOutput>(output), output1);
}

std::int32_t QueryInterface(DxgiResource resource, D3D11Texture2D* texture) {
  return Query<D3D11Texture2D, ID3D11Texture2D>(As<IDXGIResource>(resource), texture);
}

std::int32_t GetAdapter(DxgiDevice device, DxgiAdapter* adapter) {
  IDXGIAdapter* found = nullptr;
  const HRESULT result = As<IDXGIDevice>(device)->GetAdapter(&found);
  *adapter = From<DxgiAdapter>(found);
  return result;
}

std::int32_t CreateDXGIFactory1(DxgiFactory1* factory) {
  IDXGIFactory1* made = nullptr;
  const HRESULT result =
      ::CreateDXGIFactory1(__uuidof(IDXGIFactory1), reinterpret_cast<void**>(&made));
  *factory = From<DxgiFactory1>(made);
  return result;
}

std::int32_t EnumAdapters1(DxgiFactory1 factory, std::uint32_t index, DxgiAdapter* adapter) {
  IDXGIAdapter1* found = nullptr;
  const HRESULT result = As<IDXGIFactory1>(factory)->EnumAdapters1(index, &found);
  // IDXGIAdapter1 derives from IDXGIAdapter alone, so the pointer serves as either.
  *adapter = From<DxgiAdapter>(static_cast<IDXGIAdapter*>(found));
  return result;
}

std::int32_t EnumOutputs(DxgiAdapter adapter, std::uint32_t index, DxgiOutput* output) {
  IDXGIOutput* found = nullptr;
  const HRESULT result = As<IDXGIAdapter>(adapter)->EnumOutputs(index, &found);
  *output = From<DxgiOutput>(found);
  return result;
}

std::int32_t GetDesc(DxgiOutput output, OutputDesc* desc) {
  DXGI_OUTPUT_DESC native{};
  const HRESULT result = As<IDXGIOutput>(output)->GetDesc(&native);
  if (FAILED(result)) return result;
  const std::size_t length = ::wcsnlen(native.DeviceName, std::size(native.DeviceName));
  desc->deviceName = FromWide(std::wstring_view(native.DeviceName, length));
  desc->desktopCoordinates = {native.DesktopCoordinates.left, native.DesktopCoordinates.top,
                              native.DesktopCoordinates.right, native.DesktopCoordinates.bottom};
  desc->attachedToDesktop = native.AttachedToDesktop != FALSE;
  return result;
}

std::int32_t DuplicateOutput(DxgiOutput1 output, D3D11Device device,
                             DxgiOutputDuplication* duplication) {
  IDXGIOutputDuplication* made = nullptr;
  const HRESULT result = As<IDXGIOutput1>(output)->DuplicateOutput(As<ID3D11Device>(device), &made);
  *duplication = From<DxgiOutputDuplication>(made);
  return result;
}

std::int32_t AcquireNextFrame(DxgiOutputDuplication duplication, std::uint32_t timeoutMs,
                              DxgiResource* resource) {
  DXGI_OUTDUPL_FRAME_INFO info{};
  IDXGIResource* frame = nullptr;
  const HRESULT result =
      As<IDXGIOutputDuplication>(duplication)->AcquireNextFrame(timeoutMs, &info, &frame);
  *resource = From<DxgiResource>(frame);
  return result;
}

std::int32_t ReleaseFrame(DxgiOutputDuplication duplication) {
  return As<IDXGIOutputDuplication>(duplication)->ReleaseFrame();
}

std::int32_t CreateTexture2D(D3D11Device device, const Texture2DDesc& desc,
                             D3D11Texture2D* texture) {
  D3D11_TEXTURE2D_DESC native{};
  native.Width = desc.width;
  native.Height = desc.height;
  native.MipLevels = desc.mipLevels;
  native.ArraySize = desc.arraySize;
  native.Format = static_cast<DXGI_FORMAT>(desc.format);
  native.SampleDesc.Count = desc.sampleCount;
  native.SampleDesc.Quality = desc.sampleQuality;
  native.Usage = static_cast<D3D11_USAGE>(desc.usage);
  native.BindFlags = desc.bindFlags;
  native.CPUAccessFlags = desc.cpuAccessFlags;
  native.MiscFlags = desc.miscFlags;
  ID3D11Texture2D* made = nullptr;
  const HRESULT result = As<ID3D11Device>(device)->CreateTexture2D(&native, nullptr, &made);
  *texture = From<D3D11Texture2D>(made);
  return result;
}

void CopyResource(D3D11DeviceContext context, D3D11Texture2D destination, D3D11Texture2D source) {
  As<ID3D11DeviceContext>(context)->CopyResource(As<ID3D11Texture2D>(destination),
                                                 As<ID3D11Texture2D>(source));
}

std::int32_t Map(D3D11DeviceContext context, D3D11Texture2D texture, std::uint32_t subresource,
                 std::uint32_t mapType, MappedSubresource* mapped) {
  D3D11_MAPPED_SUBRESOURCE native{};
  const HRESULT result = As<ID3D11DeviceContext>(context)->Map(
      As<ID3D11Texture2D>(texture), subresource, static_cast<D3D11_MAP>(mapType), 0, &native);
  mapped->data = SUCCEEDED(result) ? static_cast<const std::uint8_t*>(native.pData) : nullptr;
  mapped->rowPitch = native.RowPitch;
  mapped->depthPitch = native.DepthPitch;
  return result;
}

void Unmap(D3D11DeviceContext context, D3D11Texture2D texture, std::uint32_t subresource) {
  As<ID3D11DeviceContext>(context)->Unmap(As<ID3D11Texture2D>(texture), subresource);
}

void Release(D3D11Device object) { As<IUnknown>(object)->Release(); }
void Release(D3D11DeviceContext object) { As<IUnknown>(object)->Release(); }
void Release(D3D11Texture2D object) { As<IUnknown>(object)->Release(); }
void Release(DxgiFactory1 object) { As<IUnknown>(object)->Release(); }
void Release(DxgiDevice object) { As<IUnknown>(object)->Release(); }
void Release(DxgiAdapter object) { As<IUnknown>(object)->Release(); }
void Release(DxgiOutput object) { As<IUnknown>(object)->Release(); }
void Release(DxgiOutput1 object) { As<IUnknown>(object)->Release(); }
void Release(DxgiOutputDuplication object) { As<IUnknown>(object)->Release(); }
void Release(DxgiResource object) { As<IUnknown>(object)->Release(); }

std::int32_t GdiplusStartup(GdiplusToken* token) {
  Gdiplus::GdiplusStartupInput input;  // version 1, no callbacks
  ULONG_PTR made = 0;
  const Gdiplus::Status status = Gdiplus::GdiplusStartup(&made, &input, nullptr);
  *token = static_cast<GdiplusToken>(made);
  return status;
}

void GdiplusShutdown(GdiplusToken token) {
  Gdiplus::GdiplusShutdown(static_cast<ULONG_PTR>(token));
}

std::int32_t GdipCreateBitmapFromHBITMAP(BitmapHandle bitmap, GpBitmap* image) {
  Gdiplus::GpBitmap* made = nullptr;
  const Gdiplus::Status status =
      Gdiplus::DllExports::GdipCreateBitmapFromHBITMAP(bitmap, nullptr, &made);
  *image = From<GpBitmap>(made);
  return status;
}

std::int32_t GdipGetImageEncodersSize(std::uint32_t* count, std::uint32_t* size) {
  UINT encoders = 0;
  UINT bytes = 0;
  const Gdiplus::Status status = Gdiplus::DllExports::GdipGetImageEncodersSize(&encoders, &bytes);
  *count = encoders;
  *size = bytes;
  return status;
}

std::int32_t GdipGetImageEncoders(std::uint32_t count, std::uint32_t size,
                                  std::span<std::byte> buffer,
                                  std::vector<ImageEncoder>* encoders) {
  encoders->clear();
  if (buffer.size() < size ||
      static_cast<std::uint64_t>(count) * sizeof(Gdiplus::ImageCodecInfo) > size) {
    return Gdiplus::InvalidParameter;
  }
  auto* codecs = reinterpret_cast<Gdiplus::ImageCodecInfo*>(buffer.data());
  const Gdiplus::Status status = Gdiplus::DllExports::GdipGetImageEncoders(count, size, codecs);
  if (status != Gdiplus::Ok) return status;
  for (std::uint32_t i = 0; i < count; ++i) {
    const wchar_t* mime = codecs[i].MimeType;
    encoders->push_back({FromClsid(codecs[i].Clsid), mime ? FromWide(mime) : std::u16string()});
  }
  return status;
}

std::int32_t GdipSaveImageToFile(GpBitmap image, std::u16string_view path, const Guid& encoder) {
  const CLSID clsid = ToClsid(encoder);
  const std::wstring file = AsWide(path);
  return Gdiplus::DllExports::GdipSaveImageToFile(As<Gdiplus::GpImage>(image), file.c_str(), &clsid,
                                                  nullptr);
}

std::int32_t GdipDisposeImage(GpBitmap image) {
  return Gdiplus::DllExports::GdipDisposeImage(As<Gdiplus::GpImage>(image));
}

}  // namespace platform

// What the capture relies on DXGI, Direct3D 11 and GDI+ to answer: the factory's adapters and
// outputs with their end marker, an output's description against the screen's size, the
// device's own adapter, a staging texture that maps for reading, PNG among GDI+'s encoders, and
// what DuplicateOutput answers where it cannot duplicate.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/capture.h"
#include "platform/gdi.h"
#include "platform/user.h"

namespace {

using namespace platform;

constexpr std::array<std::uint32_t, 3> kLevels = {kD3dFeatureLevel11_0, kD3dFeatureLevel10_1,
                                                  kD3dFeatureLevel10_0};

TEST(CaptureContract, FactoryListsAnAdapterThenAnswersNotFound) {
  DxgiFactory1 factory{};
  ASSERT_EQ(CreateDXGIFactory1(&factory), kSOk);
  const ComRef<DxgiFactory1> factoryRef(factory);
  DxgiAdapter first{};
  ASSERT_EQ(EnumAdapters1(factory, 0, &first), kSOk);
  const ComRef<DxgiAdapter> firstRef(first);
  EXPECT_TRUE(firstRef);

  std::uint32_t index = 1;
  for (;; ++index) {
    DxgiAdapter adapter{};
    const std::int32_t result = EnumAdapters1(factory, index, &adapter);
    const ComRef<DxgiAdapter> adapterRef(adapter);
    if (result != kSOk) {
      EXPECT_EQ(result, kDxgiErrorNotFound);
      EXPECT_FALSE(adapterRef);
      break;
    }
    ASSERT_LT(index, 64u);
  }
}

TEST(CaptureContract, FirstOutputDescribesThePrimaryScreen) {
  DxgiFactory1 factory{};
  ASSERT_EQ(CreateDXGIFactory1(&factory), kSOk);
  const ComRef<DxgiFactory1> factoryRef(factory);
  DxgiAdapter adapter{};
  ASSERT_EQ(EnumAdapters1(factory, 0, &adapter), kSOk);
  const ComRef<DxgiAdapter> adapterRef(adapter);
  DxgiOutput output{};
  ASSERT_EQ(EnumOutputs(adapter, 0, &output), kSOk);
  const ComRef<DxgiOutput> outputRef(output);

  OutputDesc desc;
  ASSERT_EQ(GetDesc(output, &desc), kSOk);
  EXPECT_EQ(desc.deviceName.rfind(u"\\\\.\\DISPLAY", 0), 0u);
  EXPECT_LT(desc.deviceName.size(), 32u);
  EXPECT_EQ(desc.desktopCoordinates.Width(), GetSystemMetrics(kSmCxScreen));
  EXPECT_EQ(desc.desktopCoordinates.Height(), GetSystemMetrics(kSmCyScreen));
  EXPECT_TRUE(desc.attachedToDesktop);
}

TEST(CaptureContract, OutputPastTheLastAnswersNotFoundWithNothing) {
  DxgiFactory1 factory{};
  ASSERT_EQ(CreateDXGIFactory1(&factory), kSOk);
  const ComRef<DxgiFactory1> factoryRef(factory);
  DxgiAdapter adapter{};
  ASSERT_EQ(EnumAdapters1(factory, 0, &adapter), kSOk);
  const ComRef<DxgiAdapter> adapterRef(adapter);
  DxgiOutput output{};
  EXPECT_EQ(EnumOutputs(adapter, 1000, &output), kDxgiErrorNotFound);
  EXPECT_EQ(output, DxgiOutput{});
}

// The device, its DXGI interface, its adapter and the adapter's first output.
struct DeviceChain {
  ComRef<D3D11Device> device;
  ComRef<D3D11DeviceContext> context;
  ComRef<DxgiDevice> dxgiDevice;
  ComRef<DxgiAdapter> adapter;
  ComRef<DxgiOutput> output;
};

void MakeChain(DeviceChain& chain) {
  D3D11Device device{};
  D3D11DeviceContext context{};
  ASSERT_EQ(D3D11CreateDevice(kD3dDriverTypeHardware, 0, kLevels, &device, &context), kSOk);
  chain.device.reset(device);
  chain.context.reset(context);
  ASSERT_TRUE(chain.device && chain.context);
  DxgiDevice dxgiDevice{};
  ASSERT_EQ(QueryInterface(device, &dxgiDevice), kSOk);
  chain.dxgiDevice.reset(dxgiDevice);
  DxgiAdapter adapter{};
  ASSERT_EQ(GetAdapter(dxgiDevice, &adapter), kSOk);
  chain.adapter.reset(adapter);
  DxgiOutput output{};
  ASSERT_EQ(EnumOutputs(adapter, 0, &output), kSOk);
  chain.output.reset(output);
}

TEST(CaptureContract, DeviceAdapterListsTheFactorysFirstOutput) {
  DeviceChain chain;
  ASSERT_NO_FATAL_FAILURE(MakeChain(chain));
  OutputDesc fromDevice;
  ASSERT_EQ(GetDesc(chain.output.get(), &fromDevice), kSOk);

  DxgiFactory1 factory{};
  ASSERT_EQ(CreateDXGIFactory1(&factory), kSOk);
  const ComRef<DxgiFactory1> factoryRef(factory);
  DxgiAdapter adapter{};
  ASSERT_EQ(EnumAdapters1(factory, 0, &adapter), kSOk);
  const ComRef<DxgiAdapter> adapterRef(adapter);
  DxgiOutput output{};
  ASSERT_EQ(EnumOutputs(adapter, 0, &output), kSOk);
  const ComRef<DxgiOutput> outputRef(output);
  OutputDesc fromFactory;
  ASSERT_EQ(GetDesc(output, &fromFactory), kSOk);
  EXPECT_EQ(fromDevice.deviceName, fromFactory.deviceName);
  EXPECT_EQ(fromDevice.desktopCoordinates.Width(), fromFactory.desktopCoordinates.Width());
}

TEST(CaptureContract, StagingTextureMapsForReadingWithAPitchOfAtLeastARow) {
  DeviceChain chain;
  ASSERT_NO_FATAL_FAILURE(MakeChain(chain));
  Texture2DDesc desc;
  desc.width = 61;
  desc.height = 7;
  desc.mipLevels = 1;
  desc.arraySize = 1;
  desc.format = kDxgiFormatB8G8R8A8Unorm;
  desc.sampleCount = 1;
  desc.usage = kD3d11UsageStaging;
  desc.cpuAccessFlags = kD3d11CpuAccessRead;
  D3D11Texture2D texture{};
  ASSERT_EQ(CreateTexture2D(chain.device.get(), desc, &texture), kSOk);
  const ComRef<D3D11Texture2D> textureRef(texture);
  MappedSubresource mapped;
  ASSERT_EQ(Map(chain.context.get(), texture, 0, kD3d11MapRead, &mapped), kSOk);
  EXPECT_NE(mapped.data, nullptr);
  EXPECT_GE(mapped.rowPitch, 61u * 4);
  Unmap(chain.context.get(), texture, 0);
}

// Where the output cannot be duplicated, the answer is a failure with nothing handed out; where
// it can, a duplication.
TEST(CaptureContract, DuplicateOutputAnswersADuplicationOrAFailureWithNothing) {
  DeviceChain chain;
  ASSERT_NO_FATAL_FAILURE(MakeChain(chain));
  DxgiOutput1 output1{};
  ASSERT_EQ(QueryInterface(chain.output.get(), &output1), kSOk);
  const ComRef<DxgiOutput1> output1Ref(output1);
  DxgiOutputDuplication duplication{};
  const std::int32_t result = DuplicateOutput(output1, chain.device.get(), &duplication);
  const ComRef<DxgiOutputDuplication> duplicationRef(duplication);
  RecordProperty("DuplicateOutput", std::to_string(static_cast<std::uint32_t>(result)));
  std::printf("DuplicateOutput answered 0x%08x\n", static_cast<unsigned>(result));
  if (result >= 0) {
    EXPECT_TRUE(duplicationRef);
  } else {
    EXPECT_FALSE(duplicationRef);
  }
}

TEST(CaptureContract, GdiplusListsAPngEncoder) {
  GdiplusToken token{};
  ASSERT_EQ(GdiplusStartup(&token), kGdiplusOk);
  std::uint32_t count = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(GdipGetImageEncodersSize(&count, &size), kGdiplusOk);
  EXPECT_GT(count, 0u);
  EXPECT_GT(size, count * 100u);
  std::vector<std::byte> buffer(size);
  std::vector<ImageEncoder> encoders;
  EXPECT_EQ(GdipGetImageEncoders(count, size, buffer, &encoders), kGdiplusOk);
  EXPECT_EQ(encoders.size(), count);
  int pngs = 0;
  for (const ImageEncoder& encoder : encoders) pngs += encoder.mimeType == u"image/png";
  EXPECT_EQ(pngs, 1);
  GdiplusShutdown(token);
}

// A GDI bitmap saved as PNG into a folder that does not exist: GenericError, nothing written.
TEST(CaptureContract, SavingIntoAMissingFolderAnswersGenericError) {
  GdiplusToken token{};
  ASSERT_EQ(GdiplusStartup(&token), kGdiplusOk);
  const DcHandle dc = CreateCompatibleDC(nullptr);
  ASSERT_NE(dc, nullptr);
  const BitmapHandle bitmap = CreateCompatibleBitmap(dc, 8, 4);
  ASSERT_NE(bitmap, nullptr);
  GpBitmap image{};
  EXPECT_EQ(GdipCreateBitmapFromHBITMAP(bitmap, &image), kGdiplusOk);
  std::uint32_t count = 0;
  std::uint32_t size = 0;
  EXPECT_EQ(GdipGetImageEncodersSize(&count, &size), kGdiplusOk);
  std::vector<std::byte> buffer(size);
  std::vector<ImageEncoder> encoders;
  EXPECT_EQ(GdipGetImageEncoders(count, size, buffer, &encoders), kGdiplusOk);
  for (const ImageEncoder& encoder : encoders) {
    if (encoder.mimeType != u"image/png") continue;
    EXPECT_EQ(GdipSaveImageToFile(image, u"C:\\kt_no_such_folder\\shot.png", encoder.clsid), 1);
  }
  EXPECT_EQ(GdipDisposeImage(image), kGdiplusOk);
  DeleteObject(bitmap);
  DeleteDC(dc);
  GdiplusShutdown(token);
}

}  // namespace

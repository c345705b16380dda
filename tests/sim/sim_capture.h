// The simulated Direct3D 11, DXGI and GDI+ behind platform/capture.h.
//
// Display adapters and their outputs are laid out by the test; after a reset there is one
// adapter with one attached output "\\.\DISPLAY1" at 0,0 1920x1080. D3D11CreateDevice makes a
// device on the first adapter, so the device's adapter lists that adapter's outputs.
//
// Every reference handed out is a live object of its own, named by kind and number from 1 after
// each reset ("device#1", "context#1", "dxgi-device#1", "adapter#1", "output#1", "output1#1",
// "duplication#1", "texture#1", "resource#1", "factory#1", "gp-bitmap#1"), and lives until its
// Release (GdipDisposeImage for a GDI+ bitmap). A successful GdiplusStartup is a live "gdiplus#n"
// until its shutdown. LiveCaptureObjects lists what is alive, so a test sees every leak.
//
// Journal entries, e.g. "D3D11CreateDevice 1 0x0 0xb000,0xa100,0xa000 -> device#1 context#1",
// "QueryInterface output#1 IDXGIOutput1 -> output1#1", "EnumOutputs adapter#1 1 -> 0x887a0002",
// "CreateTexture2D device#1 1920x1080 mips=1 array=1 format=87 samples=1/0 usage=3 bind=0x0
// cpu=0x20000 misc=0x0 -> texture#1", "AcquireNextFrame duplication#1 100 -> resource#1",
// "ReleaseFrame duplication#1", "CopyResource context#1 texture#1 texture#2",
// "Map context#1 texture#1 0 1", "Unmap context#1 texture#1 0", "Release texture#1",
// "GdiplusStartup -> gdiplus#1", "GdipCreateBitmapFromHBITMAP <bitmap label> -> gp-bitmap#1",
// "GdipSaveImageToFile gp-bitmap#1 <path> image/png", "GdipDisposeImage gp-bitmap#1".
//
// What Windows would refuse is kept as a misuse: a call on an object that is not alive, a second
// acquire before ReleaseFrame, ReleaseFrame with no frame, an Unmap that matches no Map, a GDI+
// call outside a startup.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/geometry.h"
#include "platform/capture.h"

namespace sim {

struct SimOutput {
  std::u16string name = u"\\\\.\\DISPLAY1";
  Rect desktop = {0, 0, 1920, 1080};
  bool attached = true;
  bool descFails = false;  // GetDesc answers E_FAIL
};

struct SimDisplayAdapter {
  std::vector<SimOutput> outputs;
};

void SetDisplayAdapters(std::vector<SimDisplayAdapter> adapters);

// One answer of AcquireNextFrame. A success hands out a resource whose texture holds `bgra`,
// rows `pitch` bytes apart, at the output's size; a failure hands out nothing unless
// `resourceOnFailure`. With no answer queued, AcquireNextFrame waits out its time-out.
struct SimFrame {
  std::int32_t result = platform::kSOk;
  std::vector<std::uint8_t> bgra;
  std::uint32_t pitch = 0;
  bool resourceOnFailure = false;
};
void QueueFrame(SimFrame frame);

// The `nth` call from now of the named function (any of the seam's calls that has a result)
// answers `result`, and hands out nothing.
void FailCaptureCall(const std::string& function, std::int32_t result, int nth = 1);
int PendingCaptureFailures();

// The encoders GdipGetImageEncoders lists; after a reset GDI+'s five: BMP, JPEG, GIF, TIFF, PNG.
// An empty list makes the size call answer a size of 0.
void SetImageEncoders(std::vector<platform::ImageEncoder> encoders);

// Files GdipSaveImageToFile wrote into the simulated file system ("PNG" is their content), with
// the bitmap and encoder they came from. Saving into a folder that does not exist answers
// GenericError, as GDI+ does on Windows and under Wine.
inline constexpr std::int32_t kGdipGenericError = 1;
inline constexpr std::int32_t kGdipNotInitialized = 18;
struct SavedImage {
  std::u16string path;
  std::string bitmap;  // the GDI bitmap's label
  Guid encoder;
};
std::vector<SavedImage> SavedImages();

std::vector<std::string> LiveCaptureObjects();
std::vector<std::string> CaptureMisuses();

}  // namespace sim

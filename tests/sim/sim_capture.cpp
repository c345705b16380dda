#include "sim_capture.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "base/text.h"
#include "sim_core.h"
#include "sim_gdi.h"
#include "sim_kernel.h"

namespace sim {
namespace {

struct Texture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> bytes;
  std::uint32_t pitch = 0;
};

struct Object {
  std::string kind;
  std::string name;
  bool alive = true;
  std::size_t adapter = 0;  // adapters, outputs and the devices on them
  std::size_t output = 0;
  std::uintptr_t texture = 0;  // a resource's texture; a frame texture's own key
  Texture pixels;              // textures
  bool frameHeld = false;      // duplications
  int maps = 0;                // textures
  std::string source;          // a GDI+ bitmap's GDI bitmap
};

constexpr std::int32_t kDxgiErrorInvalidCall = static_cast<std::int32_t>(0x887A0001);

struct Capture {
  std::mutex lock;
  std::vector<SimDisplayAdapter> adapters;
  std::deque<SimFrame> frames;
  std::vector<std::pair<std::string, std::pair<std::int32_t, int>>> failures;
  std::vector<platform::ImageEncoder> encoders;
  std::map<std::uintptr_t, Object> objects;
  std::map<std::string, int> counts;
  std::uintptr_t nextKey = 0x7c00;
  std::vector<SavedImage> saved;
  std::vector<std::string> misuses;
  int gdiplusStarted = 0;  // live startups
};

Guid EncoderClsid(std::uint32_t last) {
  return {0x557CF400 + last, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
}

std::vector<platform::ImageEncoder> DefaultEncoders() {
  return {{EncoderClsid(0), u"image/bmp"},
          {EncoderClsid(1), u"image/jpeg"},
          {EncoderClsid(2), u"image/gif"},
          {EncoderClsid(5), u"image/tiff"},
          {EncoderClsid(6), u"image/png"}};
}

void Fill(Capture& c) {
  c.adapters = {SimDisplayAdapter{{SimOutput{}}}};
  c.frames.clear();
  c.failures.clear();
  c.encoders = DefaultEncoders();
  c.objects.clear();
  c.counts.clear();
  c.saved.clear();
  c.misuses.clear();
  c.gdiplusStarted = 0;
}

// Laid out as after a reset before the first reset too, for the contract tests, which never
// reset.
Capture& C() {
  static Capture capture;
  static const bool filled = (Fill(capture), true);
  (void)filled;
  return capture;
}

void Reset() {
  const std::lock_guard guard(C().lock);
  Fill(C());
}

const bool registered = OnReset(&Reset);

template <typename Handle>
std::uintptr_t Key(Handle handle) {
  return static_cast<std::uintptr_t>(handle);
}

// The failure asked for this call, if it is due now.
std::optional<std::int32_t> Fails(Capture& c, const std::string& function) {
  std::optional<std::int32_t> due;
  for (auto& [name, failure] : c.failures) {
    if (name == function && --failure.second == 0) due = failure.first;
  }
  std::erase_if(c.failures, [](const auto& failure) { return failure.second.second <= 0; });
  return due;
}

std::uintptr_t Make(Capture& c, const std::string& kind, Object object = {}) {
  const std::uintptr_t key = c.nextKey += 0x10;
  object.kind = kind;
  object.name = kind + "#" + std::to_string(++c.counts[kind]);
  object.alive = true;
  c.objects[key] = std::move(object);
  return key;
}

Object* Find(Capture& c, std::uintptr_t key, const std::string& kind, const char* function) {
  const auto found = c.objects.find(key);
  if (found == c.objects.end() || !found->second.alive || found->second.kind != kind) {
    c.misuses.push_back(std::string(function) + " with a " + kind + " that is not alive");
    return nullptr;
  }
  return &found->second;
}

std::string Result(std::int32_t result) { return Hex(static_cast<std::uint32_t>(result)); }

// Journals outside the simulation's lock, as sim_core asks.
template <typename Function>
auto Locked(Function function) {
  std::string entry;
  auto result = [&] {
    const std::lock_guard guard(C().lock);
    return function(C(), entry);
  }();
  if (!entry.empty()) Record(std::move(entry));
  return result;
}

// Hands out one new reference of `kind` through `out`, unless the call is due to fail.
template <typename Handle>
std::int32_t Give(Capture& c, std::string& entry, const std::string& function, const char* kind,
                  Handle* out, Object object = {}) {
  *out = Handle{};
  if (const auto failure = Fails(c, function)) {
    entry += " -> " + Result(*failure);
    return *failure;
  }
  const std::uintptr_t key = Make(c, kind, std::move(object));
  *out = static_cast<Handle>(key);
  entry += " -> " + c.objects[key].name;
  return platform::kSOk;
}

template <typename Handle>
void ReleaseObject(Handle handle, const char* kind) {
  Locked([&](Capture& c, std::string& entry) {
    Object* object = Find(c, Key(handle), kind, "Release");
    if (!object) return 0;
    object->alive = false;
    entry = "Release " + object->name;
    return 0;
  });
}

const SimOutput* OutputOf(const Capture& c, const Object& output) {
  if (output.adapter >= c.adapters.size()) return nullptr;
  const auto& outputs = c.adapters[output.adapter].outputs;
  return output.output < outputs.size() ? &outputs[output.output] : nullptr;
}

bool GdiplusCall(Capture& c, const char* function) {
  if (c.gdiplusStarted > 0) return true;
  c.misuses.push_back(std::string(function) + " without GDI+ started");
  return false;
}

std::u16string ParentOf(std::u16string_view path) {
  const std::size_t slash = path.rfind(u'\\');
  return slash == std::u16string_view::npos ? std::u16string()
                                            : std::u16string(path.substr(0, slash));
}

}  // namespace

void SetDisplayAdapters(std::vector<SimDisplayAdapter> adapters) {
  const std::lock_guard guard(C().lock);
  C().adapters = std::move(adapters);
}

void QueueFrame(SimFrame frame) {
  const std::lock_guard guard(C().lock);
  C().frames.push_back(std::move(frame));
}

void FailCaptureCall(const std::string& function, std::int32_t result, int nth) {
  const std::lock_guard guard(C().lock);
  C().failures.push_back({function, {result, nth}});
}

int PendingCaptureFailures() {
  const std::lock_guard guard(C().lock);
  return static_cast<int>(C().failures.size());
}

void SetImageEncoders(std::vector<platform::ImageEncoder> encoders) {
  const std::lock_guard guard(C().lock);
  C().encoders = std::move(encoders);
}

std::vector<SavedImage> SavedImages() {
  const std::lock_guard guard(C().lock);
  return C().saved;
}

std::vector<std::string> LiveCaptureObjects() {
  const std::lock_guard guard(C().lock);
  std::vector<std::string> live;
  for (const auto& [key, object] : C().objects) {
    if (object.alive) live.push_back(object.name);
  }
  return live;
}

std::vector<std::string> CaptureMisuses() {
  const std::lock_guard guard(C().lock);
  return C().misuses;
}

}  // namespace sim

namespace platform {

using sim::Capture;
using sim::Object;

std::int32_t D3D11CreateDevice(int driverType, std::uint32_t flags,
                               std::span<const std::uint32_t> featureLevels, D3D11Device* device,
                               D3D11DeviceContext* context) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    entry = "D3D11CreateDevice " + std::to_string(driverType) + " " + sim::Hex(flags) + " ";
    for (std::size_t i = 0; i < featureLevels.size(); ++i) {
      entry += (i ? "," : "") + sim::Hex(featureLevels[i]);
    }
    *device = {};
    *context = {};
    if (const auto failure = sim::Fails(c, "D3D11CreateDevice")) {
      entry += " -> " + sim::Result(*failure);
      return *failure;
    }
    const std::uintptr_t made = sim::Make(c, "device");
    const std::uintptr_t madeContext = sim::Make(c, "context");
    *device = static_cast<D3D11Device>(made);
    *context = static_cast<D3D11DeviceContext>(madeContext);
    entry += " -> " + c.objects[made].name + " " + c.objects[madeContext].name;
    return kSOk;
  });
}

std::int32_t QueryInterface(D3D11Device device, DxgiDevice* dxgiDevice) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *dxgiDevice = {};
    const Object* from = sim::Find(c, sim::Key(device), "device", "QueryInterface");
    if (!from) return kENoInterface;
    entry = "QueryInterface " + from->name + " IDXGIDevice";
    return sim::Give(c, entry, "QueryInterface IDXGIDevice", "dxgi-device", dxgiDevice);
  });
}

std::int32_t QueryInterface(DxgiOutput output, DxgiOutput1* output1) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *output1 = {};
    const Object* from = sim::Find(c, sim::Key(output), "output", "QueryInterface");
    if (!from) return kENoInterface;
    entry = "QueryInterface " + from->name + " IDXGIOutput1";
    Object made;
    made.adapter = from->adapter;
    made.output = from->output;
    return sim::Give(c, entry, "QueryInterface IDXGIOutput1", "output1", output1, made);
  });
}

std::int32_t QueryInterface(DxgiResource resource, D3D11Texture2D* texture) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *texture = {};
    const Object* from = sim::Find(c, sim::Key(resource), "resource", "QueryInterface");
    if (!from) return kENoInterface;
    entry = "QueryInterface " + from->name + " ID3D11Texture2D";
    Object made;
    made.pixels = c.objects[from->texture].pixels;
    return sim::Give(c, entry, "QueryInterface ID3D11Texture2D", "texture", texture, made);
  });
}

std::int32_t GetAdapter(DxgiDevice device, DxgiAdapter* adapter) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *adapter = {};
    const Object* from = sim::Find(c, sim::Key(device), "dxgi-device", "GetAdapter");
    if (!from) return kEFail;
    entry = "GetAdapter " + from->name;
    return sim::Give(c, entry, "GetAdapter", "adapter", adapter);
  });
}

std::int32_t CreateDXGIFactory1(DxgiFactory1* factory) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    entry = "CreateDXGIFactory1";
    return sim::Give(c, entry, "CreateDXGIFactory1", "factory", factory);
  });
}

std::int32_t EnumAdapters1(DxgiFactory1 factory, std::uint32_t index, DxgiAdapter* adapter) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *adapter = {};
    const Object* from = sim::Find(c, sim::Key(factory), "factory", "EnumAdapters1");
    if (!from) return kEFail;
    entry = "EnumAdapters1 " + from->name + " " + std::to_string(index);
    if (index >= c.adapters.size()) {
      entry += " -> " + sim::Result(kDxgiErrorNotFound);
      return kDxgiErrorNotFound;
    }
    Object made;
    made.adapter = index;
    return sim::Give(c, entry, "EnumAdapters1", "adapter", adapter, made);
  });
}

std::int32_t EnumOutputs(DxgiAdapter adapter, std::uint32_t index, DxgiOutput* output) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *output = {};
    const Object* from = sim::Find(c, sim::Key(adapter), "adapter", "EnumOutputs");
    if (!from) return kEFail;
    entry = "EnumOutputs " + from->name + " " + std::to_string(index);
    if (from->adapter >= c.adapters.size() || index >= c.adapters[from->adapter].outputs.size()) {
      entry += " -> " + sim::Result(kDxgiErrorNotFound);
      return kDxgiErrorNotFound;
    }
    Object made;
    made.adapter = from->adapter;
    made.output = index;
    return sim::Give(c, entry, "EnumOutputs", "output", output, made);
  });
}

std::int32_t GetDesc(DxgiOutput output, OutputDesc* desc) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    const Object* from = sim::Find(c, sim::Key(output), "output", "GetDesc");
    if (!from) return kEFail;
    entry = "GetDesc " + from->name;
    const sim::SimOutput* simOutput = sim::OutputOf(c, *from);
    if (const auto failure = sim::Fails(c, "GetDesc")) {
      entry += " -> " + sim::Result(*failure);
      return *failure;
    }
    if (!simOutput || simOutput->descFails) {
      entry += " -> " + sim::Result(kEFail);
      return kEFail;
    }
    desc->deviceName = simOutput->name;
    desc->desktopCoordinates = simOutput->desktop;
    desc->attachedToDesktop = simOutput->attached;
    return kSOk;
  });
}

std::int32_t DuplicateOutput(DxgiOutput1 output, D3D11Device device,
                             DxgiOutputDuplication* duplication) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *duplication = {};
    const Object* from = sim::Find(c, sim::Key(output), "output1", "DuplicateOutput");
    const Object* with = sim::Find(c, sim::Key(device), "device", "DuplicateOutput");
    if (!from || !with) return kEFail;
    entry = "DuplicateOutput " + from->name + " " + with->name;
    return sim::Give(c, entry, "DuplicateOutput", "duplication", duplication);
  });
}

std::int32_t AcquireNextFrame(DxgiOutputDuplication duplication, std::uint32_t timeoutMs,
                              DxgiResource* resource) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *resource = {};
    Object* from = sim::Find(c, sim::Key(duplication), "duplication", "AcquireNextFrame");
    if (!from) return kEFail;
    entry = "AcquireNextFrame " + from->name + " " + std::to_string(timeoutMs);
    if (from->frameHeld) {
      c.misuses.push_back("AcquireNextFrame before the last frame was released");
      entry += " -> " + sim::Result(sim::kDxgiErrorInvalidCall);
      return sim::kDxgiErrorInvalidCall;
    }
    if (const auto failure = sim::Fails(c, "AcquireNextFrame")) {
      entry += " -> " + sim::Result(*failure);
      return *failure;
    }
    sim::SimFrame frame;
    frame.result = kDxgiErrorWaitTimeout;
    if (!c.frames.empty()) {
      frame = std::move(c.frames.front());
      c.frames.pop_front();
    }
    const bool succeeded = frame.result >= 0;
    if (!succeeded && !frame.resourceOnFailure) {
      entry += " -> " + sim::Result(frame.result);
      return frame.result;
    }
    Object texture;
    texture.pixels.bytes = std::move(frame.bgra);
    texture.pixels.pitch = frame.pitch;
    const std::uintptr_t frameTexture = sim::Make(c, "frame-texture", std::move(texture));
    // The duplication owns the frame's texture; only the resource handed out is the caller's.
    c.objects[frameTexture].alive = false;
    Object made;
    made.texture = frameTexture;
    const std::uintptr_t key = sim::Make(c, "resource", std::move(made));
    *resource = static_cast<DxgiResource>(key);
    entry += " -> " + c.objects[key].name;
    if (!succeeded) {
      entry += " " + sim::Result(frame.result);
      return frame.result;
    }
    c.objects[sim::Key(duplication)].frameHeld = true;
    return kSOk;
  });
}

std::int32_t ReleaseFrame(DxgiOutputDuplication duplication) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    Object* from = sim::Find(c, sim::Key(duplication), "duplication", "ReleaseFrame");
    if (!from) return kEFail;
    entry = "ReleaseFrame " + from->name;
    if (!from->frameHeld) {
      c.misuses.push_back("ReleaseFrame with no frame acquired");
      return sim::kDxgiErrorInvalidCall;
    }
    from->frameHeld = false;
    return kSOk;
  });
}

std::int32_t CreateTexture2D(D3D11Device device, const Texture2DDesc& desc,
                             D3D11Texture2D* texture) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *texture = {};
    const Object* from = sim::Find(c, sim::Key(device), "device", "CreateTexture2D");
    if (!from) return kEFail;
    entry = "CreateTexture2D " + from->name + " " + std::to_string(desc.width) + "x" +
            std::to_string(desc.height) + " mips=" + std::to_string(desc.mipLevels) +
            " array=" + std::to_string(desc.arraySize) + " format=" + std::to_string(desc.format) +
            " samples=" + std::to_string(desc.sampleCount) + "/" +
            std::to_string(desc.sampleQuality) + " usage=" + std::to_string(desc.usage) +
            " bind=" + sim::Hex(desc.bindFlags) + " cpu=" + sim::Hex(desc.cpuAccessFlags) +
            " misc=" + sim::Hex(desc.miscFlags);
    Object made;
    made.pixels.width = desc.width;
    made.pixels.height = desc.height;
    return sim::Give(c, entry, "CreateTexture2D", "texture", texture, made);
  });
}

void CopyResource(D3D11DeviceContext context, D3D11Texture2D destination, D3D11Texture2D source) {
  sim::Locked([&](Capture& c, std::string& entry) {
    const Object* on = sim::Find(c, sim::Key(context), "context", "CopyResource");
    Object* to = sim::Find(c, sim::Key(destination), "texture", "CopyResource");
    const Object* from = sim::Find(c, sim::Key(source), "texture", "CopyResource");
    if (!on || !to || !from) return 0;
    entry = "CopyResource " + on->name + " " + to->name + " " + from->name;
    to->pixels.bytes = from->pixels.bytes;
    to->pixels.pitch = from->pixels.pitch;
    return 0;
  });
}

std::int32_t Map(D3D11DeviceContext context, D3D11Texture2D texture, std::uint32_t subresource,
                 std::uint32_t mapType, MappedSubresource* mapped) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    *mapped = {};
    const Object* on = sim::Find(c, sim::Key(context), "context", "Map");
    Object* target = sim::Find(c, sim::Key(texture), "texture", "Map");
    if (!on || !target) return kEFail;
    entry = "Map " + on->name + " " + target->name + " " + std::to_string(subresource) + " " +
            std::to_string(mapType);
    if (const auto failure = sim::Fails(c, "Map")) {
      entry += " -> " + sim::Result(*failure);
      return *failure;
    }
    if (target->pixels.bytes.empty()) {
      // Never copied into: the rows of its own size, zeroed, as a new staging texture reads.
      target->pixels.pitch = target->pixels.width * 4;
      target->pixels.bytes.assign(std::size_t{target->pixels.pitch} * target->pixels.height, 0);
    }
    ++target->maps;
    mapped->data = target->pixels.bytes.data();
    mapped->rowPitch = target->pixels.pitch;
    mapped->depthPitch = static_cast<std::uint32_t>(target->pixels.bytes.size());
    return kSOk;
  });
}

void Unmap(D3D11DeviceContext context, D3D11Texture2D texture, std::uint32_t subresource) {
  sim::Locked([&](Capture& c, std::string& entry) {
    const Object* on = sim::Find(c, sim::Key(context), "context", "Unmap");
    Object* target = sim::Find(c, sim::Key(texture), "texture", "Unmap");
    if (!on || !target) return 0;
    entry = "Unmap " + on->name + " " + target->name + " " + std::to_string(subresource);
    if (target->maps == 0) {
      c.misuses.push_back("Unmap of " + target->name + " that is not mapped");
      return 0;
    }
    --target->maps;
    return 0;
  });
}

void Release(D3D11Device object) { sim::ReleaseObject(object, "device"); }
void Release(D3D11DeviceContext object) { sim::ReleaseObject(object, "context"); }
void Release(D3D11Texture2D object) { sim::ReleaseObject(object, "texture"); }
void Release(DxgiFactory1 object) { sim::ReleaseObject(object, "factory"); }
void Release(DxgiDevice object) { sim::ReleaseObject(object, "dxgi-device"); }
void Release(DxgiOutput object) { sim::ReleaseObject(object, "output"); }
void Release(DxgiOutput1 object) { sim::ReleaseObject(object, "output1"); }
void Release(DxgiOutputDuplication object) { sim::ReleaseObject(object, "duplication"); }
void Release(DxgiResource object) { sim::ReleaseObject(object, "resource"); }
void Release(DxgiAdapter object) { sim::ReleaseObject(object, "adapter"); }

std::int32_t GdiplusStartup(GdiplusToken* token) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    entry = "GdiplusStartup";
    const std::int32_t result = sim::Give(c, entry, "GdiplusStartup", "gdiplus", token);
    if (result == kSOk) ++c.gdiplusStarted;
    return result;
  });
}

void GdiplusShutdown(GdiplusToken token) {
  sim::Locked([&](Capture& c, std::string& entry) {
    Object* object = sim::Find(c, sim::Key(token), "gdiplus", "GdiplusShutdown");
    if (!object) return 0;
    object->alive = false;
    --c.gdiplusStarted;
    entry = "GdiplusShutdown " + object->name;
    return 0;
  });
}

std::int32_t GdipCreateBitmapFromHBITMAP(BitmapHandle bitmap, GpBitmap* image) {
  const std::string bitmapName = sim::GdiObjectName(bitmap);
  return sim::Locked([&](Capture& c, std::string& entry) {
    *image = {};
    entry = "GdipCreateBitmapFromHBITMAP " + bitmapName;
    if (!sim::GdiplusCall(c, "GdipCreateBitmapFromHBITMAP")) return sim::kGdipNotInitialized;
    Object made;
    made.source = bitmapName;
    return sim::Give(c, entry, "GdipCreateBitmapFromHBITMAP", "gp-bitmap", image, made);
  });
}

std::int32_t GdipGetImageEncodersSize(std::uint32_t* count, std::uint32_t* size) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    entry = "GdipGetImageEncodersSize";
    *count = 0;
    *size = 0;
    if (!sim::GdiplusCall(c, "GdipGetImageEncodersSize")) return sim::kGdipNotInitialized;
    if (const auto failure = sim::Fails(c, "GdipGetImageEncodersSize")) return *failure;
    // A 64-bit ImageCodecInfo is 104 bytes; the strings follow the array.
    std::uint32_t bytes = 0;
    for (const ImageEncoder& encoder : c.encoders) {
      bytes += 104 + static_cast<std::uint32_t>(encoder.mimeType.size() + 1) * 2;
    }
    *count = static_cast<std::uint32_t>(c.encoders.size());
    *size = bytes;
    return kGdiplusOk;
  });
}

std::int32_t GdipGetImageEncoders(std::uint32_t count, std::uint32_t size,
                                  std::span<std::byte> buffer,
                                  std::vector<ImageEncoder>* encoders) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    entry = "GdipGetImageEncoders " + std::to_string(count) + " " + std::to_string(size);
    encoders->clear();
    if (!sim::GdiplusCall(c, "GdipGetImageEncoders")) return sim::kGdipNotInitialized;
    if (const auto failure = sim::Fails(c, "GdipGetImageEncoders")) return *failure;
    if (count != c.encoders.size() || buffer.size() < size) return 2;  // InvalidParameter
    std::fill(buffer.begin(), buffer.end(), std::byte{0x5A});
    *encoders = c.encoders;
    return kGdiplusOk;
  });
}

std::int32_t GdipSaveImageToFile(GpBitmap image, std::u16string_view path, const Guid& encoder) {
  std::u16string mime;
  const bool folderExists = sim::DirectoryExists(sim::ParentOf(path));
  const std::int32_t result = sim::Locked([&](Capture& c, std::string& entry) {
    Object* from = sim::Find(c, sim::Key(image), "gp-bitmap", "GdipSaveImageToFile");
    entry =
        "GdipSaveImageToFile " + (from ? from->name : std::string("?")) + " " + WideToUtf8(path);
    if (!sim::GdiplusCall(c, "GdipSaveImageToFile")) return sim::kGdipNotInitialized;
    if (!from) return 2;
    for (const ImageEncoder& known : c.encoders) {
      if (known.clsid == encoder) mime = known.mimeType;
    }
    entry += " " + WideToUtf8(mime);
    if (const auto failure = sim::Fails(c, "GdipSaveImageToFile")) {
      entry += " -> " + std::to_string(*failure);
      return *failure;
    }
    if (mime.empty()) return 2;
    if (!folderExists) {
      entry += " -> " + std::to_string(sim::kGdipGenericError);
      return sim::kGdipGenericError;
    }
    c.saved.push_back({std::u16string(path), from->source, encoder});
    return kGdiplusOk;
  });
  if (result == kGdiplusOk) sim::SetFile(std::u16string(path), "PNG");
  return result;
}

std::int32_t GdipDisposeImage(GpBitmap image) {
  return sim::Locked([&](Capture& c, std::string& entry) {
    Object* object = sim::Find(c, sim::Key(image), "gp-bitmap", "GdipDisposeImage");
    if (!object) return 2;
    sim::GdiplusCall(c, "GdipDisposeImage");
    object->alive = false;
    entry = "GdipDisposeImage " + object->name;
    return kGdiplusOk;
  });
}

}  // namespace platform

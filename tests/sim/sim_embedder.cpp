#include "sim_embedder.h"

#include <map>
#include <memory>

#include "host/embedder_platform.h"
#include "sim_platform.h"
#include "sim_window.h"

namespace {

constexpr std::uintptr_t kEngineBase = 0x80000;
constexpr std::uintptr_t kControllerBase = 0x90000;
constexpr std::uintptr_t kViewBase = 0xA0000;
constexpr std::uintptr_t kRegistrarBase = 0xB0000;

struct EngineRecord {
  bool running = false;
  bool ownedByController = false;
  sim::FakeMessenger* messenger = nullptr;
};

struct ControllerRecord {
  platform::NativeHandle engine = nullptr;
  platform::NativeHandle view = nullptr;
  platform::NativeHandle viewWindow = nullptr;
};

struct Embedder {
  sim::EmbedderBehaviour behaviour;
  std::optional<sim::EngineProperties> lastProperties;
  std::map<platform::NativeHandle, EngineRecord> engines;
  std::map<platform::NativeHandle, ControllerRecord> controllers;
  int nextId = 1;
  std::vector<std::unique_ptr<sim::FakeMessenger>> messengers;
  std::map<unsigned, std::intptr_t> claimed;
  std::vector<unsigned> offered;
};

Embedder& E() {
  static Embedder embedder;
  return embedder;
}

platform::NativeHandle NewHandle(std::uintptr_t base) {
  return reinterpret_cast<platform::NativeHandle>(base + 0x10 * E().nextId++);
}

void DestroyEngine(platform::NativeHandle engine) {
  const auto it = E().engines.find(engine);
  if (it == E().engines.end()) return;
  // The messenger object stays for those who hold a reference; answers to it are dropped.
  it->second.messenger->SetAvailable(false);
  E().engines.erase(it);
  sim::Record("engine destroyed");
}

}  // namespace

namespace sim {

void ResetEmbedder() {
  // Messengers go last: references into them may outlive the engines, as on Windows.
  Embedder fresh;
  std::swap(E(), fresh);
}

void SetEmbedderBehaviour(const EmbedderBehaviour& behaviour) { E().behaviour = behaviour; }
std::optional<EngineProperties> LastEngineProperties() { return E().lastProperties; }
int LiveEngineCount() { return static_cast<int>(E().engines.size()); }
int LiveViewControllerCount() { return static_cast<int>(E().controllers.size()); }

bool EngineRunning(platform::NativeHandle engine) {
  const auto it = E().engines.find(engine);
  return it != E().engines.end() && it->second.running;
}

platform::NativeHandle ViewWindow() {
  if (E().controllers.empty()) return nullptr;
  return E().controllers.begin()->second.viewWindow;
}

FakeMessenger& EngineMessenger() {
  if (E().messengers.empty()) E().messengers.push_back(std::make_unique<FakeMessenger>());
  return *E().messengers.back();
}

void ClaimTopLevelMessage(unsigned message, std::intptr_t result) { E().claimed[message] = result; }
std::vector<unsigned> OfferedTopLevelMessages() { return E().offered; }

}  // namespace sim

namespace host::platform {

NativeHandle FlutterDesktopEngineCreate(const DartProject& project) {
  sim::Record("FlutterDesktopEngineCreate");
  if (E().behaviour.engineCreateFails) return nullptr;
  E().lastProperties =
      sim::EngineProperties{project.assetsPath, project.icuDataPath, project.aotLibraryPath,
                            project.dartEntrypoint, project.dartEntrypointArguments};
  const NativeHandle engine = NewHandle(kEngineBase);
  E().messengers.push_back(std::make_unique<sim::FakeMessenger>());
  E().engines.emplace(engine, EngineRecord{false, false, E().messengers.back().get()});
  return engine;
}

bool FlutterDesktopEngineDestroy(NativeHandle engine) {
  sim::Record("FlutterDesktopEngineDestroy");
  const auto it = E().engines.find(engine);
  if (it == E().engines.end() || it->second.ownedByController) return false;
  DestroyEngine(engine);
  return true;
}

bool FlutterDesktopEngineRun(NativeHandle engine, const std::string& entrypoint) {
  sim::Record("FlutterDesktopEngineRun " + entrypoint);
  const auto it = E().engines.find(engine);
  if (it == E().engines.end() || it->second.running || E().behaviour.engineRunFails) return false;
  it->second.running = true;
  return true;
}

FlutterDesktopMessengerRef FlutterDesktopEngineGetMessenger(NativeHandle engine) {
  const auto it = E().engines.find(engine);
  return it == E().engines.end() ? nullptr : it->second.messenger->ref();
}

NativeHandle FlutterDesktopEngineGetPluginRegistrar(NativeHandle engine,
                                                    const std::string& pluginName) {
  sim::Record("FlutterDesktopEngineGetPluginRegistrar " + pluginName);
  if (!E().engines.count(engine)) return nullptr;
  return NewHandle(kRegistrarBase);
}

void FlutterDesktopEngineReloadSystemFonts(NativeHandle engine) {
  sim::Record(E().engines.count(engine) ? "FlutterDesktopEngineReloadSystemFonts"
                                        : "FlutterDesktopEngineReloadSystemFonts (no engine)");
}

NativeHandle FlutterDesktopViewControllerCreate(int width, int height, NativeHandle engine) {
  sim::Record("FlutterDesktopViewControllerCreate " + std::to_string(width) + "x" +
              std::to_string(height));
  const auto it = E().engines.find(engine);
  if (it == E().engines.end()) return nullptr;
  if (E().behaviour.viewControllerCreateFails) {
    // The engine was handed over, so it goes with the failed view.
    DestroyEngine(engine);
    return nullptr;
  }
  it->second.running = true;
  it->second.ownedByController = true;
  const NativeHandle controller = NewHandle(kControllerBase);
  ControllerRecord record;
  record.engine = engine;
  if (!E().behaviour.viewMissing) {
    record.view = NewHandle(kViewBase);
    record.viewWindow = sim::CreatePlainWindow(u"FLUTTERVIEW", width, height);
  }
  E().controllers.emplace(controller, record);
  return controller;
}

void FlutterDesktopViewControllerDestroy(NativeHandle controller) {
  sim::Record("FlutterDesktopViewControllerDestroy");
  const auto it = E().controllers.find(controller);
  if (it == E().controllers.end()) return;
  const ControllerRecord record = it->second;
  E().controllers.erase(it);
  if (record.viewWindow) host::platform::DestroyWindow(record.viewWindow);
  DestroyEngine(record.engine);
}

NativeHandle FlutterDesktopViewControllerGetView(NativeHandle controller) {
  const auto it = E().controllers.find(controller);
  return it == E().controllers.end() ? nullptr : it->second.view;
}

NativeHandle FlutterDesktopViewGetHWND(NativeHandle view) {
  for (const auto& [handle, record] : E().controllers) {
    if (record.view && record.view == view) return record.viewWindow;
  }
  return nullptr;
}

std::optional<std::intptr_t> FlutterDesktopViewControllerHandleTopLevelWindowProc(
    NativeHandle controller, NativeHandle, unsigned message, std::uintptr_t, std::intptr_t) {
  if (!E().controllers.count(controller)) return std::nullopt;
  E().offered.push_back(message);
  const auto it = E().claimed.find(message);
  if (it == E().claimed.end()) return std::nullopt;
  return it->second;
}

void RegisterPlugins(NativeHandle engine) {
  sim::Record(E().engines.count(engine) ? "RegisterPlugins" : "RegisterPlugins (no engine)");
}

}  // namespace host::platform

#include "sim_embedder.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "host/plugin_registrant.h"
#include "platform/kernel.h"
#include "platform/user.h"
#include "sim_core.h"

// The objects behind the embedder's opaque handles. Destroyed engines and controllers stay in
// memory, marked dead, until the reset: a stale handle then never aliases a newer object, and a
// call on it is refused instead of touching freed memory.
struct FlutterDesktopPluginRegistrar {
  FlutterDesktopEngine* engine;
};

struct FlutterDesktopEngine {
  bool live = true;
  bool running = false;
  // Handed to a view controller, which destroys it along with itself.
  bool ownedByController = false;
  sim::FakeMessenger* messenger = nullptr;
  FlutterDesktopPluginRegistrar registrar{this};
};

struct FlutterDesktopView {
  platform::WindowHandle window = nullptr;
};

struct FlutterDesktopViewControllerState {
  bool live = true;
  FlutterDesktopEngine* engine = nullptr;
  // Null when the embedder gave the controller no view.
  std::unique_ptr<FlutterDesktopView> view;
};

namespace {

constexpr char16_t kViewClassName[] = u"FLUTTERVIEW";

struct State {
  sim::EmbedderBehaviour behaviour;
  std::optional<sim::EngineProperties> lastProperties;
  // Messengers outlive their engines: the channel layer holds references past shutdown.
  std::vector<std::unique_ptr<sim::FakeMessenger>> messengers;
  std::vector<std::unique_ptr<FlutterDesktopEngine>> engines;
  std::vector<std::unique_ptr<FlutterDesktopViewControllerState>> controllers;
  std::map<unsigned, std::intptr_t> claimed;
  std::vector<unsigned> offered;
};

// Never held across a platform call or sim::Record: both may run a test's hook, which may call
// back in here.
struct Embedder {
  std::mutex lock;
  State state;
};

Embedder& E() {
  static Embedder embedder;
  return embedder;
}

void Reset() {
  State fresh;
  {
    const std::lock_guard guard(E().lock);
    std::swap(E().state, fresh);
  }
}

const bool registered = sim::OnReset(&Reset);

FlutterDesktopEngine* LiveEngine(State& s, FlutterDesktopEngineRef engine) {
  for (const auto& record : s.engines) {
    if (record.get() == engine && record->live) return record.get();
  }
  return nullptr;
}

FlutterDesktopViewControllerState* LiveController(State& s,
                                                  FlutterDesktopViewControllerRef controller) {
  for (const auto& record : s.controllers) {
    if (record.get() == controller && record->live) return record.get();
  }
  return nullptr;
}

// Under the lock. The messenger stays for those who hold a reference, and tells them the engine
// is gone.
void MarkEngineDestroyed(FlutterDesktopEngine& engine) {
  engine.live = false;
  engine.running = false;
  engine.messenger->SetAvailable(false);
}

std::u16string Text(const FlutterDesktopWideChar* text) {
  return text ? std::u16string(reinterpret_cast<const char16_t*>(text)) : std::u16string();
}

sim::EngineProperties PropertiesOf(const FlutterDesktopEngineProperties& properties) {
  sim::EngineProperties copy;
  copy.assetsPath = Text(properties.assets_path);
  copy.icuDataPath = Text(properties.icu_data_path);
  copy.aotLibraryPath = Text(properties.aot_library_path);
  copy.entrypoint = properties.dart_entrypoint ? properties.dart_entrypoint : "";
  for (int i = 0; i < properties.dart_entrypoint_argc && properties.dart_entrypoint_argv; ++i) {
    copy.arguments.emplace_back(properties.dart_entrypoint_argv[i]);
  }
  return copy;
}

std::intptr_t ViewProcedure(platform::WindowHandle window, unsigned message, std::uintptr_t wParam,
                            std::intptr_t lParam) {
  return platform::DefWindowProcW(window, message, wParam, lParam);
}

// The view is a window of the desktop like any other, so that parenting, sizing, focus and
// destruction go through the same code as on Windows. It is a child from the start, as the
// engine's view is; Windows' engine parks it under the message-only window until the host window
// adopts it with SetParent, a parent the seam cannot name, so here it starts with none.
platform::WindowHandle CreateViewWindow(int width, int height) {
  const platform::ModuleHandle instance = platform::GetModuleHandleW(nullptr);
  platform::WindowClass windowClass;
  windowClass.style = platform::kCsHRedraw | platform::kCsVRedraw;
  windowClass.procedure = &ViewProcedure;
  windowClass.instance = instance;
  windowClass.className = kViewClassName;
  // 0 also when an earlier view registered the class; a real failure shows in the creation.
  platform::RegisterClassW(windowClass);
  return platform::CreateWindowExW(0, kViewClassName, u"",
                                   platform::kWsChild | platform::kWsVisible, 0, 0, width, height,
                                   nullptr, nullptr, instance, nullptr);
}

}  // namespace

namespace sim {

void SetEmbedderBehaviour(const EmbedderBehaviour& behaviour) {
  const std::lock_guard guard(E().lock);
  E().state.behaviour = behaviour;
}

std::optional<EngineProperties> LastEngineProperties() {
  const std::lock_guard guard(E().lock);
  return E().state.lastProperties;
}

int LiveEngineCount() {
  const std::lock_guard guard(E().lock);
  const auto& engines = E().state.engines;
  return static_cast<int>(
      std::count_if(engines.begin(), engines.end(), [](const auto& e) { return e->live; }));
}

int LiveViewControllerCount() {
  const std::lock_guard guard(E().lock);
  const auto& controllers = E().state.controllers;
  return static_cast<int>(
      std::count_if(controllers.begin(), controllers.end(), [](const auto& c) { return c->live; }));
}

bool EngineRunning(FlutterDesktopEngineRef engine) {
  const std::lock_guard guard(E().lock);
  const FlutterDesktopEngine* record = LiveEngine(E().state, engine);
  return record && record->running;
}

platform::WindowHandle ViewWindow() {
  const std::lock_guard guard(E().lock);
  for (const auto& controller : E().state.controllers) {
    if (controller->live) return controller->view ? controller->view->window : nullptr;
  }
  return nullptr;
}

FakeMessenger& EngineMessenger() {
  const std::lock_guard guard(E().lock);
  auto& messengers = E().state.messengers;
  // Before any engine, a messenger of its own, so that a test can still look.
  if (messengers.empty()) messengers.push_back(std::make_unique<FakeMessenger>());
  return *messengers.back();
}

void ClaimTopLevelMessage(unsigned message, std::intptr_t result) {
  const std::lock_guard guard(E().lock);
  E().state.claimed[message] = result;
}

std::vector<unsigned> OfferedTopLevelMessages() {
  const std::lock_guard guard(E().lock);
  return E().state.offered;
}

}  // namespace sim

extern "C" {

FlutterDesktopEngineRef FlutterDesktopEngineCreate(
    const FlutterDesktopEngineProperties* properties) {
  sim::Record("FlutterDesktopEngineCreate");
  const std::lock_guard guard(E().lock);
  State& s = E().state;
  if (s.behaviour.engineCreateFails || properties == nullptr) return nullptr;
  s.lastProperties = PropertiesOf(*properties);
  s.messengers.push_back(std::make_unique<sim::FakeMessenger>());
  auto engine = std::make_unique<FlutterDesktopEngine>();
  engine->messenger = s.messengers.back().get();
  s.engines.push_back(std::move(engine));
  return s.engines.back().get();
}

bool FlutterDesktopEngineDestroy(FlutterDesktopEngineRef engine) {
  sim::Record("FlutterDesktopEngineDestroy");
  {
    const std::lock_guard guard(E().lock);
    FlutterDesktopEngine* record = LiveEngine(E().state, engine);
    // A controller's engine goes only with its controller.
    if (!record || record->ownedByController) return false;
    MarkEngineDestroyed(*record);
  }
  sim::Record("engine destroyed");
  return true;
}

bool FlutterDesktopEngineRun(FlutterDesktopEngineRef engine, const char* entry_point) {
  sim::Record(std::string("FlutterDesktopEngineRun ") + (entry_point ? entry_point : ""));
  const std::lock_guard guard(E().lock);
  FlutterDesktopEngine* record = LiveEngine(E().state, engine);
  if (!record || record->running || E().state.behaviour.engineRunFails) return false;
  record->running = true;
  return true;
}

uint64_t FlutterDesktopEngineProcessMessages(FlutterDesktopEngineRef /*engine*/) {
  // The simulated engine schedules no work of its own: nothing is ever due.
  return std::numeric_limits<uint64_t>::max();
}

void FlutterDesktopEngineReloadSystemFonts(FlutterDesktopEngineRef engine) {
  bool live = false;
  {
    const std::lock_guard guard(E().lock);
    live = LiveEngine(E().state, engine) != nullptr;
  }
  sim::Record(live ? "FlutterDesktopEngineReloadSystemFonts"
                   : "FlutterDesktopEngineReloadSystemFonts (no engine)");
}

FlutterDesktopPluginRegistrarRef FlutterDesktopEngineGetPluginRegistrar(
    FlutterDesktopEngineRef engine, const char* plugin_name) {
  sim::Record(std::string("FlutterDesktopEngineGetPluginRegistrar ") +
              (plugin_name ? plugin_name : ""));
  const std::lock_guard guard(E().lock);
  FlutterDesktopEngine* record = LiveEngine(E().state, engine);
  return record ? &record->registrar : nullptr;
}

FlutterDesktopMessengerRef FlutterDesktopEngineGetMessenger(FlutterDesktopEngineRef engine) {
  const std::lock_guard guard(E().lock);
  const FlutterDesktopEngine* record = LiveEngine(E().state, engine);
  return record ? record->messenger->ref() : nullptr;
}

FlutterDesktopMessengerRef FlutterDesktopPluginRegistrarGetMessenger(
    FlutterDesktopPluginRegistrarRef registrar) {
  if (registrar == nullptr) return nullptr;
  return FlutterDesktopEngineGetMessenger(registrar->engine);
}

FlutterDesktopViewControllerRef FlutterDesktopViewControllerCreate(int width, int height,
                                                                   FlutterDesktopEngineRef engine) {
  sim::Record("FlutterDesktopViewControllerCreate " + std::to_string(width) + "x" +
              std::to_string(height));
  bool handedOver = false;
  bool viewMissing = false;
  {
    const std::lock_guard guard(E().lock);
    State& s = E().state;
    FlutterDesktopEngine* record = LiveEngine(s, engine);
    if (!record) return nullptr;
    // The controller starts an engine that is not running yet.
    const bool startFails = !record->running && s.behaviour.engineRunFails;
    if (s.behaviour.viewControllerCreateFails || startFails) {
      // The engine was handed over, so it goes with the failed view.
      MarkEngineDestroyed(*record);
    } else {
      record->running = true;
      record->ownedByController = true;
      viewMissing = s.behaviour.viewMissing;
      handedOver = true;
    }
  }
  if (!handedOver) {
    sim::Record("engine destroyed");
    return nullptr;
  }

  platform::WindowHandle window = nullptr;
  if (!viewMissing) {
    window = CreateViewWindow(width, height);
    if (!window) {
      {
        const std::lock_guard guard(E().lock);
        if (FlutterDesktopEngine* record = LiveEngine(E().state, engine)) {
          MarkEngineDestroyed(*record);
        }
      }
      sim::Record("engine destroyed");
      return nullptr;
    }
  }

  auto controller = std::make_unique<FlutterDesktopViewControllerState>();
  controller->engine = engine;
  if (window) {
    controller->view = std::make_unique<FlutterDesktopView>();
    controller->view->window = window;
  }
  const std::lock_guard guard(E().lock);
  E().state.controllers.push_back(std::move(controller));
  return E().state.controllers.back().get();
}

void FlutterDesktopViewControllerDestroy(FlutterDesktopViewControllerRef controller) {
  sim::Record("FlutterDesktopViewControllerDestroy");
  platform::WindowHandle window = nullptr;
  FlutterDesktopEngine* engine = nullptr;
  {
    const std::lock_guard guard(E().lock);
    FlutterDesktopViewControllerState* record = LiveController(E().state, controller);
    if (!record) return;
    record->live = false;
    if (record->view) window = record->view->window;
    engine = record->engine;
  }
  if (window) platform::DestroyWindow(window);
  {
    // Looked up again: the desktop's hooks ran in between.
    const std::lock_guard guard(E().lock);
    FlutterDesktopEngine* record = LiveEngine(E().state, engine);
    if (!record) return;
    MarkEngineDestroyed(*record);
  }
  sim::Record("engine destroyed");
}

FlutterDesktopEngineRef FlutterDesktopViewControllerGetEngine(
    FlutterDesktopViewControllerRef controller) {
  const std::lock_guard guard(E().lock);
  const FlutterDesktopViewControllerState* record = LiveController(E().state, controller);
  return record ? record->engine : nullptr;
}

FlutterDesktopViewRef FlutterDesktopViewControllerGetView(
    FlutterDesktopViewControllerRef controller) {
  const std::lock_guard guard(E().lock);
  const FlutterDesktopViewControllerState* record = LiveController(E().state, controller);
  return record ? record->view.get() : nullptr;
}

void FlutterDesktopViewControllerForceRedraw(FlutterDesktopViewControllerRef controller) {
  bool live = false;
  {
    const std::lock_guard guard(E().lock);
    live = LiveController(E().state, controller) != nullptr;
  }
  if (live) sim::Record("FlutterDesktopViewControllerForceRedraw");
}

bool FlutterDesktopViewControllerHandleTopLevelWindowProc(
    FlutterDesktopViewControllerRef controller, HWND__* /*hwnd*/, unsigned int message,
    uintptr_t /*wparam*/, intptr_t /*lparam*/, intptr_t* result) {
  const std::lock_guard guard(E().lock);
  State& s = E().state;
  if (!LiveController(s, controller)) return false;
  s.offered.push_back(message);
  const auto claimed = s.claimed.find(message);
  if (claimed == s.claimed.end()) return false;
  if (result) *result = claimed->second;
  return true;
}

HWND__* FlutterDesktopViewGetHWND(FlutterDesktopViewRef view) {
  const std::lock_guard guard(E().lock);
  for (const auto& controller : E().state.controllers) {
    if (controller->live && controller->view && controller->view.get() == view) {
      return controller->view->window;
    }
  }
  return nullptr;
}

void FlutterDesktopResyncOutputStreams() { sim::Record("FlutterDesktopResyncOutputStreams"); }

}  // extern "C"

// The plugin libraries exist only for Windows; on the host their registration is one step in the
// journal, taken against a live engine or not.
void RegisterPlugins(FlutterDesktopEngineRef engine) {
  bool live = false;
  {
    const std::lock_guard guard(E().lock);
    live = LiveEngine(E().state, engine) != nullptr;
  }
  sim::Record(live ? "RegisterPlugins" : "RegisterPlugins (no engine)");
}

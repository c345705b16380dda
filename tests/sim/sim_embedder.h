// The simulated engine embedder behind engine_abi/flutter_embedder.h: engines, view controllers
// whose view windows live on the simulated desktop, and each engine's messenger, a FakeMessenger
// that a test drives as Dart would. Calls that matter for order go to sim::Journal(); every
// engine, controller and messenger goes with sim::ResetSimulation(). The DPI helpers belong to
// the simulated desktop, which holds the monitor.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine_abi/flutter_embedder.h"
#include "platform/handles.h"
#include "sim_messenger.h"

namespace sim {

struct EmbedderBehaviour {
  bool engineCreateFails = false;
  // Also fails a view controller that would have to start its engine.
  bool engineRunFails = false;
  // The failed controller still takes the engine it was given with it.
  bool viewControllerCreateFails = false;
  // The controller comes without a view, so FlutterDesktopViewControllerGetView answers null.
  bool viewMissing = false;
};
void SetEmbedderBehaviour(const EmbedderBehaviour& behaviour);

// What the last engine was created with.
struct EngineProperties {
  std::u16string assetsPath;
  std::u16string icuDataPath;
  std::u16string aotLibraryPath;
  std::string entrypoint;
  std::vector<std::string> arguments;
};
std::optional<EngineProperties> LastEngineProperties();

int LiveEngineCount();
int LiveViewControllerCount();
// False for an engine that was destroyed or never made here.
bool EngineRunning(FlutterDesktopEngineRef engine);
// The view window of the live controller made first, null without one.
platform::WindowHandle ViewWindow();
// The messenger of the last engine created; valid until the next reset.
FakeMessenger& EngineMessenger();

// The view claims this message of the top-level window and answers `result`.
void ClaimTopLevelMessage(unsigned message, std::intptr_t result);
// Every message the top-level window offered to a live view, in order.
std::vector<unsigned> OfferedTopLevelMessages();

}  // namespace sim

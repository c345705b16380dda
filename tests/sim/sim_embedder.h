// A simulated engine embedder: engines, view controllers with their view windows (in the
// simulated window manager) and each engine's messenger, a FakeMessenger a test drives as Dart.
// Calls are recorded in sim::Journal().
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fake_messenger.h"
#include "launch/launch_platform.h"

namespace sim {

void ResetEmbedder();

struct EmbedderBehaviour {
  bool engineCreateFails = false;
  bool engineRunFails = false;
  bool viewControllerCreateFails = false;
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
bool EngineRunning(platform::NativeHandle engine);
// The view window of the live controller, null without one.
platform::NativeHandle ViewWindow();
// The messenger of the last engine created; valid until the next reset.
FakeMessenger& EngineMessenger();

// The view claims this message of the top-level window and answers `result`.
void ClaimTopLevelMessage(unsigned message, std::intptr_t result);
// Every message the top-level window offered to the view, in order.
std::vector<unsigned> OfferedTopLevelMessages();

}  // namespace sim

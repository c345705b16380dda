// Owns one engine instance of the embedder and the messenger that the channels talk through.
#pragma once

#include <memory>
#include <string>

#include "engine_abi/flutter_embedder.h"
#include "host/dart_project.h"

class BinaryMessenger;
class BinaryMessengerImpl;

class FlutterEngine {
 public:
  explicit FlutterEngine(const DartProject& project);
  ~FlutterEngine();
  FlutterEngine(const FlutterEngine&) = delete;
  FlutterEngine& operator=(const FlutterEngine&) = delete;

  // Starts the project's entrypoint; false when the engine can't run or already runs.
  bool Run();
  bool Run(const std::string& entrypoint);
  void ShutDown();

  void ReloadSystemFonts();
  // Null, with a line on the standard error stream, before the engine runs.
  FlutterDesktopPluginRegistrarRef GetRegistrarForPlugin(const std::string& pluginName);
  // Null when the engine could not be created.
  BinaryMessenger* messenger() const;
  FlutterDesktopEngineRef handle() const { return engine_; }

 private:
  friend class FlutterViewController;

  // The view controller takes the engine over and runs it; this object keeps the messenger.
  FlutterDesktopEngineRef RelinquishEngine();

  FlutterDesktopEngineRef engine_ = nullptr;
  bool ownsEngine_ = true;
  bool hasBeenRun_ = false;
  std::string entrypoint_;
  std::unique_ptr<BinaryMessengerImpl> messenger_;
};

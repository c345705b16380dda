#include "host/flutter_engine.h"

#include "channels/binary_messenger_impl.h"
#include "channels/error_output.h"
#include "host/embedder_platform.h"

FlutterEngine::FlutterEngine(const DartProject& project)
    : engine_(host::platform::FlutterDesktopEngineCreate(project)),
      entrypoint_(project.dartEntrypoint) {
  if (!engine_) return;
  messenger_ = std::make_unique<BinaryMessengerImpl>(
      host::platform::FlutterDesktopEngineGetMessenger(engine_));
}

FlutterEngine::~FlutterEngine() { ShutDown(); }

bool FlutterEngine::Run() { return Run(entrypoint_); }

bool FlutterEngine::Run(const std::string& entrypoint) {
  if (!engine_ || hasBeenRun_) return false;
  hasBeenRun_ = host::platform::FlutterDesktopEngineRun(engine_, entrypoint);
  return hasBeenRun_;
}

void FlutterEngine::ShutDown() {
  if (engine_ && ownsEngine_) host::platform::FlutterDesktopEngineDestroy(engine_);
  engine_ = nullptr;
}

void FlutterEngine::ReloadSystemFonts() {
  if (engine_) host::platform::FlutterDesktopEngineReloadSystemFonts(engine_);
}

platform::NativeHandle FlutterEngine::GetRegistrarForPlugin(const std::string& pluginName) {
  if (!engine_ || !hasBeenRun_) {
    WriteErrorLine("Cannot get plugin registrar on an engine that isn't running; call Run first.");
    return nullptr;
  }
  return host::platform::FlutterDesktopEngineGetPluginRegistrar(engine_, pluginName);
}

BinaryMessenger* FlutterEngine::messenger() const { return messenger_.get(); }

platform::NativeHandle FlutterEngine::RelinquishEngine() {
  ownsEngine_ = false;
  hasBeenRun_ = true;
  return engine_;
}

#include "host/plugin_registrant.h"

extern "C" {
__declspec(dllimport) void ConnectivityPlusWindowsPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void DesktopMultiWindowPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void FileSaverPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void FlutterWebRTCPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void LiveKitPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void MediaKitLibsWindowsVideoPluginCApiRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void MediaKitVideoPluginCApiRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void ScreenRetrieverPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void UrlLauncherWindowsRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void VolumeControllerPluginCApiRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
__declspec(dllimport) void WindowManagerPluginRegisterWithRegistrar(
    FlutterDesktopPluginRegistrarRef registrar);
}

namespace {

struct PluginEntry {
  const char* registrarName;
  void (*registerWithRegistrar)(FlutterDesktopPluginRegistrarRef registrar);
};

// The order is the order of registration.
constexpr PluginEntry kPlugins[] = {
    {"ConnectivityPlusWindowsPlugin", ConnectivityPlusWindowsPluginRegisterWithRegistrar},
    {"DesktopMultiWindowPlugin", DesktopMultiWindowPluginRegisterWithRegistrar},
    {"FileSaverPlugin", FileSaverPluginRegisterWithRegistrar},
    {"FlutterWebRTCPlugin", FlutterWebRTCPluginRegisterWithRegistrar},
    {"LiveKitPlugin", LiveKitPluginRegisterWithRegistrar},
    {"MediaKitLibsWindowsVideoPluginCApi", MediaKitLibsWindowsVideoPluginCApiRegisterWithRegistrar},
    {"MediaKitVideoPluginCApi", MediaKitVideoPluginCApiRegisterWithRegistrar},
    {"ScreenRetrieverPlugin", ScreenRetrieverPluginRegisterWithRegistrar},
    {"UrlLauncherWindows", UrlLauncherWindowsRegisterWithRegistrar},
    {"VolumeControllerPluginCApi", VolumeControllerPluginCApiRegisterWithRegistrar},
    {"WindowManagerPlugin", WindowManagerPluginRegisterWithRegistrar},
};

}  // namespace

void RegisterPlugins(FlutterDesktopEngineRef engine) {
  for (const PluginEntry& plugin : kPlugins) {
    plugin.registerWithRegistrar(
        FlutterDesktopEngineGetPluginRegistrar(engine, plugin.registrarName));
  }
}

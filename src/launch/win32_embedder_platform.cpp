// The launch port's calls into the engine's embedder, apart from the rest of the adapter so that
// programs without the engine can link the other operations.
#include "host/flutter_embedder.h"
#include "launch/launch_platform.h"

namespace platform {

void FlutterDesktopResyncOutputStreams() { ::FlutterDesktopResyncOutputStreams(); }

unsigned FlutterDesktopGetDpiForMonitor(NativeHandle monitor) {
  return ::FlutterDesktopGetDpiForMonitor(static_cast<HMONITOR>(monitor));
}

}  // namespace platform

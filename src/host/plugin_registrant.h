// Registers the eleven plugin libraries with the engine, in their fixed order.
#pragma once

#include "engine_abi/flutter_embedder.h"

void RegisterPlugins(FlutterDesktopEngineRef engine);

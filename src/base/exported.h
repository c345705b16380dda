// Functions the executable exports by name: the driver of the engine stand-in calls them through
// GetProcAddress on the running module, so their names are C names.
#pragma once

#if defined(_WIN32)
#define KT_EXPORTED extern "C" __declspec(dllexport)
#else
#define KT_EXPORTED extern "C"
#endif

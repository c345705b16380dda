// A plugin library that registers nothing: the test layout needs only its registration export.
extern "C" __declspec(dllexport) void KT_PLUGIN_FUNCTION(void* /*registrar*/) {}

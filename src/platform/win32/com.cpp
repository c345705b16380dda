// The COM seam over ole32.
#include <windows.h>
#include <objbase.h>

#include "platform/com.h"

namespace platform {

std::int32_t CoInitializeEx() { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }

void CoUninitialize() { ::CoUninitialize(); }

}  // namespace platform

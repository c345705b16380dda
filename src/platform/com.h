// COM on the calling thread. The Windows build implements it in win32/com.cpp.
#pragma once

#include <cstdint>

namespace platform {

// CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); the HRESULT.
std::int32_t CoInitializeEx();
void CoUninitialize();

}  // namespace platform

// COM on the calling thread. The Windows build implements it in win32/com.cpp.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/guid.h"

namespace platform {

// CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); the HRESULT.
std::int32_t CoInitializeEx();
void CoUninitialize();

// CLSIDFromString of a braced GUID text; the HRESULT (NOERROR on success).
std::int32_t CLSIDFromString(std::u16string_view text, Guid* guid);

}  // namespace platform

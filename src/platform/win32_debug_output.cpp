#include <windows.h>

#include <string>

#include "platform/debug_output.h"
#include "platform/win32_text.h"

namespace platform {

void OutputDebugStringA(std::string_view text) { ::OutputDebugStringA(std::string(text).c_str()); }

void OutputDebugStringW(std::u16string_view text) { ::OutputDebugStringW(AsWide(text).c_str()); }

}  // namespace platform

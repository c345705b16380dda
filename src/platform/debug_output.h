// The debugger output channel.
#pragma once

#include <string_view>

namespace platform {

void OutputDebugStringA(std::string_view text);
void OutputDebugStringW(std::u16string_view text);

}  // namespace platform

// The simulated COM of the calling thread behind platform/com.h. Initialising and uninitialising
// are recorded in sim::Journal() as "CoInitializeEx" and "CoUninitialize".
#pragma once

#include <cstdint>

namespace sim {

// The HRESULT that CoInitializeEx answers; S_OK until set.
void SetCoInitializeResult(std::int32_t result);

}  // namespace sim

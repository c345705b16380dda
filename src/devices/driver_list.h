// The driver list of `getDriverList`: every kernel and file-system driver the service control
// manager knows, running or not, in its order, each with its binary path and state.
#pragma once

#include <string>

#include "channels/encodable_value.h"
#include "platform/handles.h"

// "Stopped", "Start Pending", ... "Paused" for the states 1 to 7, "Unknown" for any other.
const char* ServiceStateName(unsigned long state);
// lpBinaryPathName as the configuration holds it, unexpanded; empty when it can't be read.
std::u16string ServiceBinaryPath(platform::ServiceHandle service);
// Maps of `name`, `description`, `state`, `pathname` and `version` ("--"); empty when the
// enumeration fails.
EncodableList GetDriverList();

// The "com.kelvo.tarnel/system_commands" channel: lock, display off, restart, shut down and the
// session's idle time. Answers say whether the operating system accepted the call.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "channels/method_call.h"
#include "channels/method_result.h"

// The channel's method-call handler. Arguments are never read; an unknown name (also one that
// differs only in letter case) gets the not-implemented answer.
void HandleSystemCommandsCall(const MethodCall& call, std::unique_ptr<MethodResult> result);

// true when the operating system accepted the command; false for an unknown name.
bool ExecuteSystemCommand(const std::string& method);

// Asks for SeShutdownPrivilege on the process token. A failure shows only as ExitWindowsEx
// failing afterwards.
void EnableShutdownPrivilege();

// Whole seconds since the session's last input; -1 when that time can't be read.
std::int64_t GetIdleSeconds();

// Waits a moment, then asks every top-level window to power the display off.
std::uint32_t TurnOffDisplayThread(void* parameter);

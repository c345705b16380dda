// The real application under Wine with the engine stand-in: where it lies, its log, and the
// session's display, shared by the end-to-end tests.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine_driver.h"
#include "wine_process.h"

namespace e2e {

std::string AppExe();
std::string AppLog();

// A command in the session's display, with its exit status.
int RunInSession(const std::string& command);

// Wine maps a shown Win32 window to a mapped X window with the same title, "ZMS" for the main
// window.
bool MainWindowVisible();
bool WaitForMainWindowVisibility(bool visible, driver::Timeout timeout);

// The log's lines without their time stamps.
std::vector<std::string> LogMessages();
bool LogHas(const std::string& message);

// The channel handlers are set inside window creation; the driver's last start-up line comes
// after it, just before the message loop. Fails the current test at the time-out.
void WaitForMessageLoop(driver::Timeout timeout);

// Opens the tray icon's menu and chooses its exit item from the keyboard; the exit code once
// the application ended, nothing when it did not.
std::optional<int> ExitThroughTrayMenu(driver::EngineDriver& engine, driver::WineProcess& app);

// Ends every running copy of the application in the session.
void EndAllInstances();

}  // namespace e2e

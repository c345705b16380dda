// The real application under Wine with the engine stand-in: where it lies, its log, and the
// session's display, shared by the end-to-end tests.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine_driver.h"
#include "wine_process.h"

namespace e2e {

inline constexpr driver::Timeout kStartTimeout = std::chrono::seconds(90);
inline constexpr driver::Timeout kTimeout = std::chrono::seconds(20);
inline constexpr char kSystemCommandsChannel[] = "com.kelvo.tarnel/system_commands";
inline constexpr char kDeviceMonitorChannel[] = "com.kelvo.tarnel/device_monitor";
inline constexpr char kWindowBlockerChannel[] = "com.kelvo.tarnel/window_blocker";

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

// Runs the application for one test: no other copy running, no old log, a scratch folder for
// the programs' output, which is printed when the test fails.
class AppFixture : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Starts `executable` (the application, or a launcher given its path) with the stand-in on a
  // free port, and connects.
  void Launch(const std::string& executable, const std::vector<std::string>& arguments);
  // Waits until the application's handlers are set and it is in its message loop.
  void WaitUntilReady();
  void StartApp(const std::vector<std::string>& arguments = {}) {
    Launch(AppExe(), arguments);
    WaitUntilReady();
  }

  std::string dir_;
  // The application is killed after this long, so that a hung test ends.
  int appTimeLimitSeconds_ = 150;
  driver::WineProcess app_;
  std::unique_ptr<driver::EngineDriver> engine_;
};

}  // namespace e2e

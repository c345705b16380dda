#include "app_session.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

#include "wine_process.h"

namespace e2e {

std::string AppExe() { return driver::WindowsBin() + "/KelvoTarnel.exe"; }

std::string AppLog() { return driver::DriveC() + "/ProgramData/KelvoTarnel/logs/app.log"; }

int RunInSession(const std::string& command) {
  const std::string display = driver::ReadFile(driver::WineRoot() + "/display");
  const std::string full = "export DISPLAY=" + display.substr(0, display.find('\n')) +
                           " WINEPREFIX=" + driver::WineRoot() + "/prefix WINEDEBUG=-all; " +
                           command + " >/dev/null 2>&1";
  return ::system(full.c_str());
}

bool MainWindowVisible() {
  return RunInSession("xdotool search --onlyvisible --name '^ZMS$'") == 0;
}

bool WaitForMainWindowVisibility(bool visible, driver::Timeout timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    if (MainWindowVisible() == visible) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

std::vector<std::string> LogMessages() {
  std::vector<std::string> lines;
  std::string text = driver::ReadFile(AppLog());
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find("\r\n", start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (line.rfind("[FlutterWindow] ", 0) != 0) {
      const size_t stamp = line.find("] ");
      if (stamp != std::string::npos) line = line.substr(stamp + 2);
    }
    lines.push_back(line);
    start = end + 2;
  }
  return lines;
}

bool LogHas(const std::string& message) {
  for (const auto& line : LogMessages()) {
    if (line == message) return true;
  }
  return false;
}

void WaitForMessageLoop(driver::Timeout timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!LogHas("Flutter Dart code initialization should start now...")) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline)
        << "the application never reached its message loop";
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

std::optional<int> ExitThroughTrayMenu(driver::EngineDriver& engine, driver::WineProcess& app) {
  constexpr uint32_t kMsgTrayIcon = 1025;
  constexpr uint64_t kWmRButtonUp = 517;
  // The menu runs its own loop inside the message, so the frame is sent without awaiting it.
  engine.SendFrame(
      frames::WindowMessage{driver::EngineDriver::NextId(), kMsgTrayIcon, 0, kWmRButtonUp, {}});
  std::optional<int> exit;
  for (int attempt = 0; attempt < 20 && !exit; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    RunInSession("xdotool key Down Down Return");
    exit = app.Wait(std::chrono::seconds(1));
  }
  return exit;
}

void EndAllInstances() { RunInSession("timeout 30 wine taskkill /F /IM KelvoTarnel.exe"); }

void AppFixture::SetUp() {
  const std::string missing = driver::MissingForWine(AppExe());
  ASSERT_TRUE(missing.empty()) << missing;
  char pattern[] = "/tmp/kt_app_XXXXXX";
  ASSERT_NE(::mkdtemp(pattern), nullptr);
  dir_ = pattern;
  EndAllInstances();
  std::filesystem::remove(AppLog());
}

void AppFixture::TearDown() {
  engine_.reset();
  EndAllInstances();
  app_.Kill();
  if (dir_.empty()) return;
  if (HasFailure()) {
    for (const auto& file : std::filesystem::directory_iterator(dir_))
      std::cerr << file.path().filename() << ":\n" << driver::ReadFile(file.path()) << "\n";
  }
  std::filesystem::remove_all(dir_);
}

void AppFixture::Launch(const std::string& executable, const std::vector<std::string>& arguments) {
  const uint16_t port = driver::FreePort();
  app_.Start(executable, arguments, {{"KT_ENGINE_PORT", std::to_string(port)}}, dir_ + "/app.log",
             appTimeLimitSeconds_);
  engine_ = driver::EngineDriver::Connect(port, kStartTimeout);
}

void AppFixture::WaitUntilReady() {
  engine_->WaitForHandlerSet(kSystemCommandsChannel, kStartTimeout);
  WaitForMessageLoop(kTimeout);
}

}  // namespace e2e
